#include "tests/recipe/transfer_fixture.h"

#include "common/zdevice.h"
#include "tests/driver/driver_probe.h"
#include "tests/support/eventually.h"
#include "tests/support/frames.h"

#include <QCoreApplication>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QTextCodec>
#include <QThread>
#include <QTimer>

#include <algorithm>

namespace
{

const char StickNode[] = "/dev/sdb1";
const char StickPoint[] = "/media/usb0"; // where the desktop has its sticks
const uint32_t ByteOrderMark = 0xFEFF;

AddressVectorMap programAddresses()
{
    AddressVectorMap table;
    for (const uchar station : {uchar(1), uchar(2)}) {
        for (int step = 1; step <= 32; ++step) {
            for (ulong value = 0; value < 24; ++value)
                table[station].push_back(stepAddress(step) + value);
        }
        table[station].push_back(0x2000);
    }
    return table;
}

CommunicatorCommand tagCommand(const char *name, int dataSize)
{
    CommunicatorCommand command;
    command.address = name;
    command.dataType = CommunicatorCommand::ByteType;
    command.length = dataSize;
    return command;
}

/// What the drawing in memory says of itself is not the driver's.
std::vector<std::string> withoutThoseOfTheScreen(std::vector<std::string> warnings)
{
    const std::string own = "This plugin does not support propagateSizeHints()";
    warnings.erase(std::remove(warnings.begin(), warnings.end(), own), warnings.end());
    return warnings;
}

} // namespace

// ---- Controllers -------------------------------------------------------------------------------

uint32_t Controllers::firstValue(unsigned station, uint32_t address)
{
    return 0x80010000U + (station << 24) + address;
}

uint32_t Controllers::word(unsigned station, uint32_t address) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_words.find(std::make_pair(station, address));
    return found == m_words.end() ? firstValue(station, address) : found->second;
}

void Controllers::setWord(unsigned station, uint32_t address, uint32_t value)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_words[std::make_pair(station, address)] = value;
}

std::string Controllers::answer(const std::string &request)
{
    if (answers && !answers(request))
        return std::string();
    return frames::answerFrom(*this, request);
}

// ---- Files -------------------------------------------------------------------------------------

uint32_t stepAddress(int step)
{
    return 0x1000U + 0x20U * static_cast<uint32_t>(step - 1);
}

QString fileRow(const QString &label, const QStringList &values)
{
    return (QStringList(label) + values).join("\t") + "\n";
}

QStringList countedValues(uint32_t first)
{
    QStringList values;
    for (uint32_t i = 0; i < 24; ++i)
        values << QString::number(first + i);
    return values;
}

QByteArray contentOf(const std::string &path)
{
    QFile file(QString::fromStdString(path));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path;
    return file.readAll();
}

QString textOf(const std::string &path)
{
    const QByteArray content = contentOf(path);
    EXPECT_EQ("fffe", content.left(2).toHex());
    QString text;
    for (int i = 2; i + 1 < content.size(); i += 2)
        text.append(QChar(uchar(content.at(i)), uchar(content.at(i + 1))));
    return text;
}

QByteArray encoded(const QString &text)
{
    QByteArray content;
    for (const QChar c : QChar(ByteOrderMark) + text)
        content.append(char(c.cell())).append(char(c.row()));
    return content;
}

void write(const std::string &path, const QByteArray &content)
{
    QFile file(QString::fromStdString(path));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path;
    EXPECT_EQ(content.size(), file.write(content));
}

bool exists(const std::string &path)
{
    return QFileInfo(QString::fromStdString(path)).exists();
}

QByteArray programFile(int rows)
{
    QStringList labels;
    for (int i = 0; i < 25; ++i)
        labels << QString("label %1").arg(i);
    QString text = labels.join("\t") + "\n";
    for (int i = 1; i <= rows; ++i)
        text += fileRow("row", countedValues(static_cast<uint32_t>(1000 * i)));
    return encoded(text);
}

QStringList allSteps()
{
    QStringList addresses;
    for (int step = 1; step <= 32; ++step)
        addresses << QString("NA%1").arg(stepAddress(step), 0, 16).toUpper();
    return addresses;
}

// ---- The worker --------------------------------------------------------------------------------

