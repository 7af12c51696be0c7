#include "bench/soak/process_figures.h"

#include <malloc.h>

#include <QDir>

namespace
{

int entries(const char *directory)
{
    return QDir(directory).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

qint64 heapInUse()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return -1;
#else
    const struct mallinfo2 figures = mallinfo2();
    return static_cast<qint64>(figures.uordblks) + static_cast<qint64>(figures.hblkhd);
#endif
}

int openDescriptors()
{
    return entries("/proc/self/fd");
}

int runningThreads()
{
    return entries("/proc/self/task");
}
