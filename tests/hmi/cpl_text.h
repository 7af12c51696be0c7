// Frames for tests, written as the text between STX and ETX.

#ifndef TESTS_HMI_CPL_TEXT_H
#define TESTS_HMI_CPL_TEXT_H

#include <cstdio>
#include <string>

/// STX, the text, ETX, the right checksum, CR LF.
inline std::string framed(const std::string &text)
{
    std::string frame = "\x02" + text + "\x03";
    unsigned int sum = 0;
    for (const char byte : frame) {
        sum += static_cast<unsigned char>(byte);
    }
    char tail[8];
    std::snprintf(tail, sizeof tail, "%02X\r\n", (256 - sum % 256) % 256);
    return frame + tail;
}

#endif // TESTS_HMI_CPL_TEXT_H
