#include "bench/soak/fault_source.h"

#include <algorithm>

#include "bench/soak/virtual_line.h"

namespace
{

/// A kind of fault.
struct KindTraits {
    Fault::Kind kind;
    const char *name;
    bool forges; ///< whether a right checksum may stand over wrong or missing values
};

const KindTraits Kinds[] = {
    {Fault::Drop, "drop", false},
    {Fault::Late, "late", false},
    {Fault::Flip, "flip", false}, // the sum is one more or one less
    {Fault::Damage, "damage", true},
    {Fault::Cut, "cut", true},
    {Fault::Noise, "noise", false}, // station and end code are noise, too
    {Fault::Echo, "echo", false},
    {Fault::WrongStation, "station", false},
    {Fault::EndCode, "endcode", false},
    {Fault::NoLineFeed, "nolf", true}, // the sum is looked for one byte too early
    {Fault::Swap, "swap", true},
    {Fault::Babble, "babble", false},
    {Fault::PowerCycle, "powercycle", false},
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
    for (const KindTraits &kind : Kinds)
        kinds.push_back(kind.kind);
    return kinds;
}

const char *FaultSource::name(Fault::Kind kind)
{
    for (const KindTraits &candidate : Kinds) {
        if (candidate.kind == kind)
            return candidate.name;
    }
    return "?";
}

bool FaultSource::forges(const std::string &name)
{
    return std::any_of(Kinds, Kinds + KindCount, [&](const KindTraits &candidate) {
        return name == candidate.name && candidate.forges;
    });
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
