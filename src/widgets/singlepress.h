#pragma once

#include <QObject>

/// Keeps the shortcuts of a control, and those of its QShortcut children, from repeating while
/// their keys are held down.
class SinglePress : public QObject
{
public:
    /// Owned by the control.
    explicit SinglePress(QObject* control);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// Whether the last key that was pressed is only held down.
    bool m_isHeld = false;
    /// The timestamp of the last release of a key.
    quint64 m_released = 0;
};
