// The runtime's byte link: one serial port as a driver sees it.

#ifndef HMI_ABSTRACTDEVICEINTERFACE_H
#define HMI_ABSTRACTDEVICEINTERFACE_H

#include <QVariant>

class DeviceSetting;

/// One line to a group of controllers, owned by the runtime.
///
/// The runtime creates a link, hands it to the driver's operations and deletes it after the driver.
/// A driver never creates, deletes or keeps a link beyond its own life. The order of the operations
/// is part of the binary contract: a driver and a runtime that were built apart call each other
/// through the virtual table.
///
/// Threads: `readData`, `writeData` and `control` are called by one thread at a time, the thread
/// that owns the line. The other operations only report settings; they may be called by any thread
/// at any time and must answer without waiting for the line.
class AbstractDeviceInterface
{
public:
    virtual ~AbstractDeviceInterface() {}

    /// Takes received bytes. Returns as soon as at least one byte is there, and waits for it at
    /// most until `timeout()` milliseconds have passed since the last `writeData`.
    /// \param buffer    where the bytes go; not zero-terminated
    /// \param max_size  room in the buffer in bytes, above 0
    /// \return the number of bytes placed in the buffer (1 to max_size); 0 or less: nothing came
    ///         in time, or the line is down
    virtual int readData(char *buffer, int max_size) = 0;

    /// Sends the bytes of one frame.
    /// \return the number of bytes handed to the line; below `size`: the line is down
    virtual int writeData(const char *data, int size) = 0;

    /// How the line is wired. Never null; the link owns the object.
    virtual const DeviceSetting *deviceSetting() = 0;

    /// Runs a service of the link. Code `DiscardInput` (12), called with a `QVariant` that holds
    /// the integer 0 just before each frame, makes the link forget bytes that arrived unasked.
    /// \return what the service defines; an invalid `QVariant` from a link that lacks the service
    virtual QVariant control(int code, const QVariant &argument) = 0;

    /// Time-out of one response in milliseconds.
    virtual int timeout() = 0;

    /// How many further attempts a failed operation gets.
    virtual int retry() = 0;

    /// The station that addresses without a station prefix go to, in the low byte. The runtime sets
    /// it before each `read` or `write`.
    virtual int stationId() = 0;

    /// Pause before each frame in milliseconds.
    virtual int delay() = 0;

    /// Codes of `control`.
    enum ControlCode { DiscardInput = 12 };
};

#endif // HMI_ABSTRACTDEVICEINTERFACE_H
