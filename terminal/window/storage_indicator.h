// What the bar shows of a storage device.

#ifndef TERMINAL_WINDOW_STORAGE_INDICATOR_H
#define TERMINAL_WINDOW_STORAGE_INDICATOR_H

#include "terminal/window/bar_cell.h"
#include "terminal/window/storage_state.h"

/// Whether a stick or card is there, whether it is at work, and how much room it has.
class StorageIndicator : public BarCell
{
    Q_OBJECT

public:
    enum class Device { UsbStick, Card };

    explicit StorageIndicator(Device device, QWidget *parent = nullptr);

    void setState(const StorageState &state);

protected:
    void paintSign(QPainter *painter, const QRectF &room) const override;

private:
    QString name() const;
    QString tip(const StorageState &state) const;

    const Device m_device;
};

/// A number of bytes in the unit that suits it, of a thousand each: "999 B", "1.5 GB". Rounded
/// down: there is never less room than it says.
QString bytesText(quint64 bytes);

#endif // TERMINAL_WINDOW_STORAGE_INDICATOR_H
