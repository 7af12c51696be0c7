// The line of one transfer.

#ifndef RECIPE_STATION_LINE_H
#define RECIPE_STATION_LINE_H

#include "cpl/passing_link.h"

/// The runtime's link, except that its station stays the same. The runtime sets the link's station
/// for every tag that it reads: a transfer that asked the link itself would take one step from this
/// controller and the next one from another.
class StationLine : public PassingLink
{
public:
    StationLine() : PassingLink(nullptr), m_station(0) {}

    /// \param link  not owned; outlives the use of the line
    void set(AbstractDeviceInterface *link, int station)
    {
        setLink(link);
        m_station = station;
    }

    int stationId() override { return m_station; }

private:
    int m_station;
};

#endif // RECIPE_STATION_LINE_H
