// Tags read and written, on a line with controllers that answer at once.

#include "driver/dmc50v3.h"

#include <new>

#include "cpl/dmc50_polling_thread.h"
#include "driver_probe.h"
#include "tests/support/bytes.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_link.h"
#include "tests/support/frames.h"

#include <QElapsedTimer>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>

namespace
{

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

typedef std::vector<std::pair<uint32_t, uint32_t>> Pairs;

/// Controllers whose words are 0xC0000000 + the address until they are set.
class Controllers
{
public:
    Controllers() : silent(false) {}

    void setWord(unsigned station, uint32_t address, uint32_t value)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_words[{station, address}] = value;
    }

    uint32_t word(unsigned station, uint32_t address) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto found = m_words.find({station, address});
        return found == m_words.end() ? 0xC0000000U + address : found->second;
    }

    std::string answer(const std::string &request)
    {
        if (silent)
            return std::string();
        return frames::answerFrom(*this, request);
    }

    std::atomic<bool> silent;

private:
    mutable std::mutex m_mutex;
    std::map<std::pair<unsigned, uint32_t>, uint32_t> m_words;
};

/// Lets a test act when the driver asks for the link's retries, which it does between attempts.
class WatchedLink : public FakeLink
{
public:
    WatchedLink() : stationQueries(0) {}

    int retry() override
    {
        if (onRetry)
            onRetry();
        return FakeLink::retry();
    }
    int stationId() override
    {
        ++stationQueries;
        if (onStation)
            onStation();
        return FakeLink::stationId();
    }

    std::function<void()> onRetry;
    std::function<void()> onStation;
    std::atomic<int> stationQueries;
};

class Tags : public testing::Test
{
protected:
    Tags()
    {
        link.answer = [this](const std::string &request) { return controllers.answer(request); };
        useAddresses({{1, {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x00101234}}, {2, {0x20}}});
    }

    void useAddresses(const AddressVectorMap &addresses)
    {
        probe::setValidAddresses(driver, addresses);
    }

    static CommunicatorCommand tag(int type, const QString &address, int length)
    {
        CommunicatorCommand command;
        command.dataType = type;
        command.address = address;
        command.length = length;
        return command;
    }

    QByteArray readBytes(int type, const QString &address, int length)
    {
        return driver.read(&link, tag(type, address, length));
    }

    /// The bytes of a tag in hexadecimal.
    std::string read(int type, const QString &address, int length)
    {
        return hexOf(readBytes(type, address, length));
    }

    int write(int type, const QString &address, int length, const char *data)
    {
        return driver.write(&link, tag(type, address, length), bytes(data));
    }

    PollingThread &thread() { return *probe::thread(driver); }

    void poll(const QString &address, int length, ulong lastAddress)
    {
        driver.createThread(&link);
        driver.setSessionCommand(QList<CommunicatorCommand>() << tag(3, address, length));
        ASSERT_TRUE(
            eventually([this, lastAddress] { return thread().addrInDataCache(1, lastAddress); }));
    }

    /// A thread that exists but does nothing any more, so that queues can be looked at.
    void createEndedThread()
    {
        driver.createThread(&link);
        probe::endLine(driver);
        thread().clearError();
    }

    std::vector<std::string> writesSent() const
    {
        std::vector<std::string> writes;
        for (const std::string &frame : link.sent()) {
            if (!frames::isRead(frame))
                writes.push_back(frame);
        }
        return writes;
    }

    /// The write frames on the line, once there are as many.
    std::vector<std::string> writesSent(size_t count)
    {
        EXPECT_TRUE(eventually([this, count] { return writesSent().size() >= count; }));
        return writesSent();
    }

    Controllers controllers; // controllers and link outlive the driver
    WatchedLink link;
    DriverDMC50v3 driver;
};

enum { Bit, Byte, Word, DoubleWord, QuadWord, Block, BitBlock };

// ---- Reading words -------------------------------------------------------------------------

TEST_F(Tags, AreReadLeastSignificantByteFirst)
{
    controllers.setWord(1, 0x10, 0x04030201);
    EXPECT_EQ("01 02 03 04", read(DoubleWord, "NA10", 1));
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x10})));
}

TEST_F(Tags, FailAndThrowNothingWhileThereIsNoMemory)
{
    const int type = CommunicatorCommand::DoubleWordType;
    link.onStation = [] { throw std::bad_alloc(); };
    EXPECT_EQ("", read(type, "NA10", 1));
    EXPECT_EQ(0, write(type, "NA10", 1, "01 02 03 04"));
    link.onStation = nullptr;
    EXPECT_NE("", read(type, "NA10", 1));
    EXPECT_EQ(1, write(type, "NA10", 1, "01 02 03 04"));
}

TEST_F(Tags, OfAWordAreTheFirstHalfOfADoubleWord)
{
    controllers.setWord(1, 0x10, 0x04030201);
    EXPECT_EQ("01 02", read(Word, "NA10", 1));
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x10})));
}

struct Width {
    int type;
    int length;
    const char *bytes;
    uint32_t doubleWords; ///< asked of the line
};

class TagWidth : public Tags, public testing::WithParamInterface<Width>
{
};

