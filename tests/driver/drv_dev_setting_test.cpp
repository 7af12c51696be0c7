#include "driver/drv_dev_setting.h"

#include <climits>
#include <cstdint>
#include <type_traits>
#include <vector>

#include <QDataStream>

#include <gtest/gtest.h>

#include "tests/driver/vtable_slot.h"
#include "tests/hmi/message_log.h"
#include "tests/support/bytes.h"

namespace
{

typedef CommunicatorCommand Command;

Command command(int dataType, int length)
{
    Command result;
    result.dataType = dataType;
    result.length = length;
    return result;
}

std::uintptr_t placeOf(const void *field)
{
    return reinterpret_cast<std::uintptr_t>(field);
}

/// That fields lie in memory in the order given.
void expectAscending(const std::vector<std::uintptr_t> &places)
{
    for (size_t i = 1; i < places.size(); ++i)
        EXPECT_LT(places[i - 1], places[i]) << "field " << i;
}

// ---- CommunicatorCommand --------------------------------------------------------------------

TEST(CommunicatorCommand, BeginsAsADoubleWordOfNoAddress)
{
    const Command fresh;
    EXPECT_EQ(1, fresh.number);
    EXPECT_EQ(3, fresh.dataType);
    EXPECT_EQ(1, fresh.length);
    EXPECT_EQ("S>NULL", fresh.address.toStdString());
    EXPECT_EQ(0, fresh.index);
    EXPECT_TRUE(fresh.address2.isEmpty());
    EXPECT_FALSE(fresh.option);
}

TEST(CommunicatorCommand, KeepsTheOrderThatTheRuntimeWasBuiltWith)
{
    const Command c;
    expectAscending({placeOf(&c), placeOf(&c.number), placeOf(&c.dataType), placeOf(&c.length),
                     placeOf(&c.address), placeOf(&c.index), placeOf(&c.address2),
                     placeOf(&c.option)});
    EXPECT_EQ(0u, slotOf(&Command::getDataSize));
    EXPECT_EQ(1u, slotOf(&Command::stringKey));
    EXPECT_FALSE(std::has_virtual_destructor<Command>::value);
}

TEST(CommunicatorCommand, CanBeCopied)
{
    Command original = command(6, 16);
    original.address = "NA10";
    original.address2 = "other";
    original.option = true;
    const Command copy = original;
    EXPECT_EQ("NA10_6_16", copy.stringKey().toStdString());
    EXPECT_EQ("other", copy.address2.toStdString());
    EXPECT_TRUE(copy.option);
}

struct Sizes {
    int dataType;
    int length;
    int dataSize;
    int safeLength;
};

void PrintTo(const Sizes &row, std::ostream *out)
{
    *out << "type " << row.dataType << ", length " << row.length;
}

class CommandSizes : public testing::TestWithParam<Sizes>
{
};

TEST_P(CommandSizes, AreThoseOfTheType)
{
    const Sizes &row = GetParam();
    const Command c = command(row.dataType, row.length);
    EXPECT_EQ(row.dataSize, c.getDataSize());
    EXPECT_EQ(row.safeLength, GetSafeDataLen(c));
}

INSTANTIATE_TEST_SUITE_P(Bits, CommandSizes,
                         testing::Values(Sizes{0, 0, 1, 0}, Sizes{0, 1, 1, 1}, Sizes{0, 8, 1, 1},
                                         Sizes{0, 9, 2, 2}, Sizes{0, 16, 2, 2}, Sizes{0, 17, 3, 3},
                                         Sizes{0, INT_MAX, 268435456, 268435456}));
INSTANTIATE_TEST_SUITE_P(Bytes, CommandSizes,
                         testing::Values(Sizes{1, 0, 0, 0}, Sizes{1, 1, 1, 1}, Sizes{1, 7, 7, 7}));
INSTANTIATE_TEST_SUITE_P(Words, CommandSizes,
                         testing::Values(Sizes{2, 0, 0, 0}, Sizes{2, 1, 2, 2},
                                         Sizes{2, 24, 48, 48}));
INSTANTIATE_TEST_SUITE_P(DoubleWords, CommandSizes,
                         testing::Values(Sizes{3, 0, 0, 0}, Sizes{3, 1, 4, 4},
                                         Sizes{3, 24, 96, 96}));
INSTANTIATE_TEST_SUITE_P(QuadWords, CommandSizes,
                         testing::Values(Sizes{4, 0, 0, 0}, Sizes{4, 1, 8, 8},
                                         Sizes{4, 3, 24, 24}));
INSTANTIATE_TEST_SUITE_P(Blocks, CommandSizes,
                         testing::Values(Sizes{5, 0, 0, 0}, Sizes{5, 1, 1, 1},
                                         Sizes{5, 100, 100, 100}));
INSTANTIATE_TEST_SUITE_P(BitBlocks, CommandSizes,
                         testing::Values(Sizes{6, 0, 1, 0}, Sizes{6, 1, 1, 1}, Sizes{6, 8, 1, 1},
                                         Sizes{6, 9, 1, 2}, Sizes{6, 16, 1, 2}));
INSTANTIATE_TEST_SUITE_P(UnknownTypes, CommandSizes,
                         testing::Values(Sizes{7, 5, 1, 0}, Sizes{-1, 5, 1, 0},
                                         Sizes{INT_MAX, 5, 1, 0}, Sizes{INT_MIN, 5, 1, 0}));
INSTANTIATE_TEST_SUITE_P(BelowZero, CommandSizes,
                         testing::Values(Sizes{0, -1, 0, 0}, Sizes{0, -8, -1, -1},
                                         Sizes{0, -9, -1, -1}, Sizes{6, -9, 1, -1},
                                         Sizes{1, -1, -1, -1}, Sizes{3, -1, -4, -4}));

TEST(CommandTests, AreTrueForTheirOwnType)
{
    for (const int type : {-1, 0, 1, 2, 3, 4, 5, 6, 7}) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        const Command c = command(type, 1);
        EXPECT_EQ(type == 0, isBitCommand(c));
        EXPECT_EQ(type == 1, isByteCommand(c));
        EXPECT_EQ(type == 2, isWordCommand(c));
        EXPECT_EQ(type == 3, isDoubleWordCommand(c));
        EXPECT_EQ(type == 5, isBlockCommand(c));
    }
}

