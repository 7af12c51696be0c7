#include "terminal/driver_host.h"

#include <QFileInfo>

namespace
{

/// Empty, or why a driver is of no use here.
QString whatIsMissing(DriverInterface *driver)
{
    if (driver->name().isEmpty())
        return "the driver has no name";
    if (!driver->isSupportSessionCommand())
        return "the driver does not poll announced tags";
    return QString();
}

} // namespace

DriverInterface *DriverHost::fromPluginRoot(const QString &file, QString *error)
{
    m_loader.setFileName(file);
    QObject *const root = m_loader.instance();
    if (root == nullptr) {
        *error = m_loader.errorString();
        return nullptr;
    }
    DriverInterface *const driver = qobject_cast<DriverInterface *>(root);
    if (driver == nullptr)
        *error = QString("no driver with the interface ") + DRIVER_INTERFACE_IID;
    return driver;
}

DriverInterface *DriverHost::fromCreateDriver(const QString &file, QString *error)
{
    typedef DriverInterface *(*Create)();
    m_library.setFileName(file);
    const Create create = reinterpret_cast<Create>(m_library.resolve("CreateDriver"));
    if (create == nullptr) {
        *error = m_library.errorString();
        return nullptr;
    }
    DriverInterface *const driver = create();
    if (driver == nullptr)
        *error = "CreateDriver gave no driver";
    return driver;
}

bool DriverHost::load(const QString &file, Road road, QString *error)
{
    // The framework looks for names it was not given; the user is to be told of his own.
    QString reason = "no such file";
    if (QFileInfo(file).isFile()) {
        m_driver.reset(road == Road::PluginRoot ? fromPluginRoot(file, &reason)
                                                : fromCreateDriver(file, &reason));
        if (m_driver)
            reason = whatIsMissing(m_driver.get());
        if (!reason.isEmpty())
            m_driver.reset();
    }
    if (!m_driver)
        *error = QString("cannot use plug-in %1: %2").arg(file, reason);
    return m_driver != nullptr;
}
