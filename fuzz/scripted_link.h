// A line that gives the bytes it was handed, in pieces.

#ifndef FUZZ_SCRIPTED_LINK_H
#define FUZZ_SCRIPTED_LINK_H

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "tests/support/plain_link.h"

class ScriptedLink : public PlainLink
{
public:
    ScriptedLink() : m_next(nullptr), m_left(0), m_piece(1) {}

    /// \param bytes  what comes in; not owned
    /// \param piece  most bytes that come at once
    void setIncoming(const char *bytes, size_t size, size_t piece)
    {
        m_next = bytes;
        m_left = size;
        m_piece = piece;
    }

    int readData(char *buffer, int max_size) override
    {
        const size_t count = std::min({m_left, m_piece, static_cast<size_t>(max_size)});
        std::memcpy(buffer, m_next, count);
        m_next += count;
        m_left -= count;
        return static_cast<int>(count);
    }

private:
    const char *m_next;
    size_t m_left;
    size_t m_piece;
};

#endif // FUZZ_SCRIPTED_LINK_H
