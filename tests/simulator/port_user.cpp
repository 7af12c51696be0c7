#include "tests/simulator/port_user.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <gtest/gtest.h>

const int PortUser::PatienceMs;

PortUser::PortUser(const std::string &path)
    : m_fd(open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC))
{
    EXPECT_LE(0, m_fd) << path << ": " << strerror(errno);
}

PortUser::~PortUser()
{
    if (m_fd >= 0)
        close(m_fd);
}

void PortUser::send(const std::string &bytes)
{
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(m_fd, bytes.data(), bytes.size()));
}

std::string PortUser::receiveSome(size_t count)
{
    struct pollfd waiting = {m_fd, POLLIN, 0};
    std::string bytes(count, '\0');
    if (poll(&waiting, 1, PatienceMs) != 1)
        return "";
    const ssize_t got = read(m_fd, &bytes[0], count);
    bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    return bytes;
}

std::string PortUser::receive(size_t count)
{
    std::string bytes;
    while (bytes.size() < count) {
        const std::string piece = receiveSome(count - bytes.size());
        if (piece.empty())
            break;
        bytes += piece;
    }
    return bytes;
}

std::string PortUser::receiveLine()
{
    std::string bytes;
    while (bytes.empty() || bytes.back() != '\n') {
        const std::string byte = receiveSome(1);
        if (byte.empty())
            break;
        bytes += byte;
    }
    return bytes;
}

std::string PortUser::exchange(const std::string &request)
{
    send(request);
    return receiveLine();
}

bool PortUser::hasBytes() const
{
    struct pollfd waiting = {m_fd, POLLIN, 0};
    return poll(&waiting, 1, 0) == 1 && (waiting.revents & POLLIN) != 0;
}

bool PortUser::hangsUp() const
{
    struct pollfd waiting = {m_fd, 0, 0}; // a hang-up is always reported
    return poll(&waiting, 1, PatienceMs) == 1 && (waiting.revents & POLLHUP) != 0;
}
