// Program transfers, as the runtime starts and watches them: through the driver's virtual tags.

#ifndef TERMINAL_PROGRAM_TAGS_H
#define TERMINAL_PROGRAM_TAGS_H

#include <array>
#include <functional>
#include <mutex>

#include <QByteArray>
#include <QList>
#include <QString>

#include "hmi/driverinterface.h"
#include "terminal/session.h"

/// The direction of a transfer; its number is the last character of the transfer's tags.
enum class TransferKind {
    Import = 0, ///< from the stick to a controller
    Export = 1  ///< from a controller to the stick
};

/// A transfer as its tags show it.
struct TransferView {
    bool running = false;
    bool failed = false; ///< stays until it is acknowledged
    int percent = 0;     ///< 0 to 100
};

/// Both transfers.
class TransferViews
{
public:
    TransferView &of(TransferKind kind) { return m_views[static_cast<size_t>(kind)]; }
    const TransferView &of(TransferKind kind) const { return m_views[static_cast<size_t>(kind)]; }

private:
    std::array<TransferView, 2> m_views;
};

/// What a transfer needs to know.
struct TransferRequest {
    TransferKind kind = TransferKind::Export;
    int program = 0; ///< number in the file's name; -1: an export of the template
    int steps = 0;   ///< 0 to 32
    int station = 0; ///< 1 to 255
};

/// Serves the virtual tags of one driver.
class ProgramTags
{
public:
    /// Called on the communication thread whenever the tags were read.
    typedef std::function<void(const TransferViews &)> Seen;

    /// \param driver  not owned, as in a session
    /// \param line    whose link and station the tags are read and written with
    ProgramTags(DriverInterface *driver, const SessionLine &line, Seen seen);

    // For any thread.

    /// Asks for a transfer; the next `serve` starts it.
    void start(const TransferRequest &request);
    /// Takes notice of a transfer's failure.
    void acknowledge(TransferKind kind);

    /// Writes what was asked for and reads the tags; the communication thread, every now and then.
    void serve();

private:
    /// A write of a tag that waits for its turn.
    struct Write {
        QString tag;
        int type;
        QByteArray data;
        int station;
    };

    void queue(const QString &tag, int type, qint32 value, int station);
    bool takeWrite(Write *write);
    void send(const Write &write);
    int read(const QString &tag, int type);
    TransferView readTransfer(TransferKind kind);

    DriverInterface *const m_driver;
    const SessionLine m_line;
    const Seen m_seen;
    std::mutex m_mutex;    ///< guards what follows
    QList<Write> m_writes; ///< not sent yet
};

#endif // TERMINAL_PROGRAM_TAGS_H
