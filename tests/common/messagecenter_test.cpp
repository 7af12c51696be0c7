#include "tests/common/panel_fixture.h"

#include <QHBoxLayout>
#include <QProcess>
#include <QScrollBar>

#include <new>

namespace
{

const QString Title = "Title\n";

MessageCenter *createPanel(int mode = MessageCenter::AboveAnchor)
{
    return MessageCenter::initInstance(PanelMaximum, PanelInitial, mode, PanelAnchor, PanelColour);
}

// --- the one panel of the process ---

TEST(MessageCenter, IsNoneBeforeTheScreenCreatesIt)
{
    EXPECT_EQ(nullptr, MessageCenter::getInstance());
}

TEST(MessageCenter, IsCreatedOnceAndStaysAsItIs)
{
    MessageCenter *const panel = createPanel();
    const QPoint position = panel->pos();
    EXPECT_EQ(panel, MessageCenter::initInstance(QSize(1, 1), QSize(2, 2), 3, QRect(), 0));
    EXPECT_EQ(panel, MessageCenter::getInstance());
    EXPECT_EQ(PanelInitial, panel->size());
    EXPECT_EQ(position, panel->pos());
    EXPECT_EQ(QRgb(PanelColour), panel->palette().color(QPalette::Window).rgba());
    EXPECT_EQ(nullptr, panel->parent());
    delete panel;
}

TEST(MessageCenter, IsNoneAfterItsEnd)
{
    delete createPanel();
    EXPECT_EQ(nullptr, MessageCenter::getInstance());
}

TEST(MessageCenter, CanBeCreatedAgainAfterItsEnd)
{
    delete createPanel();
    MessageCenter *const panel = createPanel(MessageCenter::BelowAnchor);
    EXPECT_EQ(panel, MessageCenter::getInstance());
    delete panel;
}

TEST(MessageCenter, IsNotThePanelThatSomebodyConstructed)
{
    const MessageCenter other(PanelMaximum, PanelInitial, 0, PanelAnchor, PanelColour);
    EXPECT_EQ(nullptr, MessageCenter::getInstance());
    MessageCenter *const panel = createPanel();
    {
        const MessageCenter third(PanelMaximum, PanelInitial, 0, PanelAnchor, PanelColour);
    }
    EXPECT_EQ(panel, MessageCenter::getInstance());
    delete panel;
}

/// How a program ends that leaves its panel, or not.
int probe(const char *what)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(PANEL_PROBE, QStringList(what));
    EXPECT_TRUE(process.waitForFinished(60000));
    EXPECT_EQ(QProcess::NormalExit, process.exitStatus());
    return process.exitCode();
}

TEST(MessageCenter, MayBeLeftWhenTheApplicationEnds)
{
    EXPECT_EQ(0, probe("leave"));
}

TEST(MessageCenter, MayBeDeletedBeforeTheApplicationEnds)
{
    EXPECT_EQ(0, probe("delete"));
}

TEST(MessageCenter, MayEndWithMessagesOnTheirWay)
{
    EXPECT_EQ(0, probe("queued"));
}

TEST(MessageCenter, MayGoWithItsParent)
{
    EXPECT_EQ(0, probe("parent"));
}

// --- form ---

TEST_F(PanelTest, TakesItsPaletteFromTheColour)
{
    const int colours[] = {0, PanelColour, 0x00FFFFFF, static_cast<int>(0x80123456), -1};
    for (const int colour : colours) {
        const MessageCenter other(PanelMaximum, PanelInitial, 0, PanelAnchor, colour);
        const QRgb expected = static_cast<QRgb>(colour);
        EXPECT_EQ(expected, other.palette().color(QPalette::Window).rgba());
        EXPECT_EQ(expected ^ 0xFF000000, other.palette().color(QPalette::WindowText).rgba());
    }
}

TEST_F(PanelTest, IsFramelessAndInvisibleAtFirst)
{
    EXPECT_TRUE(panel.windowFlags() & Qt::FramelessWindowHint);
    EXPECT_FALSE(panel.isVisible());
    EXPECT_EQ(PanelInitial, panel.size());
    EXPECT_EQ(PanelInitial, panel.minimumSize());
    EXPECT_EQ(PanelInitial, panel.maximumSize());
}

