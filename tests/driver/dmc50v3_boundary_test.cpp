#include "driver/dmc50v3.h"

#include "common/qtcompat.h"
#include "cpl/dmc50_polling_thread.h"
#include "driver_probe.h"
#include "tests/support/eventually.h"
#include "tests/support/fake_link.h"
#include "tests/support/frames.h"
#include "vtable_slot.h"

#include <QThread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <type_traits>

extern "C" QObject *qt_plugin_instance();

namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

// ---- The virtual tables --------------------------------------------------------------------

TEST(DriverInterfaceTable, HasTheOperationsInTheRuntimesOrder)
{
    // Two destructor entries come first.
    EXPECT_EQ(2u, slotOf(&DriverInterface::totalSize));
    EXPECT_EQ(3u, slotOf(&DriverInterface::write));
    EXPECT_EQ(4u, slotOf(&DriverInterface::read));
    EXPECT_EQ(5u, slotOf(&DriverInterface::initialize));
    EXPECT_EQ(6u, slotOf(&DriverInterface::validation));
    EXPECT_EQ(7u, slotOf(&DriverInterface::name));
    EXPECT_EQ(8u, slotOf(&DriverInterface::vender));
    EXPECT_EQ(9u, slotOf(&DriverInterface::getVersionNumber));
    EXPECT_EQ(10u, slotOf(&DriverInterface::getDefaultSerialDeviceSetting));
    EXPECT_EQ(11u, slotOf(&DriverInterface::getDefaultDriverSetting));
    EXPECT_EQ(12u, slotOf(&DriverInterface::getStringBasedDefaultDriverSetting));
    EXPECT_EQ(13u, slotOf(&DriverInterface::supportedCommunicationFlags));
    EXPECT_EQ(14u, slotOf(&DriverInterface::setDebugMode));
    EXPECT_EQ(15u, slotOf(&DriverInterface::getBlockAccessSize));
    EXPECT_EQ(16u, slotOf(&DriverInterface::getBitBlockAccessSize));
    EXPECT_EQ(17u, slotOf(&DriverInterface::hasError));
    EXPECT_EQ(18u, slotOf(&DriverInterface::getLastError));
    EXPECT_EQ(19u, slotOf(&DriverInterface::getThisObject));
    EXPECT_EQ(20u, slotOf(&DriverInterface::isSupportSessionCommand));
    EXPECT_EQ(21u, slotOf(&DriverInterface::setSessionCommand));
    EXPECT_EQ(22u, slotOf(&DriverInterface::clearSessionCommand));
    EXPECT_EQ(23u, slotOf(&DriverInterface::deviceSettingChanged));
    EXPECT_EQ(24u, slotOf(&DriverInterface::isConnected));
}

TEST(AbstractDeviceInterfaceTable, HasTheOperationsInTheRuntimesOrder)
{
    EXPECT_EQ(2u, slotOf(&AbstractDeviceInterface::readData));
    EXPECT_EQ(3u, slotOf(&AbstractDeviceInterface::writeData));
    EXPECT_EQ(4u, slotOf(&AbstractDeviceInterface::deviceSetting));
    EXPECT_EQ(5u, slotOf(&AbstractDeviceInterface::control));
    EXPECT_EQ(6u, slotOf(&AbstractDeviceInterface::timeout));
    EXPECT_EQ(7u, slotOf(&AbstractDeviceInterface::retry));
    EXPECT_EQ(8u, slotOf(&AbstractDeviceInterface::stationId));
    EXPECT_EQ(9u, slotOf(&AbstractDeviceInterface::delay));
}

/// Whether an operation, given as pointer to member of `Class`, has a signature.
template <typename Class, typename Signature, typename Operation>
bool hasType(Operation)
{
    return std::is_same<Signature Class::*, Operation>::value;
}

