// What the driver does with a frame, ready to be done again and again.

#ifndef BENCH_FRAMES_H
#define BENCH_FRAMES_H

#include <string>
#include <vector>

#include "cpl/dmc50_polling_thread.h"
#include "tests/support/plain_link.h"

/// A line that gives the same reply whenever it is asked to read.
class ReplyingLink : public PlainLink
{
public:
    void setReply(const std::string &reply) { m_reply = reply; }

    int readData(char *buffer, int max_size) override;

private:
    std::string m_reply;
};

/// Full frames, packed and parsed by the driver's own code.
class Frames
{
public:
    Frames();

    /// RN with 50 addresses, WN with 25 pairs.
    void packRead();
    void packWrite();

    /// From the bytes that the link hands over to the cached values, or to the good end code.
    void parseReadReply();
    void parseWriteReply();

    struct Action {
        const char *name;
        void (Frames::*perform)();
    };
    static const std::vector<Action> &actions();

private:
    void takeReply(const std::string &reply);

    std::vector<char> m_buffer;
    AddressVector m_addresses;
    std::vector<AddrArg> m_pairs;
    std::string m_read_reply;
    std::string m_write_reply;
    ReplyingLink m_link;
    AddressVectorMap m_no_project;
    PollingThread m_polling; ///< never started
};

#endif // BENCH_FRAMES_H
