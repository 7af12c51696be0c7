// Files of a test.

#ifndef TESTS_SIMULATOR_FOLDER_H
#define TESTS_SIMULATOR_FOLDER_H

#include <string>

#include <QTemporaryDir>

/// A folder that goes away with all that is in it.
class Folder
{
public:
    /// The path of something in it, which need not be there.
    std::string path(const char *name) const;

    /// How many files, links and folders are in it.
    int entries() const;

private:
    QTemporaryDir m_directory;
};

/// Whether there is something under a path, if only a link that leads nowhere.
bool exists(const std::string &path);

/// Where a link leads; empty for what is no link.
std::string linkTarget(const std::string &path);

std::string contentsOf(const std::string &path);
void writeFile(const std::string &path, const std::string &contents);

#endif // TESTS_SIMULATOR_FOLDER_H
