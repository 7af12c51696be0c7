#include "terminal/usb_stick.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>

namespace
{

const char Media[] = "/media";
const char Point[] = "/media/usb1";
const mode_t Mode = 0755;

QString reason(const QString &what)
{
    return QString("%1: %2").arg(what, std::strerror(errno));
}

bool writeText(const char *file, const QByteArray &text)
{
    const int descriptor = open(file, O_WRONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool written = write(descriptor, text.constData(), static_cast<size_t>(text.size())) ==
                         static_cast<ssize_t>(text.size());
    close(descriptor);
    return written;
}

/// "1000 1000 1": the user keeps his number.
QByteArray ownNumberOnly(unsigned number)
{
    return QByteArray::number(number) + " " + QByteArray::number(number) + " 1";
}

/// As root, or as a user who is one in a namespace of his own.
bool leaveMounts()
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(CLONE_NEWNS) == 0)
        return true;
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeText("/proc/self/setgroups", "deny") &&
           writeText("/proc/self/uid_map", ownNumberOnly(user)) &&
           writeText("/proc/self/gid_map", ownNumberOnly(group));
}

/// Puts an open directory in its place as the one stick.
bool mountOver(int directory)
{
    const QByteArray source = "/proc/self/fd/" + QByteArray::number(directory);
    return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("media", Media, "tmpfs", 0, "size=64k,mode=0755") == 0 &&
           mkdir(Point, Mode) == 0 &&
           mount(source.constData(), Point, nullptr, MS_BIND, nullptr) == 0;
}

} // namespace

QString mountAsUsbStick(const QString &directory)
{
    if (!leaveMounts())
        return reason("no mounts of its own for a USB stick");
    // Only a directory of the same namespace can be mounted in it.
    const int descriptor =
        open(QFile::encodeName(directory).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return reason("cannot use " + directory + " as a USB stick");
    QString mistake = mountOver(descriptor) ? QString() : reason("cannot mount a USB stick");
    close(descriptor);
    return mistake;
}
