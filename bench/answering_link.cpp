#include "bench/answering_link.h"

#include <algorithm>
#include <cstring>

#include "common/clock.h"
#include "simulator/cpl_frame.h"

void AnsweringLink::waitForValues(int values) const
{
    const int end = m_values + values;
    while (m_values < end)
        Clock::system()->sleep(1);
}

int AnsweringLink::writeData(const char *data, int size)
{
    m_reply.clear();
    CplRequest request;
    if (decodeRequest(std::string(data, static_cast<size_t>(size)), &request) != CplVerdict::Good)
        return size;
    CplReply reply = CplReply();
    reply.station = request.station;
    reply.words.assign(request.addresses.begin(), request.addresses.end());
    m_reply = encodeReply(reply);
    m_values += static_cast<int>(reply.words.size());
    return size;
}

int AnsweringLink::readData(char *buffer, int max_size)
{
    const size_t count = std::min(m_reply.size(), static_cast<size_t>(max_size));
    std::memcpy(buffer, m_reply.data(), count);
    m_reply.erase(0, count);
    return static_cast<int>(count);
}
