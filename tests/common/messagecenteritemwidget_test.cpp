#include "common/messagecenteritemwidget.h"

#include "common/messagecenterlook.h"
#include "hmi/desktop/desktop_platform.h"
#include "tests/support/eventually.h"

#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QtTest>

#include <gtest/gtest.h>

#include <mutex>
#include <utility>
#include <vector>

namespace
{

class RowTest : public testing::Test
{
protected:
    RowTest()
    {
        setBeepListener([this](int frequency, int duration) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_beeps.emplace_back(frequency, duration);
        });
    }

    ~RowTest() override { setBeepListener(BeepListener()); }

    void lay(const QSize &size)
    {
        row.setFixedSize(size);
        row.show();
    }

    QLabel *label() { return row.findChild<QLabel *>("label_msg"); }
    QPushButton *button() { return row.findChild<QPushButton *>("pushButton_remove"); }
    QImage picture() { return row.grab().toImage().convertToFormat(QImage::Format_RGB32); }

    std::vector<std::pair<int, int>> beeps()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_beeps;
    }

    MessageCenterItemWidget row;

private:
    std::mutex m_mutex;
    std::vector<std::pair<int, int>> m_beeps; // guarded by m_mutex
};

TEST_F(RowTest, HasTheFormsNamesAndSizes)
{
    EXPECT_EQ(QString("Form"), row.objectName());
    EXPECT_EQ(QSize(153, 61), row.size());
    ASSERT_NE(nullptr, label());
    EXPECT_EQ(QString("TextLabel"), label()->text());
    ASSERT_NE(nullptr, button());
    EXPECT_EQ(QString("X"), button()->text());
    EXPECT_EQ(QSize(40, 60), button()->minimumSize());
    EXPECT_EQ(QSize(40, 60), button()->maximumSize());
    const QHBoxLayout *const layout = qobject_cast<QHBoxLayout *>(row.layout());
    ASSERT_NE(nullptr, layout);
    EXPECT_EQ(QString("horizontalLayout_2"), layout->objectName());
    EXPECT_LT(layout->indexOf(label()), layout->indexOf(button()));
}

TEST_F(RowTest, HasTheFormsFonts)
{
    EXPECT_EQ(8, label()->font().pointSize());
    EXPECT_EQ(75, label()->font().weight());
    EXPECT_EQ(QString("unifont"), label()->font().family());
    EXPECT_EQ(QString("unifont"), row.font().family());
    EXPECT_EQ(QString("Aharoni"), button()->font().family());
    EXPECT_EQ(75, button()->font().weight());
    EXPECT_NE(75, row.font().weight());
}

TEST_F(RowTest, TellsTheHeightOfItsLayout)
{
    EXPECT_EQ(0, row.getHeight());
    lay(QSize(300, 60));
    EXPECT_EQ(60, row.getHeight());
    row.setFixedSize(300, 61);
    EXPECT_EQ(61, row.getHeight());
}

TEST_F(RowTest, KeepsTheWholeText)
{
    const QString text = QString(100000, 'W') + "\n<b>" + QChar(0);
    row.setMessage(text);
    EXPECT_EQ(text, label()->text());
    EXPECT_EQ(Qt::PlainText, label()->textFormat());
}

TEST_F(RowTest, AsksForNoMoreRoomBecauseOfItsText)
{
    const QSize hint = row.sizeHint();
    const QSize minimum = row.minimumSizeHint();
    row.setMessage(QString(100000, 'W') + QString("\nx").repeated(1000));
    EXPECT_EQ(hint, row.sizeHint());
    EXPECT_EQ(minimum, row.minimumSizeHint());
    EXPECT_EQ(60, hint.height());
}

TEST_F(RowTest, LaysOutTextAndButtonSideBySide)
{
    lay(QSize(380, 60));
    EXPECT_EQ(QRect(340, 0, 40, 60), button()->geometry());
    EXPECT_EQ(0, label()->y());
    EXPECT_EQ(60, label()->height());
    EXPECT_LE(label()->geometry().right(), 340);
    EXPECT_GT(label()->width(), 300);
}

TEST_F(RowTest, KeepsItsRightEndFree)
{
    lay(QSize(380, 60));
    row.setRightMargin(56);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(QRect(340 - 56, 0, 40, 60), button()->geometry());
    row.setRightMargin(0);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(QRect(340, 0, 40, 60), button()->geometry());
}

TEST_F(RowTest, BearsToBeTooNarrowForItsText)
{
    row.setMessage("Title\ntext");
    for (int width = 0; width < 80; width += 7) {
        row.setFixedSize(width, 60);
        EXPECT_FALSE(width > 0 && row.grab().isNull());
    }
}

