// Simulated controllers at the real line's pace, and the serial link to them.

#ifndef BENCH_PACED_LINE_H
#define BENCH_PACED_LINE_H

#include <memory>

#include <QString>

#include "hmi/desktop/serial_link.h"
#include "simulator/simulator.h"

class PacedLine
{
public:
    static const int Baud = 38400;
    static const int BitsPerByte = 11; ///< start, 8 data, parity and stop

    /// Starts the stations 1 to `stations` and opens the link, which asks for station 1.
    /// \param delayMs  the link's pause before each frame
    /// \return false, with the reason: there is no line
    bool start(int stations, int delayMs, QString *error);

    SerialLink *link() { return m_link.get(); }

    /// Milliseconds that so many bytes take.
    static double msOf(double bytes) { return bytes * BitsPerByte * 1000.0 / Baud; }

private:
    std::unique_ptr<Simulator> m_simulator;
    std::unique_ptr<SerialLink> m_link;
};

#endif // BENCH_PACED_LINE_H
