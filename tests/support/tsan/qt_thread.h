// A thread of Qt for the tests of the ThreadSanitizer annotations.

#ifndef TESTS_SUPPORT_TSAN_QT_THREAD_H
#define TESTS_SUPPORT_TSAN_QT_THREAD_H

#include <QThread>

#include <functional>
#include <utility>

/// Runs one function. Waits for its end when it is destroyed.
class QtThread : public QThread
{
public:
    explicit QtThread(std::function<void()> body) : m_body(std::move(body)) {}
    ~QtThread() override { wait(); }

protected:
    void run() override { m_body(); }

private:
    std::function<void()> m_body;
};

#endif // TESTS_SUPPORT_TSAN_QT_THREAD_H
