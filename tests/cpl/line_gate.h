// A gate on a fake line: holds one request up until the test lets it go on.

#ifndef TESTS_CPL_LINE_GATE_H
#define TESTS_CPL_LINE_GATE_H

#include <condition_variable>
#include <mutex>

class LineGate
{
public:
    LineGate() : m_requests(0), m_held_up_request(0), m_held_up(false) {}

    /// Chooses the request to hold up, counted from 1 on. Call before it is sent.
    void holdUp(int request)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_held_up_request = request;
    }

    /// The line's thread comes by with each request.
    void pass()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (++m_requests != m_held_up_request)
            return;
        m_held_up = true;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_held_up; });
    }

    /// Waits until the chosen request is on the line.
    void awaitHeldUp()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_changed.wait(lock, [this] { return m_held_up; });
    }

    void release()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_held_up = false;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_requests;
    int m_held_up_request;
    bool m_held_up;
};

#endif // TESTS_CPL_LINE_GATE_H
