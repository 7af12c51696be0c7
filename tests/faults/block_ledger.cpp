#include "tests/faults/block_ledger.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include <execinfo.h>
#include <malloc.h>
#include <unistd.h>

#include "tests/faults/call_origins.h"

namespace
{

typedef std::uintptr_t Address;

const int MostBlocks = 20000;

/// Who holds a block.
enum Holder { Nobody, FailedCall, Somebody };

struct Block {
    void *block;
    Holder holder;
    Stack stack;

    const Address *words() const { return static_cast<const Address *>(block); }
    /// In bytes. The allocator points to the last word itself when the memory behind it is free.
    size_t size() const { return malloc_usable_size(block) - sizeof(Address); }
};

std::atomic<bool> watching(false);
std::mutex blocks_mutex;
Block blocks[MostBlocks]; ///< blocks_mutex
int block_count = 0;      ///< blocks_mutex

// ---- Who holds what: the words of memory that look like a pointer to a block or into it

void holdFrom(const Address *first, const Address *last, Holder holder);

/// A block is held, and with it all that it points to.
void hold(Block &block, Holder holder)
{
    if (block.holder != Nobody)
        return;
    block.holder = holder;
    holdFrom(block.words(), block.words() + block.size() / sizeof(Address), holder);
}

Block *blockAt(Address address)
{
    Block *const next = std::upper_bound(blocks, blocks + block_count, address,
                                         [](Address wanted, const Block &block) {
                                             return wanted < reinterpret_cast<Address>(block.block);
                                         });
    if (next == blocks)
        return nullptr;
    const Address offset = address - reinterpret_cast<Address>(next[-1].block);
    return offset < next[-1].size() ? next - 1 : nullptr;
}

void holdFrom(const Address *first, const Address *last, Holder holder)
{
    for (const Address *at = first; at < last; ++at) {
        if (Block *const target = blockAt(*at))
            hold(*target, holder);
    }
}

/// Whether a word is one of this ledger, or in one of its blocks.
bool isOurs(const Address *at)
{
    const void *const word = at;
    return (word >= blocks && word < blocks + MostBlocks) ||
           blockAt(reinterpret_cast<Address>(at)) != nullptr;
}

void holdFromMemory(const Address *first, const Address *last)
{
    for (const Address *at = first; at < last; ++at) {
        Block *const target = blockAt(*at);
        if (target != nullptr && !isOurs(at))
            hold(*target, Somebody);
    }
}

/// All that the program can write to; of this thread's stack only what is in use.
void holdFromAllMemory()
{
    const void *const top = __builtin_frame_address(0);
    FILE *const maps = fopen("/proc/self/maps", "r");
    char line[512];
    while (maps != nullptr && fgets(line, sizeof line, maps) != nullptr) {
        void *first = nullptr;
        void *last = nullptr;
        char rights[5] = "";
        if (sscanf(line, "%p-%p %4s", &first, &last, rights) == 3 && rights[1] == 'w')
            holdFromMemory(static_cast<const Address *>(first <= top && top < last ? top : first),
                           static_cast<const Address *>(last));
    }
    if (maps != nullptr)
        fclose(maps);
}

void print(const Block &left, const FaultOrigin &origin)
{
    dprintf(STDERR_FILENO, "left over: block %p of %s%s\n", left.block, origin.file,
            origin.in_failed_call ? ", in the failed call" : "");
    backtrace_symbols_fd(left.stack.frames, left.stack.count, STDERR_FILENO);
}

} // namespace

void watchBlocks()
{
    watching = true;
}

bool watchesBlocks()
{
    return watching;
}

void noteBlock(void *block)
{
    if (!watching)
        return;
    const std::lock_guard<std::mutex> lock(blocks_mutex);
    if (block_count == MostBlocks)
        abort();
    blocks[block_count++] = Block{block, Nobody, latestStack()};
}

void forgetBlock(const void *block)
{
    if (!watching)
        return;
    const std::lock_guard<std::mutex> lock(blocks_mutex);
    int i = block_count - 1;
    while (i >= 0 && blocks[i].block != block)
        --i;
    if (i >= 0)
        blocks[i] = blocks[--block_count];
}

FaultLeftovers leftovers(bool toPrint)
{
    watching = false;
    std::sort(blocks, blocks + block_count,
              [](const Block &one, const Block &other) { return one.block < other.block; });
    holdFromAllMemory();
    for (int i = 0; i < block_count; ++i) {
        if (originOf(blocks[i].stack).in_failed_call)
            hold(blocks[i], FailedCall);
    }
    FaultLeftovers sums = {0, 0, 0};
    for (int i = 0; i < block_count; ++i) {
        const FaultOrigin origin = originOf(blocks[i].stack);
        if (origin.of_program)
            ++sums.of_program;
        else if (blocks[i].holder == FailedCall)
            ++sums.in_failed_call;
        else if (blocks[i].holder == Nobody)
            ++sums.elsewhere;
        if (toPrint && (origin.of_program || blocks[i].holder != Somebody))
            print(blocks[i], origin);
    }
    return sums;
}
