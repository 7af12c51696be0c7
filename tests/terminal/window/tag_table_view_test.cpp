#include "terminal/window/tag_table_view.h"

#include <QApplication>
#include <QHeaderView>
#include <QMouseEvent>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QToolTip>

#include <gtest/gtest.h>

#include <ctime>

#include "terminal/window/state_sign.h"
#include "terminal/window/tag_table_model.h"
#include "terminal/window/theme.h"
#include "tests/terminal/window/tag_views.h"

namespace
{

const double LongestTick = 0.25; ///< seconds; then the next one is due

const qint64 Begin = 1000;
const qint64 StaleAfter = 5000;
const int Many = 10000;

std::vector<TagView> manyTags(int number)
{
    std::vector<TagView> views;
    views.reserve(static_cast<size_t>(number));
    for (int i = 0; i < number; ++i)
        views.push_back(tagView(QString("tag %1").arg(i), QString("%1-NA20").arg(i % 254 + 1),
                                {static_cast<quint32>(i)}));
    return views;
}

class TagTable : public testing::Test
{
protected:
    explicit TagTable(const std::vector<TagView> &views = oneOfEachState())
        : m_model(tagsOf(views), DefaultStation), m_view(&m_model)
    {
        m_view.setFont(Theme::fontFor(QSize(800, 480)));
        m_view.resize(784, 244);
        m_model.showRound(views, Begin, StaleAfter);
        m_view.show();
    }

    QRect cell(int row, int column) { return m_view.visualRect(m_model.index(row, column)); }

    void press(const QPoint &at)
    {
        QTest::mousePress(m_view.viewport(), Qt::LeftButton, Qt::NoModifier, at);
    }
    void release(const QPoint &at)
    {
        QTest::mouseRelease(m_view.viewport(), Qt::LeftButton, Qt::NoModifier, at);
    }
    void send(QEvent::Type type, const QPoint &at, ulong ms)
    {
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        const Qt::MouseButtons held =
            type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, m_view.viewport()->mapToGlobal(at), button, held,
                          Qt::NoModifier);
        event.setTimestamp(ms);
        QApplication::sendEvent(m_view.viewport(), &event);
    }

    /// A finger that goes up by that much, without haste: 10 pixels in 20 ms.
    void pull(const QPoint &from, int distance)
    {
        ulong ms = 1000;
        send(QEvent::MouseButtonPress, from, ms);
        for (int moved = 0; moved <= distance; moved += 10)
            send(QEvent::MouseMove, from - QPoint(0, moved), ms += 20);
    }
    void letGo(const QPoint &at) { send(QEvent::MouseButtonRelease, at, 5000); }

    TagTableModel m_model;
    TagTableView m_view;
};

class LongTagTable : public TagTable
{
protected:
    LongTagTable() : TagTable(manyTags(Many)) {}
};

// ---- Marks

TEST_F(TagTable, MarksEachStateByItsSurface)
{
    const QImage picture = m_view.viewport()->grab().toImage();
    const TagState states[] = {TagState::Ok, TagState::Waiting, TagState::Stale, TagState::Failed};
    for (int row = 0; row < 4; ++row)
        EXPECT_EQ(QColor(stateSurface(states[row])),
                  picture.pixelColor(cell(row, TagTableModel::Name).topLeft() + QPoint(2, 2)))
            << tagStateName(states[row]);
}

TEST_F(TagTable, MarksEachStateByASignOfItsOwn)
{
    std::vector<QImage> signs;
    for (int row = 0; row < 4; ++row) {
        QImage sign(QSize(16, 16), QImage::Format_RGB32);
        sign.fill(Qt::white);
        QPainter painter(&sign);
        paintStateSign(&painter, sign.rect(), static_cast<TagState>(row));
        painter.end();
        const QImage inGrey = sign.convertToFormat(QImage::Format_Grayscale8);
        for (const QImage &other : signs)
            EXPECT_NE(other, inGrey) << "without its colour it is another's";
        signs.push_back(inGrey);
    }
}

