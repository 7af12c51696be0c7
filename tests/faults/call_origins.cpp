#include "tests/faults/call_origins.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>

#include <dlfcn.h>
#include <execinfo.h>
#include <link.h>

namespace
{

const long NoVisit = -1;
const long NoCall = -2; ///< has failed

#define IN_PLACE __attribute__((tls_model("initial-exec"))) // the usual model may allocate

thread_local Stack latest IN_PLACE;
thread_local std::uint64_t latest_of_program IN_PLACE; ///< the program's part of it
std::atomic<long> visits(0);
std::atomic<long> failed_visit(NoCall);

struct Range {
    std::uintptr_t first;
    std::uintptr_t last;
};

/// Called for the program first.
int noteRange(struct dl_phdr_info *object, size_t, void *range)
{
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr) &segment = object->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) {
            const std::uintptr_t first = object->dlpi_addr + segment.p_vaddr;
            *static_cast<Range *>(range) = Range{first, first + segment.p_memsz};
        }
    }
    return 1; // no more
}

Range codeOfProgram()
{
    Range range = {0, 0};
    dl_iterate_phdr(noteRange, &range);
    return range;
}

bool isOfProgram(const void *instruction)
{
    static const Range code = codeOfProgram();
    const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(instruction);
    return at >= code.first && at < code.last;
}

/// Stands for the frames from the innermost one of the program on; 0 when it has none.
std::uint64_t partOfProgram(const Stack &stack)
{
    int i = 0;
    while (i < stack.count && !isOfProgram(stack.frames[i]))
        ++i;
    std::uint64_t hash = 0;
    for (; i < stack.count; ++i)
        hash = hash * 1000003 + reinterpret_cast<std::uintptr_t>(stack.frames[i]);
    return hash;
}

const char *baseName(const char *path)
{
    const char *const slash = strrchr(path, '/');
    return slash != nullptr ? slash + 1 : path;
}

/// The injector, and what programs and libraries allocate and ask the system through.
bool onlyPassesOn(const char *file)
{
    for (const char *name : {"libdmc50_fault_injector.", "libc.", "libstdc++.", "libgcc_s."}) {
        if (strncmp(file, name, strlen(name)) == 0)
            return true;
    }
    return false;
}

} // namespace

void takeStack()
{
    latest.count = backtrace(latest.frames, MostFrames);
    const std::uint64_t of_program = partOfProgram(latest);
    if (of_program != latest_of_program || latest.visit == 0)
        latest.visit = ++visits;
    latest_of_program = of_program;
}

const Stack &latestStack()
{
    return latest;
}

Stack stackFrom(const void *instruction)
{
    Stack stack;
    stack.count = backtrace(stack.frames, MostFrames);
    int first = 0;
    while (first < stack.count && stack.frames[first] != instruction)
        ++first;
    stack.count -= first;
    memmove(stack.frames, stack.frames + first, sizeof(void *) * static_cast<size_t>(stack.count));
    stack.visit = partOfProgram(stack) == latest_of_program ? latest.visit : NoVisit;
    return stack;
}

void noteFailedCall()
{
    failed_visit = latest.visit;
}

void forgetFailedCall()
{
    failed_visit = NoCall;
}

FaultOrigin originOf(const Stack &stack)
{
    for (int i = 0; i < stack.count; ++i) {
        Dl_info place;
        if (dladdr(stack.frames[i], &place) == 0 || onlyPassesOn(baseName(place.dli_fname)))
            continue;
        const bool ofProgram = isOfProgram(stack.frames[i]);
        return FaultOrigin{baseName(place.dli_fname), ofProgram,
                           !ofProgram && stack.visit == failed_visit};
    }
    return FaultOrigin{"", true, false};
}
