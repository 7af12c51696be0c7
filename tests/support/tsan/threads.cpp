// Stands in front of the beginning and the end of Qt's threads: see README.md.

#include "tests/support/tsan/annotation.h"
#include "tests/support/tsan/qt_core.h"

#include <QDeadlineTimer>
#include <QObject>
#include <QThread>

#include <cstddef>
#include <new>

namespace
{

Real<void(QThread *, QThread::Priority)> real_thread_start("_ZN7QThread5startENS_8PriorityE");
Real<bool(QThread *, QDeadlineTimer)> real_thread_wait("_ZN7QThread4waitE14QDeadlineTimer");
Real<bool(QThread *, unsigned long)> real_thread_wait_for("_ZN7QThread4waitEm");
Real<bool(const QThread *)> real_thread_is_finished("_ZNK7QThread10isFinishedEv");
Real<bool(const QThread *)> real_thread_is_running("_ZNK7QThread9isRunningEv");

Real<void(void *)> real_operator_delete("_ZdlPv");

/// Once a thread has left run(): itself.
thread_local QThread *t_ending_thread = nullptr;

void noteEnd(QThread *thread)
{
    t_ending_thread = thread;
    __tsan_release(thread);
}

void deleteFor(const void *caller, void *object)
{
    if (!isQtCore(caller))
        return real_operator_delete(object);
    if (t_ending_thread)
        __tsan_release(t_ending_thread);
    const Unrecorded as_all_that_qt_does;
    real_operator_delete(object);
}

/// Qt calls a thread finished a moment before it emits finished(); here it counts as running until
/// after that. True also of a thread that was never started.
bool endIsReleased(QThread *thread)
{
    if (thread == QThread::currentThread())
        return true;
    const bool released = real_thread_wait_for(thread, 0UL);
    if (released)
        __tsan_acquire(thread);
    return released;
}

} // namespace

// The end of run() cannot be stood in front of; finished() is emitted between it and the moment at
// which waiters are told, in the thread that ends. Nothing counts references here: the count would
// order the two threads.
void QThread::start(Priority priority)
{
    auto *const connection = new QMetaObject::Connection;
    const auto release_once = [this, connection] {
        QObject::disconnect(*connection);
        delete connection;
        noteEnd(this);
    };
    *connection =
        QObject::connect(this, &QThread::finished, this, release_once, Qt::DirectConnection);
    real_thread_start(this, priority);
}

// After finished() the thread still deletes what was left to be deleted in it, and Qt the events
// and the event dispatcher that it did it with.
void operator delete(void *object) noexcept
{
    deleteFor(__builtin_return_address(0), object);
}

void operator delete(void *object, std::size_t) noexcept
{
    deleteFor(__builtin_return_address(0), object);
}

bool QThread::wait(QDeadlineTimer deadline)
{
    const bool finished = real_thread_wait(this, deadline);
    if (finished)
        __tsan_acquire(this);
    return finished;
}

bool QThread::wait(unsigned long time)
{
    const bool finished = real_thread_wait_for(this, time);
    if (finished)
        __tsan_acquire(this);
    return finished;
}

bool QThread::isFinished() const
{
    return real_thread_is_finished(this) && endIsReleased(const_cast<QThread *>(this));
}

bool QThread::isRunning() const
{
    return real_thread_is_running(this) || !endIsReleased(const_cast<QThread *>(this));
}
