// Construction, settings taken from the link, flags, address texts.

#include "tests/cpl/polling_thread_fixture.h"

namespace
{

using ::testing::ElementsAre;

typedef PollingThreadFixture PollingThreadConstruction;
typedef PollingThreadFixture PollingThreadConstructionDeathTest;
typedef PollingThreadFixture PollingThreadSettings;
typedef PollingThreadFixture PollingThreadFlags;
typedef PollingThreadFixture PollingThreadAddressText;
typedef PollingThreadFixture PollingThreadAddressTextDeathTest;

// ---- Construction -------------------------------------------------------------------------------

TEST_F(PollingThreadConstruction, StartsWithoutErrorFlagsAndRequests)
{
    EXPECT_FALSE(thread().hasError());
    EXPECT_TRUE(thread().getLastError().isEmpty());
    EXPECT_EQ(0, thread().getFlag());
    EXPECT_TRUE(thread().readAddrQueueMapIsEmpty());
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
    EXPECT_EQ(0, thread().getAddrArgQueueSize(1));
    EXPECT_EQ(0, thread().numOfLowLatencyStation());
    EXPECT_EQ(-1, cached(1, 0x20));
    EXPECT_FALSE(thread().addrInReadOnceDataMap(1, 0x20));
    EXPECT_FALSE(thread().isRunning());
}

TEST_F(PollingThreadConstruction, DoesNotTouchTheLine)
{
    thread();
    EXPECT_TRUE(link.calls().empty());
}

TEST_F(PollingThreadConstructionDeathTest, WithoutALinkEndsTheProgram)
{
    EXPECT_DEATH(PollingThread(nullptr, &project, 1, &clock), assertion("m_interface != 0"));
    EXPECT_DEATH(PollingThread(nullptr, nullptr, 0, &clock), assertion("m_interface != 0"));
}

TEST_F(PollingThreadConstructionDeathTest, WithoutAnAddressTableEndsTheProgram)
{
    EXPECT_DEATH(PollingThread(&link, nullptr, 1, &clock), assertion("m_valid_addresses_map"));
    EXPECT_DEATH(PollingThread(&link, nullptr, 0, &clock), assertion("m_valid_addresses_map"));
}

TEST_F(PollingThreadConstructionDeathTest, WithDefaultStationZeroEndsTheProgram)
{
    EXPECT_DEATH(PollingThread(&link, &project, 0, &clock), assertion("m_default_station_id > 0"));
}

TEST_F(PollingThreadConstruction, TakesTheHighestStationAsDefault)
{
    PollingThread last(&link, &project, 255, &clock);
    ulong address = 0;
    uchar station = 0;
    EXPECT_TRUE(last.parseAddrStr("NA20", address, station));
    EXPECT_EQ(255, station);
}

// ---- Settings -----------------------------------------------------------------------------------

struct Setting {
    int reported;
    int used;
};

TEST_F(PollingThreadSettings, IntervalIsTheLinksFromTenMillisecondsOn)
{
    const Setting table[] = {
        {-2147483647 - 1, 10}, {-1, 10}, {0, 10}, {9, 10}, {10, 10}, {11, 11}, {20, 20},
        {5000, 5000}};
    for (const Setting &row : table) {
        link.delayMs = row.reported;
        PollingThread polling(&link, &project, 1, &clock);
        polling.setSessionCommand({command("NA20")});
        link.answer = [&polling](const std::string &request) {
            polling.stop();
            return frames::echoAddresses(request);
        };
        events.clear();
        polling.run();
        ASSERT_FALSE(events.empty());
        EXPECT_EQ("sleep " + std::to_string(row.used), events.front())
            << "reported " << row.reported;
    }
}

/// How long a reader puts up with an error that stays.
qint64 patience(FakeLink &link, AddressVectorMap &project, FakeClock &clock)
{
    PollingThread polling(&link, &project, 1, &clock);
    polling.setCommError("line is down");
    QByteArray data(4, 0);
    AddressVector misses;
    UCharVector missIndexes;
    const qint64 begin = clock.msecsSinceBoot();
    EXPECT_FALSE(polling.readDataCacheMap(1, {0x20}, {0}, data, misses, missIndexes));
    return clock.msecsSinceBoot() - begin;
}

TEST_F(PollingThreadSettings, TimeoutIsTheLinksFromThreeSecondsOn)
{
    const Setting table[] = {{-2147483647 - 1, 3000},
                             {-1, 3000},
                             {0, 3000},
                             {2999, 3000},
                             {3000, 3000},
                             {3001, 3001},
                             {9000, 9000}};
    link.retries = 9; // readers look every 10 ms; ten tries make a millisecond show
    for (const Setting &row : table) {
        link.timeoutMs = row.reported;
        EXPECT_EQ(10 * row.used, patience(link, project, clock)) << "reported " << row.reported;
    }
}

TEST_F(PollingThreadSettings, TimeoutIsWaitedToItsEndBetweenTwoLooks)
{
    link.timeoutMs = 3001;
    EXPECT_EQ(3010, patience(link, project, clock));
}

TEST_F(PollingThreadSettings, RetriesMultiplyAReadersPatience)
{
    const Setting table[] = {{0, 3000}, {1, 6000}, {2, 9000}};
    for (const Setting &row : table) {
        link.retries = row.reported;
        EXPECT_EQ(row.used, patience(link, project, clock)) << "reported " << row.reported;
    }
}

TEST_F(PollingThreadSettings, RetriesAreRepeatsOfAFailedRequest)
{
    for (const int retries : {0, 1, 2, 5}) {
        link.retries = retries;
        FakeLink &line = link;
        PollingThread polling(&line, &project, 1, &clock);
        polling.setSessionCommand({command("NA20"), command("2-NA20")});
        int requests = 0;
        line.answer = [&](const std::string &request) {
            if (frames::station(request) == 1)
                ++requests;
            else
                polling.stop();
            return std::string();
        };
        polling.run();
        EXPECT_EQ(retries + 1, requests) << "reported " << retries;
    }
}

TEST_F(PollingThreadSettings, ANegativeNumberOfRetriesDoesNotKeepTheThreadFromStopping)
{
    link.retries = -1;
    controllers = [](const std::string &) { return std::string(); };
    announce({command("NA20")});
    runRequests(50);
    EXPECT_EQ(50u, link.sent().size());
}

TEST_F(PollingThreadSettings, AreReadAtConstructionOnly)
{
    thread();
    link.delayMs = 77;
    link.retries = 5;
    link.timeoutMs = 60000;
    controllers = [](const std::string &) { return std::string(); };
    announce({command("NA20"), command("2-NA20")});
    runRequests(2);
    EXPECT_EQ("sleep " + std::to_string(int(Interval)), events.front());
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 1), readFrame(2, 0x20, 1)));
}

