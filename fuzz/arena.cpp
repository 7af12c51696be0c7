#include "fuzz/arena.h"

#include <sqlite3.h>

#include <cstddef>
#include <cstring>

#include "fuzz/expect.h"

namespace
{

const size_t Capacity = 512 * 1024 * 1024; ///< bytes; what is beyond fails
const size_t HeaderSize = 16;              ///< in front of each block; keeps it aligned
const int SmallestClass = 5;               ///< blocks have 2^5 bytes at least, header included
const int Classes = 31;                    ///< none has 2^31 bytes

/// In front of a block: its class, and while the block is free the next one of that class.
struct Header {
    int sizeClass;
    Header *next;
};
static_assert(sizeof(Header) <= HeaderSize, "blocks would not be aligned");

alignas(HeaderSize) char memory[Capacity];
size_t used = 0;
Header *freeBlocks[Classes];

size_t bytesOf(int sizeClass)
{
    return size_t(1) << sizeClass;
}

int classFor(int size)
{
    int sizeClass = SmallestClass;
    while (bytesOf(sizeClass) < static_cast<size_t>(size) + HeaderSize)
        ++sizeClass;
    return sizeClass;
}

Header *headerOf(void *block)
{
    return reinterpret_cast<Header *>(static_cast<char *>(block) - HeaderSize);
}

void *blockOf(Header *header)
{
    return reinterpret_cast<char *>(header) + HeaderSize;
}

void *allocate(int size)
{
    const int sizeClass = classFor(size);
    Header *header = freeBlocks[sizeClass];
    if (header != nullptr) {
        freeBlocks[sizeClass] = header->next;
        return blockOf(header);
    }
    if (bytesOf(sizeClass) > Capacity - used)
        return nullptr;
    header = reinterpret_cast<Header *>(memory + used);
    header->sizeClass = sizeClass;
    used += bytesOf(sizeClass);
    return blockOf(header);
}

void release(void *block)
{
    Header *const header = headerOf(block);
    header->next = freeBlocks[header->sizeClass];
    freeBlocks[header->sizeClass] = header;
}

int blockSize(void *block)
{
    return static_cast<int>(bytesOf(headerOf(block)->sizeClass) - HeaderSize);
}

void *reallocate(void *block, int size)
{
    if (size <= blockSize(block))
        return block;
    void *const larger = allocate(size);
    if (larger == nullptr)
        return nullptr;
    std::memcpy(larger, block, static_cast<size_t>(blockSize(block)));
    release(block);
    return larger;
}

int roundUp(int size)
{
    return static_cast<int>(bytesOf(classFor(size)) - HeaderSize);
}

int begin(void *)
{
    return SQLITE_OK;
}

void end(void *) {}

} // namespace

void installArena()
{
    static sqlite3_mem_methods methods = {allocate, release, reallocate, blockSize,
                                          roundUp,  begin,   end,        nullptr};
    EXPECT(sqlite3_config(SQLITE_CONFIG_MALLOC, &methods) == SQLITE_OK);
}