TEST(StringKey, JoinsAddressTypeAndLength)
{
    Command c = command(3, 24);
    c.address = "NA1000";
    EXPECT_EQ("NA1000_3_24", c.stringKey().toStdString());
    c = command(-1, INT_MIN);
    c.address = "";
    EXPECT_EQ("_-1_-2147483648", c.stringKey().toStdString());
}

TEST(StringKey, TakesPlaceHoldersInAnAddressAsText)
{
    Command c = command(3, 24);
    c.address = "%1%2%3_%L1";
    EXPECT_EQ("%1%2%3_%L1_3_24", c.stringKey().toStdString());
}

TEST(StringKey, IsCalledThroughTheBase)
{
    struct Derived : public Command {
        int getDataSize() const override { return 99; }
        QString stringKey() const override { return "derived"; }
    } derived;
    const Command &base = derived;
    EXPECT_EQ(99, base.getDataSize());
    EXPECT_EQ("derived", base.stringKey().toStdString());
}

TEST(ToSafeData, CutsAndPadsAtTheEnd)
{
    const Command twoWords = command(2, 2);
    EXPECT_EQ("01 02 03 00", hexOf(ToSafeData(twoWords, bytes("01 02 03"))));
    EXPECT_EQ("01 02 03 04", hexOf(ToSafeData(twoWords, bytes("01 02 03 04 05"))));
    EXPECT_EQ("01 02 03 04", hexOf(ToSafeData(twoWords, bytes("01 02 03 04"))));
    EXPECT_EQ("00 00 00 00", hexOf(ToSafeData(twoWords, QByteArray())));
}

TEST(ToSafeData, LeavesTheCallersDataAlone)
{
    const QByteArray data = bytes("01 02 03");
    ToSafeData(command(2, 2), data);
    ToSafeData(command(1, 1), data);
    EXPECT_EQ("01 02 03", hexOf(data));
}

TEST(ToSafeData, IsEmptyWhereNothingIsToBeWritten)
{
    for (const Command &c : {command(0, 0), command(6, 0), command(7, 4), command(1, 0),
                             command(1, -5), command(3, -1), command(0, -9)})
        EXPECT_TRUE(ToSafeData(c, bytes("01 02 03")).isEmpty()) << c.stringKey().toStdString();
}

TEST(ToSafeData, FitsBitsIntoWholeBytes)
{
    EXPECT_EQ("01 02", hexOf(ToSafeData(command(0, 9), bytes("01 02 03"))));
    EXPECT_EQ("01", hexOf(ToSafeData(command(6, 8), bytes("01 02 03"))));
}