TEST_P(TagWidth, DecidesBytesAndDoubleWords)
{
    controllers.setWord(1, 0x10, 0x04030201);
    controllers.setWord(1, 0x11, 0x08070605);
    controllers.setWord(1, 0x12, 0x0C0B0A09);
    EXPECT_EQ(GetParam().bytes, read(GetParam().type, "NA10", GetParam().length));
    EXPECT_THAT(link.sent(),
                ElementsAre(frames::readRequest(1, frames::run(0x10, GetParam().doubleWords))));
}

INSTANTIATE_TEST_SUITE_P(Bytes, TagWidth,
                         testing::Values(Width{Byte, 1, "01", 1}, Width{Byte, 3, "01 02 03", 1},
                                         Width{Byte, 4, "01 02 03 04", 1},
                                         Width{Byte, 5, "01 02 03 04 05", 2}));
INSTANTIATE_TEST_SUITE_P(Words, TagWidth,
                         testing::Values(Width{Word, 2, "01 02 03 04", 1},
                                         Width{Word, 3, "01 02 03 04 05 06", 2},
                                         Width{Word, 5, "01 02 03 04 05 06 07 08 09 0A", 3}));
INSTANTIATE_TEST_SUITE_P(DoubleWords, TagWidth,
                         testing::Values(Width{DoubleWord, 2, "01 02 03 04 05 06 07 08", 2}));
INSTANTIATE_TEST_SUITE_P(Blocks, TagWidth,
                         testing::Values(Width{Block, 1, "01", 1},
                                         Width{Block, 9, "01 02 03 04 05 06 07 08 09", 3}));

TEST_F(Tags, MayHaveParameterAddresses)
{
    controllers.setWord(1, 0x00101234, 7);
    EXPECT_EQ("07 00 00 00", read(DoubleWord, "pa0011234", 1));
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x00101234})));
}

TEST_F(Tags, GoToTheStationOfTheLink)
{
    link.station = 2;
    EXPECT_EQ("20 00 00 C0", read(DoubleWord, "NA20", 1));
    link.station = 0x102; // the low byte counts
    EXPECT_EQ("20 00 00 C0", read(DoubleWord, "NA20", 1));
    EXPECT_THAT(link.sent(),
                ElementsAre(frames::readRequest(2, {0x20}), frames::readRequest(2, {0x20})));
}

TEST_F(Tags, OfABitAddressAreItsDoubleWord)
{
    EXPECT_EQ("10 00 00 C0", read(DoubleWord, "NA10.3", 1));
}

TEST_F(Tags, ReadZeroWhereTheProjectDefinesNothing)
{
    useAddresses({{1, {0x10, 0x12}}});
    EXPECT_EQ("10 00 00 C0 00 00 00 00 12 00 00 C0 00 00 00 00", read(DoubleWord, "NA10", 4));
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x10, 0x12})));
}

TEST_F(Tags, MayBeginWhereTheProjectDefinesNothing)
{
    useAddresses({{1, {0x12}}});
    EXPECT_EQ("00 00 00 00 00 00 00 00 12 00", read(Word, "NA10", 5));
}

TEST_F(Tags, WrapAtTheEndOfTheAddresses)
{
    useAddresses({{1, {0x0, 0xFFFFFFFF}}});
    controllers.setWord(1, 0xFFFFFFFF, 1);
    controllers.setWord(1, 0, 2);
    EXPECT_EQ("01 00 00 00 02 00 00 00", read(DoubleWord, "NAFFFFFFFF", 2));
}

AddressVector consecutive(ulong first, ulong count)
{
    AddressVector addresses;
    for (ulong i = 0; i < count; ++i)
        addresses.push_back(first + i);
    return addresses;
}

TEST_F(Tags, OfManyDoubleWordsTakeSeveralFrames)
{
    useAddresses({{1, consecutive(0x100, 300)}});
    const QByteArray read = readBytes(DoubleWord, "NA100", 60);
    ASSERT_EQ(240, read.size());
    EXPECT_EQ("3B 01 00 C0", hexOf(read.right(4)));
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, frames::run(0x100, 50)),
                                         frames::readRequest(1, frames::run(0x132, 10))));
}

TEST_F(Tags, MayHave255DoubleWords)
{
    useAddresses({{1, consecutive(0x100, 300)}});
    const QByteArray read = readBytes(DoubleWord, "NA100", 255);
    ASSERT_EQ(1020, read.size());
    EXPECT_EQ("FE 01 00 C0", hexOf(read.right(4)));
}

// The number of double words is reduced to 8 bits; the answer keeps its size.
TEST_F(Tags, OfMoreThan256DoubleWordsReadTheRestOnly)
{
    useAddresses({{1, consecutive(0x100, 300)}});
    const QByteArray read = readBytes(DoubleWord, "NA100", 258);
    EXPECT_EQ("00 01 00 C0 01 01 00 C0", hexOf(read.left(8)));
    EXPECT_EQ(QByteArray(256 * 4, '\0'), read.mid(8));
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x100, 0x101})));
}

TEST_F(Tags, OfOtherTypesAreEmpty)
{
    for (const int type : {int(QuadWord), 7, 255, -1}) {
        EXPECT_EQ("", read(type, "NA10", 1)) << type;
        EXPECT_EQ("", read(type, "no address", 1)) << type;
    }
    EXPECT_THAT(link.sent(), IsEmpty());
}

