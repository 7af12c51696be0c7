#include "terminal/window/terminal_window.h"

#include <QApplication>
#include <QLabel>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTabBar>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <ctime>

#include "terminal/window/beep_switch.h"
#include "terminal/window/elided_text.h"
#include "terminal/window/figure_grid.h"
#include "terminal/window/line_page.h"
#include "terminal/window/line_strip.h"
#include "terminal/window/live_badge.h"
#include "terminal/window/message_button.h"
#include "terminal/window/storage_indicator.h"
#include "terminal/window/tag_table_model.h"
#include "terminal/window/tag_table_view.h"
#include "terminal/window/theme.h"
#include "terminal/window/trend_view.h"
#include "tests/terminal/window/sample_screen.h"

namespace
{

const double LongestTick = 0.25; ///< seconds; then the next one is due

const QSize Sizes[] = {QSize(800, 480), QSize(1024, 600), QSize(1280, 800), QSize(1920, 1080)};

class Window : public testing::Test
{
protected:
    template <typename Part>
    Part *part()
    {
        return m_screen.window.findChild<Part *>();
    }

    TagTableModel *model() { return part<TagTableModel>(); }
    LiveBadge *badge() { return part<LiveBadge>(); }
    TrendView *trend() { return part<TrendView>(); }

    void tap(int row)
    {
        TagTableView *const table = part<TagTableView>();
        table->scrollTo(model()->index(row, 0));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier,
                          table->visualRect(model()->index(row, 0)).center());
    }

    /// Time passes without a round.
    void wait(qint64 ms)
    {
        m_screen.clock.advance(ms);
        m_screen.window.tick();
    }

    std::string cell(int row, int column)
    {
        return model()->index(row, column).data().toString().toStdString();
    }

    SampleScreen m_screen;
};

// ---- Without a session

TEST(TerminalWindow, OpensWithoutASession)
{
    SampleScreen screen{std::vector<TagView>()};
    EXPECT_TRUE(screen.window.isVisible());
    screen.window.grab();
    screen.window.showRound({}, SessionSummary());
    screen.window.tick();
    screen.window.grab();
}

TEST(TerminalWindow, HasAClockOfItsOwn)
{
    TerminalWindow window(tagsOf(sampleRound(0)), DefaultStation, SamplePeriodMs);
    window.showRound(sampleRound(0), sampleFigures());
    EXPECT_EQ("PARTLY LIVE", window.findChild<LiveBadge *>()->title());
    const QTimer *const timer = window.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
    ASSERT_NE(nullptr, timer);
    EXPECT_TRUE(timer->isActive());
    EXPECT_EQ(250, timer->interval());
}

TEST_F(Window, TicksByItsTimer)
{
    m_screen.run(1);
    m_screen.clock.advance(20000);
    QMetaObject::invokeMethod(
        m_screen.window.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly), "timeout");
    EXPECT_EQ("NO DATA", badge()->title());
}

// ---- Rounds

TEST_F(Window, WaitsForTheFirstRound)
{
    EXPECT_EQ("WAITING", badge()->title());
    wait(3600000);
    EXPECT_EQ("WAITING", badge()->title());
    EXPECT_EQ("waiting", cell(0, TagTableModel::State));
}

TEST_F(Window, ShowsARoundWithItsFigures)
{
    m_screen.run(1);
    EXPECT_EQ("4200", cell(0, TagTableModel::Value));
    EXPECT_EQ("PARTLY LIVE", badge()->title());
    EXPECT_EQ("6 of 9", badge()->detail());
    EXPECT_EQ("14341", part<LineStrip>()->findChild<FigureGrid *>()->figure(0));
    EXPECT_EQ("10368", part<LinePage>()->findChild<FigureGrid *>()->figure(4));
}

TEST_F(Window, IsLiveWhenAllItsTagsAre)
{
    m_screen.window.showRound({tagView("a", "NA20", {1})}, sampleFigures());
    EXPECT_EQ("LIVE", badge()->title());
}

