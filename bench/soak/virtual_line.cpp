#include "bench/soak/virtual_line.h"

#include <algorithm>
#include <limits>

#include "tests/support/plain_link.h"

namespace
{

const int WaryFrames = 2; // a late reply, and the reply to the repeated request
const int Baud = 38400;
const int BitsPerByte = 11;

} // namespace

const int VirtualLine::TimeoutMs;
const int VirtualLine::QuietGapMs;

VirtualLine::VirtualLine(const std::vector<int> &stations, uint32_t seed, int retries,
                         VirtualClock *clock)
    : m_clock(clock), m_line(stations, seed), m_random(seed), m_setting(usualWiring(Baud)),
      m_retries(retries), m_deadline(0), m_babble_end(0), m_drowned(false), m_spoiled(false),
      m_wary_frames(0)
{
}

int VirtualLine::writeData(const char *data, int size)
{
    const qint64 now = m_clock->msecsSinceBoot();
    m_deadline = now + TimeoutMs;
    m_drowned = m_spoiled = now < m_babble_end;
    if (m_drowned)
        return size;
    const LineAnswer answer = m_line.answer(std::string(data, static_cast<size_t>(size)), now);
    m_spoiled = answer.spoiled;
    if (answer.babbleMs != 0) {
        m_babble_end =
            answer.babbleMs > 0 ? now + answer.babbleMs : std::numeric_limits<qint64>::max();
        m_arrivals.clear();
    } else if (!answer.bytes.empty()) {
        m_arrivals.push_back(Arrival{now + answer.lateMs, answer.bytes});
    }
    return size;
}

int VirtualLine::readData(char *buffer, int max_size)
{
    if (m_clock->msecsSinceBoot() < m_babble_end)
        return babble(buffer, max_size);
    if (awaitArrival(m_deadline))
        return takePiece(buffer, max_size);
    m_wary_frames = WaryFrames;
    return 0;
}

/// Waits for bytes, at most until the deadline.
bool VirtualLine::awaitArrival(qint64 deadline)
{
    const qint64 now = m_clock->msecsSinceBoot();
    const bool comes = !m_arrivals.empty() && m_arrivals.front().at <= std::max(deadline, now);
    const qint64 until = comes ? m_arrivals.front().at : deadline;
    m_clock->advance(std::max<qint64>(until - now, 0));
    return comes;
}

int VirtualLine::babble(char *buffer, int max_size)
{
    const int count = 1 + static_cast<int>(m_random() % static_cast<unsigned>(max_size));
    std::fill(buffer, buffer + count, Line::BabbleByte);
    m_clock->advance(1 + count * BitsPerByte * 1000 / Baud);
    return count;
}

int VirtualLine::takePiece(char *buffer, int max_size)
{
    std::string &bytes = m_arrivals.front().bytes;
    const size_t most = std::min(bytes.size(), static_cast<size_t>(max_size));
    const bool whole = m_random() % 2 == 0;
    const size_t count = whole ? most : 1 + m_random() % most;
    bytes.copy(buffer, count);
    bytes.erase(0, count);
    if (bytes.empty())
        m_arrivals.pop_front();
    return static_cast<int>(count);
}

QVariant VirtualLine::control(int code, const QVariant &)
{
    if (code != DiscardInput)
        return QVariant();
    dropArrived();
    if (m_wary_frames > 0) {
        --m_wary_frames;
        while (awaitArrival(m_clock->msecsSinceBoot() + QuietGapMs))
            dropArrived();
    }
    return QVariant(0);
}

void VirtualLine::dropArrived()
{
    const qint64 now = m_clock->msecsSinceBoot();
    for (; !m_arrivals.empty() && m_arrivals.front().at <= now; m_arrivals.pop_front())
        m_wary_frames = WaryFrames;
}