// ---- Cache and line ------------------------------------------------------------------------

TEST_F(Tags, ThatArePolledComeFromTheCache)
{
    poll("NA10", 2, 0x11);
    probe::endLine(driver);
    EXPECT_EQ("10 00 00 C0 11 00 00 C0", read(DoubleWord, "NA10", 2));
    EXPECT_EQ("10 00 00 C0", read(DoubleWord, "NA10", 1)) << "again and again";
}

TEST_F(Tags, ThatArePolledInPartAreReadOnceForTheRest)
{
    poll("NA11", 1, 0x11);
    EXPECT_EQ("10 00 00 C0 11 00 00 C0 12 00 00 C0", read(DoubleWord, "NA10", 3));
    EXPECT_THAT(link.sent(), Contains(frames::readRequest(1, {0x10, 0x12})));
}

TEST_F(Tags, ThatAreNotPolledAreReadEachTime)
{
    EXPECT_EQ("10 00 00 C0", read(DoubleWord, "NA10", 1));
    controllers.setWord(1, 0x10, 5);
    EXPECT_EQ("05 00 00 00", read(DoubleWord, "NA10", 1));
}

TEST_F(Tags, AreEmptyWhenTheLineHasAnErrorAndEnds)
{
    createEndedThread();
    thread().setCommError("broken");
    EXPECT_EQ("", read(DoubleWord, "NA10", 1));
    EXPECT_EQ("", read(Bit, "NA10.1", 1));
    EXPECT_TRUE(driver.hasError());
    EXPECT_EQ("broken", driver.getLastError());
}

TEST_F(Tags, AreEmptyWhenNoControllerAnswersAndHealThen)
{
    controllers.silent = true;
    QElapsedTimer timer;
    timer.start();
    EXPECT_EQ("", read(DoubleWord, "NA10", 1));
    EXPECT_LE(3000, timer.elapsed());
    EXPECT_EQ("read station id#1 start address 00000010:DMC50 no response",
              thread().getLastError());
    controllers.silent = false;
    EXPECT_EQ("10 00 00 C0", read(DoubleWord, "NA10", 1));
    EXPECT_FALSE(driver.hasError());
}

TEST_F(Tags, ClearTheDriversErrorWhenTheyAreRead)
{
    driver.setCommError("old");
    EXPECT_EQ("10 00 00 C0", read(DoubleWord, "NA10", 1));
    EXPECT_FALSE(driver.hasError());
    EXPECT_EQ("old", driver.getLastError());
    driver.setCommError("old");
    EXPECT_EQ("", read(QuadWord, "NA10", 1));
    EXPECT_FALSE(driver.hasError());
}

TEST_F(Tags, ClearTheDriversErrorWhenTheyAreWritten)
{
    driver.setCommError("old");
    EXPECT_EQ(1, write(DoubleWord, "NA10", 1, "01"));
    EXPECT_FALSE(driver.hasError());
}

// ---- Reading bits --------------------------------------------------------------------------

TEST_F(Tags, OfBitsBeginAtTheirBit)
{
    controllers.setWord(1, 0x10, 0x00000058); // bits 3, 4 and 6
    EXPECT_EQ("0B", read(Bit, "NA10.3", 4));
    EXPECT_EQ("0B", read(BitBlock, "NA10.3", 4));
    EXPECT_EQ(frames::readRequest(1, {0x10}), link.sent().front());
}

TEST_F(Tags, OfBitsHaveNoBitsBeyondTheirLength)
{
    controllers.setWord(1, 0x10, 0xFFFFFFFF);
    EXPECT_EQ("01", read(Bit, "NA10.0", 1));
    EXPECT_EQ("01", read(Bit, "NA10.31", 1));
    EXPECT_EQ("FF 03", read(Bit, "NA10.5", 10));
    EXPECT_EQ("FF FF FF FF", read(BitBlock, "NA10.0", 32));
}

TEST_F(Tags, OfBitsMayReachIntoTheNextDoubleWord)
{
    controllers.setWord(1, 0x10, 0xA0000000);
    controllers.setWord(1, 0x11, 0x00000005);
    EXPECT_EQ("5A", read(Bit, "NA10.28", 8));
    EXPECT_EQ(frames::readRequest(1, {0x10, 0x11}), link.sent().front());
}

TEST_F(Tags, OfBitsMayBeginBehindTheirDoubleWord)
{
    controllers.setWord(1, 0x11, 0x00000058);
    EXPECT_EQ("0B", read(Bit, "NA10.35", 4));
    EXPECT_EQ(frames::readRequest(1, {0x10, 0x11}), link.sent().front());
}

TEST_F(Tags, OfBitsReadZeroWhereTheProjectDefinesNothing)
{
    useAddresses({{1, {0x11}}});
    controllers.setWord(1, 0x11, 0xFFFFFFFF);
    EXPECT_EQ("F0 0F", read(Bit, "NA10.28", 12));
    EXPECT_THAT(link.sent(), ElementsAre(frames::readRequest(1, {0x11})));
}

TEST_F(Tags, OfBitsMayHaveParameterAddresses)
{
    controllers.setWord(1, 0x00101234, 0x80);
    EXPECT_EQ("01", read(Bit, "PA0011234.7", 1));
}

