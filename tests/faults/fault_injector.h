// Lets one call of the machine fail. Preloaded: stands in front of the C library for all that a
// program loads.

#ifndef TESTS_FAULTS_FAULT_INJECTOR_H
#define TESTS_FAULTS_FAULT_INJECTOR_H

extern "C" {

/// Counts calls from now on, of all threads: allocations and system calls. Clocks are left out, as
/// reading them is no system call and cannot fail.
/// \param nth  the call that fails, from 1 on; 0: none, they are only counted
void faultInjectorArm(long nth);

/// Ends the counting.
/// \return the calls since it began
long faultInjectorDisarm();

/// The name of the call that failed, such as "malloc"; empty: none has yet.
const char *faultInjectorFailed();

/// The file name of the library that made this call, or of the program.
const char *faultInjectorCaller();

/// Whose code does something: the innermost one on the stack that does not only pass calls on.
struct FaultOrigin {
    const char *file;    ///< file name of the library, or of the program; empty: not known
    bool of_program;     ///< the program's own code, or not known
    bool in_failed_call; ///< a library's, in the very call by the program in which a call failed
};

/// Whose code a signal interrupted. For its handler.
/// \param instruction  where it was interrupted
FaultOrigin faultInjectorInterrupted(const void *instruction);

/// Blocks of memory that were given out and not taken back.
long faultInjectorLiveBlocks();

/// Notes from now on who allocates which block.
void faultInjectorWatchBlocks();

/// Blocks that were given out since then and not taken back. Those of libraries are left out when
/// something holds them: they are kept, such as in a cache.
struct FaultLeftovers {
    long of_program;     ///< that its own code allocated
    long in_failed_call; ///< from a library, in the very call by the program in which a call
                         ///< failed, and what only these hold
    long elsewhere;      ///< from a library, in another call: the program may have lost them
};
FaultLeftovers faultInjectorLeftovers();
}

#endif // TESTS_FAULTS_FAULT_INJECTOR_H
