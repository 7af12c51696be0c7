// What the desktop adds to the host platform that a driver sees.

#ifndef HMI_DESKTOP_DESKTOP_PLATFORM_H
#define HMI_DESKTOP_DESKTOP_PLATFORM_H

#include <functional>

/// `Platform::type` on the desktop. Panels have numbers of their own; 4 is one that leaves its
/// sounds to the host, as the desktop does.
const int DesktopPlatformType = 1;

/// `Platform::type` of the panel that the desktop plays. Such a panel sounds its beeps itself.
const int PanelPlatformType = 2;

/// Makes the desktop play a panel, or be a desktop again: what `Platform::isX86HMI` answers, and
/// the type. A driver and its services ask once and keep to the answer, so this comes before they
/// are loaded or created. Not while another thread uses the platform.
void setPlatformIsPanel(bool panel);

/// Hears a beep. Frequency in hertz, 1 or more; duration in milliseconds, 0 or more.
typedef std::function<void(int frequency, int duration)> BeepListener;

/// Sends the beeps of `Platform::BuzzerAlarm` to a listener in place of the bell on standard error;
/// a null one restores the bell. Beeps that are switched off, and beeps that cannot be, reach
/// nobody.
///
/// The listener is called on the thread that beeps, one beep at a time, and the beeping thread
/// waits for it: it should only pass the beep on. It may beep itself, and set or remove a listener;
/// it must not wait for a thread that does so.
///
/// May be called from any thread. When it returns, the listener from before is not running and is
/// not called any more, except where it is the caller itself.
void setBeepListener(const BeepListener &listener);

#endif // HMI_DESKTOP_DESKTOP_PLATFORM_H