TEST(DriverInterfaceTable, HasTheTypesOfTheContract)
{
    typedef DriverInterface I;
    EXPECT_TRUE((hasType<I, int()>(&I::totalSize)));
    EXPECT_TRUE((
        hasType<I, int(AbstractDeviceInterface *, const CommunicatorCommand &, const QByteArray &)>(
            &I::write)));
    EXPECT_TRUE(
        (hasType<I, QByteArray(AbstractDeviceInterface *, const CommunicatorCommand &)>(&I::read)));
    EXPECT_TRUE((hasType<I, bool(AbstractDeviceInterface *)>(&I::initialize)));
    EXPECT_TRUE((hasType<I, bool(const QString &)>(&I::validation)));
    EXPECT_TRUE((hasType<I, QString()>(&I::name)));
    EXPECT_TRUE((hasType<I, QString()>(&I::vender)));
    EXPECT_TRUE((hasType<I, QString()>(&I::getVersionNumber)));
    EXPECT_TRUE((hasType<I, DeviceSetting *()>(&I::getDefaultSerialDeviceSetting)));
    EXPECT_TRUE((hasType<I, DriverSetting *()>(&I::getDefaultDriverSetting)));
    EXPECT_TRUE((hasType<I, QString()>(&I::getStringBasedDefaultDriverSetting)));
    EXPECT_TRUE((hasType<I, int()>(&I::supportedCommunicationFlags)));
    EXPECT_TRUE((hasType<I, void(bool)>(&I::setDebugMode)));
    EXPECT_TRUE((hasType<I, int()>(&I::getBlockAccessSize)));
    EXPECT_TRUE((hasType<I, int()>(&I::getBitBlockAccessSize)));
    EXPECT_TRUE((hasType<I, bool()>(&I::hasError)));
    EXPECT_TRUE((hasType<I, QString()>(&I::getLastError)));
    EXPECT_TRUE((hasType<I, QObject *()>(&I::getThisObject)));
    EXPECT_TRUE((hasType<I, bool()>(&I::isSupportSessionCommand)));
    EXPECT_TRUE((hasType<I, void(QList<CommunicatorCommand>)>(&I::setSessionCommand)));
    EXPECT_TRUE((hasType<I, void()>(&I::clearSessionCommand)));
    EXPECT_TRUE((hasType<I, bool(const DeviceSetting *)>(&I::deviceSettingChanged)));
    EXPECT_TRUE((hasType<I, bool(AbstractDeviceInterface *)>(&I::isConnected)));
}

TEST(DriverDMC50v3, LeavesTwoOperationsToTheInterface)
{
    typedef DriverInterface I;
    EXPECT_TRUE((hasType<I, bool(const DeviceSetting *)>(&DriverDMC50v3::deviceSettingChanged)));
    EXPECT_TRUE((hasType<I, bool(AbstractDeviceInterface *)>(&DriverDMC50v3::isConnected)));
}

TEST(DriverDMC50v3, OverridesEveryOtherOperation)
{
    typedef DriverDMC50v3 D;
    EXPECT_TRUE((hasType<D, int()>(&D::totalSize)));
    EXPECT_TRUE((
        hasType<D, int(AbstractDeviceInterface *, const CommunicatorCommand &, const QByteArray &)>(
            &D::write)));
    EXPECT_TRUE(
        (hasType<D, QByteArray(AbstractDeviceInterface *, const CommunicatorCommand &)>(&D::read)));
    EXPECT_TRUE((hasType<D, bool(AbstractDeviceInterface *)>(&D::initialize)));
    EXPECT_TRUE((hasType<D, bool(const QString &)>(&D::validation)));
    EXPECT_TRUE((hasType<D, QString()>(&D::name)));
    EXPECT_TRUE((hasType<D, QString()>(&D::vender)));
    EXPECT_TRUE((hasType<D, QString()>(&D::getVersionNumber)));
    EXPECT_TRUE((hasType<D, DeviceSetting *()>(&D::getDefaultSerialDeviceSetting)));
    EXPECT_TRUE((hasType<D, DriverSetting *()>(&D::getDefaultDriverSetting)));
    EXPECT_TRUE((hasType<D, QString()>(&D::getStringBasedDefaultDriverSetting)));
    EXPECT_TRUE((hasType<D, int()>(&D::supportedCommunicationFlags)));
    EXPECT_TRUE((hasType<D, void(bool)>(&D::setDebugMode)));
    EXPECT_TRUE((hasType<D, int()>(&D::getBlockAccessSize)));
    EXPECT_TRUE((hasType<D, int()>(&D::getBitBlockAccessSize)));
    EXPECT_TRUE((hasType<D, bool()>(&D::hasError)));
    EXPECT_TRUE((hasType<D, QString()>(&D::getLastError)));
    EXPECT_TRUE((hasType<D, QObject *()>(&D::getThisObject)));
    EXPECT_TRUE((hasType<D, bool()>(&D::isSupportSessionCommand)));
    EXPECT_TRUE((hasType<D, void(QList<CommunicatorCommand>)>(&D::setSessionCommand)));
    EXPECT_TRUE((hasType<D, void()>(&D::clearSessionCommand)));
}