TEST_F(Window, LetsAgesGrowAndTurnsEverythingStaleWhenRoundsStop)
{
    m_screen.run(1);
    wait(1000);
    EXPECT_EQ("1080 ms", cell(0, TagTableModel::Age));
    EXPECT_EQ("ok", cell(0, TagTableModel::State));
    wait(3920);
    EXPECT_EQ("ok", cell(0, TagTableModel::State)) << "5000 ms old";
    wait(1);
    EXPECT_EQ("stale", cell(0, TagTableModel::State));
    EXPECT_EQ("0 of 9", badge()->detail());
    wait(79);
    EXPECT_EQ("PARTLY LIVE", badge()->title()) << "5000 ms without a round";
    wait(1);
    EXPECT_EQ("NO DATA", badge()->title());
    EXPECT_EQ("for 5001 ms", badge()->detail());
}

TEST_F(Window, MarksTheLinesFiguresAsOldWhenRoundsStop)
{
    m_screen.run(1);
    wait(20000);
    QStringList texts;
    for (const ElidedText *const text : m_screen.window.findChildren<ElidedText *>())
        texts << text->text();
    EXPECT_EQ(2, texts.filter("These figures are 20.0 s old.").size()) << "strip and page";
    m_screen.run(1);
    EXPECT_EQ("PARTLY LIVE", badge()->title());
    EXPECT_EQ("ok", cell(0, TagTableModel::State));
}

TEST(TerminalWindow, IsAsPatientAsItsPeriodAndTheLinesCycleDemand)
{
    FakeClock clock;
    TerminalWindow window(tagsOf(sampleRound(0)), DefaultStation, 10000,
                          [&clock] { return clock.msecsSinceBoot(); });
    const LiveBadge *const badge = window.findChild<LiveBadge *>();
    SessionSummary figures = sampleFigures();
    window.showRound(sampleRound(0), figures);
    clock.advance(30000);
    window.tick();
    EXPECT_NE("NO DATA", badge->title());
    clock.advance(1);
    window.tick();
    EXPECT_EQ("NO DATA", badge->title());

    figures.cycleMs = 20000;
    window.showRound(sampleRound(0), figures);
    clock.advance(60000);
    window.tick();
    EXPECT_NE("NO DATA", badge->title());
    clock.advance(1);
    window.tick();
    EXPECT_EQ("NO DATA", badge->title());
}

// ---- Trend

TEST_F(Window, DrawsATappedTagAndFreesItAtTheNextTap)
{
    m_screen.run(1);
    tap(1);
    EXPECT_EQ(0, model()->penOf(1));
    EXPECT_EQ(1u, trend()->data(0).runs().size()) << "it begins with the value on the screen";
    m_screen.run(5);
    EXPECT_EQ(6u, trend()->data(0).runs()[0].size());
    tap(1);
    EXPECT_EQ(-1, model()->penOf(1));
    EXPECT_TRUE(trend()->data(0).runs().empty());
}

TEST_F(Window, HasFourPensAndSaysWhenTheyAreTaken)
{
    m_screen.run(1);
    for (int row = 0; row < 4; ++row)
        tap(row);
    for (int pen = 0; pen < 4; ++pen)
        EXPECT_EQ(pen, model()->rowOfPen(pen));
    EXPECT_EQ("", trend()->hint());
    tap(4);
    EXPECT_EQ(-1, model()->penOf(4));
    EXPECT_FALSE(trend()->hint().isEmpty());
    EXPECT_LE(Theme::textWidth(Theme::smallFont(trend()->font()), trend()->hint()),
              trend()->plotArea().width());
    QTest::mouseClick(trend(), Qt::LeftButton, Qt::NoModifier, trend()->legendCell(2).center());
    EXPECT_EQ(-1, model()->rowOfPen(2));
    EXPECT_EQ("", trend()->hint());
    tap(4);
    EXPECT_EQ(2, model()->penOf(4)) << "the free pen";
}

TEST_F(Window, BreaksTheTrendWhileRoundsStop)
{
    m_screen.run(1);
    tap(1);
    m_screen.run(10);
    wait(6000);
    m_screen.run(10);
    EXPECT_EQ(2u, trend()->data(0).runs().size());
}

