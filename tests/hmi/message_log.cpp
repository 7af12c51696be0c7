#include "tests/hmi/message_log.h"

#include <QString>

#include <mutex>
#include <utility>

namespace
{

std::mutex logMutex;
std::vector<std::pair<QtMsgType, std::string>> messages; // guarded by logMutex

void catchMessage(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    const std::lock_guard<std::mutex> lock(logMutex);
    messages.emplace_back(type, text.toStdString());
}

} // namespace

MessageLog::MessageLog()
{
    const std::lock_guard<std::mutex> lock(logMutex);
    messages.clear();
    qInstallMessageHandler(catchMessage);
}

MessageLog::~MessageLog()
{
    qInstallMessageHandler(nullptr);
}

std::vector<std::string> MessageLog::texts(QtMsgType type) const
{
    const std::lock_guard<std::mutex> lock(logMutex);
    std::vector<std::string> found;
    for (const auto &message : messages) {
        if (message.first == type) {
            found.push_back(message.second);
        }
    }
    return found;
}
