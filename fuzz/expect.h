// What a fuzz target holds the driver to.

#ifndef FUZZ_EXPECT_H
#define FUZZ_EXPECT_H

#include <cstdio>
#include <cstdlib>

/// Ends the run, and so has the fuzzer keep the input, when the condition does not hold.
#define EXPECT(condition) expect((condition), #condition, __FILE__, __LINE__)

inline void expect(bool holds, const char *condition, const char *file, int line)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

#endif // FUZZ_EXPECT_H