// ---- The interface's own answers -----------------------------------------------------------

/// A driver that defines what it must and nothing else.
class MinimalDriver : public DriverInterface
{
public:
    int totalSize() override { return 0; }
    int write(AbstractDeviceInterface *, const CommunicatorCommand &, const QByteArray &) override
    {
        return 0;
    }
    QByteArray read(AbstractDeviceInterface *, const CommunicatorCommand &) override
    {
        return QByteArray();
    }
    bool initialize(AbstractDeviceInterface *) override { return false; }
    bool validation(const QString &) override { return false; }
    DeviceSetting *getDefaultSerialDeviceSetting() override { return nullptr; }
    DriverSetting *getDefaultDriverSetting() override { return nullptr; }
    int supportedCommunicationFlags() override { return 0; }
    void setDebugMode(bool) override {}
    int getBlockAccessSize() override { return 0; }
    int getBitBlockAccessSize() override { return 0; }
    bool hasError() override { return false; }
    QString getLastError() override { return QString(); }
    QObject *getThisObject() override { return nullptr; }
};

TEST(DriverInterface, AnswersForADriverThatDefinesNoMoreThanItMust)
{
    MinimalDriver minimal;
    DriverInterface &driver = minimal;
    EXPECT_EQ("Not Assigned", driver.name());
    EXPECT_EQ("Not Assigned", driver.vender());
    EXPECT_EQ("Not Assigned", driver.getVersionNumber());
    EXPECT_EQ("RS232,9600,EVEN,7,1", driver.getStringBasedDefaultDriverSetting());
    EXPECT_FALSE(driver.isSupportSessionCommand());
    EXPECT_TRUE(driver.deviceSettingChanged(nullptr));
    EXPECT_TRUE(driver.isConnected(nullptr));
}

TEST(DriverInterface, IgnoresSessionsForADriverThatKnowsNone)
{
    MinimalDriver minimal;
    DriverInterface &driver = minimal;
    driver.setSessionCommand(QList<CommunicatorCommand>() << CommunicatorCommand());
    driver.clearSessionCommand();
    EXPECT_FALSE(driver.hasError());
}

TEST(DriverInterface, HasTheIdentifierOfTheContract)
{
    EXPECT_STREQ("com.tarnwick.drivers.DriverInterface/1.1",
                 qobject_interface_iid<DriverInterface *>());
}

// ---- Identity ------------------------------------------------------------------------------

TEST(DriverDMC50v3, TellsNameMakerAndVersion)
{
    DriverDMC50v3 driver;
    EXPECT_EQ("DMC50 v3", driver.name());
    EXPECT_EQ("Yamatake", driver.vender());
    EXPECT_EQ("1.0.0", driver.getVersionNumber());
}

TEST(DriverDMC50v3, SharesOneVersionTextAmongAllCalls)
{
    DriverDMC50v3 one;
    DriverDMC50v3 other;
    EXPECT_EQ(one.getVersionNumber().constData(), other.getVersionNumber().constData());
}

TEST(DriverDMC50v3, TellsItsSizesAndFlags)
{
    DriverDMC50v3 driver;
    EXPECT_EQ(1024, driver.totalSize());
    EXPECT_EQ(1024, driver.getBlockAccessSize());
    EXPECT_EQ(1024, driver.getBitBlockAccessSize());
    EXPECT_EQ(112, driver.supportedCommunicationFlags());
    EXPECT_TRUE(driver.isSupportSessionCommand());
    EXPECT_TRUE(driver.deviceSettingChanged(nullptr));
    EXPECT_TRUE(driver.isConnected(nullptr));
}

