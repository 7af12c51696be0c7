// The runtime's byte link on a serial port of the desktop.

#ifndef HMI_DESKTOP_SERIAL_LINK_H
#define HMI_DESKTOP_SERIAL_LINK_H

#include "driver/drv_dev_setting.h"
#include "hmi/abstractdeviceinterface.h"

#include <QString>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>

class SerialPort;

/// A line on a serial device: a real port, or the slave side of a pty.
///
/// The project knows a port by its name on the terminal ("COM2"), the desktop by the path of a
/// device; the link is given both and `deviceSetting()->string` stays the project's name.
///
/// A port that vanishes is closed, reported once (one warning on the debug output, `lastError()`)
/// and tried again every `ReopenPauseMs` while the line thread goes on with its requests; it is
/// used, and reported, as soon as it is back. While it is away `writeData` takes no bytes, and
/// `readData` gives none but waits, so that a thread that polls the line never spins.
///
/// Threads: `readData`, `writeData` and `control` belong to the line thread. `open` and `close`
/// may be called by another thread while the line thread is not running. Everything else may be
/// called by any thread at any time.
class SerialLink : public AbstractDeviceInterface
{
public:
    /// Pause between two attempts to open a port that vanished, in milliseconds.
    static const int ReopenPauseMs = 500;

    /// How long the line has to be silent to count as quiet, in milliseconds. Longer than the
    /// 16 ms for which common USB adapters hold bytes back.
    static const int QuietGapMs = 20;

    /// How long `control(DiscardInput)` waits for a quiet line at most, in milliseconds.
    static const int LongestDiscardMs = 200;

    /// \param devicePath     path of the device, for example "/dev/ttyUSB0"; may be a symbolic
    ///                       link, which is followed anew at each attempt to open it. A pty that
    ///                       may vanish needs such a link, which goes with it: its number goes to
    ///                       whoever opens the next one.
    /// \param deviceSetting  baud rate, data bits, stop bits and parity; the codes are those of
    ///                       serial_format.h
    /// \param driverSetting  time-out (also bounds a write), retries, station and delay
    SerialLink(const QString &devicePath, const DeviceSetting &deviceSetting,
               const DriverSetting &driverSetting);
    /// Closes the port.
    ~SerialLink() override;

    SerialLink(const SerialLink &) = delete;
    SerialLink &operator=(const SerialLink &) = delete;

    /// Opens the port for this process alone and forgets an earlier `interrupt`. A port that was
    /// open is closed first.
    /// \param error  where the reason of a failure goes, for the user; may be null
    /// \return false: the settings cannot be used, or the port cannot be opened. The link is
    ///         closed then; it opens a port on its own only after one `open` succeeded.
    bool open(QString *error);

    /// Closes the port; the link stays closed until the next `open`.
    void close();

    /// Makes a `readData` or `writeData` that waits return at once, and all later ones not wait,
    /// until the next `open`. For a host that shuts down: what the line thread does from then on
    /// fails, so figures are to be taken before.
    void interrupt();

    /// Whether the port is open.
    bool isUp() const;

    /// Why the port is not there, in one line that names it; empty while it is.
    QString lastError() const;

    /// Sets what `stationId()` answers. The runtime does so before each read and write of a tag.
    void setStationId(int stationId);

    /// The bytes that are there, else waits until `timeout()` ms after the end of the last
    /// `writeData`; bytes that come do not prolong that. 0 also when the port is away: at the
    /// request's time-out or when the port may be tried again, whichever comes first.
    int readData(char *buffer, int max_size) override;

    /// All bytes, or fewer when the port is away or takes none for `timeout()` ms; what was not
    /// sent by then is dropped. Tries to open a port that vanished, at most once in
    /// `ReopenPauseMs`.
    int writeData(const char *data, int size) override;

    const DeviceSetting *deviceSetting() override;

    /// `DiscardInput` drops what has arrived. After a request that was not answered in time, and
    /// whenever something was there to be dropped, it also waits until the line was silent for
    /// `QuietGapMs` (at most `LongestDiscardMs`), so that a late reply that is still arriving goes
    /// as a whole. The answer is the number of bytes dropped, as an int.
    QVariant control(int code, const QVariant &argument) override;

    int timeout() override;
    int retry() override;
    int stationId() override;
    int delay() override;

private:
    typedef std::chrono::steady_clock::time_point TimePoint;

    QString portName() const;
    bool openPort(QString *reason);
    bool ensurePort();
    void portLost(const QString &reason);
    void setLastError(const QString &text);
    std::chrono::milliseconds patience() const;
    void waitWhileAway();
    int discardUnasked();
    int discardUntilSilent();

    const QString m_device_path;
    const DeviceSetting m_device_setting;
    const DriverSetting m_driver_setting;
    std::atomic<int> m_station_id;
    std::atomic<bool> m_up;

    // The line thread's; open and close touch them while it is not running.
    std::unique_ptr<SerialPort> m_port;
    bool m_wanted;              ///< `open` succeeded and `close` was not called
    TimePoint m_reply_deadline; ///< when the request on the line is out of time
    TimePoint m_next_attempt;   ///< when a port that vanished may be tried again
    int m_wary_frames;          ///< frames before which the line has to be quiet

    mutable std::mutex m_error_mutex;
    QString m_last_error; ///< guarded by `m_error_mutex`
};

#endif // HMI_DESKTOP_SERIAL_LINK_H
