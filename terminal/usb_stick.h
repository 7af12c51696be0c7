// A directory in the role of a USB stick.

#ifndef TERMINAL_USB_STICK_H
#define TERMINAL_USB_STICK_H

#include <QString>

/// Mounts a directory where the storage monitor looks for sticks, for this process and its children
/// only: in a mount namespace of its own, which needs no rights. Over `/media` there is then
/// nothing but the stick. To be called before there are threads.
/// \return empty, or why not, in one line
QString mountAsUsbStick(const QString &directory);

#endif // TERMINAL_USB_STICK_H
