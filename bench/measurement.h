// What the measurements share: figures, the machine they were taken on, and where they go.

#ifndef BENCH_MEASUREMENT_H
#define BENCH_MEASUREMENT_H

#include <vector>

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

/// The middle one, or the mean of the middle two; 0 when there is none.
double median(std::vector<double> values);

/// The figures as JSON.
QJsonArray toJson(const std::vector<double> &values);

/// Prints what the figures depend on, in one line: processor, system, compiler, and how busy the
/// machine is at the moment.
void printMachine();

/// How a measurement ends: the status of its program.
namespace Measurement
{
enum { GoalMet = 0, GoalMissed = 1, WrongUsage = 2, Failed = 3 };
}

/// Writes the figures, with the measurement's name and the machine.
/// \param file  where to; empty: nowhere, which is no failure
/// \return the program's status; `Failed`, after saying so on standard error, when the file cannot
///         be written
int finish(bool goal_met, const QString &file, const QString &name, QJsonObject figures);

/// A number that a command line gave.
/// \return false, after saying so on standard error: it is no number from `least` to `greatest`
bool readNumber(const QString &text, int least, int greatest, const char *option, int *number);

#endif // BENCH_MEASUREMENT_H
