#include "simulator/cpl_frame.h"

namespace
{

const char Stx = 0x02;
const char Etx = 0x03;

const size_t TextBegin = 1;    // behind STX
const size_t HeaderLength = 5; // station, sub-address and the X
const size_t TailLength = 5;   // ETX, checksum, CR LF
const size_t ShortestFrame = TextBegin + HeaderLength + TailLength;
const size_t WordDigits = 8;

/// Reads fixed numbers of hexadecimal digits, one after the other; remembers any mistake.
class DigitReader
{
public:
    DigitReader(const std::string &text, size_t at) : m_text(text), m_at(at), m_good(true) {}

    uint32_t take(size_t digits)
    {
        uint32_t value = 0;
        for (size_t i = 0; i < digits; ++i)
            value = value * 16 + digit();
        return value;
    }

    bool good() const { return m_good; }
    bool atEnd() const { return m_at >= m_text.size(); }

private:
    uint32_t digit()
    {
        const char c = m_at < m_text.size() ? m_text[m_at++] : '\0';
        if (c >= '0' && c <= '9')
            return static_cast<uint32_t>(c - '0');
        if (c >= 'A' && c <= 'F')
            return static_cast<uint32_t>(c - 'A') + 10;
        m_good = false;
        return 0;
    }

    const std::string &m_text;
    size_t m_at;
    bool m_good;
};

unsigned checksumOf(const std::string &body)
{
    unsigned sum = 0;
    for (const char byte : body)
        sum += static_cast<unsigned char>(byte);
    return (0x100 - sum % 0x100) % 0x100;
}

std::string formatHex(uint32_t value, size_t digits)
{
    std::string text(digits, '0');
    for (size_t i = digits; i > 0; --i) {
        text[i - 1] = "0123456789ABCDEF"[value % 16];
        value /= 16;
    }
    return text;
}

/// Checks the shell of a frame.
/// \param text  gets what stands between STX and ETX
CplVerdict openFrame(const std::string &frame, std::string *text)
{
    if (frame.empty() || frame[0] != Stx)
        return frame.empty() ? CplVerdict::Incomplete : CplVerdict::BadStart;
    const size_t size = frame.size();
    if (size < ShortestFrame || frame[size - 1] != '\n')
        return CplVerdict::Incomplete;
    const std::string body = frame.substr(0, size - 4);
    if (frame.substr(size - 4, 2) != formatHex(checksumOf(body), 2))
        return CplVerdict::BadChecksum;
    if (frame[size - 2] != '\r' || frame[size - TailLength] != Etx)
        return CplVerdict::Malformed;
    *text = frame.substr(TextBegin, size - TextBegin - TailLength);
    return CplVerdict::Good;
}

/// Reads station, sub-address and the X of a text that has at least these.
template <typename Message>
bool readHeader(const std::string &text, Message *out)
{
    DigitReader digits(text, 0);
    out->station = static_cast<uint8_t>(digits.take(2));
    out->subAddress = static_cast<uint8_t>(digits.take(2));
    return digits.good() && text[4] == 'X';
}

bool startsWith(const std::string &text, const std::string &start)
{
    return text.compare(0, start.size(), start) == 0;
}

/// Items of a read list, or of a write list when `values` is given.
bool readList(const std::string &text, size_t at, std::vector<uint32_t> *addresses,
              std::vector<uint32_t> *values)
{
    DigitReader digits(text, at);
    while (!digits.atEnd()) {
        addresses->push_back(digits.take(WordDigits));
        if (values != nullptr)
            values->push_back(digits.take(WordDigits));
    }
    return digits.good() && !addresses->empty();
}

bool readRun(const std::string &text, size_t at, CplRequest *out)
{
    DigitReader digits(text, at);
    const uint32_t first = digits.take(WordDigits);
    while (!digits.atEnd()) {
        out->addresses.push_back(first + static_cast<uint32_t>(out->values.size()));
        out->values.push_back(digits.take(WordDigits));
    }
    return digits.good() && !out->values.empty();
}

void readCommand(CplRequest *out)
{
    static const std::string rn("RN00LL");
    static const std::string wn("WN00LL");
    static const std::string wg("WGLL");
    const std::string &text = out->commandText;
    bool fits = false;
    if (startsWith(text, rn)) {
        out->command = CplRequest::ReadList;
        fits = readList(text, rn.size(), &out->addresses, nullptr);
    } else if (startsWith(text, wn)) {
        out->command = CplRequest::WriteList;
        fits = readList(text, wn.size(), &out->addresses, &out->values);
    } else if (startsWith(text, wg)) {
        out->command = CplRequest::WriteRun;
        fits = readRun(text, wg.size(), out);
    }
    if (!fits) {
        out->command = CplRequest::Unknown;
        out->addresses.clear();
        out->values.clear();
    }
}

std::string counted(size_t count, const char *noun, const char *plural)
{
    return std::to_string(count) + " " + (count == 1 ? noun : plural);
}

} // namespace