TEST_F(Window, BreaksTheTrendWhereNoTickCameBetween)
{
    m_screen.run(1);
    tap(1);
    m_screen.run(2);
    m_screen.clock.advance(60000);
    m_screen.run(2);
    EXPECT_EQ(2u, trend()->data(0).runs().size());
}

TEST_F(Window, DrawsNoStaleTag)
{
    m_screen.run(1);
    tap(6);
    m_screen.run(3);
    EXPECT_TRUE(trend()->data(0).runs().empty());
}

TEST_F(Window, GivesUpTheTrendWhenOtherTagsCome)
{
    m_screen.run(1);
    tap(1);
    m_screen.window.showRound({tagView("a", "NA20", {1})}, sampleFigures());
    EXPECT_TRUE(trend()->data(0).runs().empty());
    EXPECT_EQ(-1, model()->rowOfPen(0));
    m_screen.window.tick();
}

// ---- Bar

TEST_F(Window, ShowsStickAndCardApart)
{
    const QList<StorageIndicator *> indicators = m_screen.window.findChildren<StorageIndicator *>();
    ASSERT_EQ(2, indicators.size());
    m_screen.window.setStorage(sampleStick(), StorageState());
    EXPECT_EQ("USB 12.3 GB free", indicators[0]->title() + ' ' + indicators[0]->detail());
    EXPECT_EQ("Card no card", indicators[1]->title() + ' ' + indicators[1]->detail());
    m_screen.window.setStorage(StorageState(), sampleStick());
    EXPECT_EQ("no stick", indicators[0]->detail());
    EXPECT_EQ("12.3 GB free", indicators[1]->detail());
}

TEST_F(Window, TellsThatTheOperatorSwitchedTheBeeper)
{
    const QSignalSpy switched(&m_screen.window, &TerminalWindow::beepSwitched);
    m_screen.window.setBeepEnabled(true);
    EXPECT_EQ(0, switched.size());
    QTest::mouseClick(part<BeepSwitch>(), Qt::LeftButton);
    ASSERT_EQ(1, switched.size());
    EXPECT_FALSE(switched.at(0).at(0).toBool());
    EXPECT_FALSE(part<BeepSwitch>()->isOn());
}

TEST_F(Window, LightsTheBeepIndicatorForAMoment)
{
    m_screen.window.flashBeep();
    EXPECT_TRUE(part<BeepSwitch>()->isLit());
    wait(399);
    EXPECT_TRUE(part<BeepSwitch>()->isLit());
    m_screen.window.flashBeep();
    wait(399);
    EXPECT_TRUE(part<BeepSwitch>()->isLit()) << "the second beep sounds";
    wait(1);
    EXPECT_FALSE(part<BeepSwitch>()->isLit());
}

TEST_F(Window, AsksForTheMessages)
{
    const QSignalSpy requests(&m_screen.window, &TerminalWindow::messagesRequested);
    QTest::mouseClick(part<MessageButton>(), Qt::LeftButton);
    EXPECT_EQ(1, requests.size());
}

TEST_F(Window, LeavesRoomForTheMessagePanelBelowItsBar)
{
    for (const QSize size : Sizes) {
        m_screen.window.resize(size);
        QApplication::processEvents();
        const QRect anchor = m_screen.window.messageAnchor();
        const QSize room = m_screen.window.messageRoom();
        EXPECT_EQ(0, anchor.top());
        EXPECT_EQ(size.width(), anchor.width());
        EXPECT_EQ(size.width(), room.width());
        EXPECT_EQ(size.height(), anchor.bottom() + 1 + room.height());
    }
}

// ---- Pages

