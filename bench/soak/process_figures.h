// What this process holds.

#ifndef BENCH_SOAK_PROCESS_FIGURES_H
#define BENCH_SOAK_PROCESS_FIGURES_H

#include <QtGlobal>

/// Bytes of the heap in use; -1 where nobody counts them, as under a sanitizer.
qint64 heapInUse();

/// Open descriptors.
int openDescriptors();

/// Threads of this process.
int runningThreads();

#endif // BENCH_SOAK_PROCESS_FIGURES_H
