#include "bench/soak/soak.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "bench/soak/formatted.h"
#include "bench/soak/process_figures.h"
#include "bench/soak/soak_project.h"
#include "cpl/dmc50_polling_thread.h"

namespace
{

const int Retries = 1;
const ulong LookPauseMs = 10;
const uint64_t LongestHealing = 1000; // exchanges
const double SumMisses = 1.0 / 256;   // of random damage
const double MostDeviations = 5;
const double MsPerHour = 3600000;

/// What of the heap is in use in two of ten parts of a run.
class HeapWatch
{
public:
    HeapWatch(uint64_t exchanges, SoakResult *result) : m_tenth(exchanges / 10), m_result(result)
    {
        m_result->heap_early = m_result->heap_late = heapInUse();
    }

    void look(uint64_t exchange)
    {
        if (exchange < m_next_look)
            return;
        m_next_look = exchange + LookPause;
        const uint64_t part = exchange / m_tenth;
        if (part == Early)
            note(&m_result->heap_early);
        else if (part >= Late)
            note(&m_result->heap_late);
    }

private:
    enum : uint64_t { Early = 1, Late = 9, LookPause = 20 };

    static void note(qint64 *heap) { *heap = std::max(*heap, heapInUse()); }

    uint64_t m_tenth;
    uint64_t m_next_look = 0;
    SoakResult *m_result;
};

/// A polling thread on a judged line, with all that it needs, from the beginning to the end.
class Bench
{
public:
    explicit Bench(const SoakOptions &options)
        : m_options(options), m_texts(options.error_texts),
          m_line(SoakProject::stations(), options.seed, Retries, &m_clock),
          m_link(&m_line, &m_texts, options.seed), m_valid(SoakProject::validAddresses()),
          m_polling(&m_link, &m_valid, 1, &m_clock),
          m_user(&m_polling, &m_link, &m_clock, options.seed)
    {
        m_clock.setDriver(&m_polling);
        m_link.setThread(&m_polling);
        m_polling.setLowLatency({SoakProject::LowLatencyStation});
        m_polling.setSessionCommand(SoakProject::session());
    }

    void run(SoakResult *result)
    {
        const qint64 begin = m_clock.msecsSinceBoot();
        m_polling.start();
        soak(result);
        heal(result);
        drain();
        result->virtual_hours = static_cast<double>(m_clock.msecsSinceBoot() - begin) / MsPerHour;
        m_polling.stop();
        m_polling.wait();
        m_clock.end();
        m_link.settle();
        result->exchanges = m_link.exchanges();
        result->with_fault = m_link.exchangesWithFault();
        result->line = m_link.findings();
        result->user = m_user.findings();
    }

private:
    void soak(SoakResult *result)
    {
        HeapWatch heap(m_options.exchanges, result);
        while (m_link.exchangesWithFault() < m_options.exchanges) {
            m_user.act();
            heap.look(m_link.exchangesWithFault());
        }
        m_link.endFaults();
    }

    void heal(SoakResult *result)
    {
        const uint64_t last = m_link.exchanges();
        while (!m_user.allFreshSince(last) && m_link.exchanges() < last + LongestHealing)
            m_clock.sleep(LookPauseMs);
        result->healed = m_user.allFreshSince(last) ? m_link.exchanges() - last : 0;
    }

    /// The last writes are on the line when their queue is empty.
    void drain()
    {
        while (!m_polling.addrArgQueueMapIsEmpty())
            m_clock.sleep(LookPauseMs);
        const uint64_t last = m_link.exchanges();
        while (m_link.exchanges() < last + 2)
            m_clock.sleep(LookPauseMs);
    }

