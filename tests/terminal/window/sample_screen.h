// A session on the terminal's screen as an operator would meet it, for tests and for pictures.

#ifndef TESTS_TERMINAL_WINDOW_SAMPLE_SCREEN_H
#define TESTS_TERMINAL_WINDOW_SAMPLE_SCREEN_H

#include <cmath>
#include <vector>

#include "terminal/window/terminal_window.h"
#include "tests/support/fake_clock.h"
#include "tests/terminal/window/tag_views.h"

const int SamplePeriodMs = 1000;

inline StationReport sampleStation(int station, quint64 good, quint64 noAnswer = 0)
{
    StationReport report;
    report.station = station;
    report.requests = good + noAnswer;
    report.goodReplies = good;
    report.noAnswer = noAnswer;
    report.leastRoundTripUs = good > 0 ? 13400 : -1;
    report.medianRoundTripUs = good > 0 ? 13450 : -1;
    report.greatestRoundTripUs = good > 0 ? 21100 : -1;
    report.failingForMs = noAnswer > 0 ? 9000 : -1;
    return report;
}

inline SessionSummary sampleFigures()
{
    SessionSummary figures;
    figures.tags = 9;
    figures.reads = 10368;
    figures.writes = 12;
    figures.cycleMs = 98.5;
    figures.line.stations = {sampleStation(1, 5184), sampleStation(2, 5101),
                             sampleStation(3, 4022, 31)};
    figures.line.stations[1].checksumErrors = 2;
    figures.line.stations[1].endCodes = 1;
    figures.line.stations[1].lastEndCode = 0x41;
    figures.line.exchanges = 14341;
    figures.line.failed = 34;
    figures.line.busyShare = 0.5;
    figures.line.bytesOut = 745732;
    figures.line.bytesIn = 2753472;
    figures.lastError = "read station id#3 start address 00000020:DMC50 no response";
    return figures;
}

/// Two furnaces that heat up, and one whose station has fallen silent.
inline std::vector<TagView> sampleRound(double second)
{
    const double warm = 1 - std::exp(-second / 40);
    const quint32 first = static_cast<quint32>(250 + 3950 * warm + 40 * std::sin(second / 5));
    const quint32 second2 = static_cast<quint32>(250 + 2750 * warm);
    return {tagView("furnace1.setpoint", "NA20", {4200}),
            tagView("furnace1.temperature", "NA21", {first}),
            tagView("furnace1.output", "NA22", {static_cast<quint32>(1000 - 700 * warm)}),
            tagView("furnace1.step1", "NA1000", {4200, 0, 30, 0}),
            tagView("furnace2.setpoint", "2-NA20", {3000}),
            tagView("furnace2.temperature", "2-NA21", {second2}),
            tagView("furnace2.zone2", "2-PA0000031", {3010}, TagState::Stale, 12300),
            tagView("furnace3.temperature", "3-PA0000021", {3999}, TagState::Failed, 65000),
            tagView("furnace3.recorder", "3-PA0011234", {}, TagState::Waiting)};
}

inline StorageState sampleStick()
{
    StorageState stick;
    stick.mounted = true;
    stick.path = "/run/media/sda1";
    stick.totalBytes = 16008609792U;
    stick.freeBytes = 12345678901U;
    return stick;
}

/// The window with a clock that the test moves.
struct SampleScreen {
    explicit SampleScreen(const std::vector<TagView> &views = sampleRound(0),
                          const QSize &size = QSize(800, 480))
        : window(tagsOf(views), DefaultStation, SamplePeriodMs,
                 [this] { return clock.msecsSinceBoot(); })
    {
        window.resize(size);
        window.show();
    }

    /// Rounds of a session that goes on for that time.
    void run(int seconds)
    {
        for (int i = 0; i < seconds; ++i) {
            clock.advance(SamplePeriodMs);
            window.showRound(sampleRound(second++), sampleFigures());
        }
    }

    FakeClock clock;
    int second = 0;
    TerminalWindow window;
};

#endif // TESTS_TERMINAL_WINDOW_SAMPLE_SCREEN_H