/// Bits picked one by one out of consecutive double words.
std::string pickedBits(const std::vector<uint32_t> &words, int first, int count)
{
    QByteArray picked((count + 7) / 8, '\0');
    for (int i = 0; i < count; ++i) {
        const int at = first + i;
        const uint32_t bit = words[size_t(at / 32)] >> (at % 32) & 1U;
        picked[i / 8] = static_cast<char>(static_cast<uchar>(picked[i / 8]) | (bit << (i % 8)));
    }
    return hexOf(picked);
}

TEST_F(Tags, OfBitsAreRightAtEveryPositionAndLength)
{
    const std::vector<uint32_t> words = {0x9E3779B9, 0x7F4A7C15, 0xF39CC060,
                                         0x5CEDC834, 0x1082276B, 0xF8A1D3E2};
    for (uint32_t i = 0; i < words.size(); ++i)
        controllers.setWord(1, 0x10 + i, words[i]);
    poll("NA10", 6, 0x15);
    for (int first = 0; first <= 100; ++first) {
        for (int count = 1; count <= 70; ++count) {
            ASSERT_EQ(pickedBits(words, first, count),
                      read(Bit, QString("NA10.%1").arg(first), count))
                << count << " bits from bit " << first;
        }
    }
}

TEST_F(Tags, OfNoBitsAreEmpty)
{
    EXPECT_EQ("", read(Bit, "NA10.3", 0));
}

TEST_F(Tags, OfMoreBitsThanAnArrayHoldsAreEmpty)
{
    EXPECT_EQ("", read(Bit, "NA10.3", -1));
    EXPECT_EQ("", read(Bit, "NA10.2147483647", 1));
    EXPECT_EQ("", read(Bit, "NA10.4294967295", 2147483647));
    EXPECT_EQ(0, write(Bit, "NA10.3", -1, "01"));
    EXPECT_EQ(0, write(Bit, "NA10.4294967295", 1, "01"));
    EXPECT_THAT(link.sent(), IsEmpty());
}

// ---- The driver's own tags -----------------------------------------------------------------

class InertTag : public Tags, public testing::WithParamInterface<const char *>
{
};

TEST_P(InertTag, ReadsZeros)
{
    EXPECT_EQ("00 00 00 00", read(DoubleWord, GetParam(), 1));
    EXPECT_EQ("00 00 00 00 00 00", read(Word, GetParam(), 3));
    EXPECT_EQ("00 00 00", read(Byte, GetParam(), 3));
    EXPECT_EQ("00 00", read(Bit, GetParam(), 9));
    EXPECT_EQ("00", read(BitBlock, GetParam(), 16));
    EXPECT_EQ("00 00 00 00 00 00 00 00", read(QuadWord, GetParam(), 1));
    EXPECT_EQ("", read(Word, GetParam(), 0));
    EXPECT_EQ("", read(Word, GetParam(), -1));
    EXPECT_THAT(link.sent(), IsEmpty());
}

