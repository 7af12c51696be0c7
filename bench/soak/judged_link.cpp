#include "bench/soak/judged_link.h"

#include <algorithm>

#include "bench/soak/soak_project.h"
#include "cpl/dmc50_polling_thread.h"

namespace
{

const qint64 Nothing = -1;
const size_t DisguisesKept = 4096; // many times what is in the cache at once
const size_t ExamplesKept = 10;
const uint32_t WriteNumbers = 0x1000000;

} // namespace

const char JudgedLink::NoFault[] = "none";

JudgedLink::JudgedLink(VirtualLine *line, const ErrorTexts *texts, uint32_t seed)
    : m_line(line), m_texts(texts), m_thread(nullptr), m_faults(seed), m_faulty(true),
      m_exchanges(0), m_with_fault(0), m_step(Settled), m_damaged(false),
      m_disguises(DisguisesKept), m_disguise_count(0)
{
}

// ---- The exchange ------------------------------------------------------------------------------

QVariant JudgedLink::control(int code, const QVariant &argument)
{
    settle();
    m_step = Discarded;
    return m_line->control(code, argument);
}

int JudgedLink::writeData(const char *data, int size)
{
    ++m_exchanges;
    const std::string frame(data, static_cast<size_t>(size));
    if (m_step != Discarded)
        violation("a request follows another without an end");
    m_step = Requested;
    m_reply.clear();
    m_request = CplRequest();
    if (decodeRequest(frame, &m_request) != CplVerdict::Good || m_request.addresses.empty()) {
        violation("no controller understands " + hexDump(frame));
        return m_line->writeData(data, size);
    }
    noteSentWrites(frame);
    prepareWords();
    armFault();
    const int sent = m_line->writeData(data, size);
    m_line->line().clearFaults();
    noteFault();
    noteArrivedWrites();
    return sent;
}

int JudgedLink::readData(char *buffer, int max_size)
{
    const int count = m_line->readData(buffer, max_size);
    m_step = Answered;
    if (count > 0) {
        m_reply.append(buffer, static_cast<size_t>(count));
        noteDisguises();
    }
    return count;
}

/// Every word that is asked for gets the value of this exchange.
void JudgedLink::prepareWords()
{
    m_cached_before.clear();
    if (m_request.command != CplRequest::ReadList)
        return;
    for (const uint32_t address : m_request.addresses) {
        m_cached_before.push_back(cached(address));
        if (SoakProject::isPolled(address) || SoakProject::isOnDemand(address))
            m_line->line().setWord(m_request.station, address,
                                   SoakProject::value(m_request.station, address, m_exchanges));
    }
}

void JudgedLink::armFault()
{
    m_fault_name = NoFault;
    int &gap = m_gaps[m_request.station];
    if (!m_faulty || gap-- > 0)
        return;
    gap = m_faults.gap();
    const Fault fault = m_faults.next(m_request.station);
    m_fault_name = FaultSource::name(fault.kind);
    m_line->line().addFault(fault);
}

/// What was armed need not have struck: in a babble nothing else does, and some faults leave a
/// reply as it was.
void JudgedLink::noteFault()
{
    const bool drowned = m_line->lastRequestWasDrowned();
    m_damaged = !drowned && m_fault_name == FaultSource::name(Fault::Damage);
    if (drowned)
        m_fault_name = FaultSource::name(Fault::Babble);
    else if (!m_line->lastAnswerWasSpoiled())
        m_fault_name = NoFault;
    if (m_fault_name != NoFault)
        ++m_with_fault;
}

/// Remembers the wrong values of a reply that no check can tell from a good one, before the driver
/// has them.
void JudgedLink::noteDisguises()
{
    if (!FaultSource::forges(m_fault_name))
        return;
    for (const auto &value : readReply(m_request, m_reply).values) {
        const uint32_t address = m_request.addresses[value.first];
        if (value.second == SoakProject::value(m_request.station, address, m_exchanges))
            continue;
        const std::lock_guard<std::mutex> lock(m_disguise_mutex);
        m_disguises[m_disguise_count++ % DisguisesKept] =
            Disguise{m_request.station, address, value.second};
    }
}

bool JudgedLink::noCheckCouldTell(int station, uint32_t address, uint32_t value) const
{
    const std::lock_guard<std::mutex> lock(m_disguise_mutex);
    const auto end = m_disguises.begin() +
                     static_cast<std::ptrdiff_t>(std::min(m_disguise_count, DisguisesKept));
    return std::any_of(m_disguises.begin(), end, [&](const Disguise &disguise) {
        return disguise.station == station && disguise.address == address &&
               disguise.value == value;
    });
}

/// Whether there is more in it than the low-latency mode's.
bool JudgedLink::isNumberedWrite() const
{
    const std::vector<uint32_t> &addresses = m_request.addresses;
    return m_request.command == CplRequest::WriteList &&
           std::any_of(addresses.begin(), addresses.end(), SoakProject::isWritten);
}

