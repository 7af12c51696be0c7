// A driver that does not poll announced tags.

#include "tests/terminal/fake_driver.h"

class MuteDriver : public FakeDriver
{
public:
    bool isSupportSessionCommand() override { return false; }
};

extern "C" Q_DECL_EXPORT DriverInterface *CreateDriver()
{
    return new MuteDriver;
}
