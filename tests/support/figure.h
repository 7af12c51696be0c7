// Figures that a test has measured, printed where a person can collect them.

#ifndef TESTS_SUPPORT_FIGURE_H
#define TESTS_SUPPORT_FIGURE_H

#include <cstdarg>
#include <cstdio>

/// Prints one line that begins with "figure: ".
__attribute__((format(printf, 1, 2))) inline void figure(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    printf("figure: ");
    vprintf(format, arguments);
    printf("\n");
    fflush(stdout);
    va_end(arguments);
}

#endif // TESTS_SUPPORT_FIGURE_H
