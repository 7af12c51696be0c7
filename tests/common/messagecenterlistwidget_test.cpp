#include "common/messagecenterlistwidget.h"

#include "common/messagecenteritemwidget.h"

#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QScrollBar>
#include <QWheelEvent>
#include <QtTest>

#include <gtest/gtest.h>

namespace
{

const int RowHeight = 60;
const int RowPitch = 61;

/// A list of its own, of `visible` rows.
class ListTest : public testing::Test
{
protected:
    void show(int height, int width = 400)
    {
        list.setFixedSize(width, height);
        list.show();
    }

    void addRows(int count)
    {
        for (int i = 0; i < count; ++i) {
            MessageCenterItemWidget *const row = new MessageCenterItemWidget;
            row->setFixedSize(list.width() - 4, RowHeight);
            QListWidgetItem *const item = new QListWidgetItem;
            item->setSizeHint(QSize(list.width() - 4, RowPitch));
            list.insertItem(0, item);
            list.setItemWidget(item, row);
        }
        list.determineScrollVisible();
    }

    QPushButton *up() { return list.findChild<QPushButton *>("pushButton_up"); }
    QPushButton *down() { return list.findChild<QPushButton *>("pushButton_down"); }
    QLabel *label() { return list.findChild<QLabel *>("label_page"); }

    bool scrollVisible()
    {
        EXPECT_EQ(up()->isVisible(), down()->isVisible());
        EXPECT_EQ(up()->isVisible(), label()->isVisible());
        return up()->isVisible();
    }

    int topRow() { return list.row(list.itemAt(10, 10)) + 1; }

    MessageCenterListWidget list;
};

/// Keeps the wheel events that come to a widget.
class WheelLog : public QObject
{
public:
    explicit WheelLog(QWidget *widget) { widget->installEventFilter(this); }

    QList<QPoint> deltas;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Wheel)
            deltas << static_cast<QWheelEvent *>(event)->angleDelta();
        return false;
    }
};

TEST_F(ListTest, HasNoScrollBars)
{
    EXPECT_EQ(Qt::ScrollBarAlwaysOff, list.horizontalScrollBarPolicy());
    EXPECT_EQ(Qt::ScrollBarAlwaysOff, list.verticalScrollBarPolicy());
}

TEST_F(ListTest, HasItsArrows)
{
    const struct {
        const char *path;
        QPushButton *button;
    } arrows[] = {{":/images/up_arrow.png", up()}, {":/images/down_arrow.png", down()}};
    for (const auto &arrow : arrows) {
        const QImage image(arrow.path);
        ASSERT_FALSE(image.isNull()) << arrow.path;
        EXPECT_GE(image.width(), arrow.button->iconSize().width());
        EXPECT_FALSE(arrow.button->icon().isNull());
    }
    EXPECT_EQ(QImage(":/images/up_arrow.png").mirrored(), QImage(":/images/down_arrow.png"));
}

TEST_F(ListTest, HidesItsButtonsWhileItIsEmpty)
{
    show(130);
    list.determineScrollVisible();
    EXPECT_FALSE(scrollVisible());
}

TEST_F(ListTest, HidesItsButtonsWithOneRowThatDoesNotFit)
{
    show(30);
    addRows(1);
    EXPECT_FALSE(scrollVisible());
}

TEST_F(ListTest, ShowsItsButtonsWhenTheRowsDoNotFit)
{
    for (const int rows : {2, 3, 10}) {
        list.clear();
        show(rows * RowPitch);
        addRows(rows);
        EXPECT_EQ(rows * RowPitch, list.viewport()->height());
        EXPECT_FALSE(scrollVisible()) << rows;
        show(rows * RowPitch - 1);
        EXPECT_TRUE(scrollVisible()) << rows;
        show(rows * RowPitch);
        EXPECT_FALSE(scrollVisible()) << rows;
    }
}

TEST_F(ListTest, CountsTheHeightOfRowsWithoutWidgets)
{
    show(3 * RowPitch);
    for (int i = 0; i < 3; ++i) {
        QListWidgetItem *const item = new QListWidgetItem("text", &list);
        item->setSizeHint(QSize(100, RowHeight));
    }
    list.determineScrollVisible();
    EXPECT_FALSE(scrollVisible());
    show(3 * RowPitch - 1);
    EXPECT_TRUE(scrollVisible());
}

TEST_F(ListTest, TellsTheFirstVisibleRowAndTheirNumber)
{
    show(3 * RowPitch);
    addRows(12);
    EXPECT_EQ(QString("1/12"), label()->text());
    list.verticalScrollBar()->setValue(4);
    EXPECT_EQ(QString("5/12"), label()->text());
    list.verticalScrollBar()->setValue(list.verticalScrollBar()->maximum());
    EXPECT_EQ(QString("10/12"), label()->text());
}

TEST_F(ListTest, BringsItsLabelUpToDateWithItsRows)
{
    show(3 * RowPitch);
    addRows(5);
    EXPECT_EQ(QString("1/5"), label()->text());
    addRows(1);
    EXPECT_EQ(QString("1/6"), label()->text());
    delete list.takeItem(0);
    list.determineScrollVisible();
    EXPECT_EQ(QString("1/5"), label()->text());
}

