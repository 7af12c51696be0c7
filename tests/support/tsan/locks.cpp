// Stands in front of Qt's locks: see README.md.

#include "tests/support/tsan/annotation.h"

#include <QDeadlineTimer>
#include <QMutex>
#include <QReadWriteLock>
#include <QSemaphore>
#include <QWaitCondition>

#include <algorithm>
#include <iterator>
#include <vector>

namespace
{

// `flags` are those of tsan_interface.h that tell the kind of the lock and of the locking.

template <typename Lock>
void annotatedLock(void *mutex, unsigned flags, Lock lock)
{
    __tsan_mutex_pre_lock(mutex, flags);
    lock();
    __tsan_mutex_post_lock(mutex, flags, 0);
}

template <typename TryLock>
bool annotatedTryLock(void *mutex, unsigned flags, TryLock try_lock)
{
    flags |= __tsan_mutex_try_lock;
    __tsan_mutex_pre_lock(mutex, flags);
    const bool locked = try_lock();
    __tsan_mutex_post_lock(mutex, locked ? flags : flags | __tsan_mutex_try_lock_failed, 0);
    return locked;
}

template <typename Unlock>
void annotatedUnlock(void *mutex, unsigned flags, Unlock unlock)
{
    __tsan_mutex_pre_unlock(mutex, flags);
    unlock();
    __tsan_mutex_post_unlock(mutex, flags);
}

/// A wait on a condition gives its lock away meanwhile.
template <typename Wait>
bool annotatedWait(void *mutex, unsigned flags, Wait wait)
{
    annotatedUnlock(mutex, flags, [] {});
    const bool woken = wait();
    annotatedLock(mutex, flags, [] {});
    return woken;
}

unsigned kindOf(const QMutex *mutex)
{
    return mutex->isRecursive() ? __tsan_mutex_write_reentrant : 0;
}

// QReadWriteLock::unlock() does not say which of the two it undoes: the read locks that this
// thread holds.
thread_local std::vector<const QReadWriteLock *> t_read_locked;

const unsigned reading = __tsan_mutex_read_lock;
const unsigned writing = __tsan_mutex_write_reentrant;

void noteReading(const QReadWriteLock *lock)
{
    t_read_locked.push_back(lock);
}

bool noteReadingIf(bool locked, const QReadWriteLock *lock)
{
    if (locked)
        noteReading(lock);
    return locked;
}

unsigned heldKindOf(const QReadWriteLock *lock)
{
    const bool read = std::count(t_read_locked.begin(), t_read_locked.end(), lock) > 0;
    return read ? reading : writing;
}

void forgetReading(const QReadWriteLock *lock)
{
    const auto held = std::find(t_read_locked.rbegin(), t_read_locked.rend(), lock);
    if (held != t_read_locked.rend())
        t_read_locked.erase(std::next(held).base());
}

Real<void(QMutex *)> real_mutex_lock("_ZN6QMutex4lockEv");
Real<bool(QMutex *, int)> real_mutex_try_lock("_ZN6QMutex7tryLockEi");
Real<void(QMutex *)> real_mutex_unlock("_ZN6QMutex6unlockEv");
Real<void(QMutex *)> real_mutex_destroy("_ZN6QMutexD1Ev");
Real<void(QBasicMutex *)> real_basic_mutex_lock("_ZN11QBasicMutex12lockInternalEv");
Real<bool(QBasicMutex *, int)> real_basic_mutex_try_lock("_ZN11QBasicMutex12lockInternalEi");
Real<void(QBasicMutex *)> real_basic_mutex_unlock("_ZN11QBasicMutex14unlockInternalEv");

Real<void(QReadWriteLock *)> real_lock_for_read("_ZN14QReadWriteLock11lockForReadEv");
Real<bool(QReadWriteLock *)> real_try_read("_ZN14QReadWriteLock14tryLockForReadEv");
Real<bool(QReadWriteLock *, int)> real_try_read_for("_ZN14QReadWriteLock14tryLockForReadEi");
Real<void(QReadWriteLock *)> real_lock_for_write("_ZN14QReadWriteLock12lockForWriteEv");
Real<bool(QReadWriteLock *)> real_try_write("_ZN14QReadWriteLock15tryLockForWriteEv");
Real<bool(QReadWriteLock *, int)> real_try_write_for("_ZN14QReadWriteLock15tryLockForWriteEi");
Real<void(QReadWriteLock *)> real_read_write_unlock("_ZN14QReadWriteLock6unlockEv");
Real<void(QReadWriteLock *)> real_read_write_destroy("_ZN14QReadWriteLockD1Ev");

Real<bool(QWaitCondition *, QMutex *, QDeadlineTimer)>
    real_wait_on_mutex("_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer");
Real<bool(QWaitCondition *, QMutex *, unsigned long)>
    real_wait_on_mutex_for("_ZN14QWaitCondition4waitEP6QMutexm");
Real<bool(QWaitCondition *, QReadWriteLock *, QDeadlineTimer)>
    real_wait_on_read_write("_ZN14QWaitCondition4waitEP14QReadWriteLock14QDeadlineTimer");
Real<bool(QWaitCondition *, QReadWriteLock *, unsigned long)>
    real_wait_on_read_write_for("_ZN14QWaitCondition4waitEP14QReadWriteLockm");

Real<void(QSemaphore *, int)> real_semaphore_acquire("_ZN10QSemaphore7acquireEi");
Real<bool(QSemaphore *, int)> real_semaphore_try("_ZN10QSemaphore10tryAcquireEi");
Real<bool(QSemaphore *, int, int)> real_semaphore_try_for("_ZN10QSemaphore10tryAcquireEii");
Real<void(QSemaphore *, int)> real_semaphore_release("_ZN10QSemaphore7releaseEi");

} // namespace

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    annotatedLock(this, kindOf(this), [this] { real_mutex_lock(this); });
}

