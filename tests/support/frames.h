// CPL frames as the tests write them down, put together without the driver's code.

#ifndef TESTS_SUPPORT_FRAMES_H
#define TESTS_SUPPORT_FRAMES_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace frames
{

inline std::string hex(unsigned value, int digits)
{
    char text[16];
    snprintf(text, sizeof text, "%0*X", digits, value);
    return text;
}

/// A whole frame around a text: STX, the text, ETX, checksum, CR LF.
inline std::string framed(const std::string &text)
{
    const std::string body = "\x02" + text + "\x03";
    unsigned sum = 0;
    for (const char c : body)
        sum += static_cast<unsigned char>(c);
    return body + hex((256 - sum % 256) % 256, 2) + "\r\n";
}

/// A controller's reply: station, end code, data words.
inline std::string reply(unsigned station, const std::vector<uint32_t> &words = {},
                         unsigned endCode = 0)
{
    std::string text = hex(station, 2) + "00X" + hex(endCode, 2);
    for (const uint32_t word : words)
        text += hex(word, 8);
    return framed(text);
}

/// The driver's request to read addresses.
inline std::string readRequest(unsigned station, const std::vector<uint32_t> &addresses)
{
    std::string text = hex(station, 2) + "00XRN00LL";
    for (const uint32_t address : addresses)
        text += hex(address, 8);
    return framed(text);
}

/// The driver's request to write address-value pairs.
inline std::string writeRequest(unsigned station,
                                const std::vector<std::pair<uint32_t, uint32_t>> &pairs)
{
    std::string text = hex(station, 2) + "00XWN00LL";
    for (const auto &pair : pairs)
        text += hex(pair.first, 8) + hex(pair.second, 8);
    return framed(text);
}

/// Consecutive addresses.
inline std::vector<uint32_t> run(uint32_t first, unsigned count)
{
    std::vector<uint32_t> addresses;
    for (unsigned i = 0; i < count; ++i)
        addresses.push_back(first + i);
    return addresses;
}

inline bool isRead(const std::string &request)
{
    return request.substr(5, 3) == "XRN";
}

/// The address or pair fields of a request, as numbers.
inline std::vector<uint32_t> fields(const std::string &request)
{
    std::vector<uint32_t> values;
    for (size_t at = 12; at + 8 + 5 <= request.size(); at += 8)
        values.push_back(static_cast<uint32_t>(std::stoul(request.substr(at, 8), nullptr, 16)));
    return values;
}

inline unsigned station(const std::string &request)
{
    return static_cast<unsigned>(std::stoul(request.substr(1, 2), nullptr, 16));
}

/// What a controller answers whose every word is its own address.
inline std::string echoAddresses(const std::string &request)
{
    return isRead(request) ? reply(station(request), fields(request)) : reply(station(request));
}

/// What a controller answers that keeps what is written and gives it back.
/// \param memory  has `word(station, address)` and `setWord(station, address, value)`
template <typename Memory>
std::string answerFrom(Memory &memory, const std::string &request)
{
    const unsigned from = station(request);
    const std::vector<uint32_t> given = fields(request);
    std::vector<uint32_t> words;
    if (isRead(request)) {
        for (const uint32_t address : given)
            words.push_back(memory.word(from, address));
    } else {
        for (size_t i = 0; i + 1 < given.size(); i += 2)
            memory.setWord(from, given[i], given[i + 1]);
    }
    return reply(from, words);
}

} // namespace frames

#endif // TESTS_SUPPORT_FRAMES_H