TEST_F(Window, SwitchesPagesByTheirTabs)
{
    QTabBar *const tabs = part<QTabBar>();
    QStackedWidget *const pages = part<QStackedWidget>();
    EXPECT_EQ("Values", tabs->tabText(0));
    EXPECT_EQ("Line", tabs->tabText(1));
    EXPECT_EQ(0, pages->currentIndex());
    QTest::mouseClick(tabs, Qt::LeftButton, Qt::NoModifier, tabs->tabRect(1).center());
    EXPECT_EQ(part<LinePage>(), pages->currentWidget());
    QTest::mouseClick(tabs, Qt::LeftButton, Qt::NoModifier, tabs->tabRect(0).center());
    EXPECT_EQ(0, pages->currentIndex());
}

TEST_F(Window, OpensTheLinesPageAtATouchOnItsStrip)
{
    QTest::mouseClick(part<LineStrip>(), Qt::LeftButton);
    EXPECT_EQ(part<LinePage>(), part<QStackedWidget>()->currentWidget());
    EXPECT_EQ(1, part<QTabBar>()->currentIndex());
}

TEST_F(Window, TakesFurtherPages)
{
    QLabel *const page = new QLabel("32 steps");
    m_screen.window.addPage("Programs", page);
    QTabBar *const tabs = part<QTabBar>();
    ASSERT_EQ(3, tabs->count());
    QApplication::processEvents();
    QTest::mouseClick(tabs, Qt::LeftButton, Qt::NoModifier, tabs->tabRect(2).center());
    EXPECT_TRUE(page->isVisible());
}

// ---- Geometry

class WindowOfSize : public testing::TestWithParam<QSize>
{
protected:
    WindowOfSize() : m_screen(sampleRound(0), GetParam())
    {
        m_screen.window.addPage("Programs", new QWidget);
        m_screen.run(1);
        QApplication::processEvents();
    }

    SampleScreen m_screen;
};

TEST_P(WindowOfSize, HoldsEveryPartWithinItself)
{
    for (int page = 0; page < 2; ++page) {
        m_screen.window.findChild<QTabBar *>()->setCurrentIndex(page);
        QApplication::processEvents();
        for (const QWidget *const child : m_screen.window.findChildren<QWidget *>()) {
            if (!child->isVisible() || child->parentWidget()->inherits("QAbstractScrollArea") ||
                child->inherits("QToolButton"))
                continue;
            EXPECT_TRUE(child->parentWidget()->rect().contains(child->geometry()))
                << child->metaObject()->className();
        }
    }
}

TEST_P(WindowOfSize, GivesEachPartTheRoomItAsksFor)
{
    const QList<QWidget *> parts =
        QList<QWidget *>() << m_screen.window.findChild<TrendView *>()
                           << m_screen.window.findChild<LineStrip *>()->findChild<FigureGrid *>()
                           << m_screen.window.findChild<LiveBadge *>()
                           << m_screen.window.findChild<BeepSwitch *>()
                           << m_screen.window.findChild<MessageButton *>()
                           << m_screen.window.findChildren<StorageIndicator *>().at(0)
                           << m_screen.window.findChildren<StorageIndicator *>().at(1);
    for (const QWidget *const part : parts) {
        EXPECT_GE(part->width(), part->sizeHint().width()) << part->metaObject()->className();
        EXPECT_GE(part->height(), part->sizeHint().height()) << part->metaObject()->className();
    }
}

TEST_P(WindowOfSize, ShowsTheLastErrorInWhole)
{
    for (const ElidedText *const text : m_screen.window.findChildren<ElidedText *>()) {
        if (text->isVisible()) {
            EXPECT_EQ(text->text(), text->visibleLines().join("")) << text->text().toStdString();
        }
    }
}

TEST_P(WindowOfSize, HasTabsForAFingerWithTheirWholeTitles)
{
    const QTabBar *const tabs = m_screen.window.findChild<QTabBar *>();
    for (int i = 0; i < tabs->count(); ++i) {
        EXPECT_GE(tabs->tabRect(i).height(), Theme::TouchTarget);
        EXPECT_GE(tabs->tabRect(i).width(),
                  Theme::textWidth(m_screen.window.font(), tabs->tabText(i)) + 8)
            << tabs->tabText(i).toStdString();
        EXPECT_TRUE(tabs->rect().contains(tabs->tabRect(i)))
            << "tab " << i << " at " << GetParam().width();
    }
}

