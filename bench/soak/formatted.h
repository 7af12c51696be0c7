// Text of the soak's tables.

#ifndef BENCH_SOAK_FORMATTED_H
#define BENCH_SOAK_FORMATTED_H

#include <string>

#include <QtGlobal>

/// Bytes by which the heap in use may differ between two parts of a run: queues and texts of other
/// lengths. An object that leaked with each exchange of a long run would take many times that.
const qint64 HeapTolerance = 64 * 1024;

typedef unsigned long long Count; ///< as printf has it

/// As printf; at most 199 characters.
__attribute__((format(printf, 1, 2))) std::string formatted(const char *format, ...);

/// A line that compares the heap in the second and in the last part of a run.
/// \param early  bytes; -1: not counted
/// \param part   "tenth"
std::string heapText(qint64 early, qint64 late, const char *part);

#endif // BENCH_SOAK_FORMATTED_H
