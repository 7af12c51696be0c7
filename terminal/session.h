// What the runtime does with a driver: announce tags, read them in turn, write.

#ifndef TERMINAL_SESSION_H
#define TERMINAL_SESSION_H

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

#include <QByteArray>
#include <QList>
#include <QString>

#include "hmi/driverinterface.h"
#include "terminal/session_link.h"
#include "terminal/tag.h"

/// What is to be thought of a tag's value.
enum class TagState {
    Waiting, ///< its station has not answered yet
    Ok,
    Stale, ///< the last answer that carried it is too old to be taken for live
    Failed ///< the station does not answer, or the driver gave nothing
};

/// "waiting", "ok", "stale", "failed".
const char *tagStateName(TagState state);

/// A tag as it was last seen.
struct TagView {
    Tag tag;
    int station = 0; ///< of the prefix, or the default station
    TagState state = TagState::Waiting;
    QList<quint32> items;   ///< empty before the first value
    qint64 ageMs = -1;      ///< since the station sent the oldest part of it; -1: never
    qint64 receivedAt = -1; ///< when that was, by the line's clock; -1: never
};

/// A value to be written once.
struct TagWrite {
    Tag tag;
    QByteArray data;
};

/// What a session needs to know of its line.
struct SessionLine {
    SessionLink *link = nullptr;                    ///< handed to the driver
    std::function<void(int station)> selectStation; ///< before each read or write
    std::function<qint64(int, quint32)> ageOf;      ///< ms since a good read; -1: never
    std::function<bool(int station)> stationFails;  ///< its last exchange went wrong
    std::function<qint64()> nowMs;                  ///< any origin; the steady clock when empty
    std::function<void()> aside; ///< what else the communication thread does, between two rounds
    int defaultStation = 1;
};

/// Reads tags in turn on the thread that calls `run`, the communication thread.
///
/// A tag is read once its station has answered for it, so that one silent station does not hold up
/// the others: a read of a value that has never been polled waits for the whole time-out. While an
/// error stands no tag is read: the driver would keep the reader until it has gone, and nobody
/// would see the tags grow old. Only an error that comes between that check and the call still does
/// so.
class Session
{
public:
    /// Called on the communication thread after each round.
    typedef std::function<void(const std::vector<TagView> &)> RoundDone;

    /// A value is stale when it is older than the longer of these: a time, and so many times the
    /// shortest polling cycle seen.
    enum { StaleAfterMs = 5000, StaleAfterCycles = 3 };

    /// \param driver  not owned; may be destroyed by another thread after `SessionLink::closeCalls`
    Session(DriverInterface *driver, const SessionLine &line, const QList<Tag> &tags,
            const QList<TagWrite> &writes, int periodMs, RoundDone roundDone);

    /// Announces the tags and reads them until `stop`.
    /// \return false: the driver cannot be started; `lastError` says why
    bool run();

    /// Makes `run` return after the call of the driver that is under way. Any thread.
    void stop();

    // For any thread, at any time.
    quint64 reads() const { return m_reads; }
    quint64 writesDone() const { return m_writes_done; }
    quint64 writesRefused() const { return m_writes_refused; }
    /// The driver's last error; stays when the error has gone.
    QString lastError() const;

    /// Writes that were never sent; once `run` has returned.
    int writesLeft() const { return m_writes.size(); }

private:
    bool stopRequested() const;
    bool start();
    bool announce();
    void observe(TagView *view);
    void read(TagView *view);
    void takeData(TagView *view, const QByteArray &data);
    void judgeAge(TagView *view) const;
    qint64 oldestAge(const TagView &view) const;
    bool isStale(qint64 ageMs) const;
    void sendWrites();
    enum class WriteResult { Done, Refused, Later };
    WriteResult send(const TagWrite &write);
    bool canWrite(const TagWrite &write) const;
    void rest();
    bool noteError();

    DriverInterface *m_driver;
    SessionLine m_line;
    std::vector<TagView> m_views;
    QList<TagWrite> m_writes; ///< not sent yet
    int m_period_ms;
    RoundDone m_round_done;
    std::atomic<quint64> m_reads;
    std::atomic<quint64> m_writes_done;
    std::atomic<quint64> m_writes_refused;
    mutable std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_stop_requested;
    bool m_stop;
    QString m_last_error;
};

#endif // TERMINAL_SESSION_H
