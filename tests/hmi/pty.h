// The far end of a serial line, played by a test.

#ifndef TESTS_HMI_PTY_H
#define TESTS_HMI_PTY_H

#include <string>

/// A pty pair: the test holds the master, the code under test opens the slave by its path.
class Pty
{
public:
    Pty();
    ~Pty();

    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;

    /// Path of the slave, for example "/dev/pts/3".
    const std::string &path() const { return m_path; }

    /// The slave's own descriptor.
    int slave() const { return m_slave; }

    /// Sends all bytes to the slave.
    void send(const std::string &bytes);

    /// Sends the bytes and waits until the slave could read them all.
    void sendAndSettle(const std::string &bytes);

    /// How many bytes the slave could read now.
    int readableBySlave() const;

    /// Takes what the slave sent: `count` bytes, or fewer when they do not come within 5 s.
    std::string receive(size_t count);

    /// Takes what the slave sent until nothing came for 200 ms.
    std::string receiveAll();

    /// Hangs up: both ends of the test's are closed, and the path is gone.
    void hangUp();

private:
    std::string receivePieces(size_t count, int patienceMs);

    int m_master;
    int m_slave; ///< keeps the pair alive while the code under test has not opened its end
    std::string m_path;
};

/// A directory that goes away with its files, and a link in it that can be pointed anywhere.
class LinkedPath
{
public:
    LinkedPath();
    ~LinkedPath();

    LinkedPath(const LinkedPath &) = delete;
    LinkedPath &operator=(const LinkedPath &) = delete;

    const std::string &path() const { return m_link; }
    void pointTo(const std::string &target);

private:
    std::string m_directory;
    std::string m_link;
};

#endif // TESTS_HMI_PTY_H
