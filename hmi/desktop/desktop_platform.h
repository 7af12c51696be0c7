// What the desktop adds to the host platform that a driver sees.

#ifndef HMI_DESKTOP_DESKTOP_PLATFORM_H
#define HMI_DESKTOP_DESKTOP_PLATFORM_H

/// `Platform::type` on the desktop. Panels have numbers of their own; 4 is one that leaves its
/// sounds to the host, as the desktop does.
const int DesktopPlatformType = 1;

#endif // HMI_DESKTOP_DESKTOP_PLATFORM_H
