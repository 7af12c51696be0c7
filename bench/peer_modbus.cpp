// The other side: libmodbus, 100 registers for the 50 values.

#include "bench/peer_side.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <memory>

#include <modbus.h>
#include <pty.h>
#include <termios.h>

#include "common/clock.h"

namespace
{

const int Station = 1;
const int Baud = 38400;
const int Registers = 2 * peer::Values;
const int TimeoutMs = 3000;

struct Closer {
    void operator()(modbus_t *context) const
    {
        modbus_close(context);
        modbus_free(context);
    }
    void operator()(modbus_mapping_t *mapping) const { modbus_mapping_free(mapping); }
};

typedef std::unique_ptr<modbus_t, Closer> Context;
typedef std::unique_ptr<modbus_mapping_t, Closer> Mapping;

Context makeContext(const std::string &port)
{
    Context context(modbus_new_rtu(port.c_str(), Baud, 'E', 8, 1));
    if (context)
        modbus_set_slave(context.get(), Station);
    return context;
}

Mapping makeRegisters()
{
    Mapping mapping(modbus_mapping_new(0, 0, Registers, 0));
    for (int i = 0; mapping && i < peer::Values; ++i) {
        mapping->tab_registers[2 * i] = static_cast<uint16_t>(peer::valueAt(i) >> 16);
        mapping->tab_registers[2 * i + 1] = static_cast<uint16_t>(peer::valueAt(i));
    }
    return mapping;
}

/// Makes the pair; the slave's end stays open here, lest the pair hang up between two masters.
bool makePty(int *master, std::string *path)
{
    char name[128] = "";
    int slave = -1;
    struct termios settings;
    if (openpty(master, &slave, name, nullptr, nullptr) != 0 || tcgetattr(slave, &settings) != 0)
        return false;
    cfmakeraw(&settings);
    *path = name;
    return tcsetattr(slave, TCSANOW, &settings) == 0;
}

void answerRequests(modbus_t *context, modbus_mapping_t *registers)
{
    uint8_t request[MODBUS_RTU_MAX_ADU_LENGTH];
    for (;;) {
        const int length = modbus_receive(context, request);
        if (length > 0)
            modbus_reply(context, request, length, registers);
        else if (length < 0 && errno == EIO)
            return;
    }
}

void respond(int ready)
{
    int master = -1;
    std::string path;
    if (!makePty(&master, &path)) {
        perror("pty");
        return;
    }
    const Context context = makeContext(path);
    const Mapping registers = makeRegisters();
    if (!context || !registers || modbus_set_socket(context.get(), master) != 0 ||
        !peer::writePath(ready, path)) {
        fprintf(stderr, "libmodbus: %s\n", modbus_strerror(errno));
        return;
    }
    answerRequests(context.get(), registers.get());
}

/// One exchange, its registers put together to values.
bool readValues(modbus_t *context, unsigned int (&values)[peer::Values])
{
    uint16_t registers[Registers];
    if (modbus_read_registers(context, 0, Registers, registers) != Registers)
        return false;
    for (int i = 0; i < peer::Values; ++i)
        values[i] = (static_cast<unsigned int>(registers[2 * i]) << 16) | registers[2 * i + 1];
    return true;
}

bool holdsTheValues(const unsigned int (&values)[peer::Values])
{
    for (int i = 0; i < peer::Values; ++i) {
        if (values[i] != peer::valueAt(i))
            return false;
    }
    return true;
}

std::string exchange(const std::string &port, const ExchangePlan &plan, ExchangeCost *cost)
{
    const Context context = makeContext(port);
    if (!context || modbus_connect(context.get()) != 0)
        return modbus_strerror(errno);
    modbus_set_response_timeout(context.get(), TimeoutMs / 1000, 0);
    CostMeter meter;
    unsigned int values[peer::Values] = {};
    for (int i = 0; i < plan.warmUp + plan.exchanges; ++i) {
        if (i == plan.warmUp)
            meter.begin();
        if (plan.pauseMs > 0)
            Clock::system()->sleep(static_cast<ulong>(plan.pauseMs));
        if (!readValues(context.get(), values))
            return modbus_strerror(errno);
    }
    *cost = meter.end();
    return holdsTheValues(values) ? std::string() : "the values are not the slave's";
}

} // namespace

const PeerSide ModbusSide = {"libmodbus", " " LIBMODBUS_VERSION_STRING, 8, 205, respond, exchange};
