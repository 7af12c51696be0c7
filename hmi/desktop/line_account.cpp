#include "hmi/desktop/line_account.h"

#include <algorithm>

namespace
{

// Station, sub-address, end code and the frame around them.
const size_t ShortestReply = 13;
const qint64 UsPerMs = 1000;

quint64 valueKey(int station, quint32 address)
{
    return (static_cast<quint64>(station) << 32) | address;
}

/// The middle one, or the mean of the middle two; -1 when there is none.
qint64 median(std::vector<qint64> samples)
{
    if (samples.empty()) {
        return -1;
    }
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    if (samples.size() % 2 == 1) {
        return *middle;
    }
    const qint64 below = *std::max_element(samples.begin(), middle);
    return (below + *middle) / 2;
}

quint64 *counterOf(ExchangeResult result, StationReport *counts)
{
    switch (result) {
    case ExchangeResult::Good:
        return &counts->goodReplies;
    case ExchangeResult::NoAnswer:
        return &counts->noAnswer;
    case ExchangeResult::Short:
        return &counts->shortReplies;
    case ExchangeResult::Checksum:
        return &counts->checksumErrors;
    case ExchangeResult::OtherStation:
        return &counts->otherStation;
    case ExchangeResult::EndCode:
        break;
    }
    return &counts->endCodes;
}

/// What a sound reply says, seen beside its request.
ExchangeResult resultOf(const CplRequest &request, const CplReply &reply)
{
    if (reply.station != request.station) {
        return ExchangeResult::OtherStation;
    }
    if (reply.endCode != 0) {
        return ExchangeResult::EndCode;
    }
    const bool isRead = request.command == CplRequest::ReadList;
    return isRead && reply.words.size() < request.addresses.size() ? ExchangeResult::Short
                                                                   : ExchangeResult::Good;
}

std::string meaningOf(ExchangeResult result, CplVerdict verdict, const CplReply &reply)
{
    if (result == ExchangeResult::NoAnswer) {
        return "no answer";
    }
    if (verdict != CplVerdict::Good) {
        return describe(verdict);
    }
    if (result == ExchangeResult::OtherStation) {
        return describe(reply) + "; another station was asked";
    }
    if (result == ExchangeResult::Short) {
        return describe(reply) + "; more words were asked for";
    }
    return describe(reply);
}

} // namespace

const size_t LineAccount::LongestReply;
const int StationReport::MedianWindow;

std::string LineAccount::begin(const std::string &frame, qint64 at)
{
    const CplVerdict verdict = decodeRequest(frame, &m_request);
    m_open = true;
    m_readable = verdict == CplVerdict::Good;
    m_complete = false;
    m_reply.clear();
    m_started_at = at;
    m_last_activity = at;
    if (m_first_request_at < 0) {
        m_first_request_at = at;
    }
    if (!m_readable) {
        ++m_line.unreadableRequests;
        return describe(verdict);
    }
    ++asked().counts.requests;
    return describe(m_request);
}

/// The station that the readable request is for.
LineAccount::Station &LineAccount::asked()
{
    Station &station = m_stations[m_request.station];
    station.counts.station = m_request.station;
    return station;
}

void LineAccount::sent(int count)
{
    const quint64 bytes = static_cast<quint64>(std::max(count, 0));
    m_line.bytesOut += bytes;
    if (m_readable) {
        asked().counts.bytesOut += bytes;
    }
}

bool LineAccount::received(const std::string &bytes, qint64 at)
{
    m_line.bytesIn += bytes.size();
    if (!m_open || bytes.empty()) {
        return false;
    }
    if (m_readable) {
        asked().counts.bytesIn += bytes.size();
    }
    m_reply.append(bytes, 0, LongestReply - m_reply.size());
    m_last_activity = at;
    m_complete = bytes.back() == '\n';
    return m_complete;
}

