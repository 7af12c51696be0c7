// Qt's offscreen platform never takes its screen away again: each program that draws in memory
// would end with a report of its leak. Linked into such programs; it names that library and nothing
// else.

extern "C" const char *__lsan_default_suppressions(); // NOLINT: LeakSanitizer's own name

extern "C" const char *__lsan_default_suppressions() // NOLINT: LeakSanitizer's own name
{
    return "leak:libqoffscreen.so\n";
}
