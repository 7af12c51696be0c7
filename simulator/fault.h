// Faults of a line, by name.

#ifndef SIMULATOR_FAULT_H
#define SIMULATOR_FAULT_H

#include <string>

/// Something that goes wrong with some of a line's replies.
///
/// As text it is a name and any of its settings, "name:key=value:key=value":
///
///   drop                    no answer
///   late:ms=MS              the answer comes MS milliseconds late (required, 1 to 600000)
///   flip[:at=BYTE]          the lowest bit of a byte is flipped (0 to 511, the first is 0;
///                           default: the middle byte)
///   damage[:bytes=N]        N times (1 to 200, default 4) a byte between STX and ETX becomes a
///                           random one; the checksum misses 1 in 256
///   cut:after=N             only the first N bytes come (required, 0 to 511)
///   noise[:bytes=N]         N bytes of noise before STX (1 to 200, default 8)
///   echo                    the request comes back before the reply
///   station:as=N            the answer carries station number N (required, 0 to 255)
///   endcode:code=HH         the answer is a refusal with this end code (required, hexadecimal, 1
///                           to FF)
///   nolf                    the final line feed is missing
///   swap[:at=BYTE]          a byte and the next one change places (0 to 510; default: the last one
///                           before ETX, and ETX); the checksum cannot tell
///   babble[:ms=MS]          bytes without a line feed instead of an answer, until MS milliseconds
///                           have passed (1 to 600000; default: until the faults are cleared);
///                           nobody is heard meanwhile, and replies on their way are lost
///   powercycle              no answer, and the station has forgotten what it does not keep
///
/// Every fault also takes
///
///   station=N               only replies of this station (0 to 255; default: all)
///   every=N                 only every Nth of them (1 to 999999999, default 1)
///   count=N                 N times at most (1 to 999999999; default: without end)
///
/// A position behind the end of a reply changes nothing. Of a setting that is given twice the last
/// one counts.
struct Fault {
    enum Kind {
        Drop,
        Late,
        Flip,
        Damage,
        Cut,
        Noise,
        Echo,
        WrongStation,
        EndCode,
        NoLineFeed,
        Swap,
        Babble,
        PowerCycle
    };

    /// A position that depends on the reply.
    enum { Default = -1 };

    Kind kind = Drop;
    int value = Default; ///< the kind's own setting; Default where it has none
    int station = -1;    ///< -1: all
    int every = 1;
    int count = -1; ///< -1: without end
};

/// Reads a fault from its text.
/// \param out    changed only on success; not null
/// \param error  gets what is wrong and what is allowed, in one line; not null
bool parseFault(const std::string &text, Fault *out, std::string *error);

#endif // SIMULATOR_FAULT_H
