// Sticks and cards that exist for one test program only.
//
// A program whose main() calls `enterPrivateMounts` runs in a mount namespace of its own: what it
// mounts is seen by itself and the programs that it starts, shows in the output of the real `mount`
// there, and is gone with them. In it
//   - /tmp, /run and /media are new and empty, except that the entry of theirs that holds the
//     program itself, if there is one, is still there;
//   - the file system at "/" is read-only, so that nothing can touch the machine.
//
//   int main(int argc, char **argv)
//   {
//       enterPrivateMounts(argv);
//       testing::InitGoogleTest(&argc, argv);
//       ...
//   }
//
//   TEST(Monitor, FindsAStick)
//   {
//       if (!privateMountsFault().empty())
//           GTEST_SKIP() << "needs a stick of its own: " << privateMountsFault();
//       MountedVolume stick("/dev/sda1", "/run/media/sda1");
//       ...
//       stick.pull();
//   }

#ifndef TESTS_SUPPORT_PRIVATE_MOUNTS_H
#define TESTS_SUPPORT_PRIVATE_MOUNTS_H

#include <string>

/// Starts the program anew in a mount namespace of its own, if it is not in one yet: as root, or
/// with what util-linux's `unshare -r` allows everybody. Where that is forbidden it returns, and
/// `privateMountsFault` says why. To be called first in main(), before there are threads. Nothing
/// happens when the program is only to list its tests.
void enterPrivateMounts(char **argv);

/// Why this program has no mounts of its own; empty when it has.
std::string privateMountsFault();

/// A volume in memory that `mount` lists with the device node of a stick or a card. One that cannot
/// be mounted fails the test. The end of the object pulls the volume.
class MountedVolume
{
public:
    /// \param node     what `mount` shows as the device, such as "/dev/sda1"; need not exist
    /// \param point    where to mount it; the folders are made
    /// \param options  of the tmpfs file system, such as "size=64k"
    MountedVolume(const std::string &node, const std::string &point,
                  const std::string &options = "size=1m");
    ~MountedVolume();

    MountedVolume(const MountedVolume &) = delete;
    MountedVolume &operator=(const MountedVolume &) = delete;

    const std::string &point() const { return m_point; }

    /// Unmounts it, though files of it may be open, and removes the folder, as the terminal's
    /// mounting service does. Nothing happens the second time.
    void pull();

    /// Unmounts it and leaves the empty folder behind.
    void unmount();

    /// Makes it read-only, or writable again.
    void setReadOnly(bool read_only);

private:
    const std::string m_node;
    const std::string m_point;
    bool m_mounted;
};

/// Makes a folder and those above it; a failure fails the test.
void makeFolders(const std::string &path);

#endif // TESTS_SUPPORT_PRIVATE_MOUNTS_H
