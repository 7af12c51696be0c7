// Messages that come through the event queue, few and many.

#include "tests/common/panel_fixture.h"

#include <QMap>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace
{

const QString Title = "Title\n";

class QueuedPanelTest : public PanelTest
{
protected:
    QueuedPanelTest() : sender(&panel, Qt::QueuedConnection) {}

    /// Queues a message of nobody.
    void queue(const QString &text)
    {
        QMetaObject::invokeMethod(&panel, "showMessageAsync", Qt::QueuedConnection,
                                  Q_ARG(QString, "Title"), Q_ARG(QString, text), Q_ARG(bool, true));
    }

    void queue(int count)
    {
        for (int i = 1; i <= count; ++i)
            queue(QString::number(i));
    }

    MessageSender sender;
};

TEST_F(QueuedPanelTest, ShowsAMessageWithinTheNextRoundOfEvents)
{
    sender.say("text");
    EXPECT_EQ(0, rows());
    QCoreApplication::processEvents();
    ASSERT_EQ(1, rows());
    EXPECT_EQ(Title + "text", text(0));
    EXPECT_EQ(QPoint(299, 199), panel.pos());
    EXPECT_TRUE(panel.isVisible());
}

TEST_F(QueuedPanelTest, KnowsTheSender)
{
    sender.say("first");
    deliverAll();
    queue("other");
    sender.say("second");
    deliverAll();
    ASSERT_EQ(2, rows());
    EXPECT_EQ(Title + "other", text(0));
    EXPECT_EQ(Title + "second", text(1));
}

TEST_F(QueuedPanelTest, KeepsOneRowForASenderThatRepeatsItself)
{
    sender.say("first");
    queue("other");
    sender.say("second");
    deliverAll();
    ASSERT_EQ(2, rows());
    EXPECT_EQ(Title + "other", text(0));
    EXPECT_EQ(Title + "second", text(1));
}

TEST_F(QueuedPanelTest, KeepsTheOrderOfWhatIsQueuedTogether)
{
    queue(5);
    deliverAll();
    ASSERT_EQ(5, rows());
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(Title + QString::number(5 - i), text(i));
}

TEST_F(QueuedPanelTest, PutsADirectMessageAboveThoseThatWereDeliveredBefore)
{
    sender.say("queued");
    QMetaObject::invokeMethod(
        qApp, [this] { post("direct"); }, Qt::QueuedConnection);
    queue("queued later");
    deliverAll();
    ASSERT_EQ(3, rows());
    EXPECT_EQ(Title + "queued later", text(0));
    EXPECT_EQ(Title + "direct", text(1));
    EXPECT_EQ(Title + "queued", text(2));
}

TEST_F(QueuedPanelTest, LetsTheLastMessageDecideHowThePanelAppears)
{
    emit sender.showMessage("Title", "1", false);
    emit sender.showMessage("Title", "2", true);
    deliverAll();
    EXPECT_FALSE(animation()->isActive());
    EXPECT_EQ(QPoint(299, 199), panel.pos());
    emit sender.showMessage("Title", "3", true);
    emit sender.showMessage("Title", "4", false);
    deliverAll();
    EXPECT_TRUE(animation()->isActive());
}

TEST_F(QueuedPanelTest, RemovesAMessageThatIsTakenBackAtOnce)
{
    sender.say("text");
    emit sender.removeMessage();
    deliverAll();
    EXPECT_EQ(0, rows());
    EXPECT_EQ(QPoint(299, 341), panel.pos());
    sender.say("another");
    deliverAll();
    EXPECT_EQ(1, rows());
}

TEST_F(QueuedPanelTest, RemovesAMessageThatIsTakenBackWhileItIsHeld)
{
    queue(150);
    sender.say("text");
    emit sender.removeMessage();
    deliverAll();
    ASSERT_EQ(100, rows());
    EXPECT_EQ(Title + "150", text(0));
    EXPECT_EQ(Title + "51", text(99));
}

TEST_F(QueuedPanelTest, KeepsOneRowForASenderThatRepeatsItselfWhileItIsHeld)
{
    queue(120);
    sender.say("first");
    queue("other");
    sender.say("second");
    deliverAll();
    ASSERT_EQ(100, rows());
    EXPECT_EQ(Title + "other", text(0));
    EXPECT_EQ(Title + "second", text(1));
    EXPECT_EQ(Title + "120", text(2));
}

TEST_F(QueuedPanelTest, ChangesARowWhileNewOnesAreHeld)
{
    sender.say("first");
    deliverAll();
    for (int i = 0; i < 150; ++i)
        sender.say(QString::number(i));
    sender.say("last");
    queue("other");
    deliverAll();
    ASSERT_EQ(2, rows());
    EXPECT_EQ(Title + "other", text(0));
    EXPECT_EQ(Title + "last", text(1));
}

TEST_F(QueuedPanelTest, ForgetsASenderWhileItsMessageIsHeld)
{
    queue(120);
    sender.say("first");
    QMetaObject::invokeMethod(&panel, "forgetSender", Qt::QueuedConnection,
                              Q_ARG(QObject *, &sender));
    sender.say("second");
    deliverAll();
    ASSERT_EQ(100, rows());
    EXPECT_EQ(Title + "second", text(0));
    EXPECT_EQ(Title + "first", text(1));
}

TEST_F(QueuedPanelTest, PutsADirectMessageAboveThoseThatAreHeld)
{
    queue(120);
    QMetaObject::invokeMethod(
        qApp, [this] { post("direct"); }, Qt::QueuedConnection);
    queue("queued later");
    deliverAll();
    ASSERT_EQ(100, rows());
    EXPECT_EQ(Title + "queued later", text(0));
    EXPECT_EQ(Title + "direct", text(1));
    EXPECT_EQ(Title + "120", text(2));
}

TEST_F(QueuedPanelTest, LetsTheLastHeldMessageDecideHowThePanelAppears)
{
    queue(120);
    emit sender.showMessage("Title", "1", false);
    deliverAll();
    EXPECT_TRUE(animation()->isActive());
}

TEST_F(QueuedPanelTest, ShowsAMessageThatFollowsARemoval)
{
    sender.say("first");
    deliverAll();
    emit sender.removeMessage();
    sender.say("second");
    deliverAll();
    ASSERT_EQ(1, rows());
    EXPECT_EQ(Title + "second", text(0));
}

TEST_F(QueuedPanelTest, KeepsTheLatestHundredOfWhatIsQueuedTogether)
{
    queue(250);
    deliverAll();
    ASSERT_EQ(100, rows());
    EXPECT_EQ(Title + "250", text(0));
    EXPECT_EQ(Title + "151", text(99));
    EXPECT_EQ(100, rowWidgets());
}

TEST_F(QueuedPanelTest, LosesNoMessageOfASenderWhoseRowIsAboutToBePushedOut)
{
    for (const int others : {98, 99, 100, 101, 150, 199, 200, 250}) {
        sender.say("first");
        deliverAll();
        queue(others);
        sender.say("second");
        deliverAll();
        int found = 0;
        for (int i = 0; i < rows(); ++i)
            found += text(i) == Title + "second" ? 1 : 0;
        EXPECT_EQ(1, found) << others;
        emit sender.removeMessage();
        deliverAll();
    }
}

TEST_F(QueuedPanelTest, HidesAgainAfterAFlood)
{
    queue(1000);
    deliverAll();
    elapse(hiding());
    finishSlide();
    EXPECT_EQ(QPoint(299, 341), panel.pos());
}

// --- ten threads ---

const int Threads = 10;
const int MessagesPerThread = 10000;
const int HeartbeatMs = 10;
/// What the user interface may work between two heartbeats. Counted as its thread's own time, for
/// eleven threads may share one processor. Instrumented and emulated code takes more of it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__arm__)
const qint64 LongestWorkMs = 30000;
#else
const qint64 LongestWorkMs = 3000;
#endif

qint64 threadTimeMs()
{
    timespec time;
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

/// What a thread says.
typedef std::function<void(int thread, int number)> Speaker;

class FloodTest : public PanelTest
{
protected:
    FloodTest() : PanelTest(MessageCenter::AboveAnchor, QSize(400, 440)) {}

    /// Lets the threads speak while the user interface runs, and watches it.
    void flood(const Speaker &speak)
    {
        QTimer heartbeat;
        QObject::connect(&heartbeat, &QTimer::timeout, [this] { watch(); });
        heartbeat.start(HeartbeatMs);
        m_last_beat = threadTimeMs();
        std::atomic<int> running(Threads);
        std::vector<std::thread> threads;
        threads.reserve(Threads);
        for (int thread = 0; thread < Threads; ++thread) {
            threads.emplace_back([&speak, &running, thread] {
                for (int number = 1; number <= MessagesPerThread; ++number)
                    speak(thread, number);
                --running;
            });
        }
        while (running > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        for (std::thread &thread : threads)
            thread.join();
        QCoreApplication::processEvents();
        watch();
        deliverAll();
        report();
    }

    qint64 m_longest_work = 0; ///< between two heartbeats, ms of the thread's own time
    int m_most_rows = 0;
    int m_most_widgets = 0;

private:
    void watch()
    {
        const qint64 now = threadTimeMs();
        m_longest_work = std::max(m_longest_work, now - m_last_beat);
        m_last_beat = now;
        m_most_rows = std::max(m_most_rows, rows());
        m_most_widgets = std::max(m_most_widgets, rowWidgets());
    }

    void report() const
    {
        std::printf("longest work without a heartbeat %lld ms, at most %d rows, %d row widgets\n",
                    static_cast<long long>(m_longest_work), m_most_rows, m_most_widgets);
    }

    qint64 m_last_beat = 0;
};

TEST_F(FloodTest, ShowsTheLastMessageOfEachOfTenBusySenders)
{
    std::vector<std::unique_ptr<MessageSender>> senders;
    senders.reserve(Threads);
    for (int i = 0; i < Threads; ++i)
        senders.emplace_back(new MessageSender(&panel, Qt::QueuedConnection));
    flood([&senders](int thread, int number) {
        senders.at(static_cast<size_t>(thread))->say(QString("%1 of %2").arg(number).arg(thread));
    });

    ASSERT_EQ(Threads, rows());
    QStringList texts;
    for (int i = 0; i < Threads; ++i)
        texts << text(i);
    for (int thread = 0; thread < Threads; ++thread)
        EXPECT_TRUE(texts.contains(Title + QString("%1 of %2").arg(MessagesPerThread).arg(thread)));
    EXPECT_LE(m_most_widgets, 10);
    EXPECT_LT(m_longest_work, LongestWorkMs);
}

/// The number in a text "number of thread".
int numberIn(const QString &text)
{
    return text.mid(Title.size()).section(' ', 0, 0).toInt();
}

TEST_F(FloodTest, KeepsTheLatestHundredOfAHundredThousandPassingSenders)
{
    flood([this](int thread, int number) {
        MessageSender passing(&panel, Qt::QueuedConnection);
        passing.say(QString("%1 of %2").arg(number).arg(thread));
    });

    ASSERT_EQ(100, rows());
    QMap<QString, int> last;
    for (int i = 0; i < rows(); ++i) {
        const QString thread = text(i).section(' ', -1);
        const int number = numberIn(text(i));
        EXPECT_LT(number, last.value(thread, MessagesPerThread + 1));
        last[thread] = number;
    }
    EXPECT_EQ(MessagesPerThread, numberIn(text(0)));
    EXPECT_LE(m_most_rows, 100);
    // The old ones go a round later: two batches of a hundred have come by then.
    EXPECT_LE(m_most_widgets, 300);
    EXPECT_LT(m_longest_work, LongestWorkMs);
}

} // namespace
