// A program that ends with a message panel in some state: panel_probe leave|delete|queued|parent

#include "common/messagecenter.h"

#include <QApplication>

#include <cstring>

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QWidget parent;
    MessageCenter *const panel = MessageCenter::initInstance(
        QSize(400, 284), QSize(400, 120), MessageCenter::AboveAnchor, QRect(0, 440, 800, 40), 0);
    panel->showMessageAsync("Title", "shown", true);
    QCoreApplication::processEvents();

    const char *const what = argc > 1 ? argv[1] : "leave";
    if (std::strcmp(what, "queued") == 0) {
        for (int i = 0; i < 1000; ++i)
            QMetaObject::invokeMethod(panel, "showMessageAsync", Qt::QueuedConnection,
                                      Q_ARG(QString, "Title"), Q_ARG(QString, "queued"),
                                      Q_ARG(bool, false));
    }
    if (std::strcmp(what, "parent") == 0)
        panel->setParent(&parent);
    if (std::strcmp(what, "delete") == 0 || std::strcmp(what, "queued") == 0)
        delete panel;
    return 0;
}
