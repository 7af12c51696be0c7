#include "simulator/image.h"

#include <cctype>
#include <cstdlib>
#include <istream>
#include <sstream>

namespace
{

const size_t MostCharacters = 18; // of a number; what has no more fits 64 bits

bool parseNumber(const std::string &text, uint32_t most, uint32_t *out)
{
    if (text.empty() || !isdigit(static_cast<unsigned char>(text[0])))
        return false;
    const bool hexadecimal =
        text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    char *end = nullptr;
    const unsigned long long value = std::strtoull(text.c_str(), &end, hexadecimal ? 16 : 10);
    if (end != text.c_str() + text.size() || text.size() > MostCharacters || value > most)
        return false;
    *out = static_cast<uint32_t>(value);
    return true;
}

/// Empty when the line is right or holds nothing.
std::string readLine(const std::string &line, std::vector<ImageEntry> *entries)
{
    std::istringstream words(line.substr(0, line.find('#')));
    std::string station, address, value, more;
    if (!(words >> station))
        return "";
    if (!(words >> address >> value) || (words >> more))
        return "expected three numbers: station address value";
    uint32_t number = 0;
    ImageEntry entry = {0, 0, 0};
    if (!parseNumber(station, 255, &number))
        return "\"" + station + "\" is no station number (0 to 255)";
    entry.station = static_cast<int>(number);
    if (!parseNumber(address, UINT32_MAX, &entry.address))
        return "\"" + address + "\" is no address of 32 bits";
    if (!parseNumber(value, UINT32_MAX, &entry.value))
        return "\"" + value + "\" is no value of 32 bits";
    entries->push_back(entry);
    return "";
}

} // namespace

bool readImage(std::istream &stream, std::vector<ImageEntry> *entries, std::string *error)
{
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        const std::string mistake = readLine(line, entries);
        if (!mistake.empty()) {
            *error = "line " + std::to_string(number) + ": " + mistake;
            return false;
        }
    }
    if (stream.bad())
        *error = "line " + std::to_string(number + 1) + ": cannot be read";
    return !stream.bad();
}