// ---- DeviceSetting --------------------------------------------------------------------------

typedef QList<QPair<QString, QString>> TextPairs;

DeviceSetting serialSetting()
{
    return DeviceSetting(DeviceSetting::Rs485, "COM2", 38400, 8, 0, 2);
}

TextPairs twoSockets()
{
    return TextPairs() << qMakePair(QString("10.0.0.1"), QString("502"))
                       << qMakePair(QString("10.0.0.2"), QString("65535"));
}

TEST(DeviceSetting, IsMadeOfSixValues)
{
    const DeviceSetting setting = serialSetting();
    EXPECT_EQ(64, setting.type);
    EXPECT_EQ("COM2", setting.string.toStdString());
    EXPECT_EQ(38400, setting.baudrate);
    EXPECT_EQ(8, setting.databits);
    EXPECT_EQ(0, setting.stopbits);
    EXPECT_EQ(2, setting.parity);
    EXPECT_EQ(0, setting.extra);
    EXPECT_TRUE(setting.extraString.isEmpty());
    EXPECT_EQ(-1, setting.linkID);
    EXPECT_EQ(0, setting.currentIPIndex);
    EXPECT_TRUE(setting.sockets.isEmpty());
}

TEST(DeviceSetting, IsMadeOfEightValues)
{
    const DeviceSetting setting(DeviceSetting::Rs485, "COM1", 9600, 7, 1, 3, 11, "extra");
    EXPECT_EQ(64, setting.type);
    EXPECT_EQ("COM1", setting.string.toStdString());
    EXPECT_EQ(9600, setting.baudrate);
    EXPECT_EQ(7, setting.databits);
    EXPECT_EQ(1, setting.stopbits);
    EXPECT_EQ(3, setting.parity);
    EXPECT_EQ(11, setting.extra);
    EXPECT_EQ("extra", setting.extraString.toStdString());
    EXPECT_EQ(-1, setting.linkID);
    EXPECT_EQ(0, setting.currentIPIndex);
    EXPECT_TRUE(setting.sockets.isEmpty());
}

TEST(DeviceSetting, KeepsTheOrderThatTheRuntimeWasBuiltWith)
{
    const DeviceSetting s = serialSetting();
    EXPECT_EQ(placeOf(&s), placeOf(&s.type)) << "no virtual table";
    expectAscending({placeOf(&s.type), placeOf(&s.string), placeOf(&s.baudrate),
                     placeOf(&s.databits), placeOf(&s.stopbits), placeOf(&s.parity),
                     placeOf(&s.extra), placeOf(&s.extraString), placeOf(&s.linkID),
                     placeOf(&s.currentIPIndex), placeOf(&s.sockets)});
    EXPECT_EQ(4u, sizeof s.type);
}

TEST(DeviceSettingSockets, AreTakenFromTexts)
{
    DeviceSetting setting = serialSetting();
    setting.setSocketData(twoSockets());
    ASSERT_EQ(2, setting.sockets.size());
    EXPECT_EQ("10.0.0.1", setting.socketIP(0).toStdString());
    EXPECT_EQ(502, setting.port(0));
    EXPECT_EQ("10.0.0.2", setting.socketIP(1).toStdString());
    EXPECT_EQ(65535, setting.port(1));

    setting.setSocketData(TextPairs() << qMakePair(QString("ip"), QString("1")));
    EXPECT_EQ(1, setting.sockets.size()) << "the former ones are gone";
    setting.setSocketData(TextPairs());
    EXPECT_TRUE(setting.sockets.isEmpty());
}

TEST(DeviceSettingSockets, HavePortZeroForATextThatIsNoPort)
{
    const struct {
        const char *text;
        int port;
    } rows[] = {{"0", 0},  {"1", 1},  {"007", 7},        {"65535", 65535}, {"65536", 0}, {"-1", 0},
                {"", 0},   {"x", 0},  {"502x", 0},       {"0x1F", 0},      {"5.0", 0},   {"+7", 0},
                {" 7", 0}, {"7 ", 0}, {"4294967298", 0}, {"1e3", 0},       {"1,000", 0}};
    for (const auto &row : rows) {
        DeviceSetting setting = serialSetting();
        setting.setSocketData(TextPairs() << qMakePair(QString("ip"), QString(row.text)));
        EXPECT_EQ(row.port, setting.port(0)) << '"' << row.text << '"';
        EXPECT_EQ("ip", setting.socketIP(0).toStdString());
    }
}

