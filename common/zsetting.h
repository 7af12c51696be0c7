// The terminal's persistent settings.

#ifndef COMMON_ZSETTING_H
#define COMMON_ZSETTING_H

#include <bitset>
#include <memory>
#include <mutex>

#include <QObject>
#include <QTimer>
#include <QtGlobal>

/// A table of 100 settings of 16 bits each, kept in the FRAM chip. One object per process.
///
/// Setting 12 is the beeper's switch (0 off, else on); the others belong to the host and to other
/// plug-ins. The table is loaded when the object is created. A changed value is written back one
/// second after the last change, and only words that a caller set are ever written: never those of
/// others, even when the chip could not be read.
///
/// Without a chip the settings start at 0 and last as long as the process. A word whose writing
/// failed is written again by the next save. No failure is reported to callers.
///
/// In the chip, all words little-endian:
///
///     offset  length  content
///     0       2       a length, ignored: the size of the table is fixed
///     2       2       sum of all settings modulo 65536; written, but not checked when loading
///     4       200     the settings
///
/// Threads: all but `drop` may be called from any thread at any time, and none but a save waits for
/// the chip. The timer of the automatic save lives in the thread that called `getInstance` first.
/// That thread needs an event loop, or nothing is saved but by `manualSave` and `drop`.
class ZSetting : public QObject
{
    Q_OBJECT

public:
    static const int SettingCount = 100;

    /// The process's only object. The first call loads the settings; never null.
    static ZSetting *getInstance();

    /// Saves what has not been saved and deletes the object; the next `getInstance` loads anew. To
    /// be called at the end of the program, in the thread that called `getInstance` first, when
    /// nobody uses the object any more. Does nothing without an object.
    static void drop();

    /// \param index  0 to 99
    /// \return the value, 0 to 65535; -1 for any other index, or when there was no memory for the
    ///         table
    int getSettingValue(int index);

    /// Sets a value; the chip has it a second after the last change.
    /// \param index  0 to 99
    /// \param value  its lowest 16 bits are kept
    /// \return false for any other index. True does not promise that the chip will take the value,
    ///         and without memory for the table there is nothing that would keep it.
    bool setSettingValue(int index, int value);

    /// Saves at once instead of by the timer. Returns when the chip has the values.
    void manualSave();

    /// Writes to the chip the words that it lacks, then the sum of all. Waits for a save that is
    /// under way.
    void saveSetting();

public slots:
    /// The timer's save.
    void autoSave();

private slots:
    void takeQueuedTimerCall();

private:
    typedef std::bitset<SettingCount> SettingSet;

    ZSetting();
    ~ZSetting() override;
    Q_DISABLE_COPY(ZSetting)

    bool loadSetting();
    void storeWord(int index, quint16 word);
    bool hasUnsaved();

    void writeFram();
    SettingSet takeTable(quint16 *words);
    bool writeSetting(int index, quint16 word);
    bool writeWord(unsigned int offset, quint16 word);
    static quint16 calCheckSum(const quint16 *words);

    // Always true: the store works without a chip. `arrived` gets whether the transfer succeeded.
    bool writeBuffer2FRAM(unsigned int offset, unsigned int length, char *data, bool *arrived);
    bool readFRAM2Buffer(unsigned int offset, unsigned int length, char *data, bool *arrived);

    void wantAutoSave(bool wanted);
    void updateTimer();

    static std::mutex m_instance_mutex;
    static ZSetting *m_instance; ///< guarded by `m_instance_mutex`

    QTimer m_autosave_timer; ///< the creating thread's
    bool m_valid;            ///< whether there is a table; constant once it was loaded
    unsigned int m_size;     ///< bytes of the table; constant once it was loaded

    std::mutex m_table_mutex; ///< held for a few instructions, never during a transfer
    std::unique_ptr<quint16[]> m_settingbuffer; ///< the table; guarded by `m_table_mutex`
    SettingSet m_set;         ///< words set since loading; guarded by `m_table_mutex`
    bool m_unsaved;           ///< the chip may lack something; guarded by `m_table_mutex`
    bool m_autosave_wanted;   ///< whether the timer is to run; guarded by `m_table_mutex`
    bool m_timer_call_queued; ///< for the timer's thread; guarded by `m_table_mutex`

    std::mutex m_save_mutex;        ///< held for a whole save; taken before `m_table_mutex`
    quint16 m_shadow[SettingCount]; ///< the table as last written; guarded by `m_save_mutex`
    SettingSet m_known;             ///< where the chip holds what the shadow copy says; guarded by
                                    ///< `m_save_mutex`
    quint16 m_checksum;             ///< of the table as last written; guarded by `m_save_mutex`
};

#endif // COMMON_ZSETTING_H
