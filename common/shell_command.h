// Shell commands that cannot hold the program up.

#ifndef COMMON_SHELL_COMMAND_H
#define COMMON_SHELL_COMMAND_H

#include <QByteArray>

#include <atomic>

/// No file that a command writes grows beyond this, in bytes; a command that tries is killed.
const int ShellFileLimit = 4 * 1024 * 1024;

/// Hands a line to /bin/sh -c, as the C library's system() does, and waits for the end of the
/// command. Unlike there the command can be ended: it runs in a process group of its own, which is
/// killed when it takes too long or when it is to stop. It reads nothing, and what it says on
/// standard error is dropped.
///
/// Any thread. A command that even a kill does not end (it hangs inside the kernel) is left alone
/// after half a second.
///
/// \param line      trusted text: whatever it says is run
/// \param limit_ms  the longest time that the command may take, in milliseconds
/// \param stop      set by another thread to end the command
/// \return whether the command ended by itself, whatever its exit status. False: it could not be
///         started, took too long or was stopped.
bool runShellCommand(const QByteArray &line, int limit_ms, const std::atomic<bool> &stop);

#endif // COMMON_SHELL_COMMAND_H
