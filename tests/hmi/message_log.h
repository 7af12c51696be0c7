// What the code under test says on the debug output.

#ifndef TESTS_HMI_MESSAGE_LOG_H
#define TESTS_HMI_MESSAGE_LOG_H

#include <QtGlobal>

#include <string>
#include <vector>

/// Catches the messages of all threads while it lives. One at a time.
class MessageLog
{
public:
    MessageLog();
    ~MessageLog();

    MessageLog(const MessageLog &) = delete;
    MessageLog &operator=(const MessageLog &) = delete;

    /// The messages of one kind so far, oldest first.
    std::vector<std::string> texts(QtMsgType type) const;
};

#endif // TESTS_HMI_MESSAGE_LOG_H
