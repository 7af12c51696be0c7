#include "bench/frames.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "simulator/cpl_frame.h"

namespace
{

const uchar Station = 1;
const ulong FirstAddress = 0x1000;
const quint32 FirstValue = 0x89ABCDEF;

std::string replyWith(int words)
{
    CplReply reply = CplReply();
    reply.station = Station;
    for (int i = 0; i < words; ++i)
        reply.words.push_back(FirstValue + static_cast<quint32>(i));
    return encodeReply(reply);
}

void mustHold(bool condition)
{
    if (!condition)
        abort();
}

} // namespace

int ReplyingLink::readData(char *buffer, int max_size)
{
    const int count = std::min(static_cast<int>(m_reply.size()), max_size);
    memcpy(buffer, m_reply.data(), static_cast<size_t>(count));
    return count;
}

Frames::Frames()
    : m_buffer(Cpl::BufferSize), m_read_reply(replyWith(Cpl::MaxReadAddresses)),
      m_write_reply(replyWith(0)), m_polling(&m_link, &m_no_project, Station)
{
    for (uint i = 0; i < Cpl::MaxReadAddresses; ++i)
        m_addresses.push_back(AddressAt(FirstAddress, i));
    for (uint i = 0; i < Cpl::MaxWritePairs; ++i)
        m_pairs.push_back({static_cast<quint32>(AddressAt(FirstAddress, i)), FirstValue + i});
    // The loop makes the buffers, and ends before anything else.
    m_polling.stop();
    m_polling.run();
}

void Frames::packRead()
{
    mustHold(CPLPackRNCmd(m_buffer.data(), static_cast<int>(m_buffer.size()), Station, 0,
                          m_addresses.data(), Cpl::MaxReadAddresses) == 417);
}

void Frames::packWrite()
{
    mustHold(CPLPackWNCmd(m_buffer.data(), static_cast<int>(m_buffer.size()), Station, 0,
                          m_pairs.data(), Cpl::MaxWritePairs) == 417);
}

void Frames::takeReply(const std::string &reply)
{
    m_link.setReply(reply);
    m_polling.resetRspBuf();
    m_polling.readRspUntilLF();
}

void Frames::parseReadReply()
{
    takeReply(m_read_reply);
    mustHold(m_polling.checkReadRsp(Station, FirstAddress));
    m_polling.readRspToDataCacheMap(Station, m_addresses.data(), Cpl::MaxReadAddresses);
}

void Frames::parseWriteReply()
{
    takeReply(m_write_reply);
    mustHold(m_polling.checkWriteRsp(Station, FirstAddress));
}

const std::vector<Frames::Action> &Frames::actions()
{
    static const std::vector<Action> all = {{"pack-read", &Frames::packRead},
                                            {"pack-write", &Frames::packWrite},
                                            {"parse-read-reply", &Frames::parseReadReply},
                                            {"parse-write-reply", &Frames::parseWriteReply}};
    return all;
}
