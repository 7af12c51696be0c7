#include "hmi/desktop/serial_link.h"

#include "hmi/desktop/serial_format.h"
#include "hmi/desktop/serial_port.h"

#include <QFile>
#include <QtDebug>

#include <algorithm>

namespace
{

typedef std::chrono::milliseconds Milliseconds;

// After a request that was not answered in time both its own late reply and, where that one is
// taken for the reply to the repeated request, the reply to the repetition may come unasked.
const int WaryFrames = 2;

const int DiscardedAtOnce = 512;

std::chrono::steady_clock::time_point now()
{
    return std::chrono::steady_clock::now();
}

} // namespace

const int SerialLink::ReopenPauseMs;
const int SerialLink::QuietGapMs;
const int SerialLink::LongestDiscardMs;

SerialLink::SerialLink(const QString &devicePath, const DeviceSetting &deviceSetting,
                       const DriverSetting &driverSetting)
    : m_device_path(devicePath), m_device_setting(deviceSetting), m_driver_setting(driverSetting),
      m_station_id(driverSetting.stationid), m_up(false), m_port(new SerialPort), m_wanted(false),
      m_reply_deadline(now()), m_next_attempt(now()), m_wary_frames(0),
      m_last_error(QString("%1 is not open").arg(portName()))
{
}

SerialLink::~SerialLink()
{
    close();
}

bool SerialLink::open(QString *error)
{
    close();
    m_port->resume();
    QString reason;
    m_wanted = openPort(&reason);
    if (!m_wanted) {
        setLastError(reason);
        if (error != nullptr) {
            *error = reason;
        }
    }
    return m_wanted;
}

/// Opens the port with the link's settings; on failure the reason names the port.
bool SerialLink::openPort(QString *reason)
{
    SerialFormat format;
    QString detail;
    if (toSerialFormat(m_device_setting, &format, &detail)) {
        detail = m_port->open(QFile::encodeName(m_device_path).toStdString(), format);
    }
    if (!detail.isEmpty()) {
        *reason = QString("cannot open %1: %2").arg(portName(), detail);
        return false;
    }
    m_up = true;
    m_wary_frames = 0;
    setLastError(QString());
    return true;
}

void SerialLink::close()
{
    m_wanted = false;
    m_up = false;
    m_port->close();
    setLastError(QString("%1 is not open").arg(portName()));
}

void SerialLink::interrupt()
{
    m_port->interrupt();
}

bool SerialLink::isUp() const
{
    return m_up;
}

QString SerialLink::lastError() const
{
    const std::lock_guard<std::mutex> lock(m_error_mutex);
    return m_last_error;
}

void SerialLink::setLastError(const QString &text)
{
    const std::lock_guard<std::mutex> lock(m_error_mutex);
    m_last_error = text;
}

void SerialLink::setStationId(int stationId)
{
    m_station_id = stationId;
}

QString SerialLink::portName() const
{
    return QString("%1 (%2)").arg(m_device_setting.string, m_device_path);
}

int SerialLink::readData(char *buffer, int max_size)
{
    if (max_size < 1) {
        return 0;
    }
    if (!m_up) {
        waitWhileAway();
        return 0;
    }
    const SerialPort::Transfer transfer = m_port->read(buffer, max_size, m_reply_deadline);
    if (transfer.status == SerialPort::Status::TimedOut) {
        m_wary_frames = WaryFrames;
    } else if (transfer.status == SerialPort::Status::Failed) {
        portLost(transfer.reason);
    }
    return transfer.count;
}

void SerialLink::waitWhileAway()
{
    m_port->waitUntil(m_wanted ? std::min(m_reply_deadline, m_next_attempt) : m_reply_deadline);
}

int SerialLink::writeData(const char *data, int size)
{
    int sent = 0;
    if (ensurePort()) {
        const SerialPort::Transfer transfer = m_port->write(data, size, patience());
        sent = transfer.count;
        if (transfer.status == SerialPort::Status::Failed) {
            portLost(transfer.reason);
        }
    }
    m_reply_deadline = now() + patience();
    return sent;
}

/// How long the other end may keep the link waiting.
std::chrono::milliseconds SerialLink::patience() const
{
    return Milliseconds(std::max(m_driver_setting.timeout, 0));
}

/// Whether the port is open, after trying to open it again if it is time to.
bool SerialLink::ensurePort()
{
    if (m_up || !m_wanted || now() < m_next_attempt) {
        return m_up;
    }
    QString reason;
    if (openPort(&reason)) {
        qWarning("%s is back", qPrintable(portName()));
    } else {
        setLastError(reason);
        m_next_attempt = now() + Milliseconds(ReopenPauseMs);
    }
    return m_up;
}

void SerialLink::portLost(const QString &reason)
{
    m_up = false;
    m_port->close();
    m_next_attempt = now() + Milliseconds(ReopenPauseMs);
    const QString text = QString("%1 is gone: %2").arg(portName(), reason);
    setLastError(text);
    qWarning("%s; it is tried again every %d ms", qPrintable(text), ReopenPauseMs);
}

QVariant SerialLink::control(int code, const QVariant &argument)
{
    Q_UNUSED(argument);
    if (code != DiscardInput) {
        return QVariant();
    }
    return m_up ? discardUnasked() : 0;
}

int SerialLink::discardUnasked()
{
    char bytes[DiscardedAtOnce];
    const SerialPort::Transfer transfer = m_port->take(bytes, sizeof bytes);
    if (transfer.status == SerialPort::Status::Failed) {
        portLost(transfer.reason);
        return 0;
    }
    if (transfer.count > 0) {
        m_wary_frames = WaryFrames;
    }
    if (m_wary_frames == 0) {
        return 0;
    }
    --m_wary_frames;
    return transfer.count + discardUntilSilent();
}

int SerialLink::discardUntilSilent()
{
    const TimePoint end = now() + Milliseconds(LongestDiscardMs);
    char bytes[DiscardedAtOnce];
    int discarded = 0;
    SerialPort::Transfer transfer;
    do {
        const TimePoint silent = now() + Milliseconds(QuietGapMs);
        transfer = m_port->read(bytes, sizeof bytes, std::min(silent, end));
        discarded += transfer.count;
    } while (transfer.status == SerialPort::Status::Done && now() < end);
    if (transfer.status == SerialPort::Status::Failed) {
        portLost(transfer.reason);
    }
    return discarded;
}

const DeviceSetting *SerialLink::deviceSetting()
{
    return &m_device_setting;
}

int SerialLink::timeout()
{
    return m_driver_setting.timeout;
}

int SerialLink::retry()
{
    return m_driver_setting.retry;
}

int SerialLink::stationId()
{
    return m_station_id;
}

int SerialLink::delay()
{
    return m_driver_setting.delay;
}
