// The place of an operation in a virtual table.

#ifndef TESTS_DRIVER_VTABLE_SLOT_H
#define TESTS_DRIVER_VTABLE_SLOT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

/// The slot of a virtual operation, the two destructor entries of a class being 0 and 1. Reads the
/// pointer to member as the C++ ABI that both ends are built for lays it down.
template <typename Operation>
size_t slotOf(Operation operation)
{
    struct {
        std::uintptr_t target;
        std::ptrdiff_t adjustment;
    } parts;
    static_assert(sizeof parts == sizeof operation, "a pointer to member of the Itanium C++ ABI");
    std::memcpy(&parts, &operation, sizeof parts);
#if defined(__arm__) || defined(__aarch64__)
    const std::uintptr_t offset = parts.target; // the mark of a virtual one is in the adjustment
#else
    const std::uintptr_t offset = parts.target - 1;
#endif
    return offset / sizeof(void *);
}

#endif // TESTS_DRIVER_VTABLE_SLOT_H
