// One file in memory for SQLite, in place of all files on disk.

#ifndef FUZZ_MEMORY_FILE_H
#define FUZZ_MEMORY_FILE_H

#include <cstddef>
#include <cstdint>

/// Makes every database that is opened from now on, whatever its name, the one in memory. It can
/// only be read. Once per process, before anybody opens a database.
void installMemoryFile();

/// Replaces the file's content, for connections that are open too. What SQLite knows a changed file
/// by, its counter of changes, is made another one each time.
void setMemoryFile(const uint8_t *data, size_t size);

#endif // FUZZ_MEMORY_FILE_H