TEST_P(InertTag, TakesWritesAndForgetsThem)
{
    createEndedThread();
    for (const int type : {int(Bit), int(Word), int(DoubleWord), int(QuadWord), 99})
        EXPECT_EQ(1, write(type, GetParam(), 1, "01 02 03 04")) << type;
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
    EXPECT_THAT(link.sent(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(InitDrv, InertTag,
                         testing::Values("INITDRV", "INITDRV0", "initdrv0", "InitDrv and more"));
INSTANTIATE_TEST_SUITE_P(LowLatency, InertTag,
                         testing::Values("LOWLATENCY", "LOWLATENCY0", "lowlatency", "LowLatency9"));
INSTANTIATE_TEST_SUITE_P(Transfer, InertTag,
                         testing::Values("VVT_", "VVT_UNKNOWN", "vvt_unknown", "Vvt_9"));

TEST_F(Tags, OfTheDriverLeaveItsErrorAlone)
{
    driver.setCommError("old");
    for (const char *address : {"INITDRV0", "LOWLATENCY", "VVT_UNKNOWN", "WRITE_QUE_SIZE0"}) {
        read(Word, address, 1);
        write(Word, address, 1, "01 00");
    }
    EXPECT_TRUE(driver.hasError());
}

TEST_F(Tags, OfTheQueueTellItsLength)
{
    createEndedThread();
    EXPECT_EQ("00 00", read(Word, "WRITE_QUE_SIZE0", 1));
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(1, write(DoubleWord, "NA10", 1, "01"));
    EXPECT_EQ("07 00", read(Word, "WRITE_QUE_SIZE0", 1));
    EXPECT_EQ("07 00 00 00 00 00 00 00", read(DoubleWord, "WRITE_QUE_SIZE0", 2));
    EXPECT_EQ("07 00", read(Word, "write_que_size", 1));
    EXPECT_EQ("07 00 00", read(Block, "Write_Que_Size9", 3));
}

TEST_F(Tags, OfTheQueueNeverExceedTheirSize)
{
    createEndedThread();
    write(DoubleWord, "NA10", 2, "01");
    EXPECT_EQ("02", read(Byte, "WRITE_QUE_SIZE0", 1));
    EXPECT_EQ("02", read(Bit, "WRITE_QUE_SIZE0", 1));
    EXPECT_EQ("", read(Word, "WRITE_QUE_SIZE0", 0));
    EXPECT_EQ("", read(Word, "WRITE_QUE_SIZE0", -1));
}

TEST_F(Tags, OfTheQueueAreThoseOfTheLinksStation)
{
    createEndedThread();
    write(DoubleWord, "NA10", 1, "01");
    link.station = 0x202;
    EXPECT_EQ("00 00", read(Word, "WRITE_QUE_SIZE0", 1));
    write(DoubleWord, "NA20", 1, "01");
    write(DoubleWord, "NA20", 1, "01");
    EXPECT_EQ("02 00", read(Word, "WRITE_QUE_SIZE0", 1));
    link.station = 77; // in no project
    EXPECT_EQ("00 00", read(Word, "WRITE_QUE_SIZE0", 1));
}

TEST_F(Tags, OfTheQueueHave16Bits)
{
    createEndedThread();
    const AddrArg pair = {0x10, 1};
    thread().writeDWords(1, std::vector<AddrArg>(0x10102, pair));
    EXPECT_EQ("02 01 00 00", read(DoubleWord, "WRITE_QUE_SIZE0", 1));
}

TEST_F(Tags, OfTheQueueTakeWritesAndForgetThem)
{
    createEndedThread();
    EXPECT_EQ(1, write(Word, "WRITE_QUE_SIZE0", 1, "01 00"));
    EXPECT_EQ(1, write(QuadWord, "write_que_size", 1, "01 00"));
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
}

// ---- While a program is read out of a controller -------------------------------------------

TEST_F(Tags, AreEmptyWhileATransferIsBusy)
{
    driver.setCommError("old");
    probe::setTransferBusy(driver, true);
    EXPECT_EQ("", read(DoubleWord, "NA10", 1));
    EXPECT_EQ("", read(Bit, "NA10.1", 1));
    EXPECT_EQ("", read(DoubleWord, "no address", 1));
    EXPECT_TRUE(driver.hasError()) << "nothing was tried";
    EXPECT_THAT(link.sent(), IsEmpty());

    probe::setTransferBusy(driver, false);
    EXPECT_EQ("10 00 00 C0", read(DoubleWord, "NA10", 1));
}

TEST_F(Tags, OfTheDriverAnswerWhileATransferIsBusy)
{
    probe::setTransferBusy(driver, true);
    EXPECT_EQ("00 00", read(Word, "INITDRV0", 1));
    EXPECT_EQ("00 00", read(Word, "LOWLATENCY", 1));
    EXPECT_EQ("00 00", read(Word, "VVT_UNKNOWN", 1));
    EXPECT_EQ("00 00", read(Word, "WRITE_QUE_SIZE0", 1));
}

TEST_F(Tags, AreWrittenWhileATransferIsBusy)
{
    probe::setTransferBusy(driver, true);
    EXPECT_EQ(1, write(DoubleWord, "NA10", 1, "05"));
    EXPECT_EQ(frames::writeRequest(1, {{0x10, 5}}), writesSent(1).front());
}

// ---- Writing words -------------------------------------------------------------------------

struct Written {
    int type;
    int length;
    const char *data;
    Pairs pairs;
};

class WrittenTag : public Tags, public testing::WithParamInterface<Written>
{
};

TEST_P(WrittenTag, BecomesPairsOnTheLine)
{
    EXPECT_EQ(1, write(GetParam().type, "NA10", GetParam().length, GetParam().data));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, GetParam().pairs)));
    EXPECT_FALSE(driver.hasError());
}

INSTANTIATE_TEST_SUITE_P(
    OfEachType, WrittenTag,
    testing::Values(Written{Byte, 1, "FE", {{0x10, 0xFE}}},
                    Written{Byte, 5, "01 02 03 04 05", {{0x10, 0x04030201}, {0x11, 0x05}}},
                    Written{Word, 1, "34 12", {{0x10, 0x1234}}},
                    Written{Word, 3, "01 02 03 04 05 06", {{0x10, 0x04030201}, {0x11, 0x0605}}},
                    Written{DoubleWord, 1, "78 56 34 F2", {{0x10, 0xF2345678}}},
                    Written{DoubleWord, 2, "01 00 00 00 02 00 00 00", {{0x10, 1}, {0x11, 2}}},
                    Written{Block, 3, "01 02 03", {{0x10, 0x030201}}}));
INSTANTIATE_TEST_SUITE_P(OfTooMuchOrTooLittle, WrittenTag,
                         testing::Values(Written{DoubleWord, 1, "", {{0x10, 0}}},
                                         Written{DoubleWord, 1, "FF", {{0x10, 0xFF}}},
                                         Written{DoubleWord, 2, "01", {{0x10, 1}, {0x11, 0}}},
                                         Written{
                                             DoubleWord, 1, "01 00 00 00 02 00 00 00", {{0x10, 1}}},
                                         Written{Word, 1, "01 02 03", {{0x10, 0x0201}}},
                                         Written{Byte, 1, "01 02", {{0x10, 0x01}}}));

