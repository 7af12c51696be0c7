#include "bench/soak/reading.h"

#include <cstdlib>

#include "bench/soak/formatted.h"

namespace
{

const size_t ShortestReply = 13;
const size_t StationAt = 1;
const size_t EndCodeAt = 6;
const size_t DataAt = 8;
const size_t ByteDigits = 2;
const size_t WordDigits = 8;
const size_t ChecksumFromEnd = 4; // checksum, CR LF
const size_t TailLength = 5;      // ETX before them
const unsigned NoNumber = 0xFF;   // as an end code

bool isNumber(const std::string &text)
{
    return text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
}

uint32_t number(const std::string &text)
{
    return static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 16));
}

/// Two characters of which the driver's own reader of numbers makes 0 unless they are digits.
unsigned leniently(const std::string &digits)
{
    const std::string text = digits.substr(0, digits.find('\0'));
    return isNumber(text) ? number(text) : 0;
}

std::string refusalOf(const CplRequest &request, const std::string &reply)
{
    const bool isRead = request.command == CplRequest::ReadList;
    if (reply.empty())
        return "DMC50 no response";
    if (reply.size() < ShortestReply)
        return isRead ? "read: packet loss" : "packet loss";
    if (!sumIsRight(reply))
        return "checksum error";
    if (leniently(reply.substr(StationAt, ByteDigits)) != request.station)
        return "invalid station id from DMC50";
    const std::string digits = reply.substr(EndCodeAt, ByteDigits);
    const unsigned endCode = isNumber(digits) ? number(digits) : NoNumber;
    return endCode == 0 ? "" : formatted("end code %02XH", endCode);
}

} // namespace

Reading readReply(const CplRequest &request, const std::string &reply)
{
    Reading reading;
    reading.refusal = refusalOf(request, reply);
    if (!reading.refusal.empty() || request.command != CplRequest::ReadList)
        return reading;
    for (size_t i = 0; i < request.addresses.size(); ++i) {
        const size_t at = DataAt + i * WordDigits;
        if (at + WordDigits + TailLength > reply.size())
            break;
        const std::string digits = reply.substr(at, WordDigits);
        if (isNumber(digits))
            reading.values[i] = number(digits);
    }
    return reading;
}

std::string errorText(const CplRequest &request, const std::string &refusal)
{
    const char *const format = request.command == CplRequest::ReadList
                                   ? "read station id#%u start address %08X:"
                                   : "write station id#%u address %08X";
    return formatted(format, request.station, request.addresses.front()) + refusal;
}

bool sumIsRight(const std::string &frame)
{
    if (frame.size() < ChecksumFromEnd)
        return false;
    const size_t summed = frame.size() - ChecksumFromEnd;
    unsigned sum = leniently(frame.substr(summed, ByteDigits));
    for (size_t i = 0; i < summed; ++i)
        sum += static_cast<unsigned char>(frame[i]);
    return sum % 0x100 == 0;
}
