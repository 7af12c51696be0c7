// The contrast ratio of two opaque colours, 1 to 21, as the accessibility guidelines define it.

#ifndef TESTS_COMMON_CONTRAST_H
#define TESTS_COMMON_CONTRAST_H

#include <QColor>

#include <algorithm>
#include <cmath>

inline double linearChannel(double channel)
{
    return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

inline double relativeLuminance(const QColor &colour)
{
    return 0.2126 * linearChannel(colour.redF()) + 0.7152 * linearChannel(colour.greenF()) +
           0.0722 * linearChannel(colour.blueF());
}

inline double contrast(const QColor &one, const QColor &other)
{
    const double a = relativeLuminance(one);
    const double b = relativeLuminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

#endif // TESTS_COMMON_CONTRAST_H
