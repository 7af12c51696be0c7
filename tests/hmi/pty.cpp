#include "tests/hmi/pty.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

namespace
{

const int PatienceMs = 5000;
const int QuietMs = 200;
const size_t AnyCount = std::numeric_limits<size_t>::max();

void closeIfOpen(int *descriptor)
{
    if (*descriptor >= 0) {
        ::close(*descriptor);
        *descriptor = -1;
    }
}

} // namespace

Pty::Pty() : m_master(-1), m_slave(-1)
{
    char name[64];
    if (::openpty(&m_master, &m_slave, name, nullptr, nullptr) != 0) {
        throw std::runtime_error("no pty to be had");
    }
    m_path = name;
}

Pty::~Pty()
{
    hangUp();
}

void Pty::send(const std::string &bytes)
{
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::write(m_master, bytes.data() + sent, bytes.size() - sent);
        if (count < 0 && errno != EINTR) {
            return;
        }
        sent += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

void Pty::sendAndSettle(const std::string &bytes)
{
    const int expected = readableBySlave() + static_cast<int>(bytes.size());
    send(bytes);
    for (int waited = 0; readableBySlave() < expected && waited < PatienceMs; ++waited) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(expected, readableBySlave());
}

int Pty::readableBySlave() const
{
    int count = 0;
    return ::ioctl(m_slave, FIONREAD, &count) == 0 ? count : -1;
}

std::string Pty::receive(size_t count)
{
    return receivePieces(count, PatienceMs);
}

std::string Pty::receiveAll()
{
    return receivePieces(AnyCount, QuietMs);
}

std::string Pty::receivePieces(size_t count, int patienceMs)
{
    std::string bytes;
    char room[4096];
    pollfd waiting = {m_master, POLLIN, 0};
    while (bytes.size() < count && ::poll(&waiting, 1, patienceMs) == 1) {
        const ssize_t got = ::read(m_master, room, std::min(sizeof room, count - bytes.size()));
        if (got <= 0) {
            break;
        }
        bytes.append(room, static_cast<size_t>(got));
    }
    return bytes;
}

void Pty::hangUp()
{
    closeIfOpen(&m_slave);
    closeIfOpen(&m_master);
}

LinkedPath::LinkedPath()
{
    char name[] = "/tmp/dmc50-test-XXXXXX"; // mkdtemp replaces the last six
    if (::mkdtemp(name) == nullptr) {
        throw std::runtime_error("no temporary directory to be had");
    }
    m_directory = name;
    m_link = m_directory + "/port";
}

LinkedPath::~LinkedPath()
{
    ::unlink(m_link.c_str());
    ::rmdir(m_directory.c_str());
}

void LinkedPath::pointTo(const std::string &target)
{
    ::unlink(m_link.c_str());
    if (::symlink(target.c_str(), m_link.c_str()) != 0) {
        throw std::runtime_error("the link cannot be made");
    }
}