TEST(DriverDMC50v3, InitializesWithoutTouchingTheLink)
{
    DriverDMC50v3 driver;
    FakeLink link;
    EXPECT_TRUE(driver.initialize(&link));
    EXPECT_TRUE(driver.initialize(nullptr));
    EXPECT_TRUE(link.calls().empty());
    EXPECT_EQ(nullptr, probe::thread(driver));
    EXPECT_FALSE(driver.hasError());
}

TEST(DriverDMC50v3, VouchesForNoAddress)
{
    DriverDMC50v3 driver;
    EXPECT_FALSE(driver.validation(QString()));
    EXPECT_FALSE(driver.validation(""));
    EXPECT_FALSE(driver.validation("NA1000"));
    EXPECT_FALSE(driver.validation("3-PA0011234"));
    EXPECT_FALSE(driver.validation("nonsense"));
}

TEST(DriverDMC50v3, GivesANewDeviceSettingForEachCaller)
{
    DriverDMC50v3 driver;
    const std::unique_ptr<DeviceSetting> setting(driver.getDefaultSerialDeviceSetting());
    const std::unique_ptr<DeviceSetting> another(driver.getDefaultSerialDeviceSetting());
    EXPECT_NE(setting.get(), another.get());
    EXPECT_EQ(64, int(setting->type));
    EXPECT_EQ("COM2", setting->string);
    EXPECT_EQ(38400, setting->baudrate);
    EXPECT_EQ(8, setting->databits);
    EXPECT_EQ(0, setting->stopbits);
    EXPECT_EQ(2, setting->parity);
    EXPECT_EQ(0, setting->extra);
    EXPECT_EQ("", setting->extraString);
    EXPECT_EQ(-1, setting->linkID);
    EXPECT_EQ(0, setting->currentIPIndex);
    EXPECT_TRUE(setting->sockets.isEmpty());
}

TEST(DriverDMC50v3, GivesANewDriverSettingForEachCaller)
{
    DriverDMC50v3 driver;
    const std::unique_ptr<DriverSetting> setting(driver.getDefaultDriverSetting());
    const std::unique_ptr<DriverSetting> another(driver.getDefaultDriverSetting());
    EXPECT_NE(setting.get(), another.get());
    EXPECT_EQ(9000, setting->timeout);
    EXPECT_EQ(1, setting->retry);
    EXPECT_EQ(1, setting->stationid);
    EXPECT_EQ(20, setting->delay);
}

TEST(DriverDMC50v3, GivesTheDefaultSettingsAsText)
{
    DriverDMC50v3 driver;
    EXPECT_EQ("RS485,38400,EVEN,8,1", driver.getStringBasedDefaultDriverSetting());
}

TEST(DriverDMC50v3, KeepsTheDebugMode)
{
    DriverDMC50v3 driver;
    driver.setDebugMode(true);
    EXPECT_TRUE(probe::state(driver).debugMode);
    driver.setDebugMode(false);
    EXPECT_FALSE(probe::state(driver).debugMode);
}

// ---- The object ----------------------------------------------------------------------------

TEST(DriverDMC50v3, IsAnObjectInTheFirstPlace)
{
    DriverDMC50v3 driver;
    EXPECT_EQ(static_cast<void *>(&driver), static_cast<void *>(driver.getThisObject()));
    EXPECT_EQ(nullptr, driver.parent());
}

TEST(DriverDMC50v3, AnswersCastsByNameAndByIdentifier)
{
    DriverDMC50v3 driver;
    void *const interface = static_cast<DriverInterface *>(&driver);
    EXPECT_EQ(static_cast<void *>(&driver), driver.qt_metacast("DriverDMC50v3"));
    EXPECT_EQ(interface, driver.qt_metacast("DriverInterface"));
    EXPECT_EQ(interface, driver.qt_metacast("com.tarnwick.drivers.DriverInterface/1.1"));
    EXPECT_EQ(static_cast<void *>(&driver), driver.qt_metacast("QObject"));
    EXPECT_EQ(static_cast<DriverInterface *>(&driver),
              qobject_cast<DriverInterface *>(driver.getThisObject()));
}

