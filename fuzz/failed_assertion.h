// How a failed assertion reaches a fuzz target.

#ifndef FUZZ_FAILED_ASSERTION_H
#define FUZZ_FAILED_ASSERTION_H

/// Thrown where the program would end.
struct FailedAssertion {
    const char *condition; ///< as it is written in the source; lives as long as the program
};

[[noreturn]] inline void failAssertion(const char *condition)
{
    const FailedAssertion failed = {condition};
    throw failed;
}

#endif // FUZZ_FAILED_ASSERTION_H
