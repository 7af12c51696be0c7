#include "common/zdevice.h"

#include "hmi/platform.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <QVariant>

namespace
{

const ulong SamplePeriodMs = 1000;
const quint32 SamplesPerScan = 2; ///< every how many samples volumes are looked for

/// How long the end of the thread is waited for. It sleeps for a second, and ends in a moment
/// unless a file system holds it.
const ulong StopLimitMs = 1500;

const char PropertyName[] = "ZDevice";

enum PlatformNumber { PanelPlatform = 1, X86Platform = 2 };

int hostPlatformNumber()
{
    return Platform::getInstance()->isX86HMI() ? X86Platform : PanelPlatform;
}

bool isMainThread()
{
    return QCoreApplication::instance() == nullptr ||
           QCoreApplication::instance()->thread() == QThread::currentThread();
}

/// Shows the host where the monitor is; nowhere when null.
void publish(ZDevice *device)
{
    if (QCoreApplication::instance() != nullptr) {
        QCoreApplication::instance()->setProperty(PropertyName, QVariant::fromValue(device));
    }
}

} // namespace

std::atomic<ZDevice *> ZDevice::m_instance(nullptr);
std::atomic<bool> ZDevice::m_dropped(false);

ZDevice *ZDevice::getInstance()
{
    if (m_dropped && isMainThread()) {
        discard(m_instance);
        m_instance = nullptr;
        m_dropped = false;
    }
    if (m_instance == nullptr) {
        m_instance = new ZDevice(createPlatform(hostPlatformNumber()), Clock::system());
        publish(m_instance);
        m_instance.load()->start(QThread::LowestPriority);
    }
    return m_instance;
}

void ZDevice::dropInstance()
{
    if (m_instance != nullptr && !m_dropped) {
        m_dropped = true;
        publish(nullptr);
        m_instance.load()->stopRunning();
    }
}

/// Deletes a stopped monitor: now, or when the thread that a file system holds has ended.
void ZDevice::discard(ZDevice *device)
{
    connect(device, SIGNAL(finished()), device, SLOT(deleteLater()));
    if (device->isFinished()) {
        delete device;
    }
}

PlatformInterface *ZDevice::createPlatform(int number)
{
    switch (number) {
    case X86Platform:
        return new X86LinuxHmi;
    case PanelPlatform:
    default:
        return new ArmLinuxHmi;
    }
}

ZDevice::ZDevice(PlatformInterface *platform, Clock *clock)
    : m_clock(clock), m_stop_flag(false), m_platform(platform), m_scanned(platform)
{
    if (platform == nullptr) {
        return;
    }
    // Relayed in the scanning thread: whether a receiver's thread is another one is seen there.
    connect(platform, SIGNAL(platDeviceMounted(int, int, bool)), this,
            SIGNAL(deviceMounted(int, int, bool)), Qt::DirectConnection);
    connect(platform, SIGNAL(platDeviceInIO(int, int, bool)), this,
            SIGNAL(deviceInIO(int, int, bool)), Qt::DirectConnection);
    platform->checkGlobalMountStatus();
    platform->processDeviceMountStatus();
}

ZDevice::~ZDevice()
{
    stopRunning();
    wait();
    delete m_scanned;
}

void ZDevice::stopRunning()
{
    m_stop_flag = true;
    if (forgetPlatform()) {
        m_scanned->disconnect(this);
        m_scanned->stopScanning();
    }
    if (wait(StopLimitMs)) {
        delete m_scanned;
        m_scanned = nullptr;
    }
}

/// From now on nobody gets an answer. \return whether there was a platform until now
bool ZDevice::forgetPlatform()
{
    const QMutexLocker locker(&m_platform_mutex);
    const bool was_there = m_platform != nullptr;
    m_platform = nullptr;
    return was_there;
}

void ZDevice::run()
{
    if (m_scanned == nullptr || m_stop_flag) {
        return;
    }
    for (quint32 sample = 1;; ++sample) {
        m_scanned->processIOStatus();
        m_clock->sleep(SamplePeriodMs);
        if (m_stop_flag) {
            return;
        }
        if (sample % SamplesPerScan == 0) {
            m_scanned->processDeviceMountStatus();
            m_scanned->processDeviceSpaceStatus();
        }
        if (m_stop_flag) {
            return;
        }
    }
}

QString ZDevice::getMount(DeviceType type)
{
    const QMutexLocker locker(&m_platform_mutex);
    return m_platform != nullptr ? m_platform->getMount(type) : QString();
}

QString ZDevice::getMount(int type)
{
    return getMount(static_cast<DeviceType>(type));
}

quint64 ZDevice::getTotalSpace(DeviceType type)
{
    const QMutexLocker locker(&m_platform_mutex);
    return m_platform != nullptr ? m_platform->getTotalSpace(type) : 0;
}

quint64 ZDevice::getFreeSpace(DeviceType type)
{
    const QMutexLocker locker(&m_platform_mutex);
    return m_platform != nullptr ? m_platform->getFreeSpace(type) : 0;
}
