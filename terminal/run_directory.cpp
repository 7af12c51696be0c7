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

// Where the program came from, told to itself in its new place. With its process number, since
// the children of this program inherit it as well.
const char HomeVariable[] = "DMC50_TERMINAL_HOME";

QByteArray ownNumber()
{
    return QByteArray::number(static_cast<qint64>(getpid())) + ":";
}

bool place(const QByteArray &program, const QByteArray &target)
{
    return link(program.constData(), target.constData()) == 0 ||
           QFile::copy(QFile::decodeName(program), QFile::decodeName(target));
}

} // namespace

RunDirectory::RunDirectory()
{
    const QByteArray told = qgetenv(HomeVariable);
    if (told.startsWith(ownNumber()))
        m_home = QFile::decodeName(told.mid(ownNumber().size()));
    qunsetenv(HomeVariable);
}

RunDirectory::~RunDirectory()
{
    if (entered())
        QDir(QCoreApplication::applicationDirPath()).removeRecursively();
}

QString RunDirectory::enter(char **argv) const
{
    const QByteArray program = QFile::encodeName(QCoreApplication::applicationFilePath());
    QByteArray directory = QFile::encodeName(QDir::tempPath()) + "/dmc50-terminal.XXXXXX";
    if (mkdtemp(directory.data()) == nullptr)
        return QString("cannot make a directory to run in: %1").arg(std::strerror(errno));
    const QByteArray target = directory + "/dmc50-terminal";
    if (place(program, target)) {
        qputenv(HomeVariable,
                ownNumber() + QFile::encodeName(QCoreApplication::applicationDirPath()));
        execv(target.constData(), argv);
    }
    const QString reason =
        QString("cannot run in %1: %2").arg(QFile::decodeName(directory), std::strerror(errno));
    QDir(QFile::decodeName(directory)).removeRecursively();
    return reason;
}