TEST(DeviceSettingSockets, AreReadAtTheCurrentIndexForMinusOne)
{
    DeviceSetting setting = serialSetting();
    setting.setSocketData(twoSockets());
    EXPECT_EQ("10.0.0.1", setting.socketIP(-1).toStdString());
    EXPECT_EQ(502, setting.port(-1));
    setting.setCurrentIPIndex(1);
    EXPECT_EQ("10.0.0.2", setting.socketIP(-1).toStdString());
    EXPECT_EQ(65535, setting.port(-1));
}

TEST(DeviceSettingSockets, AreEmptyOutsideTheList)
{
    DeviceSetting setting = serialSetting();
    EXPECT_TRUE(setting.socketIP(-1).isEmpty());
    EXPECT_EQ(0, setting.port(-1));
    setting.setSocketData(twoSockets());
    for (const int index : {-2, 2, INT_MAX, INT_MIN}) {
        EXPECT_TRUE(setting.socketIP(index).isEmpty()) << index;
        EXPECT_EQ(0, setting.port(index)) << index;
    }
}

TEST(DeviceSettingSockets, AreReplacedOneByOne)
{
    DeviceSetting setting = serialSetting();
    setting.setSocketData(twoSockets());
    setting.setSocketIP("first", 0);
    setting.setPort(1, 0);
    setting.setCurrentIPIndex(1);
    setting.setSocketIP("current", -1);
    setting.setPort(2, -1);
    EXPECT_EQ("first", setting.socketIP(0).toStdString());
    EXPECT_EQ(1, setting.port(0));
    EXPECT_EQ("current", setting.socketIP(1).toStdString());
    EXPECT_EQ(2, setting.port(1));
}

TEST(DeviceSettingSockets, AreNotReplacedOutsideTheList)
{
    DeviceSetting setting = serialSetting();
    setting.setSocketIP("x", -1);
    setting.setPort(9, -1);
    EXPECT_TRUE(setting.sockets.isEmpty());
    setting.setSocketData(twoSockets());
    const auto before = setting.sockets;
    for (const int index : {-2, 2, INT_MAX, INT_MIN}) {
        setting.setSocketIP("x", index);
        setting.setPort(9, index);
    }
    EXPECT_EQ(before, setting.sockets);
}

TEST(DeviceSettingSockets, AreChosenWithinTheListOnly)
{
    DeviceSetting setting = serialSetting();
    setting.setCurrentIPIndex(0);
    setting.setCurrentIPIndex(1);
    EXPECT_EQ(0, setting.currentIPIndex);
    setting.setSocketData(twoSockets());
    setting.setCurrentIPIndex(1);
    EXPECT_EQ(1, setting.currentIPIndex);
    for (const int index : {-1, 2, INT_MAX, INT_MIN})
        setting.setCurrentIPIndex(index);
    EXPECT_EQ(1, setting.currentIPIndex);
    setting.setCurrentIPIndex(0);
    EXPECT_EQ(0, setting.currentIPIndex);
}

TEST(DeviceSettingSockets, AreEmptyWhenTheListHasShrunkBelowTheCurrentIndex)
{
    DeviceSetting setting = serialSetting();
    setting.setSocketData(twoSockets());
    setting.setCurrentIPIndex(1);
    setting.setSocketData(TextPairs() << qMakePair(QString("ip"), QString("1")));
    EXPECT_TRUE(setting.socketIP(-1).isEmpty());
    EXPECT_EQ(0, setting.port(-1));
    setting.setSocketIP("x", -1);
    setting.setPort(9, -1);
    EXPECT_EQ("ip", setting.socketIP(0).toStdString());
}

TEST(DeviceSettingDump, IsOneMessage)
{
    DeviceSetting setting = serialSetting();
    setting.linkID = 7;
    setting.setSocketData(twoSockets());
    setting.setCurrentIPIndex(1);
    const MessageLog log;
    setting.dump();
    EXPECT_EQ(
        std::vector<std::string>{
            "type: 64 string: COM2 baudrate: 38400 databits: 8 stopbits: 0 parity: 2 "
            "linkID: 7 current ip: 10.0.0.2 current port: 65535"},
        log.texts(QtDebugMsg));
}

TEST(DeviceSettingDump, TakesPercentSignsAsText)
{
    DeviceSetting setting = serialSetting();
    setting.string = "%s%n%1";
    const MessageLog log;
    setting.dump();
    ASSERT_EQ(1u, log.texts(QtDebugMsg).size());
    EXPECT_NE(std::string::npos, log.texts(QtDebugMsg)[0].find("string: %s%n%1 baudrate:"));
}

