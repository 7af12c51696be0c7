// The way to a driver that may be destroyed while another thread calls it.

#ifndef RECIPE_DRIVER_GATE_H
#define RECIPE_DRIVER_GATE_H

#include <atomic>

#include <QtGlobal>

/// Lets calls through until it is closed, and counts those that are under way. Whoever destroys
/// what lies behind closes the gate and waits until nobody is inside. Any thread.
class DriverGate
{
public:
    DriverGate() : m_closed(false), m_inside(0) {}

    /// From now on nobody enters. For good. \return false: it was closed already
    bool close() { return !m_closed.exchange(true); }
    bool isClosed() const { return m_closed; }

    /// Whether a call is under way.
    bool isBusy() const { return m_inside > 0; }

    /// One call; nothing behind the gate may be touched unless it `isOpen`.
    class Pass
    {
    public:
        // Counts first and looks then: whoever closes does it the other way round, so that one of
        // the two sees the other.
        explicit Pass(DriverGate &gate) : m_gate(gate)
        {
            ++m_gate.m_inside;
            m_open = !m_gate.m_closed;
        }
        ~Pass() { --m_gate.m_inside; }

        bool isOpen() const { return m_open; }

    private:
        Q_DISABLE_COPY(Pass)
        DriverGate &m_gate;
        bool m_open;
    };

private:
    Q_DISABLE_COPY(DriverGate)
    std::atomic<bool> m_closed;
    std::atomic<int> m_inside;
};

#endif // RECIPE_DRIVER_GATE_H
