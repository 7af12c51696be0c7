#include "tests/faults/fault_injector.h"

#include "tests/faults/block_ledger.h"
#include "tests/faults/call_origins.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

// The C library's own allocator, which needs no memory to be found.
// NOLINTBEGIN(bugprone-reserved-identifier): these are the C library's names, not ours
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *block, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *block);
}
// NOLINTEND(bugprone-reserved-identifier): of the C library's names

namespace
{

std::atomic<bool> armed(false);
std::atomic<long> calls(0);
std::atomic<long> failing(0);
std::atomic<long> live_blocks(0);
std::atomic<const char *> failed("");
const char *caller = ""; ///< of the call that failed; only written by it

/// Finds out who makes the call that fails, and prints it for a person who wants to know.
void noteCaller()
{
    armed = false;
    noteFailedCall();
    if (getenv("DMC50_FAULTS_TRACE") != nullptr)
        backtrace_symbols_fd(latestStack().frames, latestStack().count, STDERR_FILENO);
    caller = originOf(latestStack()).file;
    armed = true;
}

/// Counts a call; true when it is the one that fails.
bool fails(const char *name)
{
    if (armed || watchesBlocks())
        takeStack();
    if (!armed || ++calls != failing)
        return false;
    failed = name;
    noteCaller();
    return true;
}

template <typename Function>
Function *next(Function *, const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

void *counted(void *block)
{
    if (block == nullptr)
        return block;
    ++live_blocks;
    noteBlock(block);
    return block;
}

void uncounted(const void *block)
{
    --live_blocks;
    forgetBlock(block);
}

/// What is left of a pointer in a freed block must not pass for one that somebody holds.
void wipe(void *block)
{
    memset(block, 0, malloc_usable_size(block));
}

} // namespace

void faultInjectorArm(long nth)
{
    void *frame = nullptr;
    backtrace(&frame, 1); // it allocates what it needs once
    forgetFailedCall();
    calls = 0;
    failing = nth;
    failed = "";
    armed = true;
}

long faultInjectorDisarm()
{
    armed = false;
    return calls;
}

const char *faultInjectorFailed()
{
    return failed;
}

const char *faultInjectorCaller()
{
    return caller;
}

FaultOrigin faultInjectorInterrupted(const void *instruction)
{
    return originOf(stackFrom(instruction));
}

long faultInjectorLiveBlocks()
{
    return live_blocks;
}

void faultInjectorWatchBlocks()
{
    watchBlocks();
}

FaultLeftovers faultInjectorLeftovers()
{
    return leftovers(getenv("DMC50_FAULTS_TRACE") != nullptr);
}

#define FAIL_WITH(name, error, result)                                                             \
    if (fails(name)) {                                                                             \
        errno = error;                                                                             \
        return result;                                                                             \
    }

// ---- Memory ------------------------------------------------------------------------------------

extern "C" void *malloc(size_t size) noexcept
{
    FAIL_WITH("malloc", ENOMEM, nullptr)
    return counted(__libc_malloc(size));
}

extern "C" void *calloc(size_t count, size_t size) noexcept
{
    FAIL_WITH("calloc", ENOMEM, nullptr)
    return counted(__libc_calloc(count, size));
}

extern "C" void *realloc(void *block, size_t size) noexcept
{
    FAIL_WITH("realloc", ENOMEM, nullptr)
    void *const moved = __libc_realloc(block, size);
    if (block != nullptr && (size == 0 || moved != nullptr))
        uncounted(block);
    return counted(moved);
}

extern "C" int posix_memalign(void **block, size_t alignment, size_t size) noexcept
{
    if (fails("posix_memalign"))
        return ENOMEM;
    *block = counted(__libc_memalign(alignment, size));
    return *block != nullptr ? 0 : ENOMEM;
}

extern "C" void *memalign(size_t alignment, size_t size) noexcept
{
    FAIL_WITH("memalign", ENOMEM, nullptr)
    return counted(__libc_memalign(alignment, size));
}

extern "C" void *aligned_alloc(size_t alignment, size_t size) noexcept
{
    FAIL_WITH("aligned_alloc", ENOMEM, nullptr)
    return counted(__libc_memalign(alignment, size));
}

extern "C" void free(void *block) noexcept
{
    if (block != nullptr) {
        uncounted(block);
        wipe(block);
    }
    __libc_free(block);
}

// ---- System calls ------------------------------------------------------------------------------

/// Defines a call that passes its arguments on.
#define PASS_ON(type, name, error, failure, parameters, arguments)                                 \
    extern "C" type name parameters                                                                \
    {                                                                                              \
        static const auto real = next(&(name), #name);                                             \
        FAIL_WITH(#name, error, failure)                                                           \
        return real arguments;                                                                     \
    }

/// Defines `mode`: what stands behind the flags, when there is something.
#define TAKE_MODE(flags)                                                                           \
    mode_t mode = 0;                                                                               \
    if (((flags) & (O_CREAT | O_TMPFILE)) != 0) {                                                  \
        va_list list;                                                                              \
        va_start(list, flags);                                                                     \
        mode = va_arg(list, mode_t);                                                               \
        va_end(list);                                                                              \
    }

extern "C" int open(const char *path, int flags, ...)
{
    static const auto real = next(&open, "open");
    TAKE_MODE(flags)
    FAIL_WITH("open", EMFILE, -1)
    return real(path, flags, mode);
}

extern "C" int open64(const char *path, int flags, ...)
{
    static const auto real = next(&open64, "open64");
    TAKE_MODE(flags)
    FAIL_WITH("open64", EMFILE, -1)
    return real(path, flags, mode);
}

extern "C" int openat(int directory, const char *path, int flags, ...)
{
    static const auto real = next(&openat, "openat");
    TAKE_MODE(flags)
    FAIL_WITH("openat", EMFILE, -1)
    return real(directory, path, flags, mode);
}

extern "C" int fcntl(int file, int command, ...)
{
    static const auto real = next(&fcntl, "fcntl");
    va_list list;
    va_start(list, command);
    void *const argument = va_arg(list, void *);
    va_end(list);
    FAIL_WITH("fcntl", EIO, -1)
    return real(file, command, argument);
}

extern "C" int fcntl64(int file, int command, ...)
{
    static const auto real = next(&fcntl64, "fcntl64");
    va_list list;
    va_start(list, command);
    void *const argument = va_arg(list, void *);
    va_end(list);
    FAIL_WITH("fcntl64", EIO, -1)
    return real(file, command, argument);
}

extern "C" int ioctl(int file, unsigned long request, ...) noexcept
{
    typedef int Ioctl(int, unsigned long, ...);
    static Ioctl *const real = reinterpret_cast<Ioctl *>(dlsym(RTLD_NEXT, "ioctl"));
    va_list list;
    va_start(list, request);
    void *const argument = va_arg(list, void *);
    va_end(list);
    FAIL_WITH("ioctl", EIO, -1)
    return real(file, request, argument);
}

/// A descriptor whose closing fails is closed all the same.
extern "C" int close(int file)
{
    static const auto real = next(&close, "close");
    const int result = real(file);
    FAIL_WITH("close", EIO, -1)
    return result;
}

PASS_ON(ssize_t, read, EIO, -1, (int file, void *buffer, size_t size), (file, buffer, size))
PASS_ON(ssize_t, write, EIO, -1, (int file, const void *buffer, size_t size), (file, buffer, size))
PASS_ON(ssize_t, pread64, EIO, -1, (int file, void *buffer, size_t size, off64_t at),
        (file, buffer, size, at))
PASS_ON(ssize_t, pwrite64, EIO, -1, (int file, const void *buffer, size_t size, off64_t at),
        (file, buffer, size, at))
PASS_ON(ssize_t, readv, EIO, -1, (int file, const struct iovec *parts, int count),
        (file, parts, count))
PASS_ON(ssize_t, writev, EIO, -1, (int file, const struct iovec *parts, int count),
        (file, parts, count))
PASS_ON(off64_t, lseek64, EIO, -1, (int file, off64_t at, int whence) noexcept, (file, at, whence))
PASS_ON(int, fstat64, EIO, -1, (int file, struct stat64 *status) noexcept, (file, status))
PASS_ON(int, stat64, EIO, -1, (const char *path, struct stat64 *status) noexcept, (path, status))
PASS_ON(int, lstat64, EIO, -1, (const char *path, struct stat64 *status) noexcept, (path, status))
PASS_ON(int, statx, EIO, -1,
        (int directory, const char *path, int flags, unsigned mask, struct statx *status) noexcept,
        (directory, path, flags, mask, status))
PASS_ON(int, fstat, EIO, -1, (int file, struct stat *status) noexcept, (file, status))
PASS_ON(int, stat, EIO, -1, (const char *path, struct stat *status) noexcept, (path, status))
PASS_ON(int, lstat, EIO, -1, (const char *path, struct stat *status) noexcept, (path, status))
PASS_ON(off_t, lseek, EIO, -1, (int file, off_t at, int whence) noexcept, (file, at, whence))
PASS_ON(int, dup, EMFILE, -1, (int file) noexcept, (file))
PASS_ON(int, flock, EINTR, -1, (int file, int operation) noexcept, (file, operation))
PASS_ON(int, eventfd, EMFILE, -1, (unsigned count, int flags) noexcept, (count, flags))
PASS_ON(int, eventfd_read, EIO, -1, (int file, eventfd_t *value), (file, value))
PASS_ON(int, eventfd_write, EIO, -1, (int file, eventfd_t value), (file, value))
PASS_ON(int, timerfd_create, EMFILE, -1, (clockid_t clock, int flags) noexcept, (clock, flags))
PASS_ON(int, timerfd_settime, EINVAL, -1,
        (int file, int flags, const struct itimerspec *at, struct itimerspec *before) noexcept,
        (file, flags, at, before))
PASS_ON(int, access, EIO, -1, (const char *path, int mode) noexcept, (path, mode))
PASS_ON(ssize_t, readlink, EIO, -1, (const char *path, char *buffer, size_t size) noexcept,
        (path, buffer, size))
PASS_ON(char *, getcwd, EIO, nullptr, (char *buffer, size_t size) noexcept, (buffer, size))
PASS_ON(int, fsync, EIO, -1, (int file), (file))
PASS_ON(int, fdatasync, EIO, -1, (int file), (file))
PASS_ON(int, ftruncate64, EIO, -1, (int file, off64_t size) noexcept, (file, size))
PASS_ON(int, unlink, EIO, -1, (const char *path) noexcept, (path))
PASS_ON(int, rename, EIO, -1, (const char *from, const char *to) noexcept, (from, to))
PASS_ON(int, mkdir, EIO, -1, (const char *path, mode_t mode) noexcept, (path, mode))
PASS_ON(void *, mmap64, ENOMEM, MAP_FAILED,
        (void *at, size_t size, int protection, int flags, int file, off64_t offset) noexcept,
        (at, size, protection, flags, file, offset))
PASS_ON(void *, mmap, ENOMEM, MAP_FAILED,
        (void *at, size_t size, int protection, int flags, int file, off_t offset) noexcept,
        (at, size, protection, flags, file, offset))
PASS_ON(int, munmap, EINVAL, -1, (void *at, size_t size) noexcept, (at, size))
PASS_ON(int, ppoll, EINTR, -1,
        (struct pollfd * files, nfds_t count, const struct timespec *time, const sigset_t *signals),
        (files, count, time, signals))
PASS_ON(int, poll, EINTR, -1, (struct pollfd * files, nfds_t count, int ms), (files, count, ms))
PASS_ON(int, epoll_create1, EMFILE, -1, (int flags) noexcept, (flags))
PASS_ON(int, epoll_ctl, ENOMEM, -1,
        (int epoll, int operation, int file, struct epoll_event *event) noexcept,
        (epoll, operation, file, event))
PASS_ON(int, epoll_wait, EINTR, -1, (int epoll, struct epoll_event *events, int most, int ms),
        (epoll, events, most, ms))
PASS_ON(int, tcgetattr, EIO, -1, (int file, struct termios *settings) noexcept, (file, settings))
PASS_ON(int, tcsetattr, EIO, -1, (int file, int when, const struct termios *settings) noexcept,
        (file, when, settings))
PASS_ON(int, tcflush, EIO, -1, (int file, int queue) noexcept, (file, queue))
PASS_ON(int, nanosleep, EINTR, -1, (const struct timespec *request, struct timespec *remaining),
        (request, remaining))

/// The error is the result.
extern "C" int clock_nanosleep(clockid_t clock, int flags, const struct timespec *request,
                               struct timespec *remaining)
{
    static const auto real = next(&clock_nanosleep, "clock_nanosleep");
    if (fails("clock_nanosleep"))
        return EINTR;
    return real(clock, flags, request, remaining);
}

extern "C" int pthread_create(pthread_t *thread, const pthread_attr_t *attributes,
                              void *(*start)(void *), void *argument) noexcept
{
    static const auto real = next(&pthread_create, "pthread_create");
    if (fails("pthread_create"))
        return EAGAIN;
    return real(thread, attributes, start, argument);
}
