#include "tests/simulator/folder.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include <sys/stat.h>
#include <unistd.h>

#include <QDir>

#include <gtest/gtest.h>

std::string Folder::path(const char *name) const
{
    return m_directory.filePath(name).toStdString();
}

int Folder::entries() const
{
    const QDir directory(m_directory.path());
    return directory
        .entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot)
        .count();
}

bool exists(const std::string &path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0;
}

std::string linkTarget(const std::string &path)
{
    char target[256];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return std::string(target, static_cast<size_t>(std::max<ssize_t>(length, 0)));
}

std::string contentsOf(const std::string &path)
{
    std::ifstream stream(path.c_str());
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

void writeFile(const std::string &path, const std::string &contents)
{
    std::ofstream stream(path.c_str());
    stream << contents;
    ASSERT_TRUE(stream.good()) << path;
}