/// How many of the pixels in the middle of a value have the text's colour.
int inkInTheMiddle(const QImage &picture, const QRect &cell, TagState state)
{
    int most = 0;
    for (int y = cell.center().y() - 4; y <= cell.center().y() + 4; ++y) {
        int ink = 0;
        for (int x = cell.left(); x <= cell.right(); ++x)
            ink += picture.pixelColor(x, y) == QColor(stateText(state)) ? 1 : 0;
        most = qMax(most, ink);
    }
    return most;
}

TEST_F(TagTable, StrikesOutAValueThatIsNotLive)
{
    const QImage picture = m_view.viewport()->grab().toImage();
    const QFont bold = Theme::boldFont(m_view.font());
    const QRect stale = cell(2, TagTableModel::Value);
    EXPECT_GE(inkInTheMiddle(picture, stale, TagState::Stale),
              QFontMetrics(bold).horizontalAdvance("? 512") - 2);
    const QRect failed = cell(3, TagTableModel::Value);
    EXPECT_GE(inkInTheMiddle(picture, failed, TagState::Failed),
              QFontMetrics(bold).horizontalAdvance("? 3999") - 2);
    const QRect live = cell(0, TagTableModel::Value);
    EXPECT_LT(inkInTheMiddle(picture, live, TagState::Ok),
              QFontMetrics(bold).horizontalAdvance("4200") - 2);
}

TEST_F(TagTable, ShowsThePenOfATagInTheTrend)
{
    const QImage before = m_view.viewport()->grab().toImage();
    m_model.setPen(2, 0);
    const QImage after = m_view.viewport()->grab().toImage();
    const QRect name = cell(0, TagTableModel::Name);
    EXPECT_NE(before.copy(name), after.copy(name));
    const QPoint inSign(name.left() + 10, name.center().y() - 6);
    EXPECT_EQ(QColor(Theme::Pens[2]), after.pixelColor(inSign));
}

// ---- Sizes

TEST_F(TagTable, HasRowsForAFinger)
{
    EXPECT_GE(m_view.rowHeight(0), Theme::TouchTarget);
    m_view.setFont(Theme::fontFor(QSize(1920, 1080)));
    EXPECT_GE(m_view.rowHeight(0), Theme::scaled(m_view.font(), Theme::TouchTarget));
}

TEST_F(TagTable, CutsNoOrdinaryTextAtAnySize)
{
    for (const QSize window : {QSize(800, 480), QSize(1024, 600), QSize(1920, 1080)}) {
        m_view.setFont(Theme::fontFor(window));
        m_view.resize(window.width() - 2 * Theme::Gap, window.height() / 2);
        const QFont bold = Theme::boldFont(m_view.font());
        const int margin = Theme::scaled(m_view.font(), Theme::Gap);
        const int sign = Theme::scaled(m_view.font(), 16) + margin;
        const struct {
            int column;
            const char *text;
            int besides;
        } texts[] = {{TagTableModel::Name, "furnace1.temperature", sign},
                     {TagTableModel::Address, "3-PA0000021", 0},
                     {TagTableModel::Station, "255", 0},
                     {TagTableModel::Value, "? 4294967295", 0},
                     {TagTableModel::Age, "9999 ms", 0},
                     {TagTableModel::Age, "86400.0 s", 0},
                     {TagTableModel::State, "waiting", sign}};
        for (const auto &each : texts) {
            const QFont font =
                each.column == TagTableModel::Value || each.column == TagTableModel::State
                    ? bold
                    : m_view.font();
            EXPECT_LE(Theme::textWidth(font, each.text) + 2 * margin + each.besides,
                      m_view.columnWidth(each.column))
                << each.text << " at " << window.width();
        }
        EXPECT_LE(m_view.horizontalHeader()->length(), m_view.viewport()->width());
    }
}

TEST_F(TagTable, ShortensHostileNamesWithoutGrowing)
{
    std::vector<TagView> views = oneOfEachState();
    views[0].tag.name = QString(100000, 'W');
    views[1].tag.name = "<h1>not markup</h1>";
    views[2].tag.name = "two\nlines\tand" + QString(QChar(0));
    views[3].tag.text = QString(1000, '9');
    const int height = m_view.rowHeight(0);
    m_model.showRound({}, Begin, StaleAfter);
    m_model.showRound(views, Begin, StaleAfter);
    m_view.grab();
    EXPECT_EQ(height, m_view.rowHeight(0));
    EXPECT_LE(m_view.horizontalHeader()->length(), m_view.viewport()->width());
    EXPECT_GT(m_view.columnWidth(TagTableModel::Name), 100);
}

