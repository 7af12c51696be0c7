#include "bench/soak/runtime_user.h"

#include "bench/soak/judged_link.h"
#include "bench/soak/soak_project.h"
#include "common/clock.h"
#include "cpl/dmc50_polling_thread.h"

namespace
{

const ulong PauseMs = 10;
const uint32_t MostWords = 10;
const uint32_t MostWrites = 60;
const int QueueIsFull = 100; // pairs; the runtime looks at the queue before it writes more
const size_t ExamplesKept = 10;

uint32_t wordAt(const QByteArray &data, uint32_t index)
{
    uint32_t word = 0;
    for (int i = 3; i >= 0; --i)
        word = word << 8 | static_cast<uchar>(data.at(static_cast<int>(4 * index) + i));
    return word;
}

/// How long ago, in exchanges, the one was whose number a value carries.
uint32_t age(uint32_t value, uint64_t exchange)
{
    return (static_cast<uint32_t>(exchange % SoakProject::ExchangeNumbers) - value) %
           SoakProject::ExchangeNumbers;
}

} // namespace

RuntimeUser::RuntimeUser(PollingThread *polling, const JudgedLink *link, Clock *clock,
                         uint32_t seed)
    : m_polling(polling), m_link(link), m_clock(clock), m_random(seed)
{
}

uint32_t RuntimeUser::draw(uint32_t count)
{
    return static_cast<uint32_t>(m_random()) % count;
}

uchar RuntimeUser::drawStation()
{
    return static_cast<uchar>(1 + draw(static_cast<uint32_t>(SoakProject::stations().size())));
}

void RuntimeUser::act()
{
    const uint32_t count = 1 + draw(MostWords);
    switch (draw(4)) {
    case 0:
        read(drawStation(), SoakProject::FirstOnDemand + draw(SoakProject::OnDemandCount - count),
             count);
        break;
    case 1:
        write(drawStation(), 1 + draw(MostWrites));
        break;
    default:
        read(drawStation(), SoakProject::FirstPolled + draw(SoakProject::PolledCount - count),
             count);
    }
    m_clock->sleep(PauseMs);
}

void RuntimeUser::read(uchar station, uint32_t first, uint32_t count)
{
    AddressVector addresses;
    UCharVector indexes;
    for (uint32_t i = 0; i < count; ++i) {
        addresses.push_back(first + i);
        indexes.push_back(static_cast<uchar>(i));
    }
    QByteArray data(static_cast<int>(4 * count), '\0');
    AddressVector misses;
    UCharVector miss_indexes;
    const uint64_t asked = m_link->exchanges();
    if (!m_polling->readDataCacheMap(station, addresses, indexes, data, misses, miss_indexes) ||
        !m_polling->readOnceData(station, data, misses, miss_indexes)) {
        ++m_findings.given_up;
        return;
    }
    ++(misses.empty() ? m_findings.cache_reads : m_findings.on_demand);
    for (uint32_t i = 0; i < count; ++i)
        check(station, first + i, wordAt(data, i), asked);
}

/// A value must say that it is this word's; one that was read on demand, that it was read after the
/// runtime asked for it.
void RuntimeUser::check(uchar station, uint32_t address, uint32_t value, uint64_t asked)
{
    ++m_findings.values;
    const uint64_t now = m_link->exchanges();
    const bool belongs = value == SoakProject::value(station, address, value);
    const bool recent = SoakProject::isPolled(address) || age(value, now) < now - asked;
    if (belongs && recent)
        return;
    if (m_link->noCheckCouldTell(station, address, value))
        ++m_findings.disguised;
    else
        violation("station " + std::to_string(station) + ", word " + std::to_string(address) +
                  ", read " + std::to_string(value) + (belongs ? ", too old" : ""));
}

void RuntimeUser::write(uchar station, uint32_t count)
{
    if (m_polling->getAddrArgQueueSize(station) >= QueueIsFull)
        return;
    std::vector<AddrArg> pairs;
    const uint32_t taken = m_findings.writes[station];
    for (uint32_t i = 1; i <= count; ++i) {
        const uint32_t number = taken + i;
        pairs.push_back(
            AddrArg{SoakProject::FirstWritten + number % SoakProject::WrittenCount, number});
    }
    if (m_polling->writeDWords(station, pairs))
        m_findings.writes[station] += count;
    else
        ++m_findings.refused_writes;
}

bool RuntimeUser::allFreshSince(uint64_t exchange)
{
    for (const int station : SoakProject::stations()) {
        for (uint32_t i = 0; i < SoakProject::PolledCount; ++i) {
            const uint32_t address = SoakProject::FirstPolled + i;
            ulong value = 0;
            if (!m_polling->getDWordFromDataCacheMap(static_cast<uchar>(station), address, value))
                return false;
            const uint32_t word = static_cast<uint32_t>(value);
            const uint64_t now = m_link->exchanges();
            if (word != SoakProject::value(station, address, word) ||
                age(word, now) >= now - exchange)
                return false;
        }
    }
    return true;
}

void RuntimeUser::violation(const std::string &text)
{
    ++m_findings.violations;
    if (m_findings.examples.size() < ExamplesKept)
        m_findings.examples.push_back(text);
}
