// A line of simulated controllers without port, thread and real time.

#ifndef BENCH_SOAK_VIRTUAL_LINE_H
#define BENCH_SOAK_VIRTUAL_LINE_H

#include <cstdint>
#include <deque>
#include <random>
#include <string>
#include <vector>

#include "bench/soak/virtual_clock.h"
#include "driver/drv_dev_setting.h"
#include "hmi/abstractdeviceinterface.h"
#include "simulator/line.h"

/// The runtime's byte link as it is with controllers that misbehave. Bytes take no time, but a
/// reply may be late, and silence lasts to the time-out; both move the clock on. Replies come in
/// pieces of random length.
///
/// As a real link, it forgets unasked bytes before each frame, and after a time-out or unasked
/// bytes it waits for `QuietGapMs` of silence first, so that a reply which comes that late goes.
///
/// `readData`, `writeData`, `control` and `line` are for the line's thread.
class VirtualLine : public AbstractDeviceInterface
{
public:
    static const int TimeoutMs = 3000; ///< the least that the driver knows
    static const int QuietGapMs = 20;

    /// \param stations  numbers, 1 to 255
    /// \param clock     not owned
    VirtualLine(const std::vector<int> &stations, uint32_t seed, int retries, VirtualClock *clock);

    Line &line() { return m_line; }

    /// Whether a babble drowned the last request.
    bool lastRequestWasDrowned() const { return m_drowned; }

    /// Whether a fault made something else of the answer to the last request.
    bool lastAnswerWasSpoiled() const { return m_spoiled; }

    int readData(char *buffer, int max_size) override;
    int writeData(const char *data, int size) override;
    const DeviceSetting *deviceSetting() override { return &m_setting; }
    QVariant control(int code, const QVariant &argument) override;
    int timeout() override { return TimeoutMs; }
    int retry() override { return m_retries; }
    int stationId() override { return 1; }
    int delay() override { return 0; }

private:
    struct Arrival {
        qint64 at; ///< ms of the clock
        std::string bytes;
    };

    bool awaitArrival(qint64 deadline);
    int babble(char *buffer, int max_size);
    int takePiece(char *buffer, int max_size);
    void dropArrived();

    VirtualClock *m_clock;
    Line m_line;
    std::mt19937 m_random;
    DeviceSetting m_setting;
    int m_retries;
    std::deque<Arrival> m_arrivals; ///< in the order in which they come
    qint64 m_deadline;              ///< of the reply that is waited for
    qint64 m_babble_end;
    bool m_drowned;
    bool m_spoiled;
    int m_wary_frames; ///< frames before which the line has to be quiet
};

#endif // BENCH_SOAK_VIRTUAL_LINE_H
