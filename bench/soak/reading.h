// What a careful reader makes of a reply. Written without the driver's code, so that the soak does
// not judge the driver by itself.

#ifndef BENCH_SOAK_READING_H
#define BENCH_SOAK_READING_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "simulator/cpl_frame.h"

/// A reply to a request, as far as its bytes have come.
struct Reading {
    /// Why the reply is to be refused, worded as the error text has it; empty for a good one.
    std::string refusal;

    /// The values that a good reply to a read gives, each with its place in the request. A place
    /// without eight hexadecimal digits gives none.
    std::map<size_t, uint32_t> values;
};

Reading readReply(const CplRequest &request, const std::string &reply);

/// The error text of a refused reply: with station and first address of the request.
std::string errorText(const CplRequest &request, const std::string &refusal);

/// Whether the sum over a frame, from its first byte to the last before the checksum, agrees with
/// the checksum. False for what is too short to have one.
bool sumIsRight(const std::string &frame);

#endif // BENCH_SOAK_READING_H
