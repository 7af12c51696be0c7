#include "tests/common/storage_fixture.h"

#include <QDir>
#include <QObject>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

const char StandInFolder[] = "/tmp/bin";

void removeFilesOfFormerTest()
{
    QDir tmp("/tmp");
    for (const QString &file : tmp.entryList(QDir::Files | QDir::System | QDir::Hidden))
        tmp.remove(file);
    QDir(StandInFolder).removeRecursively();
}

} // namespace

const char ListingFile[] = "/tmp/devchk";

StorageTest::StorageTest() : m_path(std::getenv("PATH")) {}

StorageTest::~StorageTest()
{
    ::setenv("PATH", m_path.c_str(), 1);
}

void StorageTest::SetUp()
{
    if (!privateMountsFault().empty())
        GTEST_SKIP() << "needs a stick of its own: " << privateMountsFault();
    removeFilesOfFormerTest();
    makeFolders(StandInFolder);
    ::setenv("PATH", (StandInFolder + (":" + m_path)).c_str(), 1);
}

void StorageTest::standIn(const std::string &program, const std::string &script) const
{
    const std::string file = StandInFolder + ("/" + program);
    writeFile(file, "#!/bin/sh\n" + script + "\n");
    EXPECT_EQ(0, ::chmod(file.c_str(), 0755));
}

void StorageTest::letMountPrint(const std::string &lines) const
{
    writeFile("/tmp/mounts", lines);
    standIn("mount", "exec cat /tmp/mounts");
}

void StorageTest::restore(const std::string &program) const
{
    ::unlink((StandInFolder + ("/" + program)).c_str());
}

SignalList::SignalList(const PlatformInterface *platform)
{
    QObject::connect(
        platform, &PlatformInterface::platDeviceMounted, &m_context,
        [this](int type, int index, bool on) { add("mounted", type, index, on); },
        Qt::DirectConnection);
    QObject::connect(
        platform, &PlatformInterface::platDeviceInIO, &m_context,
        [this](int type, int index, bool on) { add("busy", type, index, on); },
        Qt::DirectConnection);
}

SignalList::~SignalList() = default;

void SignalList::add(const char *what, int type, int index, bool on)
{
    std::ostringstream text;
    text << what << ' ' << type << ' ' << index << ' ' << (on ? "true" : "false");
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_signals.push_back(text.str());
}

std::vector<std::string> SignalList::take()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> taken;
    taken.swap(m_signals);
    return taken;
}

void writeFile(const std::string &path, const std::string &content)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    file.close();
    EXPECT_TRUE(file.good()) << path;
}

std::string readFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}
