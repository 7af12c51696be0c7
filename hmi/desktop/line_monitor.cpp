#include "hmi/desktop/line_monitor.h"

#include "hmi/desktop/line_account.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ostream>

namespace
{

const qint64 UsPerMs = 1000;
const double UsPerSecond = 1e6;

qint64 steadyMicroseconds()
{
    const auto time = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

std::string toBytes(const char *data, int size)
{
    return std::string(data, static_cast<size_t>(std::max(size, 0)));
}

} // namespace

LineMonitor::LineMonitor(AbstractDeviceInterface *link, const Clock &clock)
    : m_link(link), m_clock(clock ? clock : Clock(steadyMicroseconds)), m_made_at(m_clock()),
      m_account(new LineAccount), m_trace(nullptr)
{
}

LineMonitor::~LineMonitor() {}

LineReport LineMonitor::report() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_account->report(m_clock());
}

qint64 LineMonitor::msSinceLastGoodRead(int station, quint32 address) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const qint64 at = m_account->lastGoodRead(station, address);
    return at < 0 ? -1 : (m_clock() - at) / UsPerMs;
}

void LineMonitor::setTrace(std::ostream *stream)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_trace = stream;
}

int LineMonitor::writeData(const char *data, int size)
{
    const std::string frame = toBytes(data, size);
    const std::string meaning = beginExchange(frame);
    const int sent = m_link->writeData(data, size);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_account->sent(sent);
    trace(m_account->lastActivity(), "out", frame, meaning);
    return sent;
}

std::string LineMonitor::beginExchange(const std::string &frame)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    settle();
    return m_account->begin(frame, m_clock());
}

int LineMonitor::readData(char *buffer, int max_size)
{
    const int count = m_link->readData(buffer, max_size);
    const std::lock_guard<std::mutex> lock(m_mutex);
    const qint64 at = m_clock();
    if (count > 0) {
        takeReply(toBytes(buffer, std::min(count, max_size)), at);
    } else if (m_account->isOpen()) {
        finishExchange(at);
    }
    return count;
}

void LineMonitor::takeReply(const std::string &bytes, qint64 at)
{
    if (!m_account->isOpen()) {
        trace(at, "in", bytes, "unasked");
    }
    if (m_account->received(bytes, at)) {
        finishExchange(at);
    }
}

QVariant LineMonitor::control(int code, const QVariant &argument)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        settle();
    }
    return m_link->control(code, argument);
}

/// Ends an exchange whose reader gave up: the line was free from the last byte on.
void LineMonitor::settle()
{
    if (m_account->isOpen()) {
        finishExchange(m_account->lastActivity());
    }
}

void LineMonitor::finishExchange(qint64 at)
{
    const EndedExchange ended = m_account->finish(at);
    trace(at, "in", ended.reply, ended.meaning);
}

void LineMonitor::trace(qint64 at, const char *direction, const std::string &bytes,
                        const std::string &meaning)
{
    if (m_trace == nullptr) {
        return;
    }
    const double seconds = static_cast<double>(at - m_made_at) / UsPerSecond;
    char head[64];
    std::snprintf(head, sizeof head, "%12.6f %-3s %4u bytes", seconds, direction,
                  static_cast<unsigned int>(bytes.size()));
    *m_trace << head << " | " << hexDump(bytes) << " | " << meaning << std::endl;
}

const DeviceSetting *LineMonitor::deviceSetting()
{
    return m_link->deviceSetting();
}

int LineMonitor::timeout()
{
    return m_link->timeout();
}

int LineMonitor::retry()
{
    return m_link->retry();
}

int LineMonitor::stationId()
{
    return m_link->stationId();
}

int LineMonitor::delay()
{
    return m_link->delay();
}
