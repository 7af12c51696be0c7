// What the sanitizer of each fuzzed program is set to.

extern "C" const char *__asan_default_options();

/// Most of its time goes into bookkeeping: where each block was allocated, and blocks that are kept
/// aside after their end. ASAN_OPTIONS=malloc_context_size=30 tells the former of a crash.
extern "C" const char *__asan_default_options()
{
    return "malloc_context_size=0:quarantine_size_mb=1";
}
