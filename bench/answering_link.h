// A line without a line: every read request is answered at once, in the caller's thread.

#ifndef BENCH_ANSWERING_LINK_H
#define BENCH_ANSWERING_LINK_H

#include <atomic>
#include <string>

#include "driver/drv_dev_setting.h"
#include "hmi/abstractdeviceinterface.h"

/// Answers with the addresses themselves as values.
///
/// Threads: as with every link.
class AnsweringLink : public AbstractDeviceInterface
{
public:
    AnsweringLink();

    void setStationId(int station) { m_station_id = station; }

    /// Waits until so many values more were asked for.
    void waitForValues(int values) const;

    int readData(char *buffer, int max_size) override;
    int writeData(const char *data, int size) override;
    const DeviceSetting *deviceSetting() override { return &m_device_setting; }
    QVariant control(int, const QVariant &) override { return QVariant(); }
    int timeout() override { return 3000; }
    int retry() override { return 0; }
    int stationId() override { return m_station_id; }
    int delay() override { return 0; }

private:
    const DeviceSetting m_device_setting;
    std::atomic<int> m_station_id;
    std::atomic<int> m_values; ///< asked for so far
    std::string m_reply;       ///< the line's
};

#endif // BENCH_ANSWERING_LINK_H