EndedExchange LineAccount::finish(qint64 at)
{
    m_open = false;
    m_busy_us += at - m_started_at;
    const Judgement judgement = judge();
    if (m_readable) {
        addResult(judgement, at);
    }
    EndedExchange ended;
    ended.result = judgement.result;
    ended.reply = m_reply;
    ended.meaning = meaningOf(judgement.result, judgement.verdict, judgement.reply);
    return ended;
}

LineAccount::Judgement LineAccount::judge() const
{
    Judgement judgement = {ExchangeResult::NoAnswer, CplVerdict::Incomplete, CplReply()};
    if (m_reply.empty()) {
        return judgement;
    }
    judgement.verdict = decodeReply(m_reply, &judgement.reply);
    if (m_reply.size() < ShortestReply || !m_complete) {
        judgement.verdict = CplVerdict::Incomplete;
        judgement.result = ExchangeResult::Short;
    } else if (judgement.verdict != CplVerdict::Good) {
        judgement.result = ExchangeResult::Checksum;
    } else {
        judgement.result = m_readable ? resultOf(m_request, judgement.reply) : ExchangeResult::Good;
    }
    return judgement;
}

void LineAccount::addResult(const Judgement &judgement, qint64 at)
{
    Station &station = asked();
    ++*counterOf(judgement.result, &station.counts);
    ++m_line.exchanges;
    if (judgement.result == ExchangeResult::Good) {
        addRoundTrip(&station, at - m_started_at);
        station.failingSince = -1;
    } else {
        ++m_line.failed;
        station.failingSince = station.failingSince < 0 ? at : station.failingSince;
    }
    if (judgement.result == ExchangeResult::EndCode) {
        station.counts.lastEndCode = judgement.reply.endCode;
    }
    if (judgement.verdict == CplVerdict::Good &&
        (judgement.result == ExchangeResult::Good || judgement.result == ExchangeResult::Short)) {
        rememberValues(judgement.reply, at);
    }
}

void LineAccount::addRoundTrip(Station *station, qint64 us)
{
    StationReport &counts = station->counts;
    counts.leastRoundTripUs =
        counts.leastRoundTripUs < 0 ? us : std::min(counts.leastRoundTripUs, us);
    counts.greatestRoundTripUs = std::max(counts.greatestRoundTripUs, us);
    if (station->roundTrips.size() < static_cast<size_t>(StationReport::MedianWindow)) {
        station->roundTrips.push_back(us);
    } else {
        station->roundTrips[station->oldestRoundTrip] = us;
        station->oldestRoundTrip = (station->oldestRoundTrip + 1) % station->roundTrips.size();
    }
}

/// The values that a reply to a read carries are fresh, also where further ones are missing.
void LineAccount::rememberValues(const CplReply &reply, qint64 at)
{
    if (m_request.command != CplRequest::ReadList) {
        return;
    }
    const size_t count = std::min(reply.words.size(), m_request.addresses.size());
    for (size_t i = 0; i < count; ++i) {
        m_good_reads[valueKey(m_request.station, m_request.addresses[i])] = at;
    }
}

LineReport LineAccount::report(qint64 now) const
{
    LineReport report = m_line;
    for (const auto &entry : m_stations) {
        report.stations.push_back(stationReport(entry.second, now));
    }
    if (m_first_request_at >= 0) {
        report.elapsedUs = now - m_first_request_at;
    }
    const qint64 busyUs = m_busy_us + (m_open ? now - m_started_at : 0);
    if (report.elapsedUs > 0) {
        report.busyShare = static_cast<double>(busyUs) / static_cast<double>(report.elapsedUs);
    }
    return report;
}

StationReport LineAccount::stationReport(const Station &station, qint64 now)
{
    StationReport report = station.counts;
    report.medianRoundTripUs = median(station.roundTrips);
    if (station.failingSince >= 0) {
        report.failingForMs = (now - station.failingSince) / UsPerMs;
    }
    return report;
}

qint64 LineAccount::lastGoodRead(int station, quint32 address) const
{
    const auto found = m_good_reads.find(valueKey(station, address));
    return found == m_good_reads.end() ? -1 : found->second;
}
