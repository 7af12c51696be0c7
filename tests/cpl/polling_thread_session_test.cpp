// What a session makes the thread poll.

#include "tests/cpl/polling_thread_fixture.h"

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

typedef PollingThreadFixture PollingThreadSession;
typedef PollingThreadFixture PollingThreadSessionDeathTest;

TEST_F(PollingThreadSession, MakesItsAddressesPolled)
{
    announce({command("NA20"), command("3-NA22")});
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 1), readFrame(3, 0x22, 1)));
    EXPECT_EQ(0x20, cached(1, 0x20));
    EXPECT_EQ(0x22, cached(3, 0x22));
}

TEST_F(PollingThreadSession, OfALengthStandsForConsecutiveAddresses)
{
    announce({command("NA20", 3)});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 3)));
}

TEST_F(PollingThreadSession, AddressesAreCountedByTheLengthWhateverTheDataType)
{
    CommunicatorCommand bits = command("NA20.3", 5);
    bits.dataType = CommunicatorCommand::BitType;
    announce({bits});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 5)));
}

TEST_F(PollingThreadSession, TakesTheAddressesThatTheProjectDefines)
{
    project.clear();
    for (const ulong address : {0x1001, 0x1003, 0x1006, 0x1009, 0x100A})
        define(1, address, 1);
    announce({command("NA1000", 10)});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x1001, 0x1003, 0x1006, 0x1009})));
}

TEST_F(PollingThreadSession, TakesFirstAndLastOfTheProjectsAddresses)
{
    announce({command("NA1F"), command("NA20"), command("NA97"), command("NA98")});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x20, 0x97})));
}

TEST_F(PollingThreadSession, SortsAndMergesItsAddresses)
{
    announce({command("NA30", 2), command("NA20", 2), command("NA31", 2), command("NA21")});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x20, 0x21, 0x30, 0x31, 0x32})));
}

TEST_F(PollingThreadSession, OfALengthBelowOneAddsNothing)
{
    announce({command("NA20", 0), command("NA30", -1), command("NA40", -2147483647 - 1),
              command("NA50")});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x50, 1)));
}

TEST_F(PollingThreadSession, WrapsBehindTheHighestAddress)
{
    project.clear();
    for (const ulong address : {0x0ul, 0x1ul, 0xFFFFFFFEul, 0xFFFFFFFFul})
        define(1, address, 1);
    announce({command("NAFFFFFFFE", 4)});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0, 1, 0xFFFFFFFE, 0xFFFFFFFF})));
}

TEST_F(PollingThreadSession, ReducesAStationToEightBits)
{
    define(44, 0x20, 1);
    announce({command("300-NA20")});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(44, 0x20, 1)));
}

TEST_F(PollingThreadSession, PassesTheDriversOwnTagsOver)
{
    announce({command("INITDRV"), command("INITDRV0"), command("WRITE_QUE_SIZE0"), command("LOW"),
              command("LOWLATENCY"), command("VVT_ERROR0"), command("VVT_"), command("NA20")});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 1)));
}

TEST_F(PollingThreadSession, PassesTheDriversOwnTagsOverWhateverTheirCase)
{
    announce({command("initdrv"), command("Write_Que_Size0"), command("lowlatency"),
              command("vvt_error0"), command("NA20")});
    runRequests(1);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 1)));
}

TEST_F(PollingThreadSession, OfTheDriversOwnTagsOnlyPollsNothing)
{
    announce({command("INITDRV"), command("VVT_ENABLE0")});
    runIdles(3);
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(PollingThreadSession, ReplacesTheOneBefore)
{
    announce({command("NA20"), command("2-NA20")});
    announce({command("NA21")});
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x21, 1), readFrame(1, 0x21, 1)));
}

TEST_F(PollingThreadSession, TakesEffectAtTheNextPass)
{
    announce({command("NA20", 120)});
    onRequest = [&](int request) {
        if (request == 1)
            announce({command("2-NA30")});
    };
    runRequests(3);
    EXPECT_THAT(link.sent(),
                ElementsAre(readFrame(1, 0x20, 50), readFrame(2, 0x30, 1), readFrame(2, 0x30, 1)));
}

TEST_F(PollingThreadSession, EmptiesTheCacheWhenItTakesEffect)
{
    announce({command("NA20", 2)});
    onRequest = [&](int request) {
        if (request == 1)
            announce({command("NA20")});
        if (request == 2) {
            EXPECT_EQ(-1, cached(1, 0x20));
            EXPECT_EQ(-1, cached(1, 0x21));
        }
    };
    runRequests(2);
    EXPECT_EQ(0x20, cached(1, 0x20));
    EXPECT_EQ(-1, cached(1, 0x21));
}

