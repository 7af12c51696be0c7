#include "simulator/fault.h"

#include <climits>
#include <cstdlib>
#include <sstream>
#include <vector>

namespace
{

/// A kind's name and its own setting.
struct FaultName {
    const char *name;
    Fault::Kind kind;
    const char *key; ///< null: it has no setting of its own
    int least;
    int most;
    int base;
    int byDefault; ///< Required: it must be given
};

const int Required = -2;
const int LongestMs = 600000;

const FaultName FaultNames[] = {
    {"drop", Fault::Drop, nullptr, 0, 0, 10, Fault::Default},
    {"late", Fault::Late, "ms", 1, LongestMs, 10, Required},
    {"flip", Fault::Flip, "at", 0, 511, 10, Fault::Default},
    {"cut", Fault::Cut, "after", 0, 511, 10, Required},
    {"noise", Fault::Noise, "bytes", 1, 200, 10, 8},
    {"echo", Fault::Echo, nullptr, 0, 0, 10, Fault::Default},
    {"station", Fault::WrongStation, "as", 0, 255, 10, Required},
    {"endcode", Fault::EndCode, "code", 1, 255, 16, Required},
    {"nolf", Fault::NoLineFeed, nullptr, 0, 0, 10, Fault::Default},
    {"swap", Fault::Swap, "at", 0, 510, 10, Fault::Default},
    {"babble", Fault::Babble, "ms", 1, LongestMs, 10, Fault::Default},
    {"powercycle", Fault::PowerCycle, nullptr, 0, 0, 10, Fault::Default},
};

std::string allNames()
{
    std::string names;
    for (const FaultName &candidate : FaultNames)
        names += (names.empty() ? "" : ", ") + std::string(candidate.name);
    return names;
}

const FaultName *findName(const std::string &name)
{
    for (const FaultName &candidate : FaultNames) {
        if (name == candidate.name)
            return &candidate;
    }
    return nullptr;
}

std::vector<std::string> split(const std::string &text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

bool parseNumber(const std::string &text, int base, int least, int most, int *out)
{
    const bool digits =
        !text.empty() && text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
    char *end = nullptr;
    const long value = std::strtol(text.c_str(), &end, base);
    if (!digits || text.size() > 9 || *end != '\0' || value < least || value > most)
        return false;
    *out = static_cast<int>(value);
    return true;
}

/// Stores one "key=value" of a fault.
bool applySetting(const FaultName &name, const std::string &setting, Fault *fault,
                  std::string *error)
{
    const size_t equals = setting.find('=');
    const std::string key = setting.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : setting.substr(equals + 1);

    int *target = nullptr;
    int least = 1;
    int most = INT_MAX;
    int base = 10;
    if (name.key != nullptr && key == name.key) {
        target = &fault->value;
        least = name.least;
        most = name.most;
        base = name.base;
    } else if (key == "station") {
        target = &fault->station;
        least = 0;
        most = 255;
    } else if (key == "every") {
        target = &fault->every;
    } else if (key == "count") {
        target = &fault->count;
    } else {
        *error = std::string("fault ") + name.name + " has no setting \"" + key + "\"; it takes " +
                 (name.key != nullptr ? std::string(name.key) + ", " : "") +
                 "station, every, count";
        return false;
    }
    if (parseNumber(value, base, least, most, target))
        return true;
    *error = std::string("fault ") + name.name + ": \"" + setting + "\" is no number of " +
             std::to_string(least) + " or more";
    if (most != INT_MAX)
        *error += ", at most " + std::to_string(most);
    if (base == 16)
        *error += ", in hexadecimal";
    return false;
}

} // namespace

bool parseFault(const std::string &text, Fault *out, std::string *error)
{
    const std::vector<std::string> parts = split(text, ':');
    const FaultName *const name = parts.empty() ? nullptr : findName(parts[0]);
    if (name == nullptr) {
        *error = "no fault is called \"" + (parts.empty() ? "" : parts[0]) + "\"; there are " +
                 allNames();
        return false;
    }
    Fault fault;
    fault.kind = name->kind;
    fault.value = name->byDefault;
    for (size_t i = 1; i < parts.size(); ++i) {
        if (!applySetting(*name, parts[i], &fault, error))
            return false;
    }
    if (fault.value == Required) {
        *error = std::string("fault ") + name->name + " needs " + name->key + "=";
        return false;
    }
    *out = fault;
    return true;
}
