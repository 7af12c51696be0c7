// The terminal's storage, followed for whoever shows it.

#ifndef TERMINAL_STORAGE_WATCH_H
#define TERMINAL_STORAGE_WATCH_H

#include <functional>

#include <QMap>
#include <QObject>
#include <QTimer>

#include "terminal/window/storage_state.h"

/// Tells of every change of the USB stick and the memory card, those that are there at the start
/// included. Starts the storage monitor, and stops it at its own end. To be used by the main
/// thread.
class StorageWatch : public QObject
{
    Q_OBJECT

public:
    typedef std::function<void(StorageKind kind, const StorageState &state)> Changed;

    explicit StorageWatch(const Changed &changed);
    ~StorageWatch() override;

private slots:
    /// Looks at both devices; the monitor's signals only say when.
    void look();
    void noteActivity(int type, int index, bool busy);

private:
    void look(StorageKind kind);

    const Changed m_changed;
    QMap<StorageKind, StorageState> m_states; ///< as last told
    QMap<int, bool> m_busy;                   ///< by the monitor's type of device
    QTimer m_timer;                           ///< for the free space
};

#endif // TERMINAL_STORAGE_WATCH_H