TEST(DriverDMC50v3, AnswersNoOtherCast)
{
    DriverDMC50v3 driver;
    EXPECT_EQ(nullptr, driver.qt_metacast(nullptr));
    EXPECT_EQ(nullptr, driver.qt_metacast(""));
    EXPECT_EQ(nullptr, driver.qt_metacast("com.tarnwick.drivers.DriverInterface/1.0"));
    EXPECT_EQ(nullptr, driver.qt_metacast("driverdmc50v3"));
}

TEST(DriverDMC50v3, HasNoSignalsAndSlotsOfItsOwn)
{
    const QMetaObject &meta = DriverDMC50v3::staticMetaObject;
    EXPECT_STREQ("DriverDMC50v3", meta.className());
    EXPECT_EQ(QObject::staticMetaObject.methodCount(), meta.methodCount());
}

TEST(DriverDMC50v3, StartsWithNothingDone)
{
    const DriverDMC50v3 driver;
    const probe::State state = probe::state(driver);
    EXPECT_FALSE(state.hasError);
    EXPECT_FALSE(state.debugMode);
    EXPECT_FALSE(state.databaseOpened);
    EXPECT_FALSE(state.tableReady);
    EXPECT_FALSE(state.transferBusy);
    EXPECT_EQ(1, state.defaultStation);
    EXPECT_LE(50u, state.roomForAddresses);
    EXPECT_LE(50u, state.roomForIndexes);
    EXPECT_EQ(nullptr, probe::thread(driver));
    EXPECT_TRUE(probe::validAddresses(driver).empty());
    EXPECT_TRUE(probe::lowLatencyStations(driver).empty());
    EXPECT_TRUE(probe::programDataAddresses(driver).isEmpty());
    EXPECT_TRUE(probe::keptSession(driver).isEmpty());
    EXPECT_TRUE(probe::commAddresses(driver).empty());
    EXPECT_TRUE(probe::dataIndexes(driver).empty());
}

TEST(DriverDMC50v3, HasTheSixAddressPatterns)
{
    const DriverDMC50v3 driver;
    QStringList patterns;
    for (const QRegExp &pattern : probe::state(driver).patterns) {
        EXPECT_EQ(Qt::CaseInsensitive, pattern.caseSensitivity());
        EXPECT_EQ(QRegExp::RegExp, pattern.patternSyntax());
        EXPECT_TRUE(pattern.isValid());
        patterns << pattern.pattern();
    }
    EXPECT_EQ(QStringList({"^(\\d+)-PA([\\da-f]{3})([\\da-f]+)", "^PA([\\da-f]{3})([\\da-f]+)",
                           "^(\\d+)-NA([\\da-f]+)", "^NA([\\da-f]+)",
                           "^PA([\\da-f]{3})([\\da-f]+)\\.(\\d+)", "^NA([\\da-f]+)\\.(\\d+)"}),
              patterns);
}

// ---- The name of the database connection ---------------------------------------------------

void seedRandomNumbers(uint seed)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    qsrand(seed);
#pragma GCC diagnostic pop
}

TEST(ConnectionName, IsARandomNumber)
{
    seedRandomNumbers(20260);
    const QString number = QString::number(drawRandomNumber());
    seedRandomNumbers(20260);
    const DriverDMC50v3 driver;
    EXPECT_EQ(number, probe::connectionName(driver));
}

TEST(ConnectionName, DiffersBetweenDrivers)
{
    std::vector<std::unique_ptr<DriverDMC50v3>> drivers;
    std::set<QString> names;
    for (int i = 0; i < 50; ++i) {
        drivers.push_back(std::unique_ptr<DriverDMC50v3>(new DriverDMC50v3));
        names.insert(probe::connectionName(*drivers.back()));
    }
    EXPECT_EQ(50u, names.size());
}

// A runtime may seed the sequence as it likes, and each thread has a sequence of its own.
TEST(ConnectionName, DiffersBetweenDriversThatDrawTheSameNumber)
{
    seedRandomNumbers(7);
    const DriverDMC50v3 one;
    seedRandomNumbers(7);
    const DriverDMC50v3 other;
    EXPECT_NE(probe::connectionName(one), probe::connectionName(other));
}

