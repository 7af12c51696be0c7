#include "simulator/fault.h"

#include <cstdlib>
#include <vector>

namespace
{

/// A number that a fault takes.
struct Setting {
    const char *key; ///< null: there is none
    int Fault::*target;
    int least;
    int most;
    int base;
};

/// A kind's name and its own setting.
struct FaultName {
    const char *name;
    Fault::Kind kind;
    Setting own;
    int byDefault; ///< Required: it must be given
};

const int Required = -2;
const int LongestMs = 600000;
const int LargestCount = 999999999;

const Setting NoSetting = {nullptr, nullptr, 0, 0, 0};

const FaultName FaultNames[] = {
    {"drop", Fault::Drop, NoSetting, Fault::Default},
    {"late", Fault::Late, {"ms", &Fault::value, 1, LongestMs, 10}, Required},
    {"flip", Fault::Flip, {"at", &Fault::value, 0, 511, 10}, Fault::Default},
    {"damage", Fault::Damage, {"bytes", &Fault::value, 1, 200, 10}, 4},
    {"cut", Fault::Cut, {"after", &Fault::value, 0, 511, 10}, Required},
    {"noise", Fault::Noise, {"bytes", &Fault::value, 1, 200, 10}, 8},
    {"echo", Fault::Echo, NoSetting, Fault::Default},
    {"station", Fault::WrongStation, {"as", &Fault::value, 0, 255, 10}, Required},
    {"endcode", Fault::EndCode, {"code", &Fault::value, 1, 255, 16}, Required},
    {"nolf", Fault::NoLineFeed, NoSetting, Fault::Default},
    {"swap", Fault::Swap, {"at", &Fault::value, 0, 510, 10}, Fault::Default},
    {"babble", Fault::Babble, {"ms", &Fault::value, 1, LongestMs, 10}, Fault::Default},
    {"powercycle", Fault::PowerCycle, NoSetting, Fault::Default},
};

/// What every fault takes.
const Setting CommonSettings[] = {
    {"station", &Fault::station, 0, 255, 10},
    {"every", &Fault::every, 1, LargestCount, 10},
    {"count", &Fault::count, 1, LargestCount, 10},
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

/// Null when the fault takes no such setting.
const Setting *findSetting(const FaultName &name, const std::string &key)
{
    if (name.own.key != nullptr && key == name.own.key)
        return &name.own;
    for (const Setting &candidate : CommonSettings) {
        if (key == candidate.key)
            return &candidate;
    }
    return nullptr;
}

std::vector<std::string> split(const std::string &text, char separator)
{
    std::vector<std::string> parts;
    size_t begin = 0;
    for (size_t end = 0; (end = text.find(separator, begin)) != std::string::npos; begin = end + 1)
        parts.push_back(text.substr(begin, end - begin));
    parts.push_back(text.substr(begin));
    return parts;
}

bool parseNumber(const std::string &text, const Setting &setting, int *out)
{
    const size_t mostDigits = 9; // more than any bound has, and safe to convert in either base
    if (text.empty() || text.size() > mostDigits ||
        text.find_first_not_of("0123456789ABCDEFabcdef") != std::string::npos)
        return false;
    char *end = nullptr;
    const long long value = std::strtoll(text.c_str(), &end, setting.base);
    if (*end != '\0' || value < setting.least || value > setting.most)
        return false;
    *out = static_cast<int>(value);
    return true;
}

std::string noSuchSetting(const FaultName &name, const std::string &key)
{
    const std::string own = name.own.key != nullptr ? std::string(name.own.key) + ", " : "";
    return std::string("fault ") + name.name + " has no setting \"" + key + "\"; it takes " + own +
           "station, every, count";
}

std::string noSuchNumber(const FaultName &name, const Setting &setting, const std::string &text)
{
    return std::string("fault ") + name.name + ": \"" + text + "\" is no number of " +
           std::to_string(setting.least) + " or more, at most " + std::to_string(setting.most) +
           (setting.base == 16 ? ", in hexadecimal" : "");
}

/// Stores one "key=value" of a fault.
bool applySetting(const FaultName &name, const std::string &text, Fault *fault, std::string *error)
{
    const size_t equals = text.find('=');
    const std::string key = text.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : text.substr(equals + 1);

    const Setting *const setting = findSetting(name, key);
    if (setting == nullptr) {
        *error = noSuchSetting(name, key);
        return false;
    }
    if (!parseNumber(value, *setting, &(fault->*setting->target))) {
        *error = noSuchNumber(name, *setting, text);
        return false;
    }
    return true;
}

} // namespace

bool parseFault(const std::string &text, Fault *out, std::string *error)
{
    const std::vector<std::string> parts = split(text, ':');
    const FaultName *const name = findName(parts[0]);
    if (name == nullptr) {
        *error = "no fault is called \"" + parts[0] + "\"; there are " + allNames();
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
        *error = std::string("fault ") + name->name + " needs " + name->own.key + "=";
        return false;
    }
    *out = fault;
    return true;
}
