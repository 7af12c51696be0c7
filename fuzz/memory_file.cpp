#include "fuzz/memory_file.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz/expect.h"

namespace
{

const int FirstVersion = 1;
const int SectorSize = 512;
const int LongestPath = 512;

// Of the file's header: the counter of changes, and its value when the size in the header was
// right.
const size_t ChangeCounter = 24;
const size_t SizeValidFor = 92;
const size_t CounterSize = 4;

std::vector<uint8_t> content;

/// Keeps what the two counters tell, that they are equal or not.
void countChange()
{
    static uint32_t changes = 0;
    ++changes;
    if (content.size() < SizeValidFor + CounterSize)
        return;
    uint8_t *const changed = content.data() + ChangeCounter;
    uint8_t *const valid = content.data() + SizeValidFor;
    const bool sizeIsValid = std::equal(changed, changed + CounterSize, valid);
    std::memcpy(changed, &changes, CounterSize);
    std::memcpy(valid, &changes, CounterSize);
    if (!sizeIsValid)
        valid[0] = static_cast<uint8_t>(~valid[0]);
}

// ---- Operations of the open file ---------------------------------------------------------------

int closeFile(sqlite3_file *)
{
    return SQLITE_OK;
}

int readFile(sqlite3_file *, void *buffer, int count, sqlite3_int64 offset)
{
    const size_t wanted = static_cast<size_t>(count);
    const size_t start = std::min(content.size(), static_cast<size_t>(offset));
    const size_t there = std::min(wanted, content.size() - start);
    if (there > 0)
        std::memcpy(buffer, content.data() + start, there);
    std::memset(static_cast<char *>(buffer) + there, 0, wanted - there);
    return there == wanted ? SQLITE_OK : SQLITE_IOERR_SHORT_READ;
}

int writeFile(sqlite3_file *, const void *, int, sqlite3_int64)
{
    return SQLITE_READONLY;
}

int truncateFile(sqlite3_file *, sqlite3_int64)
{
    return SQLITE_READONLY;
}

int syncFile(sqlite3_file *, int)
{
    return SQLITE_OK;
}

int fileSize(sqlite3_file *, sqlite3_int64 *size)
{
    *size = static_cast<sqlite3_int64>(content.size());
    return SQLITE_OK;
}

int lockFile(sqlite3_file *, int)
{
    return SQLITE_OK;
}

int isReserved(sqlite3_file *, int *reserved)
{
    *reserved = 0;
    return SQLITE_OK;
}

int controlFile(sqlite3_file *, int, void *)
{
    return SQLITE_NOTFOUND;
}

int sectorSize(sqlite3_file *)
{
    return SectorSize;
}

int characteristics(sqlite3_file *)
{
    return 0;
}

// ---- Operations of the file system -------------------------------------------------------------

/// There is the database and nothing else: no journal, no place for temporary files.
int openFile(sqlite3_vfs *, sqlite3_filename, sqlite3_file *file, int flags, int *flagsThen)
{
    static const sqlite3_io_methods methods = {
        FirstVersion, closeFile, readFile,   writeFile,   truncateFile, syncFile,        fileSize,
        lockFile,     lockFile,  isReserved, controlFile, sectorSize,   characteristics, nullptr,
        nullptr,      nullptr,   nullptr,    nullptr,     nullptr};
    file->pMethods = nullptr;
    if ((flags & SQLITE_OPEN_MAIN_DB) == 0)
        return SQLITE_CANTOPEN;
    file->pMethods = &methods;
    if (flagsThen != nullptr)
        *flagsThen = flags;
    return SQLITE_OK;
}

int deleteFile(sqlite3_vfs *, const char *, int)
{
    return SQLITE_OK;
}

int hasAccess(sqlite3_vfs *, const char *, int, int *access)
{
    *access = 0;
    return SQLITE_OK;
}

int fullPath(sqlite3_vfs *, const char *name, int size, char *path)
{
    sqlite3_snprintf(size, path, "%s", name);
    return SQLITE_OK;
}

} // namespace

void installMemoryFile()
{
    // One thread, and no account of every allocation: the library is not what is fuzzed.
    EXPECT(sqlite3_config(SQLITE_CONFIG_SINGLETHREAD) == SQLITE_OK);
    EXPECT(sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK);
    static sqlite3_vfs system = *sqlite3_vfs_find(nullptr); // keeps what is not replaced
    system.szOsFile = sizeof(sqlite3_file);
    system.mxPathname = LongestPath;
    system.zName = "memory";
    system.xOpen = openFile;
    system.xDelete = deleteFile;
    system.xAccess = hasAccess;
    system.xFullPathname = fullPath;
    EXPECT(sqlite3_vfs_register(&system, 1) == SQLITE_OK);
}

void setMemoryFile(const uint8_t *data, size_t size)
{
    content.assign(data, data + size);
    countChange();
}