    const SoakOptions m_options;
    const ErrorTexts m_texts;
    VirtualClock m_clock;
    VirtualLine m_line;
    JudgedLink m_link;
    const AddressVectorMap m_valid;
    PollingThread m_polling;
    RuntimeUser m_user;
};

uint64_t sumOf(const std::map<int, uint32_t> &counts)
{
    uint64_t sum = 0;
    for (const auto &count : counts)
        sum += count.second;
    return sum;
}

double expectedMisses(const Findings &findings)
{
    return static_cast<double>(findings.damaged) * SumMisses;
}

bool heapIsConstant(const SoakResult &result)
{
    return result.heap_late <= result.heap_early + HeapTolerance;
}

std::string outcomeRow(const char *name, const Outcomes &outcomes)
{
    return formatted("  %-12s %10llu %10llu %10llu %10llu %10llu\n", name,
                     Count(outcomes.exchanges), Count(outcomes.unharmed), Count(outcomes.refused),
                     Count(outcomes.missed), Count(outcomes.wrong));
}

std::string outcomeTable(const Findings &findings)
{
    std::string text = formatted("  %-12s %10s %10s %10s %10s %10s\n", "fault", "exchanges",
                                 "unharmed", "refused", "unseen", "wrong");
    Outcomes all;
    for (const auto &row : findings.outcomes) {
        text += outcomeRow(row.first.c_str(), row.second);
        all.exchanges += row.second.exchanges;
        all.unharmed += row.second.unharmed;
        all.refused += row.second.refused;
        all.missed += row.second.missed;
        all.wrong += row.second.wrong;
    }
    return text + outcomeRow("all", all) +
           "  unharmed: all values true; refused: an error and no value; unseen: sum, station and "
           "end\n  code are right, values are missing or wrong; wrong: the wrong ones of these. A "
           "fault that\n  left a reply as it was is none.\n";
}

std::string reasonTable(const Findings &findings)
{
    std::string text = "error texts, as docs/errors.md has them:\n";
    for (const auto &reason : findings.reasons)
        text += formatted("  %-32s %10llu\n",
                          reason.first.empty() ? "NOT DOCUMENTED" : reason.first.c_str(),
                          Count(reason.second));
    return text;
}

/// Replies taken with wrong or missing values although no such fault struck that could have made
/// them look right.
uint64_t unforgedMisses(const Findings &findings)
{
    uint64_t sum = 0;
    for (const auto &row : findings.outcomes)
        sum += FaultSource::forges(row.first) ? 0 : row.second.missed + row.second.wrong;
    return sum;
}

std::string shortcomingsOf(const std::string &fault, const Outcomes &outcomes)
{
    std::string text;
    if (!FaultSource::forges(fault) && outcomes.missed + outcomes.wrong > 0)
        text += formatted("  %s: %llu replies were taken for others, %llu values are wrong\n",
                          fault.c_str(), Count(outcomes.missed), Count(outcomes.wrong));
    if (fault == JudgedLink::NoFault && outcomes.refused > 0)
        text += formatted("  %llu sound replies were refused\n", Count(outcomes.refused));
    return text;
}

std::string lines(const std::vector<std::string> &texts)
{
    std::string joined;
    for (const std::string &text : texts)
        joined += "  " + text + "\n";
    return joined;
}

} // namespace

SoakResult runSoak(const SoakOptions &options)
{
    SoakResult result;
    const auto begin = std::chrono::steady_clock::now();
    Bench bench(options);
    bench.run(&result);
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return result;
}

double deviationOfMisses(const Findings &findings)
{
    const double expected = expectedMisses(findings);
    const double deviation = std::sqrt(expected * (1 - SumMisses));
    return deviation > 0 ? (static_cast<double>(findings.damaged_sum_right) - expected) / deviation
                         : 0;
}

std::string shortcomings(const SoakResult &result)
{
    std::string text = lines(result.line.examples) + lines(result.user.examples);
    for (const auto &row : result.line.outcomes)
        text += shortcomingsOf(row.first, row.second);
    if (result.line.outcomes.size() != FaultSource::allKinds().size() + 1)
        text += "  not every kind of fault struck\n";
    if (std::fabs(deviationOfMisses(result.line)) > MostDeviations)
        text += "  the checksum misses more or less than 1 in 256 damages\n";
    if (result.line.sent != result.user.writes)
        text += "  writes that were taken were not sent\n";
    if (result.healed == 0)
        text += "  not all values were fresh again after the faults\n";
    if (!heapIsConstant(result))
        text += "  the heap grew\n";
    return text;
}

std::string table(const SoakOptions &options, const SoakResult &result)
{
    const Findings &line = result.line;
    const UserFindings &user = result.user;
    std::string text =
        formatted("%llu exchanges, a fault struck in %llu of them, seed %u: %.1f s, %.1f h of the "
                  "line's time\n",
                  Count(result.exchanges), Count(result.with_fault), options.seed, result.seconds,
                  result.virtual_hours);
    text += outcomeTable(line);
    text += formatted("random damage: the sum was right in %llu of %llu, expected %.1f (1 in 256), "
                      "%+.1f deviations;\n  in %llu of them every byte became what it had been\n",
                      Count(line.damaged_sum_right), Count(line.damaged), expectedMisses(line),
                      deviationOfMisses(line), Count(line.damaged_as_before));
    text += reasonTable(line);
    text += formatted("runtime: %llu reads from the cache, %llu on demand, %llu given up; of %llu "
                      "values %llu were\n  wrong without a check that could tell\n",
                      Count(user.cache_reads), Count(user.on_demand), Count(user.given_up),
                      Count(user.values), Count(user.disguised));
    text += formatted("writes: %llu taken, %llu sent in their order, %llu of them in the stations' "
                      "words, %llu lost\n  in a babble at each try; %llu frames repeated, %llu "
                      "calls refused\n",
                      Count(sumOf(user.writes)), Count(sumOf(line.sent)), Count(line.arrived),
                      Count(sumOf(line.sent) - line.arrived), Count(line.repeated_writes),
                      Count(user.refused_writes));
    text += formatted("after the last fault all values were fresh within %llu exchanges\n",
                      Count(result.healed));
    text += heapText(result.heap_early, result.heap_late, "tenth");
    text += formatted("wrong or missing values by faults that a check can tell: %llu; other values "
                      "in the cache, other\n  texts, writes out of order: %llu\n",
                      Count(unforgedMisses(line)), Count(line.violations) + Count(user.violations));
    return text;
}