template <typename Value>
QByteArray streamed(const Value &value)
{
    QByteArray array;
    QDataStream stream(&array, QIODevice::WriteOnly);
    stream << value;
    return array;
}

/// Reads a value and tells whether the stream held all of it and nothing more.
template <typename Value>
bool readBack(const QByteArray &array, Value *value)
{
    QDataStream stream(array);
    stream >> *value;
    return stream.status() == QDataStream::Ok && stream.atEnd();
}

const char StreamedSerialSetting[] = "00 00 00 40 "             // type
                                     "00 00 00 08 "             // string: length in bytes
                                     "00 43 00 4F 00 4D 00 32 " // COM2
                                     "00 00 96 00 "             // baudrate
                                     "00 00 00 08 "             // databits
                                     "00 00 00 00 "             // stopbits
                                     "00 00 00 02 "             // parity
                                     "00 00 00 0B "             // extra
                                     "FF FF FF FF "             // linkID
                                     "00 00 00 01 "             // currentIPIndex
                                     "00 00 00 02 "             // count of sockets
                                     "00 00 00 02 00 61 01 F6 " // "a", 502
                                     "FF FF FF FF FF FF";       // no text, 65535

DeviceSetting settingToStream()
{
    DeviceSetting setting(DeviceSetting::Rs485, "COM2", 38400, 8, 0, 2, 11, "never streamed");
    setting.setSocketData(TextPairs() << qMakePair(QString("a"), QString("502"))
                                      << qMakePair(QString(), QString("65535")));
    setting.setCurrentIPIndex(1);
    return setting;
}

TEST(DeviceSettingStream, HasTheBytesThatTheRuntimeStores)
{
    EXPECT_EQ(StreamedSerialSetting, hexOf(streamed(settingToStream())));
}

TEST(DeviceSettingStream, IsReadBack)
{
    DeviceSetting setting(static_cast<device_type>(1), "", 0, 0, 9, 9, 9, "kept");
    ASSERT_TRUE(readBack(bytes(StreamedSerialSetting), &setting));
    EXPECT_EQ(64, setting.type);
    EXPECT_EQ("COM2", setting.string.toStdString());
    EXPECT_EQ(38400, setting.baudrate);
    EXPECT_EQ(8, setting.databits);
    EXPECT_EQ(0, setting.stopbits);
    EXPECT_EQ(2, setting.parity);
    EXPECT_EQ(11, setting.extra);
    EXPECT_EQ("kept", setting.extraString.toStdString());
    EXPECT_EQ(-1, setting.linkID);
    EXPECT_EQ(settingToStream().sockets, setting.sockets);
}

TEST(DeviceSettingStream, LeavesTheIndexOfAFreshSetting)
{
    DeviceSetting setting = serialSetting();
    ASSERT_TRUE(readBack(bytes(StreamedSerialSetting), &setting));
    EXPECT_EQ(0, setting.currentIPIndex);
}

TEST(DeviceSettingStream, AppliesTheIndexToTheSocketsHeldBefore)
{
    DeviceSetting setting = serialSetting();
    setting.setSocketData(twoSockets());
    ASSERT_TRUE(readBack(bytes(StreamedSerialSetting), &setting));
    EXPECT_EQ(1, setting.currentIPIndex);
    EXPECT_EQ(65535, setting.port(-1));
}

TEST(DeviceSettingStream, CarriesTypesThatTheDriverDoesNotKnow)
{
    DeviceSetting setting = serialSetting();
    setting.type = static_cast<device_type>(65);
    setting.linkID = INT_MIN;
    const QByteArray array = streamed(setting);
    DeviceSetting read = serialSetting();
    ASSERT_TRUE(readBack(array, &read));
    EXPECT_EQ(65, read.type);
    EXPECT_EQ(INT_MIN, read.linkID);
    EXPECT_TRUE(read.sockets.isEmpty());
}

TEST(DeviceSettingStream, SurvivesEveryTruncation)
{
    const QByteArray whole = bytes(StreamedSerialSetting);
    for (int size = 0; size < whole.size(); ++size) {
        DeviceSetting setting = serialSetting();
        EXPECT_FALSE(readBack(whole.left(size), &setting)) << size << " bytes";
        EXPECT_EQ(0, setting.currentIPIndex) << size << " bytes";
        EXPECT_GE(2, setting.sockets.size()) << size << " bytes";
    }
}

