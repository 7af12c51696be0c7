// Figures that grow with a size, and how they grow.

#ifndef BENCH_GROWTH_SERIES_H
#define BENCH_GROWTH_SERIES_H

#include <vector>

#include <QJsonObject>
#include <QString>

/// One figure at several sizes.
struct Series {
    explicit Series(const QString &seriesName) : name(seriesName) {}

    void add(int size, double value);

    /// The exponent e of value = c x size^e, fitted by least squares to the logarithms. All values
    /// are above 0, at least two sizes differ.
    double exponent() const;

    QString name;
    std::vector<double> sizes;
    std::vector<double> values;
};

/// Series over the same sizes, for one plot.
struct SeriesGroup {
    QString file;      ///< the plot's, without a suffix
    QString sizeName;  ///< what grows
    QString valueName; ///< what it costs, with the unit
    std::vector<Series> series;

    void print() const;
    QJsonObject toJson() const;

    /// Writes `file`.data into a directory, for growth.gp: the names, a column of the sizes and one
    /// for each series, whose heading tells its exponent.
    /// \return false, after saying so on standard error: it cannot be written
    bool writeData(const QString &directory) const;
};

#endif // BENCH_GROWTH_SERIES_H
