#include "tests/pictures/album.h"

#include <QCoreApplication>
#include <QPixmap>
#include <QWidget>

#include <cstdio>

Album::Album(const QString &directory) : m_directory(directory), m_complete(true) {}

void Album::take(const QString &name, QWidget *widget)
{
    QCoreApplication::sendPostedEvents();
    const QString path = m_directory + QLatin1Char('/') + name + QLatin1String(".png");
    if (widget->grab().save(path))
        return;
    std::fprintf(stderr, "%s cannot be written\n", qPrintable(path));
    m_complete = false;
}
