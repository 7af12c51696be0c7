#include "terminal/window/trend_data.h"

#include <algorithm>
#include <cmath>

namespace
{

/// The least of 1, 2 and 5 times a power of ten that is not below the step; values are whole
/// numbers, and so are the steps between them.
double roundStep(double step)
{
    const double power = std::pow(10.0, std::floor(std::log10(std::max(step, 1.0))));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= step)
            return factor * power;
    }
    return 10 * power;
}

} // namespace

const size_t TrendData::MostPoints;

TrendData::TrendData(qint64 spanMs) : m_span_ms(spanMs), m_broken(true) {}

void TrendData::add(qint64 atMs, double value, qint64 longestStepMs)
{
    if (!m_entries.empty()) {
        const qint64 step = atMs - m_entries.back().point.atMs;
        if (step <= 0)
            return;
        m_broken = m_broken || step > longestStepMs;
    }
    m_entries.push_back({{atMs, value}, m_broken});
    m_broken = false;
    if (m_entries.size() > MostPoints)
        m_entries.pop_front();
}

void TrendData::addGap()
{
    m_broken = true;
}

void TrendData::forget(qint64 nowMs)
{
    const qint64 begin = nowMs - m_span_ms;
    while (!m_entries.empty() && m_entries.front().point.atMs < begin) {
        const bool entersSpan =
            m_entries.size() > 1 && !m_entries[1].startsRun && m_entries[1].point.atMs >= begin;
        if (entersSpan)
            return;
        m_entries.pop_front();
    }
}

void TrendData::clear()
{
    m_entries.clear();
    m_broken = true;
}

std::vector<TrendData::Run> TrendData::runs() const
{
    std::vector<Run> runs;
    for (const Entry &entry : m_entries) {
        if (entry.startsRun || runs.empty())
            runs.push_back(Run());
        runs.back().push_back(entry.point);
    }
    return runs;
}

TrendScale TrendScale::around(double least, double greatest, int marks)
{
    TrendScale scale;
    scale.step = roundStep((greatest - least) / marks);
    scale.bottom = std::floor(least / scale.step) * scale.step;
    scale.top = std::ceil(greatest / scale.step) * scale.step;
    if (scale.top <= scale.bottom) {
        // One value only: it stands in the middle. No value is below 0.
        scale.bottom = std::max(0.0, scale.bottom - scale.step);
        scale.top += scale.step;
    }
    return scale;
}
