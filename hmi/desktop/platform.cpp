#include "hmi/platform.h"

#include "hmi/desktop/desktop_platform.h"

#include <QtDebug>

#include <atomic>
#include <unistd.h>

namespace
{

const char Bell = '\a';

std::atomic<bool> beepsAreOn(true);

Platform makeDesktopPlatform()
{
    Platform platform;
    platform.type = DesktopPlatformType;
    return platform;
}

} // namespace

Platform *Platform::getInstance()
{
    static Platform platform = makeDesktopPlatform();
    return &platform;
}

bool Platform::isX86HMI() const
{
    return true;
}

void Platform::BuzzerAlarm(int frequency, int duration)
{
    if (frequency < 1 || duration < 0) {
        qDebug("no beep of %d Hz for %d ms", frequency, duration);
        return;
    }
    // A terminal's bell has one tone and one length. Elsewhere the byte would spoil a log.
    if (BuzzerOn() && ::isatty(STDERR_FILENO) == 1) {
        const ssize_t written = ::write(STDERR_FILENO, &Bell, sizeof Bell);
        Q_UNUSED(written);
    }
}

bool Platform::BuzzerOn() const
{
    return beepsAreOn;
}

void Platform::setBuzzerOn(bool on)
{
    beepsAreOn = on;
}
