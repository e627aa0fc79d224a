#include "widgets/shortcutonce.h"

#include <QShortcutEvent>
#include <QWidget>

ShortcutOnce::ShortcutOnce(QObject* button) : QObject(button)
{
    button->installEventFilter(this);
}

bool ShortcutOnce::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Shortcut) {
        // The button keeps the number of its shortcut to itself, so that only the first press of
        // the keys tells which one is not to repeat.
        const int shortcut = static_cast<QShortcutEvent*>(event)->shortcutId();
        static_cast<QWidget*>(watched)->setShortcutAutoRepeat(shortcut, false);
    }
    return QObject::eventFilter(watched, event);
}
