#include "bench/soak/fault_source.h"

#include "bench/soak/virtual_line.h"

namespace
{

struct KindName {
    Fault::Kind kind;
    const char *name;
};

const KindName Kinds[] = {
    {Fault::Drop, "drop"},
    {Fault::Late, "late"},
    {Fault::Flip, "flip"},
    {Fault::Damage, "damage"},
    {Fault::Cut, "cut"},
    {Fault::Noise, "noise"},
    {Fault::Echo, "echo"},
    {Fault::WrongStation, "station"},
    {Fault::EndCode, "endcode"},
    {Fault::NoLineFeed, "nolf"},
    {Fault::Swap, "swap"},
    {Fault::Babble, "babble"},
    {Fault::PowerCycle, "powercycle"},
};
const int KindCount = sizeof Kinds / sizeof *Kinds;

const int LongestGap = 2;
const int LongestReply = 420;
const int MostDamages = 8;
const int MostNoise = 200;
const int LongestBabbleMs = 1000;

} // namespace

FaultSource::FaultSource(uint32_t seed) : m_random(seed) {}

std::vector<Fault::Kind> FaultSource::allKinds()
{
    std::vector<Fault::Kind> kinds;
    for (const KindName &kind : Kinds)
        kinds.push_back(kind.kind);
    return kinds;
}

const char *FaultSource::name(Fault::Kind kind)
{
    for (const KindName &candidate : Kinds) {
        if (candidate.kind == kind)
            return candidate.name;
    }
    return "?";
}

int FaultSource::between(int least, int most)
{
    return least + static_cast<int>(m_random() % static_cast<unsigned>(most - least + 1));
}

Fault FaultSource::next(int station)
{
    Fault fault;
    fault.kind = between(0, 1) == 0 ? Fault::Damage : Kinds[between(0, KindCount - 1)].kind;
    fault.value = ownValue(fault.kind);
    fault.station = station;
    fault.count = 1;
    return fault;
}

int FaultSource::gap()
{
    return between(0, LongestGap);
}

int FaultSource::ownValue(Fault::Kind kind)
{
    switch (kind) {
    case Fault::Late:
        // In time and too late alike; what comes still later would be taken for the reply to the
        // next request, and nothing in a frame tells.
        return between(0, 1) == 0 ? between(1, VirtualLine::TimeoutMs)
                                  : VirtualLine::TimeoutMs + between(1, VirtualLine::QuietGapMs);
    case Fault::Flip:
    case Fault::Swap:
    case Fault::Cut:
        return between(0, LongestReply);
    case Fault::Damage:
        return between(1, MostDamages);
    case Fault::Noise:
        return between(1, MostNoise);
    case Fault::WrongStation:
        return between(0, 255);
    case Fault::EndCode:
        return between(1, 255);
    case Fault::Babble:
        return between(1, LongestBabbleMs);
    default:
        return Fault::Default;
    }
}
