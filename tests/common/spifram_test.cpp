#include "common/spifram.h"

#include "tests/hmi/message_log.h"
#include "tests/support/bytes.h"
#include "tests/support/spidev_bed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <linux/spi/spidev.h>
#include <thread>

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

const int LastAddress = Fm25v02::Size - 1;

/// A device node, and what the process has to drive it.
class FramBed : public testing::Test
{
protected:
    explicit FramBed(SpidevBed::Device device = SpidevBed::Present) : bed(device) {}
    ~FramBed() override { delete g_pSpiFram; }

    /// Opens the device. What that printed is in `output`.
    SpiFram *open()
    {
        testing::internal::CaptureStdout();
        SpiFram *const opened = SpiFram::instance();
        output = testing::internal::GetCapturedStdout();
        return opened;
    }

    bool write(unsigned int address, const char *text)
    {
        QByteArray data = bytes(text);
        return SpiFram::instance()->write(address, data.data(),
                                          static_cast<unsigned int>(data.size()));
    }

    std::string read(unsigned int address, unsigned int length)
    {
        QByteArray data(static_cast<int>(length), '\x55');
        const bool done = SpiFram::instance()->read(address, data.data(), length);
        return done ? hexOf(data) : "failed";
    }

    void fillChip(int address, const char *text)
    {
        const QByteArray data = bytes(text);
        bed.withChip([&](Fm25v02 &chip) {
            for (int i = 0; i < data.size(); ++i) {
                chip.setByteAt((address + i) % Fm25v02::Size, static_cast<uint8_t>(data.at(i)));
            }
        });
    }

    std::string chipBytes(int address, int length)
    {
        QByteArray data;
        bed.withChip([&](Fm25v02 &chip) {
            for (int i = 0; i < length; ++i) {
                data += static_cast<char>(chip.byteAt((address + i) % Fm25v02::Size));
            }
        });
        return hexOf(data);
    }

    bool latch()
    {
        bool open = false;
        bed.withChip([&](Fm25v02 &chip) { open = chip.latch(); });
        return open;
    }

    SpidevBed bed;
    MessageLog log;
    std::string output;
};

typedef FramBed SpiFramSetUp;
typedef FramBed SpiFramFrames;
typedef FramBed SpiFramFailures;
typedef FramBed SpiFramThreads;

class SpiFramWithoutDevice : public FramBed
{
protected:
    SpiFramWithoutDevice() : FramBed(SpidevBed::Absent) {}
};

// --- set-up ---

TEST_F(SpiFramSetUp, AsksForModeBitsAndSpeedInThisOrder)
{
    open();
    EXPECT_THAT(bed.setUpRequests(),
                ElementsAre(SPI_IOC_RD_MODE, SPI_IOC_WR_MODE, SPI_IOC_RD_BITS_PER_WORD,
                            SPI_IOC_RD_MAX_SPEED_HZ));
    EXPECT_THAT(bed.frames(), IsEmpty());
}

TEST_F(SpiFramSetUp, PrintsTheSpeedAndNothingElse)
{
    bed.setMaxSpeed(12345678);
    open();
    EXPECT_EQ("============================================================> "
              "Fram speed: 12345678 Hz (12345 KHz)\n",
              output);
}

TEST_F(SpiFramSetUp, WritesTheModeBackAsItWasRead)
{
    bed.setMode(SPI_MODE_3);
    open();
    EXPECT_THAT(bed.writtenModes(), ElementsAre(SPI_MODE_3));
}

TEST_F(SpiFramSetUp, TransfersWithTheSpeedAndTheWordLengthOfTheDriver)
{
    bed.setMaxSpeed(33000000);
    bed.setBitsPerWord(16);
    open();
    read(0, 2);
    write(0, "01");
    EXPECT_THAT(bed.speeds(), ElementsAre(33000000u));
    EXPECT_THAT(bed.wordLengths(), ElementsAre(16));
}