// ---- Touching

TEST_F(TagTable, TellsWhichRowWasTapped)
{
    const QSignalSpy taps(&m_view, &TouchTable::rowTapped);
    press(cell(1, 2).center());
    release(cell(1, 2).center());
    ASSERT_EQ(1, taps.size());
    EXPECT_EQ(1, taps.at(0).at(0).toInt());
}

TEST_F(TagTable, TakesATouchBelowTheLastRowForNone)
{
    m_view.resize(784, 400);
    const QSignalSpy taps(&m_view, &TouchTable::rowTapped);
    const QPoint below(100, cell(3, 0).bottom() + 20);
    press(below);
    release(below);
    EXPECT_EQ(0, taps.size());
}

QTimer *holdTimer(QObject *view)
{
    for (QTimer *const timer :
         view->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (timer->isSingleShot() && timer->interval() == 500)
            return timer;
    }
    return nullptr;
}

TEST_F(TagTable, ShowsTheWholeTagWhenAFingerRestsOnIt)
{
    QTimer *const timer = holdTimer(&m_view);
    ASSERT_NE(nullptr, timer);
    const QSignalSpy taps(&m_view, &TouchTable::rowTapped);
    press(cell(2, 0).center());
    EXPECT_TRUE(timer->isActive());
    QMetaObject::invokeMethod(timer, "timeout");
    EXPECT_TRUE(QToolTip::text().contains("furnace2.output")) << QToolTip::text().toStdString();
    release(cell(2, 0).center());
    EXPECT_EQ(0, taps.size()) << "it was no tap";
    QToolTip::hideText();
    press(cell(2, 0).center());
    release(cell(2, 0).center());
    EXPECT_FALSE(timer->isActive());
    EXPECT_EQ(1, taps.size());
}

TEST_F(LongTagTable, ScrollsWithAFingerAndTakesThatForNoTap)
{
    const QSignalSpy taps(&m_view, &TouchTable::rowTapped);
    ASSERT_EQ(0, m_view.verticalScrollBar()->value());
    pull(QPoint(200, 180), 120);
    // The rows follow with the next picture. The first five millimetres only tell a pull from a
    // tap.
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_view.verticalScrollBar()->value() > 80; }));
    letGo(QPoint(200, 60));
    EXPECT_LE(m_view.verticalScrollBar()->value(), 120);
    EXPECT_EQ(0, taps.size());
}

TEST_F(LongTagTable, TakesATrembleForATap)
{
    const QSignalSpy taps(&m_view, &TouchTable::rowTapped);
    const QPoint at = cell(1, 0).center();
    pull(at + QPoint(0, 5), 10);
    letGo(at - QPoint(0, 5));
    EXPECT_EQ(0, m_view.verticalScrollBar()->value());
    ASSERT_EQ(1, taps.size());
    EXPECT_EQ(1, taps.at(0).at(0).toInt());
}

TEST_F(LongTagTable, HasAScrollBarForAFinger)
{
    QApplication::processEvents();
    EXPECT_GE(m_view.verticalScrollBar()->width(), Theme::TouchTarget);
    EXPECT_FALSE(m_view.horizontalScrollBar()->isVisible());
}

// ---- Speed

TEST_F(LongTagTable, IsQuickWithTenThousandTags)
{
    const std::vector<TagView> round = manyTags(Many);
    const std::clock_t begin = std::clock();
    const int rounds = 20;
    for (int i = 1; i <= rounds; ++i) {
        m_model.showRound(round, Begin + i, StaleAfter);
        m_model.setNow(Begin + i + 1);
        m_view.verticalScrollBar()->setValue(i * 1000);
        m_view.grab();
    }
    // The processor's time: other processes do not count.
    const double seconds = double(std::clock() - begin) / CLOCKS_PER_SEC / rounds;
    RecordProperty("ms_per_round", static_cast<int>(1000 * seconds));
    EXPECT_LT(seconds, LongestTick);
}

} // namespace
