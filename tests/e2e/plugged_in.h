// The plug-in as the runtime has it: loaded, on a serial link, with simulated controllers behind.

#ifndef TESTS_E2E_PLUGGED_IN_H
#define TESTS_E2E_PLUGGED_IN_H

#include <functional>
#include <memory>
#include <string>

#include <QLibrary>
#include <QStringList>

#include "hmi/desktop/line_monitor.h"
#include "hmi/desktop/serial_link.h"
#include "hmi/driverinterface.h"
#include "simulator/simulator.h"

/// A line with two stations, and the plug-in on it. Bytes take no time unless told otherwise; the
/// time-out is 3000 ms, the least that the driver knows, and a failed request is not repeated.
///
/// The project defines the same `WordCount` addresses at both stations. Every word has a value of
/// its own, so that a value at the wrong place is seen.
class PluggedIn
{
public:
    enum : quint32 { FirstWord = 0x5000, WordCount = 8, LastWord = FirstWord + WordCount - 1 };
    enum : int { SoundStation = 1, FaultyStation = 2 };

    /// Makes the project and starts the simulator and the driver; ends the test on failure.
    /// \param moreTags  of the project
    /// \param baud      bits per second of the line; 0: bytes take no time
    explicit PluggedIn(const QStringList &moreTags = QStringList(), int baud = 0);
    ~PluggedIn();

    /// The value of a word in a generation; all words begin in generation 0.
    static quint32 value(int station, quint32 address, quint32 generation);

    /// Gives all words of a station the values of a generation.
    void setGeneration(int station, quint32 generation);

    /// Announces all words of a station, or of both.
    void announce(int station);
    void announceAll();

    /// Reads one word as the runtime does; false when the driver gave nothing.
    bool read(int station, quint32 address, quint32 *value);
    int write(int station, quint32 address, quint32 value);

    /// Reads all words of a station. \return whether each has its value in the generation
    bool allRead(int station, quint32 generation);

    /// Read and write a tag of the driver's own. \return its first four bytes as a number, -1 for
    /// nothing
    int readTag(const QString &name);
    void writeTag(const QString &name, int value);

    void addFault(const std::string &fault);

    DriverInterface &driver() { return *m_driver; }
    Simulator &simulator() { return *m_simulator; }
    LineMonitor &monitor() { return *m_monitor; }

    /// Ends the driver while its line goes on.
    void destroyDriver() { m_driver.reset(); }

private:
    std::unique_ptr<Simulator> m_simulator;
    std::unique_ptr<SerialLink> m_serial;
    std::unique_ptr<LineMonitor> m_monitor;
    QLibrary m_plugin;
    std::unique_ptr<DriverInterface> m_driver;
};

/// Tries a condition every millisecond.
/// \return whether it came true in time
bool comesTrue(const std::function<bool()> &condition, int withinMs = 30000);

#endif // TESTS_E2E_PLUGGED_IN_H
