#include "common/zdevice_platform.h"

#include <QProcess>

Device::Device() : type(DeviceUnknown), state(0), fsInfo(), ioCounter(0), inIO(false) {}

const int PlatformInterface::CommandLimitMs;

PlatformInterface::PlatformInterface(QObject *parent)
    : QObject(parent), m_stop_scanning(false), m_command_limit(CommandLimitMs)
{
}

PlatformInterface::~PlatformInterface() = default;

bool PlatformInterface::runCommandDetached(const QString &program, const QStringList &args)
{
    return QProcess::startDetached(program, args);
}

int PlatformInterface::runCommand(const QString &program, const QStringList &args)
{
    return QProcess::execute(program, args);
}

void PlatformInterface::setCommandLimit(int ms)
{
    m_command_limit = ms;
}

void PlatformInterface::stopScanning()
{
    m_stop_scanning = true;
}

bool PlatformInterface::isStopped() const
{
    return m_stop_scanning;
}