/// Rows of pixels of the label that hold something other than ground.
std::vector<bool> inkedRows(const QImage &image, const QRect &area)
{
    std::vector<bool> inked;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        bool any = false;
        for (int x = area.left(); x <= area.right(); ++x)
            any = any || image.pixel(x, y) != image.pixel(area.left(), area.top());
        inked.push_back(any);
    }
    return inked;
}

int linesIn(const std::vector<bool> &inked)
{
    int lines = 0;
    for (size_t y = 1; y < inked.size(); ++y)
        lines += inked[y] && !inked[y - 1] ? 1 : 0;
    return lines;
}

TEST_F(RowTest, ShowsTitleAndText)
{
    row.setPalette(rowPalette(QColor(0x20, 0x40, 0x60)));
    lay(QSize(380, 60));
    QRect area = label()->geometry();
    area.setHeight(58); // above the line below the row
    row.setMessage("");
    EXPECT_EQ(0, linesIn(inkedRows(picture(), area)));
    row.setMessage("HHH");
    EXPECT_EQ(1, linesIn(inkedRows(picture(), area)));
    row.setMessage("HHH\nHHH");
    EXPECT_EQ(2, linesIn(inkedRows(picture(), area)));
    row.setMessage("HHH\nHHH\nHHH");
    EXPECT_EQ(3, linesIn(inkedRows(picture(), area)));
}

TEST_F(RowTest, ShowsTheTitleOfALongMessageToo)
{
    row.setPalette(rowPalette(QColor(0x20, 0x40, 0x60)));
    lay(QSize(380, 60));
    const QRect area(label()->geometry().adjusted(0, 0, 0, -2));
    row.setMessage("TITLE\n" + QString("WORD ").repeated(1000));
    const QImage titled = picture();
    row.setMessage("OTHER\n" + QString("WORD ").repeated(1000));
    const int line_height = label()->fontMetrics().lineSpacing();
    EXPECT_NE(titled.copy(area.x(), 0, area.width(), line_height + 6),
              picture().copy(area.x(), 0, area.width(), line_height + 6));
    const std::vector<bool> inked = inkedRows(titled, area);
    EXPECT_FALSE(inked.front());
    EXPECT_GE(linesIn(inked), 3);
}

TEST_F(RowTest, ShowsMarkupAsItIsWritten)
{
    lay(QSize(380, 60));
    row.setMessage("<b>x</b>");
    const QImage markup = picture();
    row.setMessage("x");
    EXPECT_NE(markup, picture());
}

TEST_F(RowTest, ShowsAnAmpersandAsItIs)
{
    lay(QSize(380, 60));
    row.setMessage("A&B");
    const QImage with = picture();
    row.setMessage("AB");
    EXPECT_NE(with, picture());
}

TEST_F(RowTest, StartsTextsFromRightToLeftAtTheRight)
{
    lay(QSize(380, 60));
    row.setMessage(QString::fromUtf8("שלום"));
    const QImage image = picture();
    const QRect area = label()->geometry();
    const QRect left(area.left(), area.top(), area.width() / 2, 58);
    EXPECT_EQ(0, linesIn(inkedRows(image, left)));
    EXPECT_EQ(1, linesIn(inkedRows(image, left.translated(area.width() / 2, 0))));
}

TEST_F(RowTest, IsRemovedByAClick)
{
    lay(QSize(380, 60));
    QSignalSpy removals(&row, SIGNAL(removeClicked()));
    QTest::mousePress(button(), Qt::LeftButton);
    EXPECT_EQ(0, removals.count());
    QTest::mouseRelease(button(), Qt::LeftButton);
    EXPECT_EQ(1, removals.count());
}

TEST_F(RowTest, ClicksWhenItsButtonIsPressed)
{
    lay(QSize(380, 60));
    EXPECT_TRUE(beeps().empty());
    QTest::mousePress(button(), Qt::LeftButton);
    ASSERT_TRUE(eventually([this] { return !beeps().empty(); }));
    QTest::mouseRelease(button(), Qt::LeftButton);
    const std::vector<std::pair<int, int>> click = {{2900, 100}};
    EXPECT_EQ(click, beeps());
}

TEST_F(RowTest, BeepsWhenAskedTo)
{
    row.makeBeep();
    ASSERT_TRUE(eventually([this] { return !beeps().empty(); }));
    EXPECT_EQ(2900, beeps().front().first);
}

} // namespace
