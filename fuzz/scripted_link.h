// A line that gives the bytes it was handed, in pieces.

#ifndef FUZZ_SCRIPTED_LINK_H
#define FUZZ_SCRIPTED_LINK_H

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "driver/drv_dev_setting.h"
#include "hmi/abstractdeviceinterface.h"

class ScriptedLink : public AbstractDeviceInterface
{
public:
    ScriptedLink()
        : m_next(nullptr), m_left(0), m_piece(1),
          m_setting(DeviceSetting::Rs485, QString::fromLatin1("COM2"), 38400, 8,
                    DeviceSetting::OneStopBit, DeviceSetting::EvenParity)
    {
    }

    /// \param bytes  what comes in; not owned
    /// \param piece  most bytes that come at once
    void setIncoming(const char *bytes, size_t size, size_t piece)
    {
        m_next = bytes;
        m_left = size;
        m_piece = piece;
    }

    int readData(char *buffer, int max_size) override
    {
        const size_t count = std::min({m_left, m_piece, static_cast<size_t>(max_size)});
        std::memcpy(buffer, m_next, count);
        m_next += count;
        m_left -= count;
        return static_cast<int>(count);
    }

    int writeData(const char *, int size) override { return size; }
    const DeviceSetting *deviceSetting() override { return &m_setting; }
    QVariant control(int, const QVariant &) override { return QVariant(); }
    int timeout() override { return 3000; }
    int retry() override { return 0; }
    int stationId() override { return 1; }
    int delay() override { return 0; }

private:
    const char *m_next;
    size_t m_left;
    size_t m_piece;
    const DeviceSetting m_setting;
};

#endif // FUZZ_SCRIPTED_LINK_H
