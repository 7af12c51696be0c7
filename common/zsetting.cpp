#include "common/zsetting.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <numeric>

#include <QThread>
#include <QtDebug>
#include <QtEndian>

#include "common/spifram.h"

namespace
{

const int AutoSaveDelayMs = 1000;
const int SettingCount = ZSetting::SettingCount;

// The layout of the chip, in bytes.
const unsigned int WordLength = 2;
const unsigned int LengthOffset = 0;
const unsigned int CheckSumOffset = 2;
const unsigned int TableOffset = 4;
const unsigned int TableLength = 200;

typedef std::lock_guard<std::mutex> Lock;

quint16 wordAt(const char *bytes)
{
    return qFromLittleEndian<quint16>(reinterpret_cast<const uchar *>(bytes));
}

bool isSetting(int index)
{
    return index >= 0 && index < SettingCount;
}

void putWord(quint16 word, char *bytes)
{
    qToLittleEndian(word, reinterpret_cast<uchar *>(bytes));
}

} // namespace

const int ZSetting::SettingCount;

std::mutex ZSetting::m_instance_mutex;
ZSetting *ZSetting::m_instance = 0;

ZSetting *ZSetting::getInstance()
{
    const Lock lock(m_instance_mutex);
    if (m_instance == 0) {
        m_instance = new ZSetting;
    }
    return m_instance;
}

void ZSetting::drop()
{
    // Whoever asks for the object meanwhile gets the next one, which loads what this one saves.
    const Lock lock(m_instance_mutex);
    if (m_instance != 0 && m_instance->hasUnsaved()) {
        m_instance->saveSetting();
    }
    delete m_instance;
    m_instance = 0;
}

ZSetting::ZSetting()
    : m_autosave_timer(this), m_valid(false), m_size(0), m_unsaved(false), m_autosave_wanted(false),
      m_timer_call_queued(false), m_shadow(), m_checksum(0)
{
    m_autosave_timer.setSingleShot(true);
    connect(&m_autosave_timer, SIGNAL(timeout()), this, SLOT(autoSave()));
    m_valid = loadSetting();
}

ZSetting::~ZSetting() {}

/// Fills the table from the chip. What cannot be read is 0.
bool ZSetting::loadSetting()
{
    char word[WordLength];
    bool arrived = false;
    readFRAM2Buffer(LengthOffset, WordLength, word, &arrived);
    m_size = TableLength;
    m_settingbuffer.reset(new (std::nothrow) quint16[SettingCount]());
    if (!m_settingbuffer) {
        puts("m_settingbuffer _mmap_failed");
        return false;
    }
    qDebug(" m_settingbuffer's pointer is %p", static_cast<void *>(m_settingbuffer.get()));

    char table[TableLength];
    readFRAM2Buffer(TableOffset, m_size, table, &arrived);
    if (arrived) {
        for (unsigned int i = 0; i < SettingCount; ++i) {
            m_settingbuffer[i] = wordAt(table + i * WordLength);
        }
        m_known.set();
    }
    // The stored sum is read, but a table that it does not fit is better than none.
    readFRAM2Buffer(CheckSumOffset, WordLength, word, &arrived);
    m_checksum = calCheckSum(m_settingbuffer.get());
    std::copy_n(m_settingbuffer.get(), SettingCount, m_shadow);
    return true;
}

int ZSetting::getSettingValue(int index)
{
    if (!m_valid || !isSetting(index)) {
        return -1;
    }
    const Lock lock(m_table_mutex);
    return m_settingbuffer[index];
}

bool ZSetting::setSettingValue(int index, int value)
{
    qDebug("field = %d val = %d", index, value);
    if (!isSetting(index)) {
        return false;
    }
    if (m_valid) {
        storeWord(index, static_cast<quint16>(value));
        wantAutoSave(true);
    }
    return true;
}

void ZSetting::storeWord(int index, quint16 word)
{
    const Lock lock(m_table_mutex);
    m_settingbuffer[index] = word;
    m_set.set(index);
    m_unsaved = true;
}

void ZSetting::manualSave()
{
    wantAutoSave(false);
    saveSetting();
}

void ZSetting::autoSave()
{
    saveSetting();
}

void ZSetting::saveSetting()
{
    if (!m_valid) {
        puts("no valid setting!");
        return;
    }
    writeFram();
}

void ZSetting::writeFram()
{
    const Lock saving(m_save_mutex);
    // A value that is set from here on belongs to the next save.
    quint16 words[SettingCount];
    const SettingSet set = takeTable(words);
    m_checksum = calCheckSum(words);

    bool complete = true;
    for (int i = 0; i < SettingCount; ++i) {
        const bool lacking = words[i] != m_shadow[i] || !m_known[i];
        if (set[i] && lacking) {
            complete = writeSetting(i, words[i]) && complete;
        }
    }
    complete = writeWord(CheckSumOffset, m_checksum) && complete;
    if (!complete) {
        const Lock lock(m_table_mutex);
        m_unsaved = true;
    }
}

/// Copies the table, of which nothing is unsaved then, and tells which words were ever set.
ZSetting::SettingSet ZSetting::takeTable(quint16 *words)
{
    const Lock lock(m_table_mutex);
    std::copy_n(m_settingbuffer.get(), SettingCount, words);
    m_unsaved = false;
    return m_set;
}

bool ZSetting::writeSetting(int index, quint16 word)
{
    m_shadow[index] = word;
    m_known[index] = writeWord(TableOffset + static_cast<unsigned int>(index) * WordLength, word);
    return m_known[index];
}

bool ZSetting::writeWord(unsigned int offset, quint16 word)
{
    char bytes[WordLength];
    putWord(word, bytes);
    bool arrived = false;
    writeBuffer2FRAM(offset, WordLength, bytes, &arrived);
    return arrived;
}

quint16 ZSetting::calCheckSum(const quint16 *words)
{
    return static_cast<quint16>(std::accumulate(words, words + SettingCount, 0u));
}

bool ZSetting::writeBuffer2FRAM(unsigned int offset, unsigned int length, char *data, bool *arrived)
{
    *arrived = SpiFram::instance()->write(offset, data, length);
    return true;
}

bool ZSetting::readFRAM2Buffer(unsigned int offset, unsigned int length, char *data, bool *arrived)
{
    *arrived = SpiFram::instance()->read(offset, data, length);
    return true;
}

bool ZSetting::hasUnsaved()
{
    const Lock lock(m_table_mutex);
    return m_unsaved;
}

// ---- The timer

/// Has the timer run, from now on, or not. Only the timer's own thread may touch it; what the
/// others want stands in one place, so that the last word counts, not the last call to be
/// delivered.
void ZSetting::wantAutoSave(bool wanted)
{
    const bool here = QThread::currentThread() == thread();
    bool queued = false;
    {
        const Lock lock(m_table_mutex);
        m_autosave_wanted = wanted;
        queued = m_timer_call_queued;
        m_timer_call_queued = queued || !here;
    }
    if (here) {
        updateTimer();
    } else if (!queued) {
        QMetaObject::invokeMethod(this, "takeQueuedTimerCall", Qt::QueuedConnection);
    }
}

void ZSetting::takeQueuedTimerCall()
{
    {
        const Lock lock(m_table_mutex);
        m_timer_call_queued = false;
    }
    updateTimer();
}

void ZSetting::updateTimer()
{
    bool wanted = false;
    {
        const Lock lock(m_table_mutex);
        wanted = m_autosave_wanted;
    }
    if (wanted) {
        m_autosave_timer.start(AutoSaveDelayMs);
    } else {
        m_autosave_timer.stop();
    }
}
