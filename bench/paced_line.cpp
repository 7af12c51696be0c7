#include "bench/paced_line.h"

#include <string>

#include "tests/support/plain_link.h"

const int PacedLine::Baud;
const int PacedLine::BitsPerByte;

bool PacedLine::start(int stations, int delayMs, QString *error)
{
    SimulatorOptions options;
    options.stations.clear();
    for (int station = 1; station <= stations; ++station)
        options.stations.push_back(station);
    options.baud = Baud;
    m_simulator.reset(new Simulator(options));
    std::string reason;
    if (!m_simulator->start(&reason)) {
        *error = QString::fromStdString(reason);
        return false;
    }
    const int timeoutMs = 9000;
    m_link.reset(new SerialLink(QString::fromStdString(m_simulator->portName()), usualWiring(Baud),
                                DriverSetting(timeoutMs, 0, 1, delayMs)));
    return m_link->open(error);
}
