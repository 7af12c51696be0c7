#include "simulator/station.h"

#include <algorithm>
#include <cmath>

namespace
{

const int64_t StepMs = 100;
const int64_t LongestCatchUpMs = 3600000; // what lies further back makes no difference any more
const double LagMs = 20000.0;
const double Ambient = 250.0; // 25.0 degrees
const double Gain = 2.0;      // 0.1 percent of output for 0.1 degrees of deviation
const uint32_t FirstSetPoint = 4000;
const uint32_t SetPointPerLoop = 500;
const uint32_t SetPointPerStation = 200;
const int64_t AlarmDeviation = 100;
const int64_t ReachedDeviation = 10;

const size_t MostReads = 50;
const size_t MostPairs = 25;
const size_t MostRun = 50;

uint32_t loopAddress(uint32_t loop, uint32_t word)
{
    return StationMap::FirstLoop + loop * StationMap::LoopStride + word;
}

size_t mostItems(CplRequest::Command command)
{
    switch (command) {
    case CplRequest::ReadList:
        return MostReads;
    case CplRequest::WriteList:
        return MostPairs;
    default:
        return MostRun;
    }
}

} // namespace

Station::Station(uint8_t number, uint32_t seed)
    : m_number(number), m_noise(seed * 257U + number), m_loops(), m_now_ms(-1)
{
    for (uint32_t loop = 0; loop < StationMap::LoopCount; ++loop) {
        m_loops[loop].processValue = Ambient;
        m_words[loopAddress(loop, StationMap::SetPoint)] =
            FirstSetPoint + loop * SetPointPerLoop + number * SetPointPerStation;
        stepLoop(loop);
    }
    for (uint32_t step = 0; step < StationMap::StepCount; ++step) {
        for (uint32_t value = 0; value < StationMap::StepValues; ++value)
            m_words[StationMap::FirstStep + step * StationMap::StepStride + value] =
                static_cast<uint32_t>(m_noise() % 10000);
    }
}

void Station::advanceTo(int64_t nowMs)
{
    if (m_now_ms < 0)
        m_now_ms = nowMs;
    m_now_ms = std::max(m_now_ms, nowMs - LongestCatchUpMs);
    for (; m_now_ms + StepMs <= nowMs; m_now_ms += StepMs)
        step();
}

void Station::step()
{
    for (uint32_t loop = 0; loop < StationMap::LoopCount; ++loop)
        stepLoop(loop);
}

void Station::stepLoop(uint32_t index)
{
    Loop &loop = m_loops[index];
    const double setPoint = static_cast<int32_t>(word(loopAddress(index, StationMap::SetPoint)));
    const double noise = static_cast<double>(m_noise() % 7) - 3.0;
    loop.processValue += (setPoint - loop.processValue) * (static_cast<double>(StepMs) / LagMs);
    const int64_t shown = std::llround(loop.processValue + noise / 2);
    const double output =
        std::min(1000.0, std::max(0.0, 500.0 + Gain * (setPoint - loop.processValue)));

    const int64_t deviation = shown - std::llround(setPoint);
    uint32_t alarms = 0;
    if (deviation > AlarmDeviation)
        alarms |= StationMap::AlarmHigh;
    if (deviation < -AlarmDeviation)
        alarms |= StationMap::AlarmLow;
    if (std::abs(deviation) <= ReachedDeviation)
        alarms |= StationMap::AlarmReached;

    m_words[loopAddress(index, StationMap::ProcessValue)] = static_cast<uint32_t>(shown);
    m_words[loopAddress(index, StationMap::Output)] = static_cast<uint32_t>(std::llround(output));
    m_words[loopAddress(index, StationMap::Alarms)] = alarms;
}

uint32_t Station::word(uint32_t address) const
{
    const auto found = m_words.find(address);
    return found == m_words.end() ? 0 : found->second;
}

void Station::setWord(uint32_t address, uint32_t value)
{
    m_words[address] = value;
}

void Station::write(uint32_t address, uint32_t value)
{
    if (address == StationMap::LowLatencyState)
        return;
    setWord(address, value);
    if (address == StationMap::LowLatencyCommand) {
        const uint32_t on = StationMap::LowLatencyOn;
        setWord(StationMap::LowLatencyState, value == on ? on : 0);
    }
}

uint8_t Station::refusal(const CplRequest &request) const
{
    if (request.command == CplRequest::Unknown)
        return EndUnknownCommand;
    if (request.addresses.size() > mostItems(request.command))
        return EndTooManyItems;
    for (const uint32_t address : request.addresses) {
        if (address > StationMap::LastAddress)
            return EndAddressRange;
    }
    return EndGood;
}

CplReply Station::handle(const CplRequest &request)
{
    CplReply reply;
    reply.station = m_number;
    reply.subAddress = request.subAddress;
    reply.endCode = refusal(request);
    if (reply.endCode != EndGood)
        return reply;
    for (size_t i = 0; i < request.addresses.size(); ++i) {
        if (request.command == CplRequest::ReadList)
            reply.words.push_back(word(request.addresses[i]));
        else
            write(request.addresses[i], request.values[i]);
    }
    return reply;
}

void Station::powerCycle()
{
    for (uint32_t address = StationMap::LowLatencyBegin; address < StationMap::LowLatencyEnd;
         ++address)
        m_words.erase(address);
}
