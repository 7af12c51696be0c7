/* Preloaded into emulated programs. The emulator knows one half of process descriptors only: waiting
   for one, but not making one. The framework asks for the former, relies on the latter, and then
   tells wrong statuses of the processes that it starts. An old kernel has neither, and nor has this
   one with this library. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>
#include <sys/syscall.h>

enum { ProcessDescriptor = 3 }; /* P_PIDFD */

long syscall(long number, ...)
{
    long a[6];
    va_list rest;
    va_start(rest, number);
    for (int i = 0; i < 6; ++i)
        a[i] = va_arg(rest, long);
    va_end(rest);
    if (number == SYS_waitid && a[0] == ProcessDescriptor) {
        errno = EINVAL;
        return -1;
    }
    static long (*next)(long, ...);
    if (next == 0)
        *(void **)&next = dlsym(RTLD_NEXT, "syscall");
    return next(number, a[0], a[1], a[2], a[3], a[4], a[5]);
}
