// The simulator's own reading of CPL frames: pure functions, bytes in, structure or verdict out.
//
// Nothing here comes from the driver, so that one mistake cannot pass on both sides of the line.

#ifndef SIMULATOR_CPL_FRAME_H
#define SIMULATOR_CPL_FRAME_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What became of decoding a frame.
enum class CplVerdict {
    Good,
    Incomplete,  ///< ends before its line feed, or is too short to be a frame
    BadStart,    ///< does not begin with STX
    BadChecksum, ///< the sum is wrong, or the checksum is not two upper-case hexadecimal digits
    Malformed    ///< the sum is right, but the text between STX and ETX is no request or reply
};

/// A request to a controller.
struct CplRequest {
    enum Command {
        ReadList,  ///< RN: `addresses`
        WriteList, ///< WN: `values[i]` to `addresses[i]`
        WriteRun,  ///< WG: `values` to consecutive addresses; `addresses` lists them all
        Unknown    ///< letters that name no command, or items that do not fit it
    };

    uint8_t station = 0;
    uint8_t subAddress = 0;
    Command command = Unknown;
    std::string commandText; ///< what stands between the X and ETX
    std::vector<uint32_t> addresses;
    std::vector<uint32_t> values;
};

/// A controller's reply.
struct CplReply {
    uint8_t station = 0;
    uint8_t subAddress = 0;
    uint8_t endCode = 0;         ///< 0 is success
    std::vector<uint32_t> words; ///< of a read; empty otherwise
};

/// Reads one frame, from STX to LF. An unknown command is `Good`: the frame is sound.
/// \param out  filled when the verdict is `Good`, else unspecified; not null
CplVerdict decodeRequest(const std::string &frame, CplRequest *out);
CplVerdict decodeReply(const std::string &frame, CplReply *out);

/// A whole frame, from STX to LF.
std::string encodeReply(const CplReply &reply);

/// One line for a person, such as "RN station 1: 3 addresses from 00001000".
std::string describe(const CplRequest &request);
std::string describe(const CplReply &reply);
std::string describe(CplVerdict verdict);

/// The bytes as "02 30 31".
std::string hexDump(const std::string &bytes);

/// Cuts a stream of bytes into frames. A frame begins at STX, at the last one before a line feed
/// when there are several, and ends with LF; what stands outside is dropped. Holds at most
/// `LongestFrame` bytes, whatever arrives.
class CplLineSplitter
{
public:
    /// Longer than any request or reply.
    static const size_t LongestFrame = 512;

    /// Takes one byte.
    /// \return true when it completed a frame, which is then in `frame()` until the next call
    bool feed(char byte);

    const std::string &frame() const { return m_frame; }

private:
    std::string m_frame;
    bool m_complete = false;
};

#endif // SIMULATOR_CPL_FRAME_H
