// Start values of a simulated line, from a text file.

#ifndef SIMULATOR_IMAGE_H
#define SIMULATOR_IMAGE_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

/// One start value.
struct ImageEntry {
    int station;
    uint32_t address;
    uint32_t value;
};

/// Reads lines of "station address value", numbers in decimal or, with 0x, in hexadecimal. What
/// follows a # is a comment; empty lines are passed over.
/// \param entries  gets the values read before the first mistake; not null
/// \param error    gets the line number and what is wrong; not null
/// \return false: there is a mistake, or the stream broke off (a directory is no file)
bool readImage(std::istream &stream, std::vector<ImageEntry> *entries, std::string *error);

#endif // SIMULATOR_IMAGE_H