TEST_P(WindowOfSize, ShowsAtLeastFourTags)
{
    const TagTableView *const table = m_screen.window.findChild<TagTableView *>();
    EXPECT_GE(table->viewport()->height() / table->rowHeight(0), 4);
}

TEST_P(WindowOfSize, ShowsTheStationsAccountWithoutScrollingSideways)
{
    m_screen.window.findChild<QTabBar *>()->setCurrentIndex(1);
    QApplication::processEvents();
    const TouchTable *const table =
        m_screen.window.findChild<LinePage *>()->findChild<TouchTable *>();
    EXPECT_EQ(0, table->horizontalScrollBar()->maximum());
}

TEST_P(WindowOfSize, HasOneFontInAllItsParts)
{
    for (const QWidget *const child : m_screen.window.findChildren<QWidget *>()) {
        if (child->inherits("QHeaderView") || child->parentWidget()->inherits("QHeaderView") ||
            child->inherits("QScrollBar") || child->inherits("QTableCornerButton") ||
            child->inherits("QToolButton") || child->objectName().startsWith("qt_scrollarea"))
            continue; // with a smaller font, or without texts
        EXPECT_EQ(m_screen.window.font().pixelSize(), child->font().pixelSize())
            << child->metaObject()->className();
    }
}

INSTANTIATE_TEST_SUITE_P(All, WindowOfSize, testing::ValuesIn(Sizes));

TEST_F(Window, LooksTheSameAfterItWasLarge)
{
    m_screen.run(1);
    QApplication::processEvents();
    const QImage before = m_screen.window.grab().toImage();
    for (const QSize size : {QSize(1920, 1080), QSize(800, 480)}) {
        m_screen.window.resize(size);
        QApplication::processEvents();
        EXPECT_EQ(size, m_screen.window.size());
    }
    EXPECT_EQ(before, m_screen.window.grab().toImage());
}

TEST_F(Window, SurvivesBeingTiny)
{
    m_screen.run(1);
    for (const QSize size : {QSize(320, 240), QSize(100, 50), QSize(1, 1)}) {
        m_screen.window.resize(size);
        QApplication::processEvents();
        EXPECT_FALSE(m_screen.window.grab().isNull());
    }
}

TEST_F(Window, SurvivesHostileTexts)
{
    SessionSummary figures = sampleFigures();
    figures.lastError = QString("<h1>%1</h1>\n").repeated(10000);
    figures.line.exchanges = ~quint64(0);
    figures.cycleMs = 1e300;
    std::vector<TagView> round = sampleRound(0);
    round[0].tag.name = QString(100000, 'W');
    m_screen.window.showRound(round, figures);
    tap(0);
    StorageState stick = sampleStick();
    stick.path = QString(100000, '/');
    m_screen.window.setStorage(stick, stick);
    QApplication::processEvents();
    EXPECT_EQ(QSize(800, 480), m_screen.window.size());
    EXPECT_FALSE(m_screen.window.grab().isNull());
}

// ---- Speed

TEST(TerminalWindow, IsQuickWithTenThousandTags)
{
    std::vector<TagView> round;
    round.reserve(10000);
    for (int i = 0; i < 10000; ++i)
        round.push_back(tagView(QString("tag %1").arg(i), QString("%1-NA20").arg(i % 254 + 1),
                                {static_cast<quint32>(i)}));
    SampleScreen screen(round);
    const std::clock_t begin = std::clock();
    const int rounds = 20;
    for (int i = 0; i < rounds; ++i) {
        screen.clock.advance(SamplePeriodMs);
        screen.window.showRound(round, sampleFigures());
        screen.window.tick();
        QApplication::processEvents();
    }
    // The processor's time: other processes do not count.
    const double seconds = double(std::clock() - begin) / CLOCKS_PER_SEC / rounds;
    RecordProperty("ms_per_round", static_cast<int>(1000 * seconds));
    EXPECT_LT(seconds, LongestTick);
}

} // namespace
