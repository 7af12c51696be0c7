// A thread beside the user interface's, for what shall not show dialogs.

#ifndef TESTS_RECIPE_WORKER_H
#define TESTS_RECIPE_WORKER_H

#include <functional>

#include <QThread>

class Worker : public QThread
{
public:
    explicit Worker(const std::function<void()> &work) : m_work(work) {}

protected:
    void run() override { m_work(); }

private:
    const std::function<void()> m_work;
};

/// Does the work in a thread of its own and waits for it.
inline void inWorker(const std::function<void()> &work)
{
    Worker worker(work);
    worker.start();
    worker.wait();
}

#endif // TESTS_RECIPE_WORKER_H
