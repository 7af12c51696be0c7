// Memory for SQLite. The fuzzer's sanitizer looks at each allocation more closely than at all else,
// and nearly all are the library's, which is not what is fuzzed.

#ifndef FUZZ_ARENA_H
#define FUZZ_ARENA_H

/// Gives SQLite an allocator of its own, for one thread. Before SQLite's first use.
void installArena();

#endif // FUZZ_ARENA_H
