#include "tests/e2e/plugged_in.h"

#include <chrono>
#include <stdexcept>
#include <thread>

#include <QCoreApplication>
#include <QStringList>

#include "tests/driver/project_database.h"
#include "tests/support/plain_link.h"

namespace
{

const int TimeoutMs = 3000;
const int Retries = 0;
const int DelayMs = 10;

CommunicatorCommand doubleWord(const QString &address)
{
    CommunicatorCommand command;
    command.address = address;
    command.dataType = CommunicatorCommand::DoubleWordType;
    command.length = 1;
    return command;
}

QString addressText(quint32 address)
{
    return QString("NA%1").arg(address, 0, 16);
}

QStringList tagsOf(int station)
{
    QStringList tags;
    for (quint32 word = PluggedIn::FirstWord; word <= PluggedIn::LastWord; ++word)
        tags << QString("%1-%2").arg(station).arg(addressText(word));
    return tags;
}

QStringList allTags()
{
    return tagsOf(PluggedIn::SoundStation) + tagsOf(PluggedIn::FaultyStation);
}

QList<CommunicatorCommand> sessionOf(const QStringList &tags)
{
    QList<CommunicatorCommand> session;
    for (const QString &tag : tags)
        session << doubleWord(tag);
    return session;
}

quint32 fromLittleEndian(const QByteArray &data)
{
    quint32 value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | static_cast<uchar>(data.at(i));
    return value;
}

QByteArray toLittleEndian(quint32 value)
{
    QByteArray data;
    for (int i = 0; i < 4; ++i)
        data.append(static_cast<char>(value >> (8 * i) & 0xFFU));
    return data;
}

/// What cannot be had ends the test.
void require(bool condition, const std::string &what)
{
    if (!condition)
        throw std::runtime_error(what);
}

} // namespace

PluggedIn::PluggedIn(const QStringList &moreTags, int baud)
    : m_plugin(QStringLiteral(DMC50_PLUGIN_FILE))
{
    removeProject();
    ProjectDatabase::withTags(allTags() + moreTags, SoundStation);

    SimulatorOptions options;
    options.stations = {SoundStation, FaultyStation};
    options.baud = baud;
    // A link goes with its port; a pty's number comes back with the next one.
    options.ptyLink = QString("%1/line.%2")
                          .arg(QCoreApplication::applicationDirPath())
                          .arg(QCoreApplication::applicationPid())
                          .toStdString();
    m_simulator.reset(new Simulator(options));
    std::string reason;
    require(m_simulator->start(&reason), reason);
    setGeneration(SoundStation, 0);
    setGeneration(FaultyStation, 0);

    m_serial.reset(new SerialLink(QString::fromStdString(m_simulator->portName()), usualWiring(),
                                  DriverSetting(TimeoutMs, Retries, SoundStation, DelayMs)));
    QString error;
    require(m_serial->open(&error), error.toStdString());
    m_monitor.reset(new LineMonitor(m_serial.get()));

    typedef DriverInterface *(*Create)();
    const Create create = reinterpret_cast<Create>(m_plugin.resolve("CreateDriver"));
    require(create != nullptr, m_plugin.errorString().toStdString());
    m_driver.reset(create());
}

PluggedIn::~PluggedIn()
{
    m_driver.reset();
}

quint32 PluggedIn::value(int station, quint32 address, quint32 generation)
{
    return 0x80000000U + (static_cast<quint32>(station) << 24) + (address << 8) + generation;
}

void PluggedIn::setGeneration(int station, quint32 generation)
{
    for (quint32 word = FirstWord; word <= LastWord; ++word)
        m_simulator->setWord(station, word, value(station, word, generation));
}

void PluggedIn::announce(int station)
{
    m_driver->setSessionCommand(sessionOf(tagsOf(station)));
}

void PluggedIn::announceAll()
{
    m_driver->setSessionCommand(sessionOf(allTags()));
}

bool PluggedIn::read(int station, quint32 address, quint32 *value)
{
    m_serial->setStationId(station);
    const QByteArray data = m_driver->read(m_monitor.get(), doubleWord(addressText(address)));
    if (data.size() != 4)
        return false;
    *value = fromLittleEndian(data);
    return true;
}

bool PluggedIn::allRead(int station, quint32 generation)
{
    for (quint32 word = FirstWord; word <= LastWord; ++word) {
        quint32 read_value = 0;
        if (!read(station, word, &read_value) || read_value != value(station, word, generation))
            return false;
    }
    return true;
}

int PluggedIn::readTag(const QString &name)
{
    m_serial->setStationId(SoundStation);
    const QByteArray data = m_driver->read(m_monitor.get(), doubleWord(name));
    return data.size() == 4 ? int(fromLittleEndian(data)) : -1;
}

void PluggedIn::writeTag(const QString &name, int value)
{
    m_serial->setStationId(SoundStation);
    const QByteArray data = toLittleEndian(static_cast<quint32>(value));
    require(m_driver->write(m_monitor.get(), doubleWord(name), data) == 1, name.toStdString());
}

int PluggedIn::write(int station, quint32 address, quint32 value)
{
    m_serial->setStationId(station);
    return m_driver->write(m_monitor.get(), doubleWord(addressText(address)),
                           toLittleEndian(value));
}

void PluggedIn::addFault(const std::string &text)
{
    Fault fault;
    std::string reason;
    require(parseFault(text, &fault, &reason), reason);
    m_simulator->addFault(fault);
}

bool comesTrue(const std::function<bool()> &condition, int withinMs)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(withinMs);
    do {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    } while (std::chrono::steady_clock::now() < end);
    return false;
}