TEST_F(PanelTest, HoldsItsListBelowAHeaderOf24Pixels)
{
    const QHBoxLayout *const layout = qobject_cast<QHBoxLayout *>(panel.layout());
    ASSERT_NE(nullptr, layout);
    EXPECT_EQ(24, layout->contentsMargins().top());
    EXPECT_GE(layout->indexOf(list()), 0);
    EXPECT_EQ(24, list()->y());
}

TEST_F(PanelTest, SwitchesOffWhatAListDoesByItself)
{
    EXPECT_FALSE(list()->hasAutoScroll());
    EXPECT_EQ(QAbstractItemView::NoEditTriggers, list()->editTriggers());
    EXPECT_EQ(QAbstractItemView::NoSelection, list()->selectionMode());
}

TEST_F(PanelTest, HasTimersOf100And6000Milliseconds)
{
    EXPECT_EQ(100, animation()->interval());
    EXPECT_EQ(6000, hiding()->interval());
    EXPECT_FALSE(animation()->isActive());
    EXPECT_FALSE(hiding()->isActive());
}

// --- messages ---

TEST_F(PanelTest, ShowsTitleAndTextAsOneRow)
{
    panel.showMessageAsync("DMC50", "The stick is full", true);
    ASSERT_EQ(1, rows());
    EXPECT_EQ(QString("DMC50\nThe stick is full"), text(0));
}

TEST_F(PanelTest, TakesNoPlaceMarkerOfAMessageForItsOwn)
{
    panel.showMessageAsync("%1 %2", "%2 %1", true);
    EXPECT_EQ(QString("%1 %2\n%2 %1"), text(0));
}

TEST_F(PanelTest, PutsTheNewestOnTop)
{
    post(3);
    EXPECT_EQ(Title + "3", text(0));
    EXPECT_EQ(Title + "2", text(1));
    EXPECT_EQ(Title + "1", text(2));
}

TEST_F(PanelTest, KeepsMessagesOfNobodyApart)
{
    post("same");
    post("same");
    EXPECT_EQ(2, rows());
}

TEST_F(PanelTest, ReplacesTheTextOfASender)
{
    MessageSender sender(&panel);
    sender.say("first");
    post("other");
    sender.say("second");
    ASSERT_EQ(2, rows());
    EXPECT_EQ(Title + "other", text(0));
    EXPECT_EQ(Title + "second", text(1));
}

TEST_F(PanelTest, GivesEachSenderARow)
{
    MessageSender one(&panel);
    MessageSender two(&panel);
    one.say("1");
    two.say("2");
    one.say("3");
    ASSERT_EQ(2, rows());
    EXPECT_EQ(Title + "2", text(0));
    EXPECT_EQ(Title + "3", text(1));
}

TEST_F(PanelTest, MakesRowsOf60PixelsAndFourLessThanTheListsWidth)
{
    post(5);
    deliverAll();
    for (int i = 0; i < rows(); ++i) {
        EXPECT_EQ(QSize(list()->width() - 4, 60), row(i)->size());
        EXPECT_EQ(60, row(i)->getHeight());
    }
    EXPECT_EQ(61, row(1)->y() - row(0)->y());
    EXPECT_EQ(384, list()->width());
}

TEST_F(PanelTest, KeepsARowsSizeWhateverItHolds)
{
    post(QString(100000, 'W'));
    post(QString("a\n").repeated(50000));
    post("<table width=9000 height=9000><tr><td>x</table>");
    deliverAll();
    for (int i = 0; i < rows(); ++i) {
        EXPECT_EQ(QSize(list()->width() - 4, 60), row(i)->size());
        EXPECT_EQ(QSize(40, 60), removeButton(i)->size());
    }
    EXPECT_EQ(400, panel.width());
}

TEST_F(PanelTest, KeepsOneHundredRows)
{
    post(100);
    EXPECT_EQ(100, rows());
    EXPECT_EQ(Title + "1", text(99));
}

TEST_F(PanelTest, PushesTheOldestRowOutWithTheHundredAndFirst)
{
    post(101);
    ASSERT_EQ(100, rows());
    EXPECT_EQ(Title + "101", text(0));
    EXPECT_EQ(Title + "2", text(99));
    deliverAll();
    EXPECT_EQ(100, rowWidgets());
}