/// Creates a driver, in `run`, on a thread that has drawn no random number yet.
class CreatingThread : public QThread
{
public:
    std::unique_ptr<DriverDMC50v3> driver;

protected:
    void run() override { driver.reset(new DriverDMC50v3); }
};

TEST(ConnectionName, DiffersBetweenDriversOfDifferentThreads)
{
    CreatingThread one;
    CreatingThread other;
    for (CreatingThread *thread : {&one, &other}) {
        thread->start();
        thread->wait();
    }
    EXPECT_NE(probe::connectionName(*one.driver), probe::connectionName(*other.driver));
}

TEST(ConnectionName, IsFreeAgainWhenItsDriverHasGone)
{
    QString name;
    for (int i = 0; i < 2; ++i) {
        seedRandomNumbers(7);
        const DriverDMC50v3 driver;
        if (!name.isEmpty()) {
            EXPECT_EQ(name, probe::connectionName(driver));
        }
        name = probe::connectionName(driver);
    }
}

// ---- The driver's own error ----------------------------------------------------------------

TEST(DriverError, IsNotThereAtFirst)
{
    DriverDMC50v3 driver;
    EXPECT_FALSE(driver.hasError());
    EXPECT_EQ("", driver.getLastError());
}

TEST(DriverError, IsSetWithItsText)
{
    DriverDMC50v3 driver;
    driver.setCommError("can not open database");
    EXPECT_TRUE(driver.hasError());
    EXPECT_EQ("can not open database", driver.getLastError());
}

TEST(DriverError, LeavesItsTextWhenItIsCleared)
{
    DriverDMC50v3 driver;
    driver.setCommError("gone");
    driver.clearError();
    EXPECT_FALSE(driver.hasError());
    EXPECT_EQ("gone", driver.getLastError());
}

TEST(DriverError, IsPrefixedOnce)
{
    DriverDMC50v3 driver;
    driver.setCommError("no answer");
    driver.addStrToFrontOfErrorDescription("COM2:");
    EXPECT_EQ("COM2:no answer", driver.getLastError());
    driver.addStrToFrontOfErrorDescription("COM2:");
    EXPECT_EQ("COM2:no answer", driver.getLastError());
}

TEST(DriverError, IsNotPrefixedWhenItHoldsAColon)
{
    DriverDMC50v3 driver;
    driver.setCommError("read at 12:30");
    driver.addStrToFrontOfErrorDescription("COM2 ");
    EXPECT_EQ("read at 12:30", driver.getLastError());
}

TEST(DriverError, IsPrefixedAgainWhenThePrefixHasNoColon)
{
    DriverDMC50v3 driver;
    driver.setCommError("c");
    driver.addStrToFrontOfErrorDescription("b");
    driver.addStrToFrontOfErrorDescription("a");
    EXPECT_EQ("abc", driver.getLastError());
}

TEST(DriverError, IsNotSetByAPrefix)
{
    DriverDMC50v3 driver;
    driver.addStrToFrontOfErrorDescription("COM2:");
    EXPECT_FALSE(driver.hasError());
    EXPECT_EQ("COM2:", driver.getLastError());
}

// ---- With a polling thread -----------------------------------------------------------------

class DriverWithThread : public testing::Test
{
protected:
    DriverWithThread()
    {
        link.answer = frames::echoAddresses;
        probe::setValidAddresses(driver, {{1, {0x10, 0x11}}, {2, {0x20}}});
    }

    static QList<CommunicatorCommand> session(const QStringList &addresses)
    {
        QList<CommunicatorCommand> commands;
        for (const QString &address : addresses) {
            CommunicatorCommand command;
            command.address = address;
            commands << command;
        }
        return commands;
    }

    bool isPolled(uchar station, ulong address)
    {
        return eventually([this, station, address] {
            return probe::thread(driver)->addrInDataCache(station, address);
        });
    }

    FakeLink link; // outlives the driver
    DriverDMC50v3 driver;
};

