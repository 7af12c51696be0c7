// Pictures of widgets, as files.

#ifndef TESTS_PICTURES_ALBUM_H
#define TESTS_PICTURES_ALBUM_H

#include <QString>

class QWidget;

/// A directory that pictures are put into.
class Album
{
public:
    /// \param directory  must exist
    explicit Album(const QString &directory);

    /// Draws the widget with all that lies in it into NAME.png. Tells on standard error when the
    /// file cannot be written.
    void take(const QString &name, QWidget *widget);

    /// Whether all pictures were written so far.
    bool isComplete() const { return m_complete; }

private:
    QString m_directory;
    bool m_complete;
};

#endif // TESTS_PICTURES_ALBUM_H