TEST_F(PanelTest, GivesASenderANewRowWhenItsRowWasPushedOut)
{
    MessageSender sender(&panel);
    sender.say("first");
    post(100);
    sender.say("second");
    ASSERT_EQ(100, rows());
    EXPECT_EQ(Title + "second", text(0));
    sender.say("third");
    EXPECT_EQ(100, rows());
    EXPECT_EQ(Title + "third", text(0));
}

TEST_F(PanelTest, ShowsTheNewestEvenWhenTheOperatorHasPagedOn)
{
    post(12);
    deliverAll();
    list()->nextClicked();
    ASSERT_GT(list()->verticalScrollBar()->value(), 0);
    post("newest");
    EXPECT_EQ(0, list()->verticalScrollBar()->value());
}

TEST_F(PanelTest, PostsATestMessage)
{
    panel.testMessage();
    ASSERT_EQ(1, rows());
    EXPECT_EQ(QString("test\nsdfsdf"), text(0));
}

TEST_F(PanelTest, DropsMessagesWhileItRejectsThem)
{
    EXPECT_FALSE(panel.rejectedMessage());
    panel.setRejectMessage(true);
    EXPECT_TRUE(panel.rejectedMessage());
    const QPoint position = panel.pos();
    MessageSender sender(&panel);
    MessageSender queued(&panel, Qt::QueuedConnection);
    sender.say("dropped");
    queued.say("dropped");
    deliverAll();
    EXPECT_EQ(0, rows());
    EXPECT_EQ(position, panel.pos());
    EXPECT_FALSE(panel.isVisible());
    EXPECT_FALSE(hiding()->isActive());

    panel.setRejectMessage(false);
    sender.say("shown");
    EXPECT_EQ(1, rows());
}

TEST_F(PanelTest, LeavesARowAsItIsWhileItRejectsMessages)
{
    MessageSender sender(&panel);
    sender.say("first");
    panel.setRejectMessage(true);
    sender.say("second");
    EXPECT_EQ(Title + "first", text(0));
}

// --- removing ---

TEST_F(PanelTest, RemovesTheRowWhoseButtonIsTouched)
{
    post(3);
    QTest::mouseClick(removeButton(1), Qt::LeftButton);
    ASSERT_EQ(2, rows());
    EXPECT_EQ(Title + "3", text(0));
    EXPECT_EQ(Title + "1", text(1));
    deliverAll();
    EXPECT_EQ(2, rowWidgets());
}

TEST_F(PanelTest, KeepsTheRowWhenTheFingerLeavesTheButton)
{
    post(1);
    QTest::mousePress(removeButton(0), Qt::LeftButton);
    QTest::mouseRelease(removeButton(0), Qt::LeftButton, {}, QPoint(-50, -50));
    EXPECT_EQ(1, rows());
}

TEST_F(PanelTest, RemovesTheRowOfTheSignallingObject)
{
    MessageSender one(&panel);
    MessageSender two(&panel);
    one.say("1");
    two.say("2");
    emit one.removeMessage();
    ASSERT_EQ(1, rows());
    EXPECT_EQ(Title + "2", text(0));
    emit one.removeMessage();
    EXPECT_EQ(1, rows());
}

TEST_F(PanelTest, RemovesNothingForNobody)
{
    post(2);
    panel.removeMessageAsync();
    EXPECT_EQ(2, rows());
}

TEST_F(PanelTest, GivesASenderANewRowAfterTheOperatorRemovedItsOld)
{
    MessageSender sender(&panel);
    sender.say("first");
    post("other");
    QTest::mouseClick(removeButton(1), Qt::LeftButton);
    deliverAll();
    sender.say("second");
    ASSERT_EQ(2, rows());
    EXPECT_EQ(Title + "second", text(0));
}

