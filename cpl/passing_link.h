// A link in front of another one, to look at what goes through or to change some of it.

#ifndef CPL_PASSING_LINK_H
#define CPL_PASSING_LINK_H

#include "hmi/abstractdeviceinterface.h"

/// Passes everything on. Threads: as the link behind.
class PassingLink : public AbstractDeviceInterface
{
public:
    /// \param link  the link behind; not owned
    explicit PassingLink(AbstractDeviceInterface *link) : m_link(link) {}

    int readData(char *buffer, int max_size) override { return m_link->readData(buffer, max_size); }
    int writeData(const char *data, int size) override { return m_link->writeData(data, size); }
    const DeviceSetting *deviceSetting() override { return m_link->deviceSetting(); }
    QVariant control(int code, const QVariant &argument) override
    {
        return m_link->control(code, argument);
    }
    int timeout() override { return m_link->timeout(); }
    int retry() override { return m_link->retry(); }
    int stationId() override { return m_link->stationId(); }
    int delay() override { return m_link->delay(); }

protected:
    /// Replaces the link behind.
    void setLink(AbstractDeviceInterface *link) { m_link = link; }

private:
    AbstractDeviceInterface *m_link;
};

#endif // CPL_PASSING_LINK_H
