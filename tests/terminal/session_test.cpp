#include "terminal/session.h"

#include <chrono>
#include <map>
#include <memory>
#include <set>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fake_link.h"
#include "tests/terminal/fake_driver.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

Tag tag(const QString &address, const QString &type = "dword", int length = 1)
{
    Tag result;
    QString error;
    EXPECT_TRUE(parseTag("", address, type, QString::number(length), &result, &error));
    return result;
}

TagWrite writeOf(const Tag &tag, const QString &value)
{
    TagWrite write;
    write.tag = tag;
    QString error;
    EXPECT_TRUE(tagData(tag, value, &write.data, &error));
    return write;
}

/// A session on a driver and a line that exist in the test only. It runs on the test's thread, and
/// its time is the test's.
class SessionTest : public testing::Test
{
protected:
    SessionTest() : link(&line) {}

    void make(const QList<Tag> &tags, const QList<TagWrite> &writes = QList<TagWrite>())
    {
        SessionLine sessionLine;
        sessionLine.link = &link;
        sessionLine.selectStation = [this](int station) { line.station = station; };
        sessionLine.ageOf = [this](int station, quint32 address) {
            const auto age = ages.find({station, address});
            return age == ages.end() ? -1 : age->second;
        };
        sessionLine.stationFails = [this](int station) { return failing.count(station) > 0; };
        sessionLine.nowMs = [this] { return now; };
        sessionLine.defaultStation = 1;
        session.reset(new Session(&driver, sessionLine, tags, writes, 0,
                                  [this](const std::vector<TagView> &views) { round(views); }));
    }

    /// Runs some rounds; `between` is called after each one.
    std::vector<TagView> run(int rounds, const std::function<void(int)> &between = nullptr)
    {
        m_rounds_left = rounds;
        m_between = between;
        EXPECT_TRUE(session->run());
        return m_views;
    }

    std::vector<std::string> callsOf(const std::string &kind) const
    {
        std::vector<std::string> some;
        for (const std::string &call : driver.calls) {
            if (call.compare(0, kind.size(), kind) == 0 &&
                call.find("INITDRV0") == std::string::npos)
                some.push_back(call);
        }
        return some;
    }

    FakeLink line;
    SessionLink link;
    FakeDriver driver;
    std::map<std::pair<int, quint32>, qint64> ages;
    std::set<int> failing;
    qint64 now = 1000000;
    std::unique_ptr<Session> session;

private:
    void round(const std::vector<TagView> &views)
    {
        m_views = views;
        --m_rounds_left;
        if (m_between)
            m_between(m_rounds_left);
        if (m_rounds_left == 0)
            session->stop();
    }

    int m_rounds_left = 0;
    std::function<void(int)> m_between;
    std::vector<TagView> m_views;
};

TEST_F(SessionTest, AnnouncesTagsWithTheirPrefixAndReadsThemWithout)
{
    ages = {{{1, 0x20}, 0}, {{3, 0x21}, 0}};
    make({tag("NA20"), tag("3-NA21", "word", 2)});
    run(1);
    ASSERT_EQ(2, driver.session.size());
    EXPECT_EQ("NA20", driver.session.at(0).address);
    EXPECT_EQ("3-NA21", driver.session.at(1).address);
    EXPECT_EQ(2, driver.session.at(1).length);
    EXPECT_THAT(callsOf("read"), ElementsAre("read NA20 at 1", "read NA21 at 3"));
    EXPECT_EQ(2U, session->reads());
}

TEST_F(SessionTest, EndsAtOnceWhenTheDriverCannotStart)
{
    driver.usable = false;
    driver.standingError = [] { return "can not open database"; };
    make({tag("NA20")});
    EXPECT_FALSE(session->run());
    EXPECT_EQ("can not open database", session->lastError());
}

// ---- States

TEST_F(SessionTest, ReadsNoTagThatItsStationHasNotSentYet)
{
    make({tag("NA20")});
    const std::vector<TagView> views = run(2);
    EXPECT_EQ(TagState::Waiting, views[0].state);
    EXPECT_EQ(-1, views[0].ageMs);
    EXPECT_TRUE(views[0].items.isEmpty());
    EXPECT_THAT(callsOf("read"), IsEmpty());
}

