#include "hmi/platform.h"

#include "hmi/desktop/desktop_platform.h"

#include <QtDebug>

#include <atomic>
#include <memory>
#include <mutex>
#include <unistd.h>

namespace
{

const char Bell = '\a';

std::atomic<bool> beepsAreOn(true);
std::atomic<bool> playsPanel(false);

/// Who hears beeps in place of the bell.
struct Audience {
    std::recursive_mutex mutex; ///< held while a beep is heard; the listener may come back
    std::shared_ptr<const BeepListener> listener; ///< null: nobody; guarded by mutex
};

/// Never deleted: a driver that was left running may beep while the process ends.
Audience &audience()
{
    static Audience *const only = new Audience;
    return *only;
}

Platform makeDesktopPlatform()
{
    Platform platform;
    platform.type = DesktopPlatformType;
    return platform;
}

bool heardByListener(int frequency, int duration)
{
    Audience &hearers = audience();
    const std::lock_guard<std::recursive_mutex> lock(hearers.mutex);
    // A copy, because the listener may remove itself.
    const std::shared_ptr<const BeepListener> listener = hearers.listener;
    if (listener)
        (*listener)(frequency, duration);
    return listener != nullptr;
}

void ringBell()
{
    // A terminal's bell has one tone and one length. Elsewhere the byte would spoil a log.
    if (::isatty(STDERR_FILENO) == 1) {
        const ssize_t written = ::write(STDERR_FILENO, &Bell, sizeof Bell);
        Q_UNUSED(written);
    }
}

} // namespace

void setPlatformIsPanel(bool panel)
{
    playsPanel = panel;
    Platform::getInstance()->type = panel ? PanelPlatformType : DesktopPlatformType;
}

void setBeepListener(const BeepListener &listener)
{
    std::shared_ptr<const BeepListener> next;
    if (listener)
        next = std::make_shared<const BeepListener>(listener);
    Audience &hearers = audience();
    const std::lock_guard<std::recursive_mutex> lock(hearers.mutex);
    hearers.listener.swap(next);
}

Platform *Platform::getInstance()
{
    static Platform platform = makeDesktopPlatform();
    return &platform;
}

bool Platform::isX86HMI() const
{
    return !playsPanel;
}

void Platform::BuzzerAlarm(int frequency, int duration)
{
    if (frequency < 1 || duration < 0) {
        qDebug("no beep of %d Hz for %d ms", frequency, duration);
        return;
    }
    if (BuzzerOn() && !heardByListener(frequency, duration))
        ringBell();
}

bool Platform::BuzzerOn() const
{
    return beepsAreOn;
}

void Platform::setBuzzerOn(bool on)
{
    beepsAreOn = on;
}