CplVerdict decodeRequest(const std::string &frame, CplRequest *out)
{
    *out = CplRequest();
    std::string text;
    const CplVerdict verdict = openFrame(frame, &text);
    if (verdict != CplVerdict::Good)
        return verdict;
    if (!readHeader(text, out))
        return CplVerdict::Malformed;
    out->commandText = text.substr(HeaderLength);
    readCommand(out);
    return CplVerdict::Good;
}

CplVerdict decodeReply(const std::string &frame, CplReply *out)
{
    *out = CplReply();
    std::string text;
    const CplVerdict verdict = openFrame(frame, &text);
    if (verdict != CplVerdict::Good)
        return verdict;
    if (!readHeader(text, out))
        return CplVerdict::Malformed;
    DigitReader digits(text, HeaderLength);
    out->endCode = static_cast<uint8_t>(digits.take(2));
    while (digits.good() && !digits.atEnd())
        out->words.push_back(digits.take(WordDigits));
    return digits.good() ? CplVerdict::Good : CplVerdict::Malformed;
}

std::string encodeReply(const CplReply &reply)
{
    std::string body(1, Stx);
    body += formatHex(reply.station, 2) + formatHex(reply.subAddress, 2) + "X" +
            formatHex(reply.endCode, 2);
    for (const uint32_t word : reply.words)
        body += formatHex(word, WordDigits);
    body += Etx;
    return body + formatHex(checksumOf(body), 2) + "\r\n";
}

std::string describe(const CplRequest &request)
{
    const std::string station = " station " + std::to_string(request.station) + ": ";
    const std::string from =
        request.addresses.empty() ? "" : " from " + formatHex(request.addresses.front(), 8);
    const size_t count = request.addresses.size();
    switch (request.command) {
    case CplRequest::ReadList:
        return "RN" + station + counted(count, "address", "addresses") + from;
    case CplRequest::WriteList:
        return "WN" + station + counted(count, "pair", "pairs") + from;
    case CplRequest::WriteRun:
        return "WG" + station + counted(count, "word", "words") + from;
    case CplRequest::Unknown:
        break;
    }
    return "unknown command" + station + "\"" + request.commandText.substr(0, 16) + "\"";
}

std::string describe(const CplReply &reply)
{
    std::string text = "reply station " + std::to_string(reply.station) + ": end code " +
                       formatHex(reply.endCode, 2);
    if (!reply.words.empty())
        text += ", " + counted(reply.words.size(), "word", "words");
    return text;
}

std::string describe(CplVerdict verdict)
{
    switch (verdict) {
    case CplVerdict::Good:
        return "good";
    case CplVerdict::Incomplete:
        return "incomplete";
    case CplVerdict::BadStart:
        return "no STX";
    case CplVerdict::BadChecksum:
        return "wrong checksum";
    case CplVerdict::Malformed:
        break;
    }
    return "malformed";
}

std::string hexDump(const std::string &bytes)
{
    std::string text;
    for (const char byte : bytes) {
        if (!text.empty())
            text += ' ';
        text += formatHex(static_cast<unsigned char>(byte), 2);
    }
    return text;
}

const size_t CplLineSplitter::LongestFrame;

bool CplLineSplitter::feed(char byte)
{
    if (m_complete) {
        m_frame.clear();
        m_complete = false;
    }
    if (byte == Stx || m_frame.size() == LongestFrame)
        m_frame.clear();
    if (byte != Stx && m_frame.empty())
        return false;
    m_frame += byte;
    m_complete = byte == '\n';
    return m_complete;
}
