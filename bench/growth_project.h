// A project of any size, for the measurements.

#ifndef BENCH_GROWTH_PROJECT_H
#define BENCH_GROWTH_PROJECT_H

#include <QList>
#include <QString>
#include <QStringList>

#include "driver/dmc50_share.h"
#include "driver/drv_dev_setting.h"

/// Tags of single double words at eight stations: NA and PA texts, with and without the prefix of a
/// station. Those without are the default station's.
class GrowthProject
{
public:
    static const int Stations = 8;
    static const int DefaultStation = 1;
    static const int LinkId = 5;

    /// Where the driver looks for the project: beside the running program.
    static QString databaseFile();

    /// Where a tag stands: its station, and its address as a text without prefix.
    static int stationOf(int tag) { return tag % Stations + 1; }
    static ulong addressOf(int tag);
    static QString textOf(int tag);
    /// The text as the project has it.
    static QString projectTextOf(int tag);
    /// What the runtime hands to the driver for such a text.
    static CommunicatorCommand accessTo(const QString &text);

    /// Writes the database of a project with so many tags in the place of the last one. Ends the
    /// program when it cannot.
    static void write(int tags);
    /// Removes it and its directories.
    static void remove();

    /// The table of such a project.
    static AddressVectorMap table(int tags);
};

#endif // BENCH_GROWTH_PROJECT_H
