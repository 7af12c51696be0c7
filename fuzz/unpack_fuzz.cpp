// DataUnpack: any format over any bytes. Each variable gets its bytes and no byte more, and nothing
// behind a mistake is touched.
//
// An input is the format, a zero byte, and the bytes to unpack.

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "common/tools.h"
#include "fuzz/expect.h"

namespace
{

const size_t MostArguments = 8; ///< of a call
const size_t MostBytes = 4096;  ///< of a record; the caller must have them all
const size_t MostCount = 100000;
const uint8_t Untouched = 0xA5;

typedef std::vector<uint8_t> Bytes;

/// What a format asks for.
struct Plan {
    bool right;                  ///< has no mistake
    size_t length;               ///< bytes up to the end or to the mistake
    std::vector<size_t> offsets; ///< of each variable's bytes in the record
    std::vector<size_t> widths;  ///< of each variable's values
    std::vector<bool> reversed;
    std::vector<Bytes> variables; ///< as large as they must be
};

bool isOneOf(const char *letters, char letter)
{
    return letter != '\0' && std::strchr(letters, letter) != nullptr;
}

size_t widthOf(char letter)
{
    if (isOneOf("CcxX", letter))
        return 1;
    if (isOneOf("Ssvn", letter))
        return 2;
    return isOneOf("IiLlVN", letter) ? 4 : 0;
}

/// The count in front of a letter, 1 where there is none; the letter is next.
size_t takeCount(const std::string &format, size_t &position)
{
    const size_t end = format.find_first_not_of("0123456789", position);
    const std::string digits = format.substr(position, end - position);
    position = std::min(end, format.size());
    size_t count = 0;
    for (const char digit : digits)
        count = std::min(MostCount, count * 10 + static_cast<size_t>(digit - '0'));
    return digits.empty() ? 1 : count;
}

/// False when the format wants more than this test has. The plan ends at the first mistake.
bool makePlan(const std::string &format, Plan &plan)
{
    plan.right = true;
    plan.length = 0;
    for (size_t i = 0; i < format.size(); ++i) {
        const bool counted = std::isdigit(static_cast<unsigned char>(format[i])) != 0;
        const size_t count = takeCount(format, i);
        const char letter = i < format.size() ? format[i] : '\0';
        const size_t width = widthOf(letter);
        if (width == 0 || count == 0 || (counted && !isOneOf("CcvnVNxX", letter))) {
            plan.right = false;
            return true;
        }
        if (!isOneOf("xX", letter)) {
            plan.offsets.push_back(plan.length);
            plan.widths.push_back(width);
            plan.reversed.push_back(isOneOf("nN", letter));
            plan.variables.push_back(Bytes(std::min(count * width, MostBytes), Untouched));
        }
        plan.length += count * width;
        if (plan.length > MostBytes || plan.variables.size() > MostArguments)
            return false;
    }
    return true;
}

/// Whether variable number `v` holds what the record has for it.
bool isRight(const Plan &plan, size_t v, const Bytes &record)
{
    const Bytes &variable = plan.variables[v];
    const size_t width = plan.widths[v];
    for (size_t i = 0; i < variable.size(); ++i) {
        const size_t within = i % width;
        const size_t from = plan.reversed[v] ? i - within + (width - 1 - within) : i;
        if (variable[i] != record[plan.offsets[v] + from])
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string input(reinterpret_cast<const char *>(data), size);
    const std::string format = input.substr(0, input.find('\0'));
    Plan plan;
    if (!makePlan(format, plan))
        return 0;
    const size_t begin = std::min(size, format.size() + 1);
    Bytes record(data + begin, data + size);
    record.resize(plan.length); // exactly: a byte more that is read, the sanitizer sees

    void *arguments[MostArguments] = {};
    for (size_t v = 0; v < plan.variables.size(); ++v)
        arguments[v] = plan.variables[v].data();
    const int length =
        DataUnpack(record.data(), format.c_str(), arguments[0], arguments[1], arguments[2],
                   arguments[3], arguments[4], arguments[5], arguments[6], arguments[7]);

    EXPECT(length == (plan.right ? static_cast<int>(plan.length) : -1));
    for (size_t v = 0; v < plan.variables.size(); ++v)
        EXPECT(isRight(plan, v, record));
    return 0;
}
