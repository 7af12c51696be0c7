// The project's database as the project compiler leaves it beside the runtime's program.

#ifndef TESTS_DRIVER_PROJECT_DATABASE_H
#define TESTS_DRIVER_PROJECT_DATABASE_H

#include <QString>
#include <QStringList>
#include <QVariant>

/// An SQLite file with the project's tables. Written through a connection of its own, which is
/// closed between the calls unless said otherwise.
class ProjectDatabase
{
public:
    static const int LinkId = 5; ///< of the link at COM2
    static const int Com2Port = 1003;

    /// The file's usual place, seen from the running program.
    static QString usualPath();

    /// Creates a project without links at a place that has none; its directories come into being
    /// too.
    static ProjectDatabase empty(const QString &path = usualPath());

    /// Creates a project of one link at COM2 with these tags.
    static ProjectDatabase withTags(const QStringList &tags, int defaultStation = 1,
                                    const QString &path = usualPath());

    QString path() const { return m_path; }

    void addLink(const QVariant &linkId, const QVariant &hmiPort);
    void addNode(const QVariant &linkId, const QVariant &station, const QVariant &isDefault);
    void addTag(const QVariant &address, const QVariant &linkId = LinkId);
    void addTags(const QStringList &addresses, int linkId = LinkId);

    /// Runs statements of any kind.
    void execute(const QStringList &statements);

    /// Keeps everybody else out until the lock's end.
    class Lock
    {
    public:
        explicit Lock(const ProjectDatabase &database);
        ~Lock();

    private:
        Q_DISABLE_COPY(Lock)
        QString m_connection;
    };

private:
    explicit ProjectDatabase(const QString &path) : m_path(path) {}
    void insert(const QString &statement, const QVariantList &values);

    QString m_path;
};

/// Removes whatever stands at the usual place and the directories around it.
void removeProject();

#endif // TESTS_DRIVER_PROJECT_DATABASE_H
