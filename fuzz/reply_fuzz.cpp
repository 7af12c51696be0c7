// Replies of the line: what the polling thread accepts has the right checksum, station and end
// code, what it refuses has the documented text, and the values are those that stand in the reply.
//
// An input is the station asked, the number and order of the addresses asked, the size of the
// pieces in which the reply arrives, and the reply.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <QString>

#include "cpl/dmc50_cpl.h"
#include "cpl/dmc50_polling_thread.h"
#include "fuzz/expect.h"
#include "fuzz/scripted_link.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t maxSize);

namespace
{

enum Question { StationByte, CountByte, PieceByte, QuestionSize };

const ulong StartAddress = 0x2012;
const size_t LongestReply = 420;
const size_t ShortestReply = 13;
const size_t StationDigits = 1;
const size_t EndCodeDigits = 6;
const size_t FirstValue = 8;
const size_t ValueDigits = 8;
const size_t ChecksumTail = 4; ///< checksum and line end
const size_t Tail = 5;         ///< with ETX
const char HexDigits[] = "0123456789ABCDEF";

const uchar DefaultStation = 1;

/// Of the addresses asked. Those that are polled ascend; reads on demand ask in any order, and some
/// more than once. The count's byte divided by the largest count; what is left are a few ascending.
enum Order { Ascending, Descending, Scattered, Twice, OverAndOver };

const size_t Scatter = 37; ///< has no divisor in common with the largest count
const size_t Period = 7;

// ---- A second reading of replies ---------------------------------------------------------------

/// The value of a digit, -1 for all else.
int digit(char c)
{
    const char upper = c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
    const char *const found = std::strchr(HexDigits, upper);
    return c != '\0' && found != nullptr ? static_cast<int>(found - HexDigits) : -1;
}

/// False when not all of `count` characters are digits.
bool readNumber(const std::string &reply, size_t position, size_t count, ulong &value)
{
    value = 0;
    for (size_t i = position; i < position + count; ++i) {
        if (digit(reply[i]) < 0)
            return false;
        value = value << 4 | static_cast<ulong>(digit(reply[i]));
    }
    return true;
}

/// A byte's two digits where what is no number counts as 0; a zero byte ends the number.
uint lenientByte(const std::string &reply, size_t position)
{
    ulong value = 0;
    const size_t count = reply[position] != '\0' && reply[position + 1] == '\0' ? 1 : 2;
    const bool isPrefix = reply[position] == '0' && (reply[position + 1] | 0x20) == 'x';
    return !isPrefix && readNumber(reply, position, count, value) ? static_cast<uint>(value) : 0;
}

bool hasRightChecksum(const std::string &reply)
{
    uint sum = 0;
    for (size_t i = 0; i < reply.size() - ChecksumTail; ++i)
        sum += static_cast<uchar>(reply[i]);
    return ((sum + lenientByte(reply, reply.size() - ChecksumTail)) & 0xFFU) == 0;
}

/// What is wrong with a reply; empty when nothing is.
std::string faultOf(const std::string &reply, uint station, const char *shortReply)
{
    if (reply.empty())
        return "DMC50 no response";
    if (reply.size() < ShortestReply)
        return shortReply;
    if (!hasRightChecksum(reply))
        return "checksum error";
    if (lenientByte(reply, StationDigits) != station)
        return "invalid station id from DMC50";
    ulong endCode = 0;
    if (!readNumber(reply, EndCodeDigits, 2, endCode))
        endCode = 0xFF;
    char text[32] = "";
    if (endCode != 0)
        std::snprintf(text, sizeof text, "end code %02XH", static_cast<uint>(endCode));
    return text;
}

/// What of the incoming bytes belongs to the reply: it ends with a piece that ends a line.
std::string replyIn(const std::string &incoming, size_t piece)
{
    size_t length = 0;
    while (length < std::min(incoming.size(), LongestReply)) {
        length = std::min({length + piece, incoming.size(), LongestReply});
        if (incoming[length - 1] == '\n')
            break;
    }
    return incoming.substr(0, length);
}

/// False when the reply does not hold all of it.
bool valueIn(const std::string &reply, size_t index, ulong &value)
{
    const size_t position = FirstValue + index * ValueDigits;
    return position + ValueDigits + Tail <= reply.size() &&
           readNumber(reply, position, ValueDigits, value);
}

// ---- The driver's ------------------------------------------------------------------------------

class Line
{
public:
    Line()
    {
        m_project[DefaultStation].push_back(StartAddress);
        m_thread.reset(new PollingThread(&link, &m_project, DefaultStation));
        // The loop makes the buffers, and ends before its first pass.
        m_thread->stop();
        m_thread->run();
    }