// ---- DriverSetting --------------------------------------------------------------------------

TEST(DriverSetting, IsMadeOfFourValues)
{
    const DriverSetting setting(3000, 2, 1, 10);
    EXPECT_EQ(3000, setting.timeout);
    EXPECT_EQ(2, setting.retry);
    EXPECT_EQ(1, setting.stationid);
    EXPECT_EQ(10, setting.delay);
    EXPECT_TRUE(setting.text.isEmpty());
    EXPECT_FALSE(setting.flag);
}

TEST(DriverSetting, IgnoresTheOldArguments)
{
    const DriverSetting six(3000, 2, 1, 10, "ignored", 502);
    EXPECT_EQ(3000, six.timeout);
    EXPECT_EQ(2, six.retry);
    EXPECT_EQ(1, six.stationid);
    EXPECT_EQ(10, six.delay);
    EXPECT_TRUE(six.text.isEmpty());
    EXPECT_FALSE(six.flag);

    const DriverSetting eight(3000, 2, 1, 10, "ignored", 502, "text", true);
    EXPECT_EQ(3000, eight.timeout);
    EXPECT_EQ(2, eight.retry);
    EXPECT_EQ(1, eight.stationid);
    EXPECT_EQ(10, eight.delay);
    EXPECT_EQ("text", eight.text.toStdString());
    EXPECT_TRUE(eight.flag);
}

TEST(DriverSetting, KeepsTheOrderThatTheRuntimeWasBuiltWith)
{
    const DriverSetting s(1, 2, 3, 4);
    EXPECT_EQ(placeOf(&s), placeOf(&s.timeout)) << "no virtual table";
    expectAscending({placeOf(&s.timeout), placeOf(&s.retry), placeOf(&s.stationid),
                     placeOf(&s.delay), placeOf(&s.text), placeOf(&s.flag)});
}

TEST(DriverSetting, CopiesAllButTheFlag)
{
    DriverSetting setting(0, 0, 0, 0);
    setting.copy(DriverSetting(3000, 2, 1, 10, "", 0, "text", true));
    EXPECT_EQ(3000, setting.timeout);
    EXPECT_EQ(2, setting.retry);
    EXPECT_EQ(1, setting.stationid);
    EXPECT_EQ(10, setting.delay);
    EXPECT_EQ("text", setting.text.toStdString());
    EXPECT_FALSE(setting.flag);

    DriverSetting flagged(0, 0, 0, 0, "", 0, "text", true);
    flagged.copy(DriverSetting(1, 2, 3, 4));
    EXPECT_TRUE(flagged.flag);
    EXPECT_TRUE(flagged.text.isEmpty());
}

TEST(DriverSetting, CopiesItself)
{
    DriverSetting setting(3000, 2, 1, 10, "", 0, "text", true);
    setting.copy(setting);
    EXPECT_EQ("text", setting.text.toStdString());
    EXPECT_EQ(3000, setting.timeout);
}

TEST(DriverSetting, IsDumpedInOneMessage)
{
    const DriverSetting setting(3000, 2, -1, 10, "", 0, "text", true);
    const MessageLog log;
    setting.dump();
    EXPECT_EQ(std::vector<std::string>{"timeout: 3000 retry: 2 stationid: -1 delay: 10"},
              log.texts(QtDebugMsg));
}

TEST(DriverSetting, StreamsItsFourNumbersAndNothingElse)
{
    const DriverSetting setting(3000, 2, 255, -1, "", 0, "text", true);
    const QByteArray array = streamed(setting);
    EXPECT_EQ("00 00 0B B8 00 00 00 02 00 00 00 FF FF FF FF FF", hexOf(array));

    DriverSetting read(0, 0, 0, 0);
    ASSERT_TRUE(readBack(array, &read));
    EXPECT_EQ(3000, read.timeout);
    EXPECT_EQ(2, read.retry);
    EXPECT_EQ(255, read.stationid);
    EXPECT_EQ(-1, read.delay);
    EXPECT_TRUE(read.text.isEmpty());
    EXPECT_FALSE(read.flag);
}

TEST(DriverSetting, SurvivesEveryTruncationOfItsStream)
{
    const QByteArray whole = streamed(DriverSetting(3000, 2, 1, 10));
    for (int size = 0; size < whole.size(); ++size) {
        DriverSetting setting(5, 5, 5, 5);
        EXPECT_FALSE(readBack(whole.left(size), &setting)) << size << " bytes";
    }
}

} // namespace