/// Numbered writes must be sent once and in their order; only a whole frame may come again.
void JudgedLink::noteSentWrites(const std::string &frame)
{
    if (!isNumberedWrite())
        return;
    const int station = m_request.station;
    LastWrite &last = m_last_writes[station];
    if (frame == last.frame) {
        ++m_findings.repeated_writes;
        return;
    }
    last = LastWrite{frame, false};
    for (size_t i = 0; i < m_request.values.size(); ++i) {
        if (!SoakProject::isWritten(m_request.addresses[i]))
            continue;
        if (m_request.values[i] != ++m_findings.sent[station] % WriteNumbers)
            violation("a write is lost or out of order: " + describe(m_request));
    }
}

/// Only a babble keeps a frame from its station. Of a word that it writes twice the last value
/// counts.
void JudgedLink::noteArrivedWrites()
{
    if (!isNumberedWrite() || m_line->lastRequestWasDrowned())
        return;
    std::map<uint32_t, uint32_t> last_values;
    uint64_t numbered = 0;
    for (size_t i = 0; i < m_request.values.size(); ++i) {
        if (!SoakProject::isWritten(m_request.addresses[i]))
            continue;
        ++numbered;
        last_values[m_request.addresses[i]] = m_request.values[i];
    }
    for (const auto &word : last_values) {
        if (m_line->line().word(m_request.station, word.first) != word.second)
            violation("a station has not what was written: " + describe(m_request));
    }
    LastWrite &last = m_last_writes[m_request.station];
    m_findings.arrived += last.arrived ? 0 : numbered;
    last.arrived = true;
}

// ---- The judge ---------------------------------------------------------------------------------

void JudgedLink::settle()
{
    if (m_step == Settled || m_step == Discarded)
        return;
    if (m_step != Answered)
        violation("nobody looked at the reply to " + describe(m_request));
    m_step = Settled;
    const Reading reading = readReply(m_request, m_reply);
    Outcomes &outcomes = m_findings.outcomes[m_fault_name];
    ++outcomes.exchanges;
    if (!reading.refusal.empty()) {
        ++outcomes.refused;
        judgeErrorText(reading);
    } else if (m_thread->hasError()) {
        violation("an error in spite of a good reply");
    }
    judgeValues(reading, &outcomes);
    countDamage();
}

void JudgedLink::judgeErrorText(const Reading &reading)
{
    const QString text = m_thread->getLastError();
    const std::string expected = errorText(m_request, reading.refusal);
    if (text.toStdString() != expected)
        violation("the error is \"" + text.toStdString() + "\" and should be \"" + expected + "\"");
    const std::string reason = m_texts->reasonOf(text);
    if (reason.empty())
        violation("an error text is not documented: \"" + text.toStdString() + "\"");
    ++m_findings.reasons[reason];
}

/// Compares the cache with what a careful reader would have put there, and that with the truth.
void JudgedLink::judgeValues(const Reading &reading, Outcomes *outcomes)
{
    bool complete = true;
    for (size_t i = 0; i < m_cached_before.size(); ++i) {
        const uint32_t address = m_request.addresses[i];
        if (!SoakProject::isPolled(address) && !SoakProject::isOnDemand(address))
            continue;
        const auto read = reading.values.find(i);
        const bool came = read != reading.values.end();
        const uint32_t truth = SoakProject::value(m_request.station, address, m_exchanges);
        complete = complete && came && read->second == truth;
        if (came && read->second != truth)
            ++outcomes->wrong;
        const qint64 expected = came ? qint64(read->second) : m_cached_before[i];
        const bool polled = SoakProject::isPolled(address) && !wasReadOnDemand(i);
        if (polled && cached(address) != expected)
            violation("the cache has " + std::to_string(cached(address)) + " and should have " +
                      std::to_string(expected) + " after " + describe(m_request));
    }
    if (reading.refusal.empty())
        ++(complete ? outcomes->unharmed : outcomes->missed);
}

/// What is not in the cache yet is read on demand, and stays out of it.
bool JudgedLink::wasReadOnDemand(size_t place) const
{
    return m_cached_before[place] == Nothing && cached(m_request.addresses[place]) == Nothing;
}

void JudgedLink::countDamage()
{
    if (!m_damaged)
        return;
    ++m_findings.damaged;
    if (sumIsRight(m_reply))
        ++m_findings.damaged_sum_right;
    if (m_fault_name == NoFault)
        ++m_findings.damaged_as_before;
}

qint64 JudgedLink::cached(uint32_t address) const
{
    ulong value = 0;
    return m_thread->getDWordFromDataCacheMap(m_request.station, address, value) ? qint64(value)
                                                                                 : Nothing;
}

void JudgedLink::violation(const std::string &text)
{
    ++m_findings.violations;
    if (m_findings.examples.size() < ExamplesKept)
        m_findings.examples.push_back("exchange " + std::to_string(m_exchanges) + " (" +
                                      m_fault_name + "): " + text + ", reply " + hexDump(m_reply));
}
