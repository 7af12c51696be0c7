// What the tests of the beeper share: one that tells what it does, on a board or on a desktop.

#ifndef TESTS_COMMON_ZBUZZER_BENCH_H
#define TESTS_COMMON_ZBUZZER_BENCH_H

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/zbuzzer.h"
#include "tests/hmi/message_log.h"
#include "tests/support/fake_clock.h"
#include "tests/support/pwm_board.h"

/// What the beeper did, oldest first: shell lines, and "120 ms" for what it slept between two
/// lines.
typedef std::vector<std::string> Deeds;

extern const char ExportLine[];
extern const char OnLine[];
extern const char OffLine[];
extern const char DutyZeroLine[];

/// Tuning to a period, in nanoseconds.
Deeds tuned(const std::string &period, const std::string &duty);
/// A beep with a frequency that is set already.
Deeds sounded(int duration);
Deeds operator+(Deeds first, const Deeds &second);

/// Any thread may write it.
class Journal
{
public:
    void add(const std::string &line);
    void addSleep(ulong ms);
    Deeds deeds() const;
    void clear();

    /// All the time slept, and the longest sleep of all, in milliseconds.
    qint64 slept() const;
    ulong longestSleep() const;

private:
    mutable std::mutex m_mutex;
    Deeds m_deeds;
    qint64 m_slept_since_line = 0;
    qint64 m_slept = 0;
    ulong m_longest_sleep = 0;
};

/// Holds up whoever comes while it is shut.
class Gate
{
public:
    void shut();
    void open();
    void pass();
    /// Waits until somebody is held up.
    void awaitVisitor();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_shut = false;
    bool m_visited = false;
};

/// Writes the lines down; they reach the shell only with `runsLines`.
class ToldBuzzer : public ZBuzzer
{
public:
    ToldBuzzer(Clock *clock, Journal *journal) : ZBuzzer(clock), m_journal(journal) {}
    ~ToldBuzzer() override { stopRunning(); }

    using ZBuzzer::delayedInitial;

    void runLine(const char *command, char *buffer) { ZBuzzer::_system(command, buffer); }

    bool runsLines = true;               ///< set before the thread starts
    std::function<void()> afterEachLine; ///< likewise; called on the thread that runs lines

protected:
    void _system(const char *command, char *buffer) override;

private:
    Journal *const m_journal;
};

/// A panel whose operator has the beeper on. Its clock moves only by sleeping.
class BuzzerBench : public testing::Test
{
protected:
    BuzzerBench();
    ~BuzzerBench() override;

    /// Sets word 12 of the settings.
    static void choose(int value);
    static int chosen();

    /// Makes a beeper that nobody has started yet.
    void makeBuzzer();
    /// Starts it, waits until its thread has nothing to do and forgets what was done until then.
    void startBuzzer();
    /// All of it, on the bench's panel.
    void bringUp();

    /// The number of allWorkDone() since the beeper was started.
    int done() const { return m_done; }
    /// Waits for as many.
    bool awaitDone(int count);
    /// What buzzerState() told.
    std::vector<bool> states() const;

    /// Has the host's beeps written down instead of sounded.
    void listen();
    /// Frequency and duration of the host's beeps.
    std::vector<std::pair<int, int>> hostBeeps() const;

    MessageLog log;
    PwmBoard board;
    Journal journal;
    Gate gate; ///< passed after each sleep of the beeper
    FakeClock clock;
    std::unique_ptr<ToldBuzzer> buzzer;

private:
    std::atomic<int> m_done;
    mutable std::mutex m_mutex;
    std::vector<bool> m_states;
    std::vector<std::pair<int, int>> m_host_beeps;
};

#endif // TESTS_COMMON_ZBUZZER_BENCH_H