TEST_F(SessionTest, WaitsForAllPartsOfATag)
{
    ages = {{{1, 0x20}, 0}};
    make({tag("NA20", "word", 3)});
    EXPECT_EQ(TagState::Waiting, run(1)[0].state);
    ages[{1, 0x21}] = 0;
    make({tag("NA20", "word", 3)});
    EXPECT_EQ(TagState::Ok, run(1)[0].state);
}

TEST_F(SessionTest, CallsATagFailedWhoseStationDoesNotAnswer)
{
    failing = {2};
    make({tag("NA20"), tag("2-NA20")});
    const std::vector<TagView> views = run(1);
    EXPECT_EQ(TagState::Waiting, views[0].state);
    EXPECT_EQ(TagState::Failed, views[1].state);
}

TEST_F(SessionTest, ShowsTheValueWithTheAgeOfItsOldestPart)
{
    ages = {{{1, 0x20}, 40}, {{1, 0x21}, 90}};
    driver.onRead = [](const CommunicatorCommand &) { return QByteArray::fromHex("010002000300"); };
    make({tag("NA20", "word", 3)});
    const TagView view = run(1)[0];
    EXPECT_EQ((QList<quint32>{1, 2, 3}), view.items);
    EXPECT_EQ(90, view.ageMs);
    EXPECT_EQ(TagState::Ok, view.state);
}

TEST_F(SessionTest, CallsATagFailedThatTheDriverDoesNotGiveAndKeepsItsValue)
{
    ages = {{{1, 0x20}, 0}};
    make({tag("NA20")});
    const TagView view = run(2, [this](int) {
        driver.onRead = [](const CommunicatorCommand &) { return QByteArray(); };
        now += 100;
    })[0];
    EXPECT_EQ(TagState::Failed, view.state);
    EXPECT_EQ((QList<quint32>{0x01010101U}), view.items);
    EXPECT_EQ(100, view.ageMs);
}

TEST_F(SessionTest, CallsAnswersThatAreTooShortFailed)
{
    ages = {{{1, 0x20}, 0}};
    driver.onRead = [](const CommunicatorCommand &) { return QByteArray(3, '\1'); };
    make({tag("NA20")});
    const TagView view = run(1)[0];
    EXPECT_EQ(TagState::Failed, view.state);
    EXPECT_TRUE(view.items.isEmpty());
}

TEST_F(SessionTest, CallsAValueStaleThatIsOlderThanFiveSeconds)
{
    ages = {{{1, 0x20}, 5000}, {{1, 0x21}, 5001}};
    make({tag("NA20"), tag("NA21")});
    const std::vector<TagView> views = run(1);
    EXPECT_EQ(TagState::Ok, views[0].state);
    EXPECT_EQ(TagState::Stale, views[1].state);
}

TEST_F(SessionTest, ReadsNothingWhileAnErrorStandsAndLetsValuesGrowOld)
{
    ages = {{{1, 0x20}, 0}};
    make({tag("NA20")});
    const TagView view = run(3, [this](int) {
        driver.standingError = [] { return "DMC50 no response"; };
        now += 3000;
    })[0];
    EXPECT_EQ(1U, callsOf("read").size());
    EXPECT_EQ(6000, view.ageMs);
    EXPECT_EQ(TagState::Stale, view.state);
    EXPECT_EQ((QList<quint32>{0x01010101U}), view.items);
}

TEST_F(SessionTest, GoesOnReadingWhenTheErrorHasGone)
{
    ages = {{{1, 0x20}, 0}};
    driver.standingError = [] { return "DMC50 no response"; };
    make({tag("NA20")});
    const TagView view =
        run(2, [this](int) { driver.standingError = [] { return std::string(); }; })[0];
    EXPECT_EQ(TagState::Ok, view.state);
    EXPECT_EQ("DMC50 no response", session->lastError()) << "the text stays";
}

TEST_F(SessionTest, ReadsEveryTagInEachRound)
{
    ages = {{{1, 0x20}, 0}, {{2, 0x20}, 0}};
    make({tag("NA20"), tag("2-NA20")});
    run(3);
    EXPECT_EQ(6U, session->reads());
}

// ---- Writes