struct Refusal {
    unsigned long request;
    const char *message;
};

void PrintTo(const Refusal &refusal, std::ostream *out)
{
    *out << refusal.message;
}

class SpiFramRefusedSetUp : public FramBed, public testing::WithParamInterface<Refusal>
{
};

TEST_P(SpiFramRefusedSetUp, IsPrintedAndStopsNothing)
{
    bed.refuse(GetParam().request);
    fillChip(7, "A5");
    open();
    EXPECT_EQ(0u, output.find(GetParam().message + std::string("\n"))) << output;
    EXPECT_THAT(output, HasSubstr("Fram speed: "));
    EXPECT_EQ(4u, bed.setUpRequests().size());
    EXPECT_EQ("A5", read(7, 1));
}

INSTANTIATE_TEST_SUITE_P(
    EachStep, SpiFramRefusedSetUp,
    testing::Values(Refusal{SPI_IOC_RD_MODE, "can't get spi mode"},
                    Refusal{SPI_IOC_WR_MODE, "can't set spi mode"},
                    Refusal{SPI_IOC_RD_BITS_PER_WORD, "can't get bits per word"},
                    Refusal{SPI_IOC_RD_MAX_SPEED_HZ, "can't get max speed hz"}));

TEST_F(SpiFramSetUp, KeepsItsDefaultsWhereTheDriverTellsNothing)
{
    bed.refuse(SPI_IOC_RD_BITS_PER_WORD);
    bed.refuse(SPI_IOC_RD_MAX_SPEED_HZ);
    open();
    read(0, 1);
    EXPECT_THAT(output, HasSubstr("Fram speed: 20000000 Hz (20000 KHz)\n"));
    EXPECT_THAT(bed.speeds(), ElementsAre(20000000u));
    EXPECT_THAT(bed.wordLengths(), ElementsAre(8));
}

TEST_F(SpiFramSetUp, PrintsEveryRefusal)
{
    for (const unsigned long request :
         {SPI_IOC_RD_MODE, SPI_IOC_WR_MODE, SPI_IOC_RD_BITS_PER_WORD, SPI_IOC_RD_MAX_SPEED_HZ}) {
        bed.refuse(request);
    }
    open();
    EXPECT_EQ("can't get spi mode\ncan't set spi mode\ncan't get bits per word\n"
              "can't get max speed hz\n"
              "============================================================> "
              "Fram speed: 20000000 Hz (20000 KHz)\n",
              output);
}

// --- the one object ---

TEST_F(SpiFramSetUp, IsOneObjectToWhichTheGlobalPoints)
{
    EXPECT_EQ(nullptr, g_pSpiFram);
    SpiFram *const first = open();
    EXPECT_EQ(first, g_pSpiFram);
    EXPECT_EQ(first, SpiFram::instance());
    EXPECT_EQ(1u, bed.openDescriptors().size());
}

TEST_F(SpiFramSetUp, ClosesTheDeviceWhenDeletedAndOpensItAnew)
{
    delete open();
    EXPECT_EQ(nullptr, g_pSpiFram);
    EXPECT_THAT(bed.openDescriptors(), IsEmpty());
    fillChip(3, "77");
    open();
    EXPECT_EQ("77", read(3, 1));
}

