#pragma once

#include <QObject>

/// Keeps the shortcut of a button from repeating while its keys are held down.
class ShortcutOnce : public QObject
{
public:
    /// Watches `button`, and belongs to it.
    explicit ShortcutOnce(QObject* button);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};