    ScriptedLink link;
    PollingThread &thread() { return *m_thread; }

private:
    AddressVectorMap m_project;
    std::unique_ptr<PollingThread> m_thread;
};

void expectVerdict(PollingThread &thread, bool good, const char *format, uchar station,
                   const std::string &fault)
{
    EXPECT(good == fault.empty());
    EXPECT(good != thread.hasError());
    if (good)
        return;
    char prefix[64];
    std::snprintf(prefix, sizeof prefix, format, uint(station), static_cast<uint>(StartAddress));
    EXPECT(thread.getLastError() == QString::fromLatin1(prefix) + fault.c_str());
}

/// Number of the i-th of `count` addresses, behind the start address; below `count` except for
/// scattered ones.
size_t placeOf(size_t i, size_t count, int order)
{
    switch (order) {
    case Descending:
        return count - 1 - i;
    case Scattered:
        return i * Scatter % Cpl::MaxReadAddresses;
    case Twice:
        return i / 2;
    case OverAndOver:
        return i % Period;
    default:
        return i;
    }
}

/// Of several values for one address the last one counts.
void expectValues(PollingThread &thread, uchar station, const std::string &reply, size_t count,
                  int order)
{
    bool there[Cpl::MaxReadAddresses] = {};
    ulong values[Cpl::MaxReadAddresses] = {};
    ulong addresses[Cpl::MaxReadAddresses];
    for (size_t i = 0; i < count; ++i) {
        const size_t place = placeOf(i, count, order);
        addresses[i] = StartAddress + place;
        ulong value = 0;
        if (!valueIn(reply, i, value))
            continue;
        there[place] = true;
        values[place] = value;
    }
    thread.clearDataCacheMap();
    thread.readRspToDataCacheMap(station, addresses, static_cast<int>(count));
    for (size_t place = 0; place < Cpl::MaxReadAddresses; ++place) {
        ulong cached = 0;
        EXPECT(thread.getDWordFromDataCacheMap(station, StartAddress + place, cached) ==
               there[place]);
        EXPECT(cached == values[place] || !there[place]);
    }
}

// ---- Replies that get through ------------------------------------------------------------------

void putByte(uint8_t *place, uint value)
{
    place[0] = static_cast<uint8_t>(HexDigits[value >> 4 & 0xFU]);
    place[1] = static_cast<uint8_t>(HexDigits[value & 0xFU]);
}

/// Gives a reply its station, line end and checksum.
void makeWhole(uint8_t *reply, size_t size, uint8_t station, bool withStation)
{
    if (withStation)
        putByte(reply + StationDigits, station);
    uint sum = 0;
    for (size_t i = 0; i < size - ChecksumTail; ++i)
        sum += reply[i];
    putByte(reply + size - ChecksumTail, (0x100U - sum) & 0xFFU);
    reply[size - 2] = '\r';
    reply[size - 1] = '\n';
}

} // namespace

/// Random changes alone would hardly ever leave a right checksum.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize,
                                          unsigned int seed)
{
    size = LLVMFuzzerMutate(data, size, maxSize);
    if (size >= QuestionSize + ShortestReply && seed % 8 != 0)
        makeWhole(data + QuestionSize, size - QuestionSize, data[StationByte], seed % 64 > 8);
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Line line;
    if (size < QuestionSize)
        return 0;
    const uchar station = data[StationByte];
    const size_t count = 1U + data[CountByte] % Cpl::MaxReadAddresses;
    const size_t piece = data[PieceByte] == 0 ? LongestReply : data[PieceByte];
    const std::string incoming(data + QuestionSize, data + size);
    const std::string reply = replyIn(incoming, piece);

    PollingThread &thread = line.thread();
    line.link.setIncoming(incoming.data(), incoming.size(), piece);
    thread.resetRspBuf();
    EXPECT(thread.readRspUntilLF() == static_cast<int>(reply.size()));

    thread.clearError();
    const bool written = thread.checkWriteRsp(station, StartAddress);
    expectVerdict(thread, written, "write station id#%u address %08X", station,
                  faultOf(reply, station, "packet loss"));
    thread.clearError();
    const bool read = thread.checkReadRsp(station, StartAddress);
    expectVerdict(thread, read, "read station id#%u start address %08X:", station,
                  faultOf(reply, station, "read: packet loss"));
    if (read)
        expectValues(thread, station, reply, count, data[CountByte] / Cpl::MaxReadAddresses);
    return 0;
}
