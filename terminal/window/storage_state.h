// What the terminal's screen shows of a storage device.

#ifndef TERMINAL_WINDOW_STORAGE_STATE_H
#define TERMINAL_WINDOW_STORAGE_STATE_H

#include <QString>

enum class StorageKind { UsbStick, SdCard };

/// A USB stick or a memory card.
struct StorageState {
    bool mounted = false;
    bool busy = false; ///< being read or written: not to be pulled
    QString path;      ///< where it is mounted; any text, as the system gives it
    quint64 freeBytes = 0;
    quint64 totalBytes = 0; ///< 0: not known
};

#endif // TERMINAL_WINDOW_STORAGE_STATE_H