bool QMutex::tryLock(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    return annotatedTryLock(this, kindOf(this),
                            [this, timeout] { return real_mutex_try_lock(this, timeout); });
}

void QMutex::unlock() noexcept
{
    annotatedUnlock(this, 0, [this] { real_mutex_unlock(this); });
}

QMutex::~QMutex()
{
    real_mutex_destroy(this);
    __tsan_mutex_destroy(this, 0);
}

// The fast paths of a QBasicMutex are inlined in our code, as atomic operations on the same
// address.

void QBasicMutex::lockInternal() QT_MUTEX_LOCK_NOEXCEPT
{
    real_basic_mutex_lock(this);
    __tsan_acquire(this);
}

bool QBasicMutex::lockInternal(int timeout) QT_MUTEX_LOCK_NOEXCEPT
{
    const bool locked = real_basic_mutex_try_lock(this, timeout);
    if (locked)
        __tsan_acquire(this);
    return locked;
}

void QBasicMutex::unlockInternal() noexcept
{
    __tsan_release(this);
    real_basic_mutex_unlock(this);
}

void QReadWriteLock::lockForRead()
{
    annotatedLock(this, reading, [this] { real_lock_for_read(this); });
    noteReading(this);
}

bool QReadWriteLock::tryLockForRead()
{
    return noteReadingIf(annotatedTryLock(this, reading, [this] { return real_try_read(this); }),
                         this);
}

bool QReadWriteLock::tryLockForRead(int timeout)
{
    const auto try_read = [this, timeout] { return real_try_read_for(this, timeout); };
    return noteReadingIf(annotatedTryLock(this, reading, try_read), this);
}

void QReadWriteLock::lockForWrite()
{
    annotatedLock(this, writing, [this] { real_lock_for_write(this); });
}

bool QReadWriteLock::tryLockForWrite()
{
    return annotatedTryLock(this, writing, [this] { return real_try_write(this); });
}

bool QReadWriteLock::tryLockForWrite(int timeout)
{
    return annotatedTryLock(this, writing,
                            [this, timeout] { return real_try_write_for(this, timeout); });
}

void QReadWriteLock::unlock()
{
    annotatedUnlock(this, heldKindOf(this), [this] { real_read_write_unlock(this); });
    forgetReading(this);
}

QReadWriteLock::~QReadWriteLock()
{
    real_read_write_destroy(this);
    __tsan_mutex_destroy(this, 0);
}

bool QWaitCondition::wait(QMutex *mutex, QDeadlineTimer deadline)
{
    return annotatedWait(mutex, kindOf(mutex), [this, mutex, deadline] {
        return real_wait_on_mutex(this, mutex, deadline);
    });
}

bool QWaitCondition::wait(QMutex *mutex, unsigned long time)
{
    return annotatedWait(mutex, kindOf(mutex),
                         [this, mutex, time] { return real_wait_on_mutex_for(this, mutex, time); });
}

bool QWaitCondition::wait(QReadWriteLock *lock, QDeadlineTimer deadline)
{
    return annotatedWait(lock, heldKindOf(lock), [this, lock, deadline] {
        return real_wait_on_read_write(this, lock, deadline);
    });
}

bool QWaitCondition::wait(QReadWriteLock *lock, unsigned long time)
{
    return annotatedWait(lock, heldKindOf(lock), [this, lock, time] {
        return real_wait_on_read_write_for(this, lock, time);
    });
}

void QSemaphore::acquire(int n)
{
    real_semaphore_acquire(this, n);
    __tsan_acquire(this);
}

bool QSemaphore::tryAcquire(int n)
{
    const bool acquired = real_semaphore_try(this, n);
    if (acquired)
        __tsan_acquire(this);
    return acquired;
}

bool QSemaphore::tryAcquire(int n, int timeout)
{
    const bool acquired = real_semaphore_try_for(this, n, timeout);
    if (acquired)
        __tsan_acquire(this);
    return acquired;
}

void QSemaphore::release(int n)
{
    __tsan_release(this);
    real_semaphore_release(this, n);
}