TEST_F(ListTest, SkipsARowThatBeginsAboveTheTop)
{
    show(3 * RowPitch);
    addRows(12);
    list.setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list.verticalScrollBar()->setValue(0);
    list.determineScrollVisible();
    EXPECT_EQ(QString("1/12"), label()->text());
    list.verticalScrollBar()->setValue(1);
    EXPECT_EQ(QString("2/12"), label()->text());
    list.verticalScrollBar()->setValue(RowPitch);
    EXPECT_EQ(QString("2/12"), label()->text());
    list.verticalScrollBar()->setValue(RowPitch + 1);
    EXPECT_EQ(QString("3/12"), label()->text());
}

TEST_F(ListTest, TurnsTheWheelBy200)
{
    show(3 * RowPitch);
    addRows(12);
    WheelLog wheel(list.viewport());
    list.nextClicked();
    EXPECT_EQ(QList<QPoint>() << QPoint(0, -200), wheel.deltas);
    list.previousClicked();
    EXPECT_EQ(QList<QPoint>() << QPoint(0, -200) << QPoint(0, 200), wheel.deltas);
}

TEST_F(ListTest, PagesDownAndUpWithItsButtons)
{
    show(3 * RowPitch);
    addRows(12);
    const int steps[] = {4, 7, 10, 10};
    for (const int first : steps) {
        QTest::mouseClick(down(), Qt::LeftButton);
        EXPECT_EQ(QString("%1/12").arg(first), label()->text());
        EXPECT_EQ(first, topRow());
    }
    const int back[] = {7, 4, 1, 1};
    for (const int first : back) {
        QTest::mouseClick(up(), Qt::LeftButton);
        EXPECT_EQ(QString("%1/12").arg(first), label()->text());
        EXPECT_EQ(first, topRow());
    }
}

TEST_F(ListTest, PagesFiveRowsWhereMoreAreVisible)
{
    show(8 * RowPitch);
    addRows(30);
    list.nextClicked();
    EXPECT_EQ(QString("6/30"), label()->text());
    list.previousClicked();
    EXPECT_EQ(QString("1/30"), label()->text());
}

TEST_F(ListTest, TellsThatTheOperatorHasPaged)
{
    show(3 * RowPitch);
    addRows(12);
    QSignalSpy pages(&list, SIGNAL(scrollClicked()));
    QTest::mouseClick(down(), Qt::LeftButton);
    EXPECT_EQ(1, pages.count());
    QTest::mouseClick(up(), Qt::LeftButton);
    EXPECT_EQ(2, pages.count());
    QTest::mouseClick(up(), Qt::LeftButton);
    EXPECT_EQ(3, pages.count());
}

TEST_F(ListTest, BearsToPageWithoutRows)
{
    QSignalSpy pages(&list, SIGNAL(scrollClicked()));
    list.nextClicked();
    list.previousClicked();
    EXPECT_EQ(2, pages.count());
}

TEST_F(ListTest, ShowsAndHidesItsButtonsWhenTold)
{
    show(3 * RowPitch);
    list.showScroll();
    EXPECT_TRUE(scrollVisible());
    list.hideScroll();
    EXPECT_FALSE(scrollVisible());
}

class ScrollPlaceTest : public ListTest, public testing::WithParamInterface<int>
{
};

/// List heights: one row, two, four, and what lies between.
INSTANTIATE_TEST_SUITE_P(MessageCenterListWidget, ScrollPlaceTest,
                         testing::Values(69, 100, 113, 114, 130, 252, 400));

TEST_P(ScrollPlaceTest, KeepsItsButtonsInsideApartAndLargeEnoughForAFinger)
{
    show(GetParam());
    addRows(12);
    ASSERT_TRUE(scrollVisible());
    for (QPushButton *const button : {up(), down()}) {
        EXPECT_GE(button->width(), 48);
        EXPECT_GE(button->height(), 48);
        EXPECT_TRUE(list.rect().contains(button->geometry()));
    }
    EXPECT_FALSE(up()->geometry().intersects(down()->geometry()));
    EXPECT_TRUE(list.rect().contains(label()->geometry()));
}

TEST_P(ScrollPlaceTest, CoversNoTextAndNoButtonOfARow)
{
    show(GetParam());
    addRows(12);
    QCoreApplication::sendPostedEvents();
    const QWidget *const row = list.itemWidget(list.item(0));
    const QRect remove = row->findChild<QWidget *>("pushButton_remove")->geometry();
    const QRect strip = label()->geometry();
    EXPECT_LE(row->mapTo(&list, remove.topRight()).x(), strip.left());
    EXPECT_EQ(list.width() - 4, row->width());

    list.hideScroll();
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(row->width() - 40, row->findChild<QWidget *>("pushButton_remove")->x());
}

TEST_P(ScrollPlaceTest, DoesNotClipTheLargestPage)
{
    show(GetParam());
    addRows(100);
    list.verticalScrollBar()->setValue(list.verticalScrollBar()->maximum());
    const QFontMetrics metrics(label()->font());
    EXPECT_LE(metrics.horizontalAdvance("100/100"), label()->width());
}

} // namespace
