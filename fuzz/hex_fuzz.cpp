// HexToUInt, which reads every number of a reply: against a second reading of the same rules.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "common/tools.h"
#include "fuzz/expect.h"

namespace
{

const size_t SignificantDigits = 8; ///< the result wraps at 32 bits
const char Digits[] = "0123456789abcdefABCDEF";
const size_t PrefixLength = 2;

bool hasPrefix(const std::string &text)
{
    return text.compare(0, PrefixLength, "0x") == 0 || text.compare(0, PrefixLength, "0X") == 0;
}

unsigned int valueOf(std::string text)
{
    if (hasPrefix(text))
        text.erase(0, PrefixLength);
    if (text.find_first_not_of(Digits) != std::string::npos)
        return 0;
    if (text.size() > SignificantDigits)
        text.erase(0, text.size() - SignificantDigits);
    return static_cast<unsigned int>(std::strtoul(text.c_str(), nullptr, 16));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const char *const text = reinterpret_cast<const char *>(data);
    const std::string whole(text, size);
    const std::string beforeZero = whole.substr(0, whole.find('\0'));
    EXPECT(HexToUInt(text, static_cast<int>(size)) == valueOf(beforeZero));
    // What is cut off is not looked at.
    const std::string half = beforeZero.substr(0, size / 2);
    EXPECT(HexToUInt(text, static_cast<int>(size / 2)) == valueOf(half));
    EXPECT(HexToUInt(text, 0) == 0);
    return 0;
}
