#pragma once

#include <QObject>

#include <optional>

class QAbstractButton;
class QMouseEvent;

/// Drops the second press of a double click on a button, and a press that follows a dropped one
/// within the double-click interval: the second click on "Stop!" would otherwise start over the
/// file that was just made. What counts is when the mouse was pressed, however late that is
/// processed.
class DoubleClickGuard : public QObject
{
    Q_OBJECT

public:
    /// Owned by the button.
    explicit DoubleClickGuard(QAbstractButton* button);

    /// While it is off, a double click is two clicks. It starts switched on.
    void setOn(bool on) { m_isOn = on; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool isDropped(const QMouseEvent& press) const;

    bool m_isOn = true;
    /// When the last dropped press was made, in milliseconds of the window system's clock.
    std::optional<quint64> m_lastDropped;
};
