#pragma once

#include <QObject>

#include <optional>

class QAbstractButton;
class QMouseEvent;

/// Drops the second press of a double click on a button, and a press that follows a dropped one
/// within the double-click interval: the second click on "Stop!" would otherwise start over the
/// file that was just made. The times of the presses count, however late they are processed.
class DoubleClickGuard : public QObject
{
    Q_OBJECT

public:
    /// Owned by the button.
    explicit DoubleClickGuard(QAbstractButton* button);

    /// While the guard is off, a double click is two clicks. A new guard is on.
    void setOn(bool on) { m_isOn = on; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isDropped(const QMouseEvent& press) const;

    bool m_isOn = true;
    /// The time of the last dropped press, in milliseconds of the window system's clock.
    std::optional<quint64> m_lastDropped;
};