TEST_F(Tags, ThatTheProjectDoesNotDefineAreNotWritten)
{
    useAddresses({{1, {0x10, 0x12}}});
    EXPECT_EQ(1, write(DoubleWord, "NA10", 3, "01 00 00 00 02 00 00 00 03 00 00 00"));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, {{0x10, 1}, {0x12, 3}})));
}

TEST_F(Tags, OfWhichTheProjectDefinesNoneAreWrittenToNobody)
{
    createEndedThread();
    EXPECT_EQ(1, write(DoubleWord, "NA999", 3, "01"));
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
    EXPECT_EQ(0, thread().getAddrArgQueueSize(1));
}

TEST_F(Tags, AreWrittenAtTheStationOfTheLink)
{
    link.station = 0x302;
    EXPECT_EQ(1, write(DoubleWord, "NA20", 1, "07"));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(2, {{0x20, 7}})));
}

TEST_F(Tags, AreWrittenAcrossTheEndOfTheAddresses)
{
    useAddresses({{1, {0x0, 0xFFFFFFFF}}});
    EXPECT_EQ(1, write(DoubleWord, "NAFFFFFFFF", 2, "01 00 00 00 02 00 00 00"));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, {{0xFFFFFFFF, 1}, {0, 2}})));
}

TEST_F(Tags, OfManyDoubleWordsAreWrittenInSeveralFrames)
{
    useAddresses({{1, consecutive(0x100, 60)}});
    Pairs pairs;
    for (uint32_t i = 0; i < 60; ++i)
        pairs.push_back({0x100 + i, 0});
    EXPECT_EQ(1, write(DoubleWord, "NA100", 60, ""));
    EXPECT_THAT(writesSent(3),
                ElementsAre(frames::writeRequest(1, Pairs(pairs.begin(), pairs.begin() + 25)),
                            frames::writeRequest(1, Pairs(pairs.begin() + 25, pairs.begin() + 50)),
                            frames::writeRequest(1, Pairs(pairs.begin() + 50, pairs.end()))));
}

TEST_F(Tags, OfOtherTypesAreNotWritten)
{
    createEndedThread();
    for (const int type : {int(QuadWord), 7, 255, -1}) {
        EXPECT_EQ(0, write(type, "NA10", 1, "01 02 03 04 05 06 07 08")) << type;
        EXPECT_EQ(0, write(type, "no address", 1, "01")) << type;
    }
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
}

TEST_F(Tags, AreTakenAsWrittenWhileTheLineHasAnError)
{
    createEndedThread();
    thread().setCommError("broken");
    EXPECT_EQ(1, write(DoubleWord, "NA10", 1, "01"));
    EXPECT_EQ(1, write(Bit, "NA10.1", 1, "01"));
    EXPECT_EQ(1, write(QuadWord, "NA10", 1, "01"));
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
    EXPECT_TRUE(driver.hasError());
}

// ---- Writing bits --------------------------------------------------------------------------

TEST_F(Tags, OfBitsChangeTheirBitsOnly)
{
    controllers.setWord(1, 0x10, 0xFFFF00FF);
    EXPECT_EQ(1, write(Bit, "NA10.6", 4, "0A")); // bits 6 to 9 become 0, 1, 0, 1
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, {{0x10, 0xFFFF02BF}})));
}

TEST_F(Tags, OfABlockOfBitsAreWrittenLikeBits)
{
    controllers.setWord(1, 0x10, 0);
    EXPECT_EQ(1, write(BitBlock, "NA10.0", 16, "55 AA"));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, {{0x10, 0xAA55}})));
}

TEST_F(Tags, OfBitsAreWrittenAcrossDoubleWords)
{
    controllers.setWord(1, 0x10, 0);
    controllers.setWord(1, 0x11, 0xFFFFFFFF);
    EXPECT_EQ(1, write(Bit, "NA10.28", 8, "0F"));
    EXPECT_THAT(writesSent(1),
                ElementsAre(frames::writeRequest(1, {{0x10, 0xF0000000}, {0x11, 0xFFFFFFF0}})));
}

TEST_F(Tags, OfBitsAreWrittenWhereTheProjectDefinesThem)
{
    useAddresses({{1, {0x10}}});
    controllers.setWord(1, 0x10, 0);
    EXPECT_EQ(1, write(Bit, "NA10.28", 8, "FF"));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, {{0x10, 0xF0000000}})));
}

TEST_F(Tags, OfBitsAreZeroWhereDataIsMissing)
{
    controllers.setWord(1, 0x10, 0xFFFFFFFF);
    EXPECT_EQ(1, write(Bit, "NA10.0", 16, "FF"));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, {{0x10, 0xFFFF00FF}})));
}

TEST_F(Tags, OfBitsIgnoreDataBeyondTheirLength)
{
    controllers.setWord(1, 0x10, 0);
    EXPECT_EQ(1, write(Bit, "NA10.0", 1, "FF FF FF FF FF FF"));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, {{0x10, 1}})));
}

TEST_F(Tags, OfBitsAreChangedInTheCachedValue)
{
    controllers.setWord(1, 0x10, 0x80);
    poll("NA10", 1, 0x10);
    probe::endLine(driver);
    EXPECT_EQ(1, write(Bit, "NA10.0", 1, "01"));
    EXPECT_EQ(1, thread().getAddrArgQueueSize(1));
}

