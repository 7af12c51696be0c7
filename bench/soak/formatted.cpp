#include "bench/soak/formatted.h"

#include <cstdarg>
#include <cstdio>

std::string formatted(const char *format, ...)
{
    char text[200];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

std::string heapText(qint64 early, qint64 late, const char *part)
{
    if (early < 0)
        return "heap: not counted under a sanitizer\n";
    return formatted("heap: at most %lld bytes in the second %s of the run, %lld in the last\n",
                     static_cast<long long>(early), part, static_cast<long long>(late));
}
