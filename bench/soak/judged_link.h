// A line on which replies are spoiled, and on which every exchange is judged.

#ifndef BENCH_SOAK_JUDGED_LINK_H
#define BENCH_SOAK_JUDGED_LINK_H

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "bench/soak/error_texts.h"
#include "bench/soak/fault_source.h"
#include "bench/soak/reading.h"
#include "bench/soak/virtual_line.h"

class PollingThread;

/// How the exchanges with one kind of fault, or with none, came out.
struct Outcomes {
    uint64_t exchanges = 0;
    uint64_t unharmed = 0; ///< accepted, all values true
    uint64_t refused = 0;  ///< an error, no value
    uint64_t missed = 0;   ///< accepted, because no check can tell, with values missing or wrong
    uint64_t wrong = 0;    ///< wrong values in these
};

/// What was found; complete when the polling thread has ended and `settle` was called.
struct Findings {
    std::map<std::string, Outcomes> outcomes; ///< by the fault's name; "none" without one
    std::map<std::string, uint64_t> reasons;  ///< documented reasons of refusal
    uint64_t damaged = 0;                     ///< replies that random damage struck
    uint64_t damaged_sum_right = 0;           ///< of these the checksum held
    uint64_t damaged_as_before = 0;           ///< of these every byte became what it had been
    uint64_t repeated_writes = 0;             ///< frames
    std::map<int, uint32_t> sent;             ///< numbered writes in their order, by station
    uint64_t arrived = 0;                     ///< of these a station's word had the value

    uint64_t violations = 0;
    std::vector<std::string> examples; ///< of violations, the first ones
};

/// Stands between a polling thread and the virtual line.
///
/// Before each exchange it gives the words that are asked for new values, so that every value tells
/// which exchange brought it. After it the judge, who knows every byte that came, compares what
/// the driver made of the reply with what a careful reader would have: the cache word by word, and
/// the error text.
/// A write has arrived when the station's word has the value.
///
/// Called by the line's thread but for what is said to be for any thread.
class JudgedLink : public AbstractDeviceInterface
{
public:
    static const char NoFault[]; ///< stands for a fault's name

    /// \param line   not owned
    /// \param texts  not owned
    /// \param seed   of the faults
    JudgedLink(VirtualLine *line, const ErrorTexts *texts, uint32_t seed);

    /// Not owned. Call before the thread starts.
    void setThread(PollingThread *thread) { m_thread = thread; }

    /// Judges the last exchange. Call when the thread has ended.
    void settle();
    const Findings &findings() const { return m_findings; }

    /// Any thread: no fault from now on.
    void endFaults() { m_faulty = false; }

    /// Any thread: exchanges begun so far, and those of them in which a fault struck.
    uint64_t exchanges() const { return m_exchanges; }
    uint64_t exchangesWithFault() const { return m_with_fault; }

    /// Any thread: whether no check could have kept this value from the driver.
    bool noCheckCouldTell(int station, uint32_t address, uint32_t value) const;

    int readData(char *buffer, int max_size) override;
    int writeData(const char *data, int size) override;
    QVariant control(int code, const QVariant &argument) override;
    const DeviceSetting *deviceSetting() override { return m_line->deviceSetting(); }
    int timeout() override { return m_line->timeout(); }
    int retry() override { return m_line->retry(); }
    int stationId() override { return m_line->stationId(); }
    int delay() override { return m_line->delay(); }

private:
    enum Step { Settled, Discarded, Requested, Answered };

    /// What was last written to a station.
    struct LastWrite {
        std::string frame;
        bool arrived;
    };

    /// A wrong value that came in a reply without a fault that a check can see.
    struct Disguise {
        int station;
        uint32_t address;
        uint32_t value;
    };

    void prepareWords();
    void armFault();
    void noteFault();
    void noteDisguises();
    bool isNumberedWrite() const;
    void noteSentWrites(const std::string &frame);
    void noteArrivedWrites();
    void judgeValues(const Reading &reading, Outcomes *outcomes);
    void judgeErrorText(const Reading &reading);
    bool wasReadOnDemand(size_t place) const;
    void countDamage();
    qint64 cached(uint32_t address) const;
    void violation(const std::string &text);

    VirtualLine *m_line;
    const ErrorTexts *m_texts;
    PollingThread *m_thread;
    FaultSource m_faults;
    std::map<int, int> m_gaps; ///< replies to spare, by station
    std::atomic<bool> m_faulty;
    std::atomic<uint64_t> m_exchanges;
    std::atomic<uint64_t> m_with_fault;
    Findings m_findings;

    // The exchange on the line.
    Step m_step;
    CplRequest m_request;
    std::string m_fault_name;
    bool m_damaged; ///< random damage struck the reply, whatever came of it
    std::string m_reply;
    std::vector<qint64> m_cached_before; ///< by place in the request; -1: nothing

    std::map<int, LastWrite> m_last_writes; ///< by station

    mutable std::mutex m_disguise_mutex;
    std::vector<Disguise> m_disguises; ///< m_disguise_mutex; the last ones, a ring
    size_t m_disguise_count;           ///< m_disguise_mutex
};

#endif // BENCH_SOAK_JUDGED_LINK_H
