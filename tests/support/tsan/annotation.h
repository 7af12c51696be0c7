// What the annotations of this folder are made with.

#ifndef TESTS_SUPPORT_TSAN_ANNOTATION_H
#define TESTS_SUPPORT_TSAN_ANNOTATION_H

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

#include <sanitizer/tsan_interface.h>

extern "C" {
void AnnotateIgnoreReadsBegin(const char *file, int line);
void AnnotateIgnoreReadsEnd(const char *file, int line);
void AnnotateIgnoreWritesBegin(const char *file, int line);
void AnnotateIgnoreWritesEnd(const char *file, int line);
}

/// A function that a definition in this file stands in front of. `Signature` is that of a free
/// function; a member function takes its object first.
template <typename Signature>
class Real
{
public:
    explicit constexpr Real(const char *mangled_name) : m_mangled_name(mangled_name), m_address() {}

    template <typename... Args>
    auto operator()(Args... args) -> decltype(static_cast<Signature *>(nullptr)(args...))
    {
        return reinterpret_cast<Signature *>(address())(args...);
    }

private:
    // Relaxed, and looked up twice if it must be: the look-up must order nothing between threads.
    void *address()
    {
        void *address = m_address.load(std::memory_order_relaxed);
        if (!address) {
            address = dlsym(RTLD_NEXT, m_mangled_name);
            m_address.store(address, std::memory_order_relaxed);
        }
        if (!address)
            giveUp();
        return address;
    }

    void giveUp() const
    {
        std::fprintf(stderr, "this Qt has no %s; adapt tests/support/tsan\n", m_mangled_name);
        std::abort();
    }

    const char *m_mangled_name;
    std::atomic<void *> m_address;
};

/// While one lives, the accesses of its thread are not recorded.
class Unrecorded
{
public:
    Unrecorded()
    {
        AnnotateIgnoreReadsBegin(__FILE__, __LINE__);
        AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    }
    ~Unrecorded()
    {
        AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
        AnnotateIgnoreReadsEnd(__FILE__, __LINE__);
    }
    Unrecorded(const Unrecorded &) = delete;
    Unrecorded &operator=(const Unrecorded &) = delete;
};

#endif // TESTS_SUPPORT_TSAN_ANNOTATION_H