TEST_F(Tags, OfNoBitsAreWrittenBackAsTheyWere)
{
    controllers.setWord(1, 0x10, 0x12345678);
    EXPECT_EQ(1, write(Bit, "NA10.3", 0, ""));
    EXPECT_THAT(writesSent(1), ElementsAre(frames::writeRequest(1, {{0x10, 0x12345678}})));
}

// ---- Attempts ------------------------------------------------------------------------------

// On a line that has ended every read fails at once, and so does every attempt to write bits.
class FailingWrite : public Tags, public testing::WithParamInterface<std::pair<int, int>>
{
};

TEST_P(FailingWrite, IsTriedOnceMoreThanTheLinksRetries)
{
    createEndedThread();
    link.retries = GetParam().first;
    link.stationQueries = 0;
    EXPECT_EQ(0, write(Bit, "NA10.1", 1, "01"));
    EXPECT_EQ(GetParam().second, link.stationQueries);
}

INSTANTIATE_TEST_SUITE_P(Attempts, FailingWrite,
                         testing::Values(std::make_pair(0, 1), std::make_pair(1, 2),
                                         std::make_pair(3, 4), std::make_pair(-1, 1)));

TEST_F(Tags, AreNotWrittenWhenTheLineFailsBetweenTwoAttempts)
{
    createEndedThread();
    link.retries = 5;
    link.stationQueries = 0;
    link.onRetry = [this] { thread().setCommError("broken"); };
    EXPECT_EQ(0, write(Bit, "NA10.1", 1, "01"));
    EXPECT_EQ(1, link.stationQueries);
}

TEST_F(Tags, MayBeWrittenByALaterAttempt)
{
    driver.createThread(&link);
    ASSERT_EQ("11 00 00 C0", read(DoubleWord, "NA11", 1));
    probe::endLine(driver);
    thread().clearError();
    link.retries = 2;
    link.onRetry = [this] {
        ulong address = 0x10;
        thread().readRspToDataCacheMap(1, &address, 1); // the last reply was for 0x11
    };
    EXPECT_EQ(1, write(Bit, "NA10.1", 1, "01"));
    EXPECT_EQ(1, thread().getAddrArgQueueSize(1));
}

TEST_F(Tags, AreWrittenOnce)
{
    link.retries = 3;
    createEndedThread();
    EXPECT_EQ(1, write(DoubleWord, "NA10", 1, "01"));
    EXPECT_EQ(1, thread().getAddrArgQueueSize(1));
}

// ---- Behind the tags -----------------------------------------------------------------------

TEST_F(Tags, AreCollectedWhereTheyAreValid)
{
    EXPECT_EQ(2, driver.getCommAddressesAndDataIndexes(0x10, 4, {0x0F, 0x11, 0x13, 0x14}));
    EXPECT_THAT(probe::commAddresses(driver), ElementsAre(0x11, 0x13));
    EXPECT_THAT(probe::dataIndexes(driver), ElementsAre(1, 3));
}

TEST_F(Tags, AreCollectedAnewEachTime)
{
    driver.getCommAddressesAndDataIndexes(0x10, 4, {0x10, 0x11});
    EXPECT_EQ(1, driver.getCommAddressesAndDataIndexes(0x11, 1, {0x10, 0x11}));
    EXPECT_THAT(probe::commAddresses(driver), ElementsAre(0x11));
    EXPECT_THAT(probe::dataIndexes(driver), ElementsAre(0));
    EXPECT_EQ(0, driver.getCommAddressesAndDataIndexes(0x10, 0, {0x10, 0x11}));
    EXPECT_EQ(0, driver.getCommAddressesAndDataIndexes(0x10, 255, {}));
    EXPECT_THAT(probe::commAddresses(driver), IsEmpty());
    EXPECT_THAT(probe::dataIndexes(driver), IsEmpty());
}

TEST_F(Tags, AreCollectedUpToTheGreatestCount)
{
    EXPECT_EQ(255, driver.getCommAddressesAndDataIndexes(0x100, 255, consecutive(0x100, 300)));
    EXPECT_EQ(0x1FEu, probe::commAddresses(driver).back());
    EXPECT_EQ(254, probe::dataIndexes(driver).back());
}

TEST_F(Tags, AreCollectedOnceEachFromATableWithDuplicates)
{
    EXPECT_EQ(2, driver.getCommAddressesAndDataIndexes(0x10, 2, {0x10, 0x10, 0x11, 0x11, 0x11}));
}

TEST_F(Tags, AreCollectedAcrossTheEndOfTheAddresses)
{
    EXPECT_EQ(2, driver.getCommAddressesAndDataIndexes(0xFFFFFFFF, 3, {0x1, 0xFFFFFFFF}));
    EXPECT_THAT(probe::commAddresses(driver), ElementsAre(0xFFFFFFFF, 0x1));
    EXPECT_THAT(probe::dataIndexes(driver), ElementsAre(0, 2));
}

