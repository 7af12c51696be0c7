#include "bench/growth_series.h"

#include <cmath>
#include <cstdio>

#include <QDir>
#include <QFile>
#include <QTextStream>

#include "bench/measurement.h"

void Series::add(int size, double value)
{
    sizes.push_back(size);
    values.push_back(value);
}

double Series::exponent() const
{
    const double count = static_cast<double>(sizes.size());
    double sumX = 0.0;
    double sumY = 0.0;
    double sumXX = 0.0;
    double sumXY = 0.0;
    for (size_t i = 0; i < sizes.size(); ++i) {
        const double x = std::log(sizes[i]);
        const double y = std::log(values[i]);
        sumX += x;
        sumY += y;
        sumXX += x * x;
        sumXY += x * y;
    }
    return (count * sumXY - sumX * sumY) / (count * sumXX - sumX * sumX);
}

void SeriesGroup::print() const
{
    printf("\n%s, by %s\n%10s", qPrintable(valueName), qPrintable(sizeName), "");
    for (const Series &one : series)
        printf("  %22s", qPrintable(one.name));
    printf("\n");
    for (size_t i = 0; i < series.front().sizes.size(); ++i) {
        printf("%10.0f", series.front().sizes[i]);
        for (const Series &one : series)
            printf("  %22.2f", one.values[i]);
        printf("\n");
    }
    printf("%10s", "exponent");
    for (const Series &one : series)
        printf("  %22.2f", one.exponent());
    printf("\n");
}

QJsonObject SeriesGroup::toJson() const
{
    QJsonObject all;
    for (const Series &one : series) {
        QJsonObject figures;
        figures["sizes"] = ::toJson(one.sizes);
        figures["values"] = ::toJson(one.values);
        figures["exponent"] = one.exponent();
        all[one.name] = figures;
    }
    all["size"] = sizeName;
    all["value"] = valueName;
    return all;
}

bool SeriesGroup::writeData(const QString &directory) const
{
    QFile output(QDir(directory).filePath(file + ".data"));
    if (!output.open(QIODevice::WriteOnly)) {
        fprintf(stderr, "cannot write %s: %s\n", qPrintable(output.fileName()),
                qPrintable(output.errorString()));
        return false;
    }
    QTextStream text(&output);
    text << QString("size_name = '%1'\nvalue_name = '%2'\nlast_column = %3\n$data << END\nsize")
                .arg(sizeName, valueName)
                .arg(series.size() + 1);
    for (const Series &one : series)
        text << QString(" \"%1: exponent %2\"").arg(one.name).arg(one.exponent(), 0, 'f', 2);
    text << '\n';
    for (size_t i = 0; i < series.front().sizes.size(); ++i) {
        text << series.front().sizes[i];
        for (const Series &one : series)
            text << ' ' << one.values[i];
        text << '\n';
    }
    text << "END\n";
    return true;
}
