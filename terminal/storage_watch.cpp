#include "terminal/storage_watch.h"

#include "common/zdevice.h"

namespace
{

const int FreeSpaceMs = 1000;

DeviceType typeOf(StorageKind kind)
{
    return kind == StorageKind::UsbStick ? DeviceUsb : DeviceSdCard;
}

bool isSame(const StorageState &a, const StorageState &b)
{
    return a.mounted == b.mounted && a.busy == b.busy && a.path == b.path &&
           a.freeBytes == b.freeBytes && a.totalBytes == b.totalBytes;
}

} // namespace

StorageWatch::StorageWatch(const Changed &changed)
    : m_changed(changed), m_states{{StorageKind::UsbStick, StorageState()},
                                   {StorageKind::SdCard, StorageState()}}
{
    ZDevice *const monitor = ZDevice::getInstance();
    connect(monitor, SIGNAL(deviceMounted(int, int, bool)), SLOT(look()));
    connect(monitor, SIGNAL(deviceInIO(int, int, bool)), SLOT(noteActivity(int, int, bool)));
    connect(&m_timer, SIGNAL(timeout()), SLOT(look()));
    m_timer.start(FreeSpaceMs);
    look();
}

StorageWatch::~StorageWatch()
{
    ZDevice::dropInstance();
}

void StorageWatch::look()
{
    look(StorageKind::UsbStick);
    look(StorageKind::SdCard);
}

void StorageWatch::noteActivity(int type, int index, bool busy)
{
    Q_UNUSED(index)
    m_busy[type] = busy;
    look();
}

void StorageWatch::look(StorageKind kind)
{
    ZDevice *const monitor = ZDevice::getInstance();
    const DeviceType type = typeOf(kind);
    StorageState state;
    state.path = monitor->getMount(type);
    state.mounted = !state.path.isEmpty();
    if (state.mounted) {
        state.busy = m_busy.value(type);
        state.freeBytes = monitor->getFreeSpace(type);
        state.totalBytes = monitor->getTotalSpace(type);
    } else {
        m_busy[type] = false; // what was pulled in the middle is not busy when it comes back
    }
    if (isSame(state, m_states[kind]))
        return;
    m_states[kind] = state;
    m_changed(kind, state);
}
