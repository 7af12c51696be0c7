// A line that answers as the test says and writes down every call.

#ifndef TESTS_SUPPORT_FAKE_LINK_H
#define TESTS_SUPPORT_FAKE_LINK_H

#include <algorithm>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/plain_link.h"

class FakeLink : public AbstractDeviceInterface
{
public:
    FakeLink()
        : timeoutMs(3000), retries(0), station(1), delayMs(10), chunk(4096), nothing(0),
          setting(usualWiring())
    {
    }

    /// The reply to a request; an empty one is silence. Called on the line's thread.
    std::function<std::string(const std::string &request)> answer;

    /// Told of each call that concerns the line, worded as in `calls`. Called on the line's thread.
    std::function<void(const std::string &call)> onCall;

    std::atomic<int> timeoutMs;
    std::atomic<int> retries;
    std::atomic<int> station;
    std::atomic<int> delayMs;
    size_t chunk; ///< most bytes that one readData gives; set before the line runs
    int nothing;  ///< what readData returns when no byte is there, 0 or less; likewise
    DeviceSetting setting;

    /// All frames sent so far.
    std::vector<std::string> sent() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_sent;
    }

    /// All calls that concern the line so far, such as "control 12 int 0", "write 25", "read 420".
    std::vector<std::string> calls() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls;
    }

    /// Bytes that lie in the line before any request.
    void preload(const std::string &bytes) { m_pending = bytes; }

    int readData(char *buffer, int max_size) override
    {
        note("read " + std::to_string(max_size));
        const size_t count = std::min({m_pending.size(), chunk, static_cast<size_t>(max_size)});
        std::copy(m_pending.begin(), m_pending.begin() + static_cast<std::ptrdiff_t>(count),
                  buffer);
        m_pending.erase(0, count);
        return count > 0 ? static_cast<int>(count) : nothing;
    }

    int writeData(const char *data, int size) override
    {
        const std::string request(data, static_cast<size_t>(size));
        note("write " + std::to_string(size));
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_sent.push_back(request);
        }
        m_pending = answer ? answer(request) : std::string();
        return size;
    }

    const DeviceSetting *deviceSetting() override { return &setting; }

    QVariant control(int code, const QVariant &argument) override
    {
        note("control " + std::to_string(code) + " " + argument.typeName() + " " +
             argument.toString().toStdString());
        m_pending.clear();
        return QVariant();
    }

    int timeout() override { return timeoutMs; }
    int retry() override { return retries; }
    int stationId() override { return station; }
    int delay() override { return delayMs; }

private:
    void note(const std::string &call)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_calls.push_back(call);
        }
        if (onCall)
            onCall(call);
    }

    mutable std::mutex m_mutex;
    std::vector<std::string> m_sent;
    std::vector<std::string> m_calls;
    std::string m_pending; ///< the line's thread only
};

#endif // TESTS_SUPPORT_FAKE_LINK_H
