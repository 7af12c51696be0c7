// Loads the driver as the runtime does.

#ifndef TERMINAL_DRIVER_HOST_H
#define TERMINAL_DRIVER_HOST_H

#include <memory>

#include <QLibrary>
#include <QPluginLoader>
#include <QString>

#include "hmi/driverinterface.h"

/// The plug-in and the one driver made from it. The plug-in stays loaded as long as this lives.
class DriverHost
{
public:
    enum class Road {
        PluginRoot,  ///< through the framework's plug-in loader
        CreateDriver ///< through the exported function
    };

    /// Loads the plug-in and makes a driver that can be used in a session.
    /// \param error  gets the reason in one line; not null
    bool load(const QString &file, Road road, QString *error);

    /// Null before `load` and after `destroyDriver`.
    DriverInterface *driver() { return m_driver.get(); }

    void destroyDriver() { m_driver.reset(); }

private:
    DriverInterface *fromPluginRoot(const QString &file, QString *error);
    DriverInterface *fromCreateDriver(const QString &file, QString *error);

    QPluginLoader m_loader;
    QLibrary m_library;
    std::unique_ptr<DriverInterface> m_driver;
};

#endif // TERMINAL_DRIVER_HOST_H
