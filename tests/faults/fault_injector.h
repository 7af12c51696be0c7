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

/// Blocks of memory that were given out and not taken back.
long faultInjectorLiveBlocks();
}

#endif // TESTS_FAULTS_FAULT_INJECTOR_H
