#include "simulator/line.h"

#include <utility>

namespace
{

const size_t TextBegin = 1;       // behind STX
const size_t EtxFromEnd = 5;      // ETX, checksum, CR LF
const char FirstNoiseByte = 0x20; // printable, so neither STX nor a line feed
const unsigned NoiseBytes = 0x5F;
const unsigned ByteValues = 0x100;

/// The same frame with another text between STX and ETX, and the checksum that fits.
std::string reencoded(const std::string &frame, void (*change)(CplReply *, int), int value)
{
    CplReply reply;
    if (decodeReply(frame, &reply) != CplVerdict::Good)
        return frame;
    change(&reply, value);
    return encodeReply(reply);
}

void changeStation(CplReply *reply, int value)
{
    reply->station = static_cast<uint8_t>(value);
}

void refuse(CplReply *reply, int value)
{
    reply->endCode = static_cast<uint8_t>(value);
    reply->words.clear();
}

void flipBit(std::string *bytes, int at)
{
    const size_t position = at < 0 ? bytes->size() / 2 : static_cast<size_t>(at);
    if (position < bytes->size())
        (*bytes)[position] = static_cast<char>((*bytes)[position] ^ 1);
}

void swapBytes(std::string *bytes, int at)
{
    if (bytes->size() <= EtxFromEnd)
        return;
    const size_t position = at < 0 ? bytes->size() - EtxFromEnd - 1 : static_cast<size_t>(at);
    if (position + 1 < bytes->size())
        std::swap((*bytes)[position], (*bytes)[position + 1]);
}

} // namespace

const char Line::BabbleByte;

Line::Line(const std::vector<int> &stations, uint32_t seed) : m_random(seed)
{
    for (const int number : stations)
        m_stations.insert(std::make_pair(number, Station(static_cast<uint8_t>(number), seed)));
}

LineAnswer Line::answer(const std::string &frame, int64_t nowMs)
{
    LineAnswer answer;
    CplRequest request;
    if (decodeRequest(frame, &request) != CplVerdict::Good)
        return answer;
    const auto found = m_stations.find(request.station);
    if (found == m_stations.end())
        return answer;
    found->second.advanceTo(nowMs);
    const std::string sound = encodeReply(found->second.handle(request));
    answer.bytes = sound;
    for (ArmedFault &armed : m_faults) {
        if (strikes(&armed, request.station))
            apply(armed.fault, frame, &found->second, &answer);
    }
    answer.spoiled = answer.bytes != sound || answer.lateMs != 0 || answer.babbleMs != 0;
    return answer;
}

bool Line::strikes(ArmedFault *armed, int station) const
{
    const Fault &fault = armed->fault;
    if (fault.station >= 0 && fault.station != station)
        return false;
    ++armed->met;
    if (armed->met % fault.every != 0 || (fault.count >= 0 && armed->hits >= fault.count))
        return false;
    ++armed->hits;
    return true;
}

void Line::apply(const Fault &fault, const std::string &request, Station *station,
                 LineAnswer *answer)
{
    std::string &bytes = answer->bytes;
    switch (fault.kind) {
    case Fault::Drop:
        bytes.clear();
        break;
    case Fault::Late:
        answer->lateMs += fault.value;
        break;
    case Fault::Flip:
        flipBit(&bytes, fault.value);
        break;
    case Fault::Damage:
        damage(&bytes, fault.value);
        break;
    case Fault::Cut:
        bytes = bytes.substr(0, static_cast<size_t>(fault.value));
        break;
    case Fault::Noise:
        bytes = noise(fault.value) + bytes;
        break;
    case Fault::Echo:
        bytes = request + bytes;
        break;
    case Fault::WrongStation:
        bytes = reencoded(bytes, changeStation, fault.value);
        break;
    case Fault::EndCode:
        bytes = reencoded(bytes, refuse, fault.value);
        break;
    case Fault::NoLineFeed:
        bytes = bytes.substr(0, bytes.empty() ? 0 : bytes.size() - 1);
        break;
    case Fault::Swap:
        swapBytes(&bytes, fault.value);
        break;
    case Fault::Babble:
        answer->babbleMs = fault.value;
        break;
    case Fault::PowerCycle:
        station->powerCycle();
        bytes.clear();
        break;
    }
}

std::string Line::noise(int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; ++i)
        text += static_cast<char>(FirstNoiseByte + static_cast<char>(m_random() % NoiseBytes));
    return text;
}

void Line::damage(std::string *bytes, int times)
{
    if (bytes->size() <= TextBegin + EtxFromEnd)
        return;
    const size_t text = bytes->size() - TextBegin - EtxFromEnd;
    for (int i = 0; i < times; ++i)
        (*bytes)[TextBegin + m_random() % text] = static_cast<char>(m_random() % ByteValues);
}

void Line::addFault(const Fault &fault)
{
    const ArmedFault armed = {fault, 0, 0};
    m_faults.push_back(armed);
}

void Line::clearFaults()
{
    m_faults.clear();
}

bool Line::hasStation(int station) const
{
    return m_stations.count(station) > 0;
}

uint32_t Line::word(int station, uint32_t address) const
{
    const auto found = m_stations.find(station);
    return found == m_stations.end() ? 0 : found->second.word(address);
}

void Line::setWord(int station, uint32_t address, uint32_t value)
{
    const auto found = m_stations.find(station);
    if (found != m_stations.end())
        found->second.setWord(address, value);
}