TEST_F(SpiFramSetUp, IsOneObjectForThreadsThatAskAtOnce)
{
    std::atomic<int> waiting(8);
    std::vector<SpiFram *> seen(8);
    std::vector<std::thread> threads;
    threads.reserve(seen.size());
    for (SpiFram *&slot : seen) {
        threads.emplace_back([&] {
            --waiting;
            while (waiting > 0) {
                std::this_thread::yield();
            }
            slot = SpiFram::instance();
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_THAT(seen, testing::Each(g_pSpiFram));
    EXPECT_EQ(4u, bed.setUpRequests().size());
}

TEST_F(SpiFramSetUp, DoesNotHandTheDeviceToProgramsThatAreStarted)
{
    open();
    const std::vector<int> descriptors = bed.openDescriptors();
    ASSERT_EQ(1u, descriptors.size());
    EXPECT_EQ(FD_CLOEXEC, ::fcntl(descriptors[0], F_GETFD));
}

// --- frames ---

TEST_F(SpiFramFrames, ReadSendsOpcodeAndAddressAndReceivesInTheSameMessage)
{
    fillChip(0x1234, "DE AD BE EF");
    EXPECT_EQ("DE AD BE EF", read(0x1234, 4));
    EXPECT_THAT(bed.frames(), ElementsAre("03 12 34 > DE AD BE EF"));
}

TEST_F(SpiFramFrames, WriteGoesOutBetweenWriteEnableAndWriteDisable)
{
    EXPECT_TRUE(write(0x0102, "CA FE 00"));
    EXPECT_THAT(bed.frames(), ElementsAre("06", "02 01 02 CA FE 00", "04"));
    EXPECT_EQ("CA FE 00", chipBytes(0x0102, 3));
    EXPECT_FALSE(latch());
}

TEST_F(SpiFramFrames, WriteLeavesTheCallersDataAlone)
{
    char data[] = {1, 2, 3};
    EXPECT_TRUE(SpiFram::instance()->write(0, data, sizeof data));
    EXPECT_THAT(data, ElementsAre(1, 2, 3));
}

TEST_F(SpiFramFrames, ReadTouchesNothingBehindTheCallersBytes)
{
    fillChip(0, "11 22 33 44");
    char data[] = {9, 9, 9, 9};
    EXPECT_TRUE(SpiFram::instance()->read(0, data, 2));
    EXPECT_THAT(data, ElementsAre(0x11, 0x22, 9, 9));
}

struct Wrap {
    unsigned int address;
    const char *readFrame;
    const char *writeFrame;
    int chipAddress;
};

void PrintTo(const Wrap &wrap, std::ostream *out)
{
    *out << wrap.address;
}

class SpiFramAddresses : public FramBed, public testing::WithParamInterface<Wrap>
{
};

TEST_P(SpiFramAddresses, HaveFifteenBits)
{
    fillChip(GetParam().chipAddress, "5A");
    EXPECT_EQ("5A", read(GetParam().address, 1));
    EXPECT_TRUE(write(GetParam().address, "C3"));
    EXPECT_THAT(bed.frames(), ElementsAre(GetParam().readFrame + std::string(" > 5A"), "06",
                                          GetParam().writeFrame + std::string(" C3"), "04"));
    EXPECT_EQ("C3", chipBytes(GetParam().chipAddress, 1));
}

INSTANTIATE_TEST_SUITE_P(BothSidesOfEachBound, SpiFramAddresses,
                         testing::Values(Wrap{0x0000, "03 00 00", "02 00 00", 0x0000},
                                         Wrap{0x00FF, "03 00 FF", "02 00 FF", 0x00FF},
                                         Wrap{0x0100, "03 01 00", "02 01 00", 0x0100},
                                         Wrap{0x7FFF, "03 7F FF", "02 7F FF", 0x7FFF},
                                         Wrap{0x8000, "03 00 00", "02 00 00", 0x0000},
                                         Wrap{0x8001, "03 00 01", "02 00 01", 0x0001},
                                         Wrap{0xFFFF, "03 7F FF", "02 7F FF", 0x7FFF},
                                         Wrap{0x10000, "03 00 00", "02 00 00", 0x0000},
                                         Wrap{0xFFFFFFFF, "03 7F FF", "02 7F FF", 0x7FFF}));

TEST_F(SpiFramFrames, GoOnAtAddressZeroBehindTheChipsEnd)
{
    EXPECT_TRUE(write(LastAddress, "AA BB"));
    EXPECT_EQ("AA BB", chipBytes(LastAddress, 2));
    EXPECT_EQ("AA BB", read(LastAddress, 2));
}

TEST_F(SpiFramFrames, MayHoldTheWholeChipButNoMore)
{
    QByteArray data(Fm25v02::Size + 1, '\x6B');
    SpiFram *const fram = SpiFram::instance();
    EXPECT_TRUE(fram->write(0, data.data(), Fm25v02::Size));
    EXPECT_TRUE(fram->read(0, data.data(), Fm25v02::Size));
    EXPECT_EQ("6B 6B", chipBytes(LastAddress, 2));
    bed.forgetFrames();
    EXPECT_FALSE(fram->write(0, data.data(), Fm25v02::Size + 1));
    EXPECT_FALSE(fram->read(0, data.data(), Fm25v02::Size + 1));
    EXPECT_FALSE(fram->write(0, data.data(), 0xFFFFFFFF));
    EXPECT_THAT(bed.frames(), IsEmpty());
}

TEST_F(SpiFramFrames, CarryEveryByteValue)
{
    QByteArray data;
    for (int value = 0; value < 256; ++value) {
        data += static_cast<char>(value);
    }
    SpiFram *const fram = SpiFram::instance();
    EXPECT_TRUE(fram->write(0x400, data.data(), 256));
    QByteArray back(256, '\0');
    EXPECT_TRUE(fram->read(0x400, back.data(), 256));
    EXPECT_EQ(hexOf(data), hexOf(back));
}

TEST_F(SpiFramFrames, SingleBytesGoOutAlone)
{
    SpiFram *const fram = open();
    EXPECT_TRUE(fram->FM25V02_WREN());
    EXPECT_TRUE(latch());
    EXPECT_TRUE(fram->FM25V02_WRDI());
    EXPECT_FALSE(latch());
    EXPECT_TRUE(fram->FM25V02_PWDN());
    EXPECT_TRUE(fram->MSPISendData('\xAB'));
    EXPECT_THAT(bed.frames(), ElementsAre("06", "04", "B9", "AB"));
}

TEST_F(SpiFramFrames, StatusIsReadWithinOneMessage)
{
    SpiFram *const fram = open();
    fram->FM25V02_WREN();
    bed.forgetFrames();
    testing::internal::CaptureStdout();
    EXPECT_EQ(0x02, fram->FM25V02_RDSR());
    EXPECT_EQ("FM25V02_RDSR()\n", testing::internal::GetCapturedStdout());
    EXPECT_THAT(bed.frames(), ElementsAre("05 > 02"));
}

TEST_F(SpiFramFrames, StatusIsWrittenAfterAWriteEnable)
{
    SpiFram *const fram = open();
    testing::internal::CaptureStdout();
    EXPECT_TRUE(fram->FM25V02_WRSR('\x8C'));
    EXPECT_EQ("FM25V02_WRSR()\n", testing::internal::GetCapturedStdout());
    EXPECT_THAT(bed.frames(), ElementsAre("06", "01 8C"));
    EXPECT_EQ(0x8C, fram->FM25V02_RDSR());
    EXPECT_TRUE(write(0x7000, "01"));
    EXPECT_EQ("00", chipBytes(0x7000, 1)); // protected, which the bus does not tell
}

TEST_F(SpiFramFrames, IdentificationHasNineBytes)
{
    EXPECT_EQ("7F 7F 7F 7F 7F 7F C2 22 00", hexOf(SpiFram::instance()->FM25V02_RDID()));
    EXPECT_THAT(bed.frames(), ElementsAre("9F > 7F 7F 7F 7F 7F 7F C2 22 00"));
}

// --- failures ---

TEST_F(SpiFramFailures, AReadThatFailsIsToldAndLogged)
{
    open();
    bed.failMessage(0);
    EXPECT_EQ("failed", read(0, 4));
    EXPECT_THAT(log.texts(QtDebugMsg), ElementsAre("SpiFram::FM25V02_READ fail"));
    EXPECT_EQ("00 00 00 00", read(0, 4));
}

TEST_F(SpiFramFailures, AReadThatCameShortIsAFailure)
{
    open();
    bed.setFault(0, {SpidevBed::Whole, 6, 0});
    EXPECT_EQ("failed", read(0, 4));
    EXPECT_THAT(log.texts(QtDebugMsg), ElementsAre("SpiFram::FM25V02_READ fail"));
}

struct LostMessage {
    int skipped;                  ///< which of the three it is
    const char *chip;             ///< what the chip holds afterwards
    std::vector<std::string> log; ///< what is logged
    bool done;                    ///< whether the write counts as done
};

void PrintTo(const LostMessage &lost, std::ostream *out)
{
    *out << "message " << lost.skipped;
}

class SpiFramWriteLosing : public FramBed, public testing::WithParamInterface<LostMessage>
{
};

TEST_P(SpiFramWriteLosing, GoesOnToTheWriteDisable)
{
    open();
    fillChip(0x0F, "10 11 12 13");
    bed.failMessage(GetParam().skipped);
    EXPECT_EQ(GetParam().done, write(0x10, "A1 A2"));
    EXPECT_EQ(3u, bed.frames().size());
    EXPECT_EQ(GetParam().chip, chipBytes(0x0F, 4));
    EXPECT_EQ(GetParam().log, log.texts(QtDebugMsg));
    EXPECT_FALSE(latch());
}

INSTANTIATE_TEST_SUITE_P(
    EachOfItsMessages, SpiFramWriteLosing,
    testing::Values(LostMessage{0, "10 11 12 13", {"SpiFram::MSPISendData fail"}, false},
                    LostMessage{1, "10 11 12 13", {}, false},
                    LostMessage{2, "10 A1 A2 13", {"SpiFram::MSPISendData fail"}, true}));

TEST_F(SpiFramFailures, AWriteThatWasCutShortChangesNoOtherByte)
{
    open();
    for (int arriving = 0; arriving <= 5; ++arriving) {
        fillChip(0x0F, "10 11 12 13");
        bed.failMessage(1, arriving);
        EXPECT_FALSE(write(0x10, "A1 A2"));
        EXPECT_THAT(chipBytes(0x0F, 4), AnyOf("10 11 12 13", "10 A1 12 13", "10 A1 A2 13"));
    }
}

TEST_F(SpiFramFailures, AWriteOfWhichTheDriverTookLessIsAFailure)
{
    open();
    bed.setFault(1, {SpidevBed::Whole, 4, 0});
    EXPECT_FALSE(write(0x10, "A1 A2"));
}

TEST_F(SpiFramFailures, OfSingleBytesAreToldAndLogged)
{
    SpiFram *const fram = open();
    bed.failWhere([](const QByteArray &) { return true; });
    EXPECT_FALSE(fram->FM25V02_WREN());
    EXPECT_FALSE(fram->FM25V02_WRDI());
    EXPECT_FALSE(fram->FM25V02_PWDN());
    EXPECT_FALSE(fram->MSPISendData('\x06'));
    EXPECT_EQ(std::vector<std::string>(4, "SpiFram::MSPISendData fail"), log.texts(QtDebugMsg));
}

TEST_F(SpiFramFailures, OfTheStatusRegisterAreToldAndLogged)
{
    SpiFram *const fram = open();
    bed.failMessage(0);
    EXPECT_EQ(-1, fram->FM25V02_RDSR());
    bed.failMessage(1);
    EXPECT_FALSE(fram->FM25V02_WRSR(0));
    EXPECT_THAT(log.texts(QtDebugMsg),
                ElementsAre("SpiFram::FM25V02_RDSR fail", "SpiFram::FM25V02_WRSR fail"));
}

TEST_F(SpiFramFailures, AStatusThatWasNotEnabledIsNotWritten)
{
    SpiFram *const fram = open();
    bed.failMessage(0);
    EXPECT_FALSE(fram->FM25V02_WRSR('\x0C'));
    EXPECT_EQ(0, fram->FM25V02_RDSR());
}

TEST_F(SpiFramFailures, OfTheIdentificationAreToldAndLogged)
{
    SpiFram *const fram = open();
    bed.failMessage(0);
    EXPECT_TRUE(fram->FM25V02_RDID().isEmpty());
    EXPECT_THAT(log.texts(QtDebugMsg), ElementsAre("SpiFram::FM25V02_RDID fail"));
}

TEST_F(SpiFramFailures, EveryAccessFailsAfterTheExit)
{
    SpiFram *const fram = open();
    fram->FM25V02_Exit();
    EXPECT_THAT(bed.openDescriptors(), IsEmpty());
    EXPECT_EQ("failed", read(0, 1));
    EXPECT_FALSE(write(0, "01"));
    fram->FM25V02_Exit();
    EXPECT_THAT(bed.frames(), IsEmpty());
}

// --- without a device ---

TEST_F(SpiFramWithoutDevice, SaysSoAndCarriesOn)
{
    EXPECT_NE(nullptr, open());
    EXPECT_EQ("Can't open SPI device ,load parameter by default!\n", output);
}

TEST_F(SpiFramWithoutDevice, EveryAccessFailsAndLogsItsText)
{
    SpiFram *const fram = open();
    EXPECT_EQ("failed", read(0, 2));
    EXPECT_FALSE(write(0, "01 02"));
    EXPECT_EQ(-1, fram->FM25V02_RDSR());
    EXPECT_FALSE(fram->FM25V02_WRSR(0));
    EXPECT_TRUE(fram->FM25V02_RDID().isEmpty());
    EXPECT_FALSE(fram->FM25V02_PWDN());
    fram->FM25V02_Exit();
    const std::string single = "SpiFram::MSPISendData fail";
    EXPECT_THAT(log.texts(QtDebugMsg),
                ElementsAre("SpiFram::FM25V02_READ fail", single, single,
                            "SpiFram::FM25V02_RDSR fail", single, "SpiFram::FM25V02_WRSR fail",
                            "SpiFram::FM25V02_RDID fail", single));
}

// --- threads ---

/// Whether every write enable is followed by its data and its write disable.
bool comeInThrees(const std::vector<std::string> &frames)
{
    for (size_t i = 0; i < frames.size();) {
        if (frames[i].compare(0, 2, "03") == 0) {
            i += 1;
        } else if (i + 2 < frames.size() && frames[i] == "06" &&
                   frames[i + 1].compare(0, 2, "02") == 0 && frames[i + 2] == "04") {
            i += 3;
        } else {
            return false;
        }
    }
    return true;
}

TEST_F(SpiFramThreads, NoAccessGoesBetweenTheMessagesOfAnother)
{
    const int ThreadCount = 4;
    const int Rounds = 40;
    open();
    std::atomic<int> wrong(0);
    std::vector<std::thread> threads;
    threads.reserve(ThreadCount);
    for (int number = 0; number < ThreadCount; ++number) {
        threads.emplace_back([this, number, &wrong] {
            const unsigned int address = static_cast<unsigned int>(number) * 2;
            for (int round = 0; round < Rounds; ++round) {
                char data[] = {static_cast<char>(number), static_cast<char>(round)};
                char back[] = {0, 0};
                wrong += SpiFram::instance()->write(address, data, 2) ? 0 : 1;
                wrong += SpiFram::instance()->read(address, back, 2) ? 0 : 1;
                wrong += back[0] == data[0] && back[1] == data[1] ? 0 : 1;
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(4u * Rounds * ThreadCount, bed.frames().size());
    EXPECT_TRUE(comeInThrees(bed.frames()));
}

} // namespace
