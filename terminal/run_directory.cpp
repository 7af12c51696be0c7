#include "terminal/run_directory.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>

namespace
{

const char DirectoryPrefix[] = "dmc50-terminal.";

// Where the program came from, told to itself in its new place. With its process number, since
// the children of this program inherit it as well.
const char HomeVariable[] = "DMC50_TERMINAL_HOME";

QByteArray ownNumber()
{
    return QByteArray::number(static_cast<qint64>(getpid())) + ":";
}

/// Whatever the environment says: no other directory is removed.
bool isOwnDirectory(const QDir &directory)
{
    return directory.dirName().startsWith(DirectoryPrefix);
}

bool place(const QByteArray &program, const QByteArray &target)
{
    return link(program.constData(), target.constData()) == 0 ||
           QFile::copy(QFile::decodeName(program), QFile::decodeName(target));
}

} // namespace

void RunDirectory::look()
{
    const QByteArray told = qgetenv(HomeVariable);
    const QString here = QCoreApplication::applicationDirPath();
    if (told.startsWith(ownNumber()) && isOwnDirectory(here)) {
        m_home = QFile::decodeName(told.mid(ownNumber().size()));
        m_directory = here;
    }
    qunsetenv(HomeVariable);
}

RunDirectory::~RunDirectory()
{
    leave();
}

void RunDirectory::leave()
{
    if (entered())
        QDir(m_directory).removeRecursively();
    m_home.clear();
}

QString RunDirectory::enter(char **argv) const
{
    const QByteArray program = QFile::encodeName(QCoreApplication::applicationFilePath());
    // mkdtemp puts letters of its own in place of the last six.
    QByteArray directory = QFile::encodeName(QDir::tempPath()) + "/" + DirectoryPrefix + "XXXXXX";
    if (mkdtemp(directory.data()) == nullptr)
        return QString("cannot make a directory to run in: %1").arg(std::strerror(errno));
    const QByteArray target = directory + "/dmc50-terminal";
    if (place(program, target)) {
        qputenv(HomeVariable,
                ownNumber() + QFile::encodeName(QCoreApplication::applicationDirPath()));
        execv(target.constData(), argv);
    }
    QString reason = QString("cannot run in %1: %2; TMPDIR names another place")
                         .arg(QFile::decodeName(directory), std::strerror(errno));
    QDir(QFile::decodeName(directory)).removeRecursively();
    return reason;
}
