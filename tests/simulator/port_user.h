// Whoever opens a simulator's port: asks, and takes what comes back.

#ifndef TESTS_SIMULATOR_PORT_USER_H
#define TESTS_SIMULATOR_PORT_USER_H

#include <chrono>
#include <string>

/// Not a driver: it sends any bytes and judges none. What does not come within `PatienceMs` is
/// regarded as never coming.
class PortUser
{
public:
    static const int PatienceMs = 20000;

    /// Opens the port; a failure fails the test.
    explicit PortUser(const std::string &path);
    ~PortUser();

    PortUser(const PortUser &) = delete;
    PortUser &operator=(const PortUser &) = delete;

    void send(const std::string &bytes);

    /// What is there, at most `count` bytes; waits for the first one. Empty: nothing came.
    std::string receiveSome(size_t count);

    /// So many bytes, or fewer when no more come.
    std::string receive(size_t count);

    /// Bytes up to a line feed, or fewer when it does not come.
    std::string receiveLine();

    std::string exchange(const std::string &request);

    /// Whether bytes are there now.
    bool hasBytes() const;

    /// Whether the other end has gone, now or within the patience.
    bool hangsUp() const;

private:
    int m_fd;
};

/// Time since it was made.
class Stopwatch
{
public:
    Stopwatch() : m_begin(std::chrono::steady_clock::now()) {}

    double ms() const
    {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - m_begin)
            .count();
    }

private:
    std::chrono::steady_clock::time_point m_begin;
};

#endif // TESTS_SIMULATOR_PORT_USER_H