TEST_F(SessionTest, WritesOnceTheTagWasRead)
{
    make({tag("2-NA20")}, {writeOf(tag("2-NA20"), "0x1234")});
    run(3, [this](int left) {
        if (left > 0) {
            EXPECT_THAT(callsOf("write"), IsEmpty());
        }
        if (left == 1)
            ages = {{{2, 0x20}, 0}};
    });
    EXPECT_THAT(callsOf("write"), ElementsAre("write NA20 at 2 34120000"));
    EXPECT_EQ(1U, session->writesDone());
    EXPECT_EQ(0U, session->writesRefused());
    EXPECT_EQ(0, session->writesLeft());
}

TEST_F(SessionTest, WritesInOrderAndOnce)
{
    ages = {{{1, 0x20}, 0}};
    const Tag each = tag("NA20", "word");
    make({each}, {writeOf(each, "1"), writeOf(each, "2")});
    run(3);
    EXPECT_THAT(callsOf("write"), ElementsAre("write NA20 at 1 0100", "write NA20 at 1 0200"));
    EXPECT_EQ(2U, session->writesDone());
}

TEST_F(SessionTest, DoesNotWaitForASilentStationToWriteToAnother)
{
    ages = {{{1, 0x20}, 0}};
    make({tag("NA20"), tag("2-NA20")}, {writeOf(tag("2-NA20"), "1"), writeOf(tag("NA20"), "2")});
    run(2);
    EXPECT_THAT(callsOf("write"), ElementsAre("write NA20 at 1 02000000"));
    EXPECT_EQ(1, session->writesLeft());
}

TEST_F(SessionTest, CountsAWriteThatTheDriverRefuses)
{
    ages = {{{1, 0x20}, 0}};
    driver.onWrite = [](const CommunicatorCommand &, const QByteArray &) { return 0; };
    make({tag("NA20")}, {writeOf(tag("NA20"), "1")});
    run(2);
    EXPECT_EQ(1U, callsOf("write").size());
    EXPECT_EQ(0U, session->writesDone());
    EXPECT_EQ(1U, session->writesRefused());
    EXPECT_EQ(0, session->writesLeft());
}

TEST_F(SessionTest, SendsAWriteAgainThatAnErrorMayHaveCost)
{
    ages = {{{1, 0x20}, 0}};
    bool down = false;
    driver.standingError = [&down] { return down ? "checksum error" : ""; };
    driver.onWrite = [&down, this](const CommunicatorCommand &, const QByteArray &) {
        down = callsOf("write").size() == 1;
        return 1;
    };
    make({tag("NA20")}, {writeOf(tag("NA20"), "1")});
    run(3, [&down](int) { down = false; });
    EXPECT_EQ(2U, callsOf("write").size());
    EXPECT_EQ(1U, session->writesDone());
}

// ---- The end

TEST_F(SessionTest, CallsTheDriverNoMoreOnceCallsAreClosed)
{
    ages = {{{1, 0x20}, 0}};
    make({tag("NA20")}, {writeOf(tag("NA20"), "1")});
    size_t calls = 0;
    run(3, [&](int left) {
        if (left == 2) {
            link.closeCalls();
            calls = driver.calls.size();
        }
    });
    EXPECT_EQ(calls, driver.calls.size());
}

TEST_F(SessionTest, CallsTheDriverNoMoreAfterAWriteInWhichItWasDestroyed)
{
    ages = {{{1, 0x20}, 0}};
    bool gone = false;
    bool calledAfterwards = false;
    driver.onWrite = [&](const CommunicatorCommand &, const QByteArray &) {
        link.closeCalls(); // another thread ends the driver while the write is in it
        gone = true;
        return 1;
    };
    driver.standingError = [&] {
        calledAfterwards = calledAfterwards || gone;
        return std::string();
    };
    make({tag("NA20")}, {writeOf(tag("NA20"), "1")});
    run(1);
    EXPECT_TRUE(gone);
    EXPECT_FALSE(calledAfterwards);
}

TEST_F(SessionTest, CanBeEndedWhileAReadWaitsInTheDriver)
{
    std::atomic<bool> inside(false);
    std::atomic<bool> destroyed(false);
    ages = {{{1, 0x20}, 0}};
    driver.onRead = [&](const CommunicatorCommand &) {
        inside = true;
        while (!destroyed)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return QByteArray();
    };
    make({tag("NA20")});
    std::thread communication([this] { session->run(); });
    while (!inside)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    session->stop();
    link.closeCalls();
    destroyed = true; // what the driver's destructor does to a waiting read
    communication.join();
    EXPECT_EQ(1U, callsOf("read").size());
}

} // namespace
