// Whose call it is: the program's own, or that of a library which the program called.

#ifndef TESTS_FAULTS_CALL_ORIGINS_H
#define TESTS_FAULTS_CALL_ORIGINS_H

#include "tests/faults/fault_injector.h"

// Nothing here allocates, as all of it is called by an allocator. Threads: any.

const int MostFrames = 64;

struct Stack {
    void *frames[MostFrames]; ///< innermost first
    int count;
    /// Changes with the program's part of the stack: equal within one call of a library.
    long visit;
};

/// Takes the stack of this thread.
void takeStack();

/// The stack that was taken last in this thread.
const Stack &latestStack();

/// The stack as it is, without what lies further in than an instruction, such as a signal's
/// handler; empty when the instruction is not on it.
Stack stackFrom(const void *instruction);

/// The call whose stack was taken last in this thread is the one that fails.
void noteFailedCall();
void forgetFailedCall();

FaultOrigin originOf(const Stack &stack);

#endif // TESTS_FAULTS_CALL_ORIGINS_H
