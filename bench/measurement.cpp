#include "bench/measurement.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include <QFile>
#include <QJsonDocument>
#include <QSysInfo>

#include <unistd.h>

namespace
{

QString processorName()
{
    std::ifstream information("/proc/cpuinfo");
    for (std::string line; std::getline(information, line);) {
        const size_t colon = line.find(": ");
        if (line.compare(0, 10, "model name") == 0 && colon != std::string::npos)
            return QString::fromStdString(line.substr(colon + 2));
    }
    return QSysInfo::currentCpuArchitecture();
}

/// Programs that were ready to run, on the average of the last minute.
double load()
{
    double averages[1] = {0.0};
    return getloadavg(averages, 1) == 1 ? averages[0] : -1.0;
}

QJsonObject machine()
{
    QJsonObject description;
    description["processor"] = processorName();
    description["processors"] = static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN));
    description["system"] =
        QString("%1, %2 %3")
            .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(), QSysInfo::kernelVersion());
    description["compiler"] = "g++ " __VERSION__;
    description["qt"] = qVersion();
    description["load"] = load();
    return description;
}

} // namespace

double median(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2.0;
}

QJsonArray toJson(const std::vector<double> &values)
{
    QJsonArray array;
    for (const double value : values)
        array.append(value);
    return array;
}

void printMachine()
{
    const QJsonObject description = machine();
    printf("%d x %s; %s; %s; Qt %s; load %.2f\n", description["processors"].toInt(),
           qPrintable(description["processor"].toString()),
           qPrintable(description["system"].toString()),
           qPrintable(description["compiler"].toString()), qPrintable(description["qt"].toString()),
           description["load"].toDouble());
}

int finish(bool goal_met, const QString &file, const QString &name, QJsonObject figures)
{
    const int status = goal_met ? Measurement::GoalMet : Measurement::GoalMissed;
    if (file.isEmpty())
        return status;
    figures["measurement"] = name;
    figures["machine"] = machine();
    const QByteArray text = QJsonDocument(figures).toJson();
    QFile output(file);
    if (output.open(QIODevice::WriteOnly) && output.write(text) == text.size() && output.flush())
        return status;
    fprintf(stderr, "cannot write %s: %s\n", qPrintable(file), qPrintable(output.errorString()));
    return Measurement::Failed;
}

bool readNumber(const QString &text, int least, int greatest, const char *option, int *number)
{
    bool ok = false;
    *number = text.toInt(&ok);
    if (ok && *number >= least && *number <= greatest)
        return true;
    fprintf(stderr, "%s takes a number from %d to %d\n", option, least, greatest);
    return false;
}
