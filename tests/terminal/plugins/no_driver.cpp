// A library that has the function, and no driver to give.

#include "hmi/driverinterface.h"

extern "C" Q_DECL_EXPORT DriverInterface *CreateDriver()
{
    return nullptr;
}
