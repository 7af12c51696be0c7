// Built without access control.

#include "fuzz/storage_probe.h"

#include <QBuffer>

#include "common/shell_command.h"
#include "common/x86linuxhmi.h"

/// In place of the library's: whoever fuzzes starts no commands.
bool runShellCommand(const QByteArray &, int, const std::atomic<bool> &)
{
    return true;
}

const std::vector<Device *> &TerminalStorage::devices() const
{
    return m_platform.m_devices;
}

void TerminalStorage::find(const QByteArray &line)
{
    m_platform.addFoundDevice(line);
}

void TerminalStorage::detect(const QByteArray &line)
{
    m_platform.addDetectedDevice(line);
}

void TerminalStorage::add(DeviceType type, const QString &node, const QString &mountPath)
{
    m_platform.addDevice(type, node, mountPath);
}

void TerminalStorage::sample(const QByteArray &statistics)
{
    QBuffer buffer;
    buffer.setData(statistics);
    buffer.open(QIODevice::ReadOnly);
    m_platform.sampleActivities(&buffer);
}

QMap<QString, QString> desktopVolumes(const QByteArray &output)
{
    return X86LinuxHmi::volumesIn(output);
}