TEST_F(DriverWithThread, PrefersTheErrorOfTheLine)
{
    driver.createThread(&link);
    probe::endLine(driver);
    driver.setCommError("the driver's");
    PollingThread *const thread = probe::thread(driver);
    thread->clearError();
    EXPECT_TRUE(driver.hasError());
    EXPECT_EQ("the driver's", driver.getLastError());

    thread->setCommError("the line's");
    EXPECT_TRUE(driver.hasError());
    EXPECT_EQ("the line's", driver.getLastError());

    driver.clearError();
    EXPECT_TRUE(driver.hasError());
    EXPECT_EQ("the line's", driver.getLastError());

    thread->clearError();
    EXPECT_FALSE(driver.hasError());
    EXPECT_EQ("the driver's", driver.getLastError());
}

TEST_F(DriverWithThread, PrefixesItsOwnErrorOnly)
{
    driver.createThread(&link);
    probe::endLine(driver);
    driver.setCommError("own");
    probe::thread(driver)->setCommError("line");
    driver.addStrToFrontOfErrorDescription("COM2:");
    EXPECT_EQ("line", driver.getLastError());
    probe::thread(driver)->clearError();
    EXPECT_EQ("COM2:own", driver.getLastError());
}

TEST_F(DriverWithThread, KeepsASessionUntilThereIsAThread)
{
    driver.setSessionCommand(session({"NA10"}));
    ASSERT_EQ(1, probe::keptSession(driver).size());
    EXPECT_EQ("NA10", probe::keptSession(driver).first().address);

    driver.createThread(&link);
    EXPECT_TRUE(probe::keptSession(driver).isEmpty());
    EXPECT_TRUE(isPolled(1, 0x10));
}

TEST_F(DriverWithThread, KeepsTheLastSessionOfSeveral)
{
    driver.setSessionCommand(session({"NA10"}));
    driver.setSessionCommand(session({"NA11", "2-NA20"}));
    ASSERT_EQ(2, probe::keptSession(driver).size());
    EXPECT_EQ("NA11", probe::keptSession(driver).first().address);
}

TEST_F(DriverWithThread, IgnoresAnEmptySessionWhileItKeepsOne)
{
    driver.setSessionCommand(session({"NA10"}));
    driver.setSessionCommand(QList<CommunicatorCommand>());
    EXPECT_EQ(1, probe::keptSession(driver).size());
}

TEST_F(DriverWithThread, KeepsItsSessionWhenAskedToClearItWithoutAThread)
{
    driver.setSessionCommand(session({"NA10"}));
    driver.clearSessionCommand();
    EXPECT_EQ(1, probe::keptSession(driver).size());
}

TEST_F(DriverWithThread, HandsASessionToTheThread)
{
    driver.createThread(&link);
    driver.setSessionCommand(session({"2-NA20"}));
    EXPECT_TRUE(probe::keptSession(driver).isEmpty());
    EXPECT_TRUE(isPolled(2, 0x20));
}

TEST_F(DriverWithThread, KeepsAnEmptySessionFromTheThread)
{
    driver.setSessionCommand(session({"NA10"}));
    driver.createThread(&link);
    ASSERT_TRUE(isPolled(1, 0x10));
    probe::endLine(driver);
    driver.setSessionCommand(QList<CommunicatorCommand>());
    EXPECT_EQ(0, probe::thread(driver)->getFlag());
}

TEST_F(DriverWithThread, HandsTheEndOfASessionToTheThread)
{
    driver.createThread(&link);
    probe::endLine(driver);
    driver.clearSessionCommand();
    EXPECT_EQ(PollingThread::SessionCleared, probe::thread(driver)->getFlag());
}

TEST_F(DriverWithThread, HandsTheLowLatencyStationsToTheThread)
{
    probe::setLowLatencyStations(driver, {2, 5});
    driver.createThread(&link);
    EXPECT_TRUE(probe::lowLatencyStations(driver).empty());
    EXPECT_EQ(2, probe::thread(driver)->numOfLowLatencyStation());
    ASSERT_TRUE(eventually([this] { return link.sent().size() >= 2; }));
    const std::vector<std::pair<uint32_t, uint32_t>> mode = {
        {0x2012, 1}, {0x2013, 5}, {0x2014, 200}, {0x2015, 5}};
    EXPECT_THAT(link.sent(),
                ElementsAre(frames::writeRequest(2, mode), frames::writeRequest(5, mode)));
}