TEST_F(PollingThreadSession, ThatIsEmptyPollsNothingAndEmptiesTheCache)
{
    announce({command("NA20")});
    onRequest = [&](int) { announce({}); };
    runIdles(2);
    EXPECT_THAT(link.sent(), ElementsAre(readFrame(1, 0x20, 1)));
    EXPECT_EQ(-1, cached(1, 0x20));
}

TEST_F(PollingThreadSession, CanBeEmptiedBeforeItIsTakenOver)
{
    announce({command("NA20")});
    thread().clearSessionAddrMap();
    EXPECT_EQ(1, thread().getFlag());
    runIdles(1);
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(PollingThreadSession, IsAddedToWhatIsPolledAlready)
{
    thread().pushReadAddresses(1, {0x40, 0x22, 0x20});
    thread().readAddrQueueMapToCacheAddrMap();
    announce({command("NA20", 2), command("2-NA20")});
    thread().sessionAddrMapToCacheAddrMap();
    thread().clearFlag(1);
    runRequests(2);
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x20, 0x21, 0x22, 0x40}),
                                         readFrame(2, 0x20, 1)));
}

TEST_F(PollingThreadSession, EndsWithItsAddressesAndKeepsTheOthersInOrder)
{
    thread().pushReadAddresses(1, {0x20, 0x21, 0x22, 0x23, 0x24});
    thread().pushReadAddresses(2, {0x20});
    thread().readAddrQueueMapToCacheAddrMap();
    announce({command("NA21"), command("NA23"), command("NA30"), command("3-NA20")});
    thread().clearFlag(1);
    thread().endSession();
    thread().sessionAddrMapToCacheAddrMap(); // nothing is left to be added
    runRequests(2);
    EXPECT_THAT(link.sent(),
                ElementsAre(frames::readRequest(1, {0x20, 0x22, 0x24}), readFrame(2, 0x20, 1)));
}

TEST_F(PollingThreadSession, EndsWithEverythingThatWasPolled)
{
    announce({command("NA20", 3)});
    thread().sessionAddrMapToCacheAddrMap();
    thread().clearFlag(1);
    thread().endSession();
    runIdles(2);
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_F(PollingThreadSession, OfTenThousandTagsIsPolledWhole)
{
    define(7, 0x1000, 10000);
    QList<CommunicatorCommand> session;
    for (int i = 0; i < 10000; ++i)
        session.append(
            command(("7-NA" + frames::hex(0x1000u + static_cast<unsigned>(i), 1)).c_str()));
    announce(session);
    runRequests(200);
    EXPECT_EQ(readFrame(7, 0x1000, 50), link.sent().front());
    EXPECT_EQ(readFrame(7, 0x1000 + 9950, 50), link.sent().back());
}

TEST_F(PollingThreadSessionDeathTest, ForAStationUnknownToTheProjectEndsTheProgram)
{
    const char *const text = "m_valid_addresses_map->end() != lookup_map_it";
    EXPECT_DEATH(announce({command("9-NA20")}), assertion(text));
    EXPECT_DEATH(announce({command("256-NA20")}), assertion(text));
    EXPECT_DEATH(announce({command("9-NA20", 0)}), assertion(text));
}

TEST_F(PollingThreadSessionDeathTest, WithATextOfNoKnownFormEndsTheProgram)
{
    EXPECT_DEATH(announce({command("XA100")}), assertion("0"));
    EXPECT_DEATH(announce({command("NA20"), command("")}), assertion("0"));
    EXPECT_DEATH(announce({command(" INITDRV")}), assertion("0"));
    EXPECT_DEATH(announce({command("VVTERROR")}), assertion("0"));
}

TEST_F(PollingThreadSessionDeathTest, OfWhichNoAddressIsDefinedEndsTheProgramWhenItIsTakenOver)
{
    announce({command("NA1000", 10)});
    EXPECT_DEATH(runIdles(1), assertion("av.size() > 0"));
}

TEST_F(PollingThreadSessionDeathTest, OfWhichOneStationHasNoAddressEndsTheProgramToo)
{
    announce({command("NA20"), command("2-NA20", 0)});
    EXPECT_DEATH(runIdles(1), assertion("av.size() > 0"));
}

} // namespace
