// Waiting for what another thread does.

#ifndef TESTS_SUPPORT_EVENTUALLY_H
#define TESTS_SUPPORT_EVENTUALLY_H

#include <chrono>
#include <functional>
#include <thread>

/// Whether a condition comes true within a time that is far too long for anything but a fault.
inline bool eventually(const std::function<bool()> &condition)
{
    const std::chrono::seconds limit(20);
    const std::chrono::steady_clock::time_point end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

#endif // TESTS_SUPPORT_EVENTUALLY_H
