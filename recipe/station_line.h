// The line of one transfer.

#ifndef RECIPE_STATION_LINE_H
#define RECIPE_STATION_LINE_H

#include "hmi/abstractdeviceinterface.h"

/// The runtime's link, except that its station stays the same. The runtime sets the link's station
/// for every tag that it reads: a transfer that asked the link itself would take one step from this
/// controller and the next one from another.
class StationLine : public AbstractDeviceInterface
{
public:
    StationLine() : m_link(nullptr), m_station(0) {}

    /// \param link  not owned; outlives the use of the line
    void set(AbstractDeviceInterface *link, int station)
    {
        m_link = link;
        m_station = station;
    }

    int readData(char *buffer, int max_size) override { return m_link->readData(buffer, max_size); }
    int writeData(const char *data, int size) override { return m_link->writeData(data, size); }
    const DeviceSetting *deviceSetting() override { return m_link->deviceSetting(); }
    QVariant control(int code, const QVariant &argument) override
    {
        return m_link->control(code, argument);
    }
    int timeout() override { return m_link->timeout(); }
    int retry() override { return m_link->retry(); }
    int stationId() override { return m_station; }
    int delay() override { return m_link->delay(); }

private:
    AbstractDeviceInterface *m_link;
    int m_station;
};

#endif // RECIPE_STATION_LINE_H