TEST_F(Tags, AreReadAndWrittenForAnyStation)
{
    driver.createThread(&link);
    EXPECT_EQ("20 00 00 C0", hexOf(driver.readDWords(2, 0x20, 1)));
    EXPECT_EQ("01", hexOf(driver.readBits(2, "NA20.5", 1)));
    EXPECT_TRUE(driver.writeDWords(2, 0x20, bytes("05 00 00 00")));
    EXPECT_EQ(frames::writeRequest(2, {{0x20, 5}}), writesSent(1).back());
    EXPECT_EQ(1, driver.writeBits(2, "NA20.1", bytes("01"), 1));
    EXPECT_EQ(frames::writeRequest(2, {{0x20, 7}}), writesSent(2).back());
}

TEST_F(Tags, AreQueuedAsTrueEvenWhenTheThreadRefuses)
{
    createEndedThread();
    thread().setCommError("broken");
    EXPECT_TRUE(driver.writeDWords(1, 0x10, bytes("05 00 00 00")));
    EXPECT_TRUE(thread().addrArgQueueMapIsEmpty());
}

// ---- Errors of the project and of the caller -----------------------------------------------

class TagsDeathTest : public Tags
{
protected:
    TagsDeathTest() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

const char UnknownStation[] = "Assertion `it != m_valid_addresses_map.end()' failed";
const char NothingValid[] = "Assertion `rc > 0' failed";
const char NoDoubleWords[] = "Assertion `dwords.size() > 0 && dwords.size()%4==0' failed";
const char NoKnownForm[] = "Assertion `0' failed";

TEST_F(TagsDeathTest, EndsTheProgramForAStationThatIsNotInTheProject)
{
    link.station = 9;
    EXPECT_DEATH(read(DoubleWord, "NA10", 1), HasSubstr(UnknownStation));
    EXPECT_DEATH(read(Bit, "NA10.1", 1), HasSubstr(UnknownStation));
    EXPECT_DEATH(write(DoubleWord, "NA10", 1, "01"), HasSubstr(UnknownStation));
    EXPECT_DEATH(write(Bit, "NA10.1", 1, "01"), HasSubstr(UnknownStation));
}

TEST_F(TagsDeathTest, EndsTheProgramForAReadOfWhichNothingIsValid)
{
    EXPECT_DEATH(read(DoubleWord, "NA999", 3), HasSubstr(NothingValid));
    EXPECT_DEATH(read(Bit, "NA999.0", 1), HasSubstr(NothingValid));
    EXPECT_DEATH(write(Bit, "NA999.0", 1, "01"), HasSubstr(NothingValid));
}

TEST_F(TagsDeathTest, EndsTheProgramForAReadOfNothing)
{
    EXPECT_DEATH(read(Word, "NA10", 0), HasSubstr(NothingValid));
    EXPECT_DEATH(read(Word, "NA10", -1), HasSubstr(NothingValid));
    EXPECT_DEATH(read(Bit, "NA10.0", 0), HasSubstr(NothingValid));
}

// 256 double words are none in 8 bits.
TEST_F(TagsDeathTest, EndsTheProgramForAReadOf256DoubleWords)
{
    useAddresses({{1, consecutive(0x100, 300)}});
    EXPECT_DEATH(read(DoubleWord, "NA100", 256), HasSubstr(NothingValid));
    EXPECT_DEATH(read(Bit, "NA100.8191", 1), HasSubstr(NothingValid));
}

TEST_F(TagsDeathTest, EndsTheProgramForAWriteOfNothing)
{
    EXPECT_DEATH(write(Word, "NA10", 0, "01 02"), HasSubstr(NoDoubleWords));
}

TEST_F(TagsDeathTest, EndsTheProgramForMalformedDoubleWords)
{
    for (const char *data : {"", "01", "01 02 03", "01 02 03 04 05"})
        EXPECT_DEATH(driver.writeDWords(1, 0x10, bytes(data)), HasSubstr(NoDoubleWords));
}

TEST_F(TagsDeathTest, EndsTheProgramWithoutThread)
{
    EXPECT_DEATH(driver.readDWords(1, 0x10, 1), HasSubstr("Assertion `m_thread.get()' failed"));
    EXPECT_DEATH(driver.writeDWords(1, 0x10, bytes("01 00 00 00")),
                 HasSubstr("Assertion `m_thread.get()' failed"));
}

TEST_F(TagsDeathTest, EndsTheProgramForAnAddressOfNoKnownForm)
{
    for (const char *address : {"XA100", "1-NA10", "3-INITDRV0", "LOW", ""}) {
        EXPECT_DEATH(read(DoubleWord, address, 1), HasSubstr(NoKnownForm));
        EXPECT_DEATH(write(DoubleWord, address, 1, "01"), HasSubstr(NoKnownForm));
        EXPECT_DEATH(read(Bit, address, 1), HasSubstr(NoKnownForm));
        EXPECT_DEATH(write(BitBlock, address, 1, "01"), HasSubstr(NoKnownForm));
    }
    EXPECT_DEATH(read(Bit, "NA10", 1), HasSubstr(NoKnownForm));
    EXPECT_DEATH(write(Bit, "NA10", 1, "01"), HasSubstr(NoKnownForm));
}

// The text of an assertion leads the engineer to the driver's source.
TEST_F(TagsDeathTest, NamesTheSource)
{
    EXPECT_DEATH(read(DoubleWord, "XA100", 1), HasSubstr("dmc50v3.cpp"));
}

} // namespace
