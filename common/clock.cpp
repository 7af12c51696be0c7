#include "common/clock.h"

#include "common/tools.h"

namespace
{

class SystemClock : public Clock
{
public:
    qint64 msecsSinceBoot() override { return CurrentMSecsSinceBoot(); }
    void sleep(ulong ms) override { HRSleep(ms); }
};

} // namespace

Clock *Clock::system()
{
    static SystemClock clock;
    return &clock;
}