// ---- Flags --------------------------------------------------------------------------------------

TEST_F(PollingThreadFlags, AddUp)
{
    thread().setFlag(1);
    EXPECT_EQ(1, thread().getFlag());
    thread().setFlag(0x82);
    EXPECT_EQ(0x83, thread().getFlag());
    thread().setFlag(0);
    EXPECT_EQ(0x83, thread().getFlag());
}

TEST_F(PollingThreadFlags, AreClearedBitByBit)
{
    thread().setFlag(0xFF);
    thread().clearFlag(3);
    EXPECT_EQ(0xFC, thread().getFlag());
    thread().clearFlag(0);
    EXPECT_EQ(0xFC, thread().getFlag());
    thread().clearFlag(0xFF);
    EXPECT_EQ(0, thread().getFlag());
}

TEST_F(PollingThreadFlags, BitZeroTellsOfANewSession)
{
    announce({command("NA20")});
    EXPECT_EQ(1, thread().getFlag());
}

TEST_F(PollingThreadFlags, BitOneTellsOfAClearedSession)
{
    thread().clearSessionCommand();
    EXPECT_EQ(2, thread().getFlag());
}

TEST_F(PollingThreadFlags, AreBothClearedWhenTheLoopTakesASessionOver)
{
    announce({});
    thread().clearSessionCommand();
    EXPECT_EQ(3, thread().getFlag());
    runIdles(1);
    EXPECT_EQ(0, thread().getFlag());
}

TEST_F(PollingThreadFlags, BitOneAloneOutlivesThePasses)
{
    thread().clearSessionCommand();
    runIdles(5);
    EXPECT_EQ(2, thread().getFlag());
}

TEST_F(PollingThreadFlags, OtherBitsAreLeftAlone)
{
    announce({});
    thread().setFlag(0x84);
    runIdles(2);
    EXPECT_EQ(0x84, thread().getFlag());
}

// ---- Address texts ------------------------------------------------------------------------------

struct AddressText {
    const char *text;
    ulong address;
    int station; ///< of a thread whose default station is 9
};

TEST_F(PollingThreadAddressText, GivesAddressAndStation)
{
    const AddressText table[] = {
        {"NA1000", 0x1000, 9},
        {"na1000", 0x1000, 9},
        {"Na1000", 0x1000, 9},
        {"nA00aBcD", 0xABCD, 9},
        {"NA0", 0, 9},
        {"NAFFFFFFFF", 0xFFFFFFFF, 9},
        {"NA00000000000000020", 0x20, 9},
        {"NA100000000", 0, 9},          // does not fit 32 bits
        {"NAFFFFFFFFFFFFFFFFFF", 0, 9}, // nor 64
        {"PA0011234", 0x00101234, 9},
        {"pa00a0", 0x00A00000, 9},
        {"PA0010100000", 0x00200000, 9}, // a sum, not a combination
        {"PAFFF100000", 0, 9},           // that wraps
        {"PAFFFFFFFFFFF", 0xFFEFFFFF, 9},
        {"PA001100000000", 0x00100000, 9}, // the digits do not fit
        {"3-NA20", 0x20, 3},
        {"3-pa0011234", 0x00101234, 3},
        {"003-NA20", 0x20, 3},
        {"255-NA20", 0x20, 255},
        {"256-NA20", 0x20, 0},
        {"300-NA20", 0x20, 44},
        {"0-NA20", 0x20, 0},
        {"NA20.7", 0x20, 9}, // what follows the digits is ignored
        {"2-PA0011234.15", 0x00101234, 2},
        {"NA20-3", 0x20, 9},
        {"NA20XYZ", 0x20, 9},
    };
    PollingThread polling(&link, &project, 9, &clock);
    for (const AddressText &row : table) {
        ulong address = 1;
        uchar station = 1;
        EXPECT_TRUE(polling.parseAddrStr(QString::fromLatin1(row.text), address, station));
        EXPECT_EQ(row.address, address) << row.text;
        EXPECT_EQ(row.station, station) << row.text;
    }
}

TEST_F(PollingThreadAddressTextDeathTest, OfNoKnownFormEndsTheProgram)
{
    ulong address = 0;
    uchar station = 0;
    for (const char *text : {"XA100", "", "NA", "PA", "PA001", "PA00G0", " NA20", "-NA20", "3NA20",
                             "3--NA20", "A-NA20", "NAG", "S>NULL"}) {
        EXPECT_DEATH(thread().parseAddrStr(QString::fromLatin1(text), address, station),
                     assertion("0"))
            << text;
    }
}

} // namespace