TEST_F(DriverWithThread, SetsNoLowLatencyWithoutStations)
{
    driver.createThread(&link);
    EXPECT_EQ(0, probe::thread(driver)->numOfLowLatencyStation());
}

TEST_F(DriverWithThread, StartsTheThreadWithThePriorityOfItsCreator)
{
    driver.createThread(&link);
    EXPECT_TRUE(probe::thread(driver)->isRunning());
    EXPECT_EQ(QThread::InheritPriority, probe::thread(driver)->priority());
}

TEST_F(DriverWithThread, ReplacesAnEarlierThread)
{
    FakeLink other;
    other.answer = frames::echoAddresses;
    driver.createThread(&other);
    driver.setSessionCommand(session({"NA10"}));
    ASSERT_TRUE(isPolled(1, 0x10));

    driver.createThread(&link);
    const size_t sent_by_the_first = other.sent().size();
    driver.setSessionCommand(session({"NA11"}));
    EXPECT_TRUE(isPolled(1, 0x11));
    EXPECT_EQ(sent_by_the_first, other.sent().size());
}

TEST_F(DriverWithThread, PollsStationlessAddressesAtTheDefaultStation)
{
    driver.createThread(&link);
    driver.setSessionCommand(session({"NA10"}));
    ASSERT_TRUE(isPolled(1, 0x10));
    EXPECT_EQ(frames::readRequest(1, {0x10}), link.sent().front());
}

typedef DriverWithThread DriverWithThreadDeathTest;

TEST_F(DriverWithThreadDeathTest, EndsTheProgramForASessionAtAStationThatIsNotInTheProject)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    driver.setSessionCommand(session({"9-NA10"}));
    EXPECT_DEATH(driver.createThread(&link),
                 HasSubstr("`m_valid_addresses_map->end() != lookup_map_it'"));
}

// ---- How the runtime obtains a driver ------------------------------------------------------

TEST(CreateDriver, GivesANewDriverEachTime)
{
    const std::unique_ptr<DriverInterface> one(CreateDriver());
    const std::unique_ptr<DriverInterface> other(CreateDriver());
    ASSERT_NE(nullptr, one);
    EXPECT_NE(one, other);
    EXPECT_EQ("DMC50 v3", one->name());
    EXPECT_EQ("DMC50 v3", other->name());
}

TEST(CreateDriver, GivesTheInterfaceOfTheDriver)
{
    const std::unique_ptr<DriverInterface> driver(CreateDriver());
    EXPECT_EQ(driver.get(), qobject_cast<DriverInterface *>(driver->getThisObject()));
    EXPECT_STREQ("DriverDMC50v3", driver->getThisObject()->metaObject()->className());
}

TEST(PluginRoot, IsOneObject)
{
    const std::unique_ptr<QObject> root(qt_plugin_instance());
    ASSERT_NE(nullptr, root);
    EXPECT_EQ(root.get(), qt_plugin_instance());
    EXPECT_NE(nullptr, qobject_cast<DriverInterface *>(root.get()));
}

TEST(PluginRoot, IsAnotherObjectAfterTheFirstHasGone)
{
    std::unique_ptr<QObject> root(qt_plugin_instance());
    root->setObjectName("the first");
    root.reset();
    root.reset(qt_plugin_instance());
    ASSERT_NE(nullptr, root);
    EXPECT_EQ("", root->objectName());
}

TEST(PluginRoot, HasNothingToDoWithCreateDriver)
{
    const std::unique_ptr<QObject> root(qt_plugin_instance());
    const std::unique_ptr<DriverInterface> driver(CreateDriver());
    EXPECT_NE(root.get(), driver->getThisObject());
}

TEST(VerificationData, IsTheTextOfTheTerminalsBuild)
{
    EXPECT_STREQ("pattern=QT_PLUGIN_VERIFICATION_DATA\nversion=4.8.6\ndebug=false\n"
                 "buildkey=arm linux g++-4 no-pkg-config",
                 qt_plugin_query_verification_data());
}

} // namespace
