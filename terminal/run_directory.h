// A directory in which the program runs with the project beside it.

#ifndef TERMINAL_RUN_DIRECTORY_H
#define TERMINAL_RUN_DIRECTORY_H

#include <QString>

/// The driver looks for the project beside the running program, so the program needs a directory of
/// its own for each project: it goes on as a link or a copy of itself in a temporary one. Several
/// terminals thus run side by side, also where the program is installed read-only.
class RunDirectory
{
public:
    RunDirectory() = default;

    /// Finds out whether the program already runs in its own directory. This and `enter` need an
    /// application object.
    void look();

    /// Leaves.
    ~RunDirectory();

    /// Removes the directory when the program runs in one.
    void leave();

    RunDirectory(const RunDirectory &) = delete;
    RunDirectory &operator=(const RunDirectory &) = delete;

    bool entered() const { return !m_home.isEmpty(); }

    /// Starts the program anew there, with the same arguments.
    /// \return only on failure: why, in one line
    QString enter(char **argv) const;

    /// Where the program is installed.
    QString home() const { return m_home; }

private:
    QString m_home;
    QString m_directory; ///< to be removed; empty outside it
};

#endif // TERMINAL_RUN_DIRECTORY_H
