// A line without a line: every read request is answered at once, in the caller's thread.

#ifndef BENCH_ANSWERING_LINK_H
#define BENCH_ANSWERING_LINK_H

#include <atomic>
#include <string>

#include "tests/support/plain_link.h"

/// Answers with the addresses themselves as values.
///
/// Threads: as with every link.
class AnsweringLink : public PlainLink
{
public:
    AnsweringLink() : m_station_id(1), m_values(0) {}

    void setStationId(int station) { m_station_id = station; }

    /// Waits until so many values more were asked for.
    void waitForValues(int values) const;

    int readData(char *buffer, int max_size) override;
    int writeData(const char *data, int size) override;
    int stationId() override { return m_station_id; }

private:
    std::atomic<int> m_station_id;
    std::atomic<int> m_values; ///< asked for so far
    std::string m_reply;       ///< the line's
};

#endif // BENCH_ANSWERING_LINK_H
