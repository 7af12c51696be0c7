// The storage monitor's platforms, given the texts that they read elsewhere.

#ifndef FUZZ_STORAGE_PROBE_H
#define FUZZ_STORAGE_PROBE_H

#include <vector>

#include <QByteArray>
#include <QMap>
#include <QString>

#include "common/armlinuxhmi.h"

/// The terminal's platform without its shell.
class TerminalStorage
{
public:
    ArmLinuxHmi &platform() { return m_platform; }
    const std::vector<Device *> &devices() const;

    /// One line of `mount` in the first scan, which announces nothing, and in a later one.
    void find(const QByteArray &line);
    void detect(const QByteArray &line);
    void add(DeviceType type, const QString &node, const QString &mountPath);

    /// One sample of the kernel's statistics.
    void sample(const QByteArray &statistics);

private:
    ArmLinuxHmi m_platform;
};

/// The desktop's volumes, mount point to device node, in all that `mount` prints.
QMap<QString, QString> desktopVolumes(const QByteArray &output);

#endif // FUZZ_STORAGE_PROBE_H