WorkerHold::WorkerHold(CSVImExporter *exporter) : m_state(std::make_shared<State>())
{
    const std::shared_ptr<State> state = m_state;
    QMetaObject::invokeMethod(
        exporter,
        [state] {
            state->held = true;
            EXPECT_TRUE(eventually([&state] { return state->released.load(); }));
        },
        Qt::QueuedConnection);
    EXPECT_TRUE(eventually([&state] { return state->held.load(); }));
}

WorkerHold::~WorkerHold()
{
    m_state->released = true;
}

// ---- The fixture -------------------------------------------------------------------------------

TransferTest::TransferTest() : driver(new DriverDMC50v3), exporter(new CSVImExporter(0, &clock))
{
    link.answer = [this](const std::string &request) { return controllers.answer(request); };
    probe::setValidAddresses(*driver, programAddresses());
    QObject::connect(
        exporter, &CSVImExporter::showMessage, exporter,
        [this](const QString &title, const QString &text, bool showInstant) {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_messages.push_back((title + ": " + text).toStdString());
            EXPECT_TRUE(showInstant);
        },
        Qt::DirectConnection);
}

TransferTest::~TransferTest()
{
    if (exporter != nullptr)
        endExporter();
    driver.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    ZDevice::dropInstance();
    EXPECT_THAT(withoutThoseOfTheScreen(log.texts(QtWarningMsg)), testing::IsEmpty());
}

void TransferTest::SetUp()
{
    if (!privateMountsFault().empty())
        GTEST_SKIP() << "needs a stick of its own: " << privateMountsFault();
}

void TransferTest::plugIn(const std::string &options)
{
    stick.reset(new MountedVolume(StickNode, StickPoint, options));
    restartMonitor();
}

void TransferTest::noStick()
{
    stick.reset();
    restartMonitor();
}

void TransferTest::restartMonitor()
{
    ZDevice::dropInstance();
    ZDevice::getInstance();
}

void TransferTest::start()
{
    start(allSteps());
}

void TransferTest::start(const QStringList &addresses)
{
    driver->createThread(&link);
    exporter->setRcpDataCommandAddrList(addresses);
    exporter->setDriverDMC50v3_DeviceInterface(driver.get(), &link);
}

void TransferTest::writeTag(const char *name, const QByteArray &data)
{
    exporter->processWriteCommand(tagCommand(name, data.size()), data);
}

QByteArray TransferTest::readTag(const char *name, int dataSize)
{
    QByteArray data(dataSize, '\0');
    exporter->processReadCommand(tagCommand(name, dataSize), data);
    return data;
}

void TransferTest::choose(int program, int steps)
{
    QByteArray number;
    for (int i = 0; i < 4; ++i)
        number.append(static_cast<char>(static_cast<unsigned>(program) >> (8 * i) & 0xFFU));
    writeTag("VVT_PROG_ID0", number);
    writeTag("VVT_PROG_COUNT0", QByteArray(1, static_cast<char>(steps)));
}

void TransferTest::inWorker(const std::function<void()> &function)
{
    std::atomic<bool> done(false);
    QMetaObject::invokeMethod(
        exporter,
        [&done, &function] {
            function();
            done = true;
        },
        Qt::QueuedConnection);
    ASSERT_TRUE(eventually([&done] { return done.load(); }));
}

void TransferTest::exportProgram(int program, int steps)
{
    choose(program, steps);
    requestExport();
    waitForWorker();
}

void TransferTest::importProgram(int program, int steps)
{
    choose(program, steps);
    requestImport();
    waitForWorker();
}

int TransferTest::resetInterval()
{
    int interval = -1;
    inWorker([this, &interval] {
        const QTimer *const timer = exporter->findChild<QTimer *>();
        EXPECT_TRUE(timer->isSingleShot());
        if (timer->isActive())
            interval = timer->interval();
    });
    return interval;
}

void TransferTest::runOutReset()
{
    inWorker([this] {
        QTimer *const timer = exporter->findChild<QTimer *>();
        timer->stop();
        QMetaObject::invokeMethod(timer, "timeout", Qt::DirectConnection);
    });
}

std::vector<std::string> TransferTest::messages()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_messages;
}

void TransferTest::endExporter()
{
    exporter->closeDriver();
    if (probe::thread(*driver) != nullptr)
        probe::endLine(*driver); // a call that waits in the driver returns
    exporter->end();
    exporter = nullptr;
}
