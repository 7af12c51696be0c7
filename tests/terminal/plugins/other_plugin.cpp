// A plug-in of the framework that is no driver.

#include <QObject>

class OtherPlugin : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.example.Other/1.0")
};

#include "other_plugin.moc"