TEST_F(PanelTest, BlocksItsSignalsWhileItRemoves)
{
    MessageSender sender(&panel);
    sender.say("first");
    post("second");
    int removals = 0;
    QObject::connect(list()->model(), &QAbstractItemModel::rowsRemoved, [&] {
        ++removals;
        EXPECT_TRUE(panel.signalsBlocked());
    });
    emit sender.removeMessage();
    QTest::mouseClick(removeButton(0), Qt::LeftButton);
    EXPECT_EQ(2, removals);
    EXPECT_FALSE(panel.signalsBlocked());
}

TEST_F(PanelTest, LeavesItsSignalsBlockedWhenSomebodyElseBlockedThem)
{
    post(1);
    panel.blockSignals(true);
    QTest::mouseClick(removeButton(0), Qt::LeftButton);
    EXPECT_EQ(0, rows());
    EXPECT_TRUE(panel.signalsBlocked());
}

TEST_F(PanelTest, SurvivesARowThatGoesUnderTheFinger)
{
    MessageSender sender(&panel);
    sender.say("first");
    QPointer<QPushButton> button = removeButton(0);
    QTest::mousePress(button, Qt::LeftButton);
    emit sender.removeMessage();
    ASSERT_FALSE(button.isNull());
    QTest::mouseRelease(button, Qt::LeftButton);
    deliverAll();
    EXPECT_TRUE(button.isNull());
    EXPECT_EQ(0, rows());
}

TEST_F(PanelTest, SurvivesARowThatIsPushedOutUnderTheFinger)
{
    post(100);
    QPointer<QPushButton> button = removeButton(99);
    QTest::mousePress(button, Qt::LeftButton);
    post("one more");
    deliverAll();
    EXPECT_TRUE(button.isNull());
    EXPECT_EQ(100, rows());
}

TEST_F(PanelTest, RemovesRowsWhileItSlides)
{
    post(3);
    panel.animatedShow();
    elapse(animation());
    QTest::mouseClick(removeButton(1), Qt::LeftButton);
    deliverAll();
    EXPECT_EQ(2, rows());
    post("another");
    EXPECT_EQ(3, rows());
}

TEST_F(PanelTest, RemovesAllRowsOneByOneFromAPage)
{
    post(12);
    deliverAll();
    list()->nextClicked();
    while (rows() > 0) {
        QTest::mouseClick(removeButton(rows() / 2), Qt::LeftButton);
        deliverAll();
    }
    EXPECT_EQ(40, panel.height());
    EXPECT_EQ(0, rowWidgets());
}

// --- senders that go ---

TEST_F(PanelTest, KeepsTheRowOfASenderThatIsGone)
{
    {
        MessageSender sender(&panel);
        sender.say("last words");
    }
    deliverAll();
    ASSERT_EQ(1, rows());
    EXPECT_EQ(Title + "last words", text(0));
}

/// Two senders, one after the other, at one address.
class ReusedAddressTest : public PanelTest
{
protected:
    void destroyAndReuse(Qt::ConnectionType type)
    {
        MessageSender *const first = new (m_storage) MessageSender(&panel, type);
        first->say("first");
        first->~MessageSender();
        MessageSender *const second = new (m_storage) MessageSender(&panel, type);
        second->say("second");
        deliverAll();
        EXPECT_EQ(2, rows());
        EXPECT_EQ(Title + "second", text(0));
        EXPECT_EQ(Title + "first", text(1));
        second->~MessageSender();
    }

private:
    alignas(MessageSender) unsigned char m_storage[sizeof(MessageSender)];
};

TEST_F(ReusedAddressTest, GivesALaterSenderARowOfItsOwn)
{
    destroyAndReuse(Qt::DirectConnection);
}

TEST_F(ReusedAddressTest, GivesALaterQueuedSenderARowOfItsOwn)
{
    destroyAndReuse(Qt::QueuedConnection);
}

TEST_F(PanelTest, ForgetsASenderWhoseMessageStillWaits)
{
    MessageSender sender(&panel, Qt::QueuedConnection);
    sender.say("first");
    QMetaObject::invokeMethod(&panel, "forgetSender", Qt::QueuedConnection,
                              Q_ARG(QObject *, &sender));
    sender.say("second");
    deliverAll();
    ASSERT_EQ(2, rows());
    EXPECT_EQ(Title + "second", text(0));
    EXPECT_EQ(Title + "first", text(1));
}

} // namespace
