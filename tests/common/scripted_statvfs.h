// The C library's statvfs, answered by the test.

#ifndef TESTS_COMMON_SCRIPTED_STATVFS_H
#define TESTS_COMMON_SCRIPTED_STATVFS_H

#include <map>
#include <string>
#include <sys/statvfs.h>

/// While it lives, the program's statvfs answers as said here; about other paths it asks the
/// system. One at a time; set up before other threads ask.
class ScriptedStatvfs
{
public:
    ScriptedStatvfs();
    ~ScriptedStatvfs();

    ScriptedStatvfs(const ScriptedStatvfs &) = delete;
    ScriptedStatvfs &operator=(const ScriptedStatvfs &) = delete;

    /// A file system of blocks of `size` bytes, of which so many are there, free, and free to
    /// everybody. Its preferred size of a transfer is another one.
    void answer(const std::string &path, unsigned long size, fsblkcnt_t blocks, fsblkcnt_t free,
                fsblkcnt_t available);

    /// The file system cannot be asked.
    void fail(const std::string &path, int error);

    /// Whether there is an answer for a path.
    bool lookUp(const std::string &path, struct statvfs *info, int *error) const;

private:
    struct Answer {
        int error; ///< 0: the figures hold
        struct statvfs info;
    };
    std::map<std::string, Answer> m_answers;
};

#endif // TESTS_COMMON_SCRIPTED_STATVFS_H
