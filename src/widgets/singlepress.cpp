#include "widgets/singlepress.h"

#include <QCoreApplication>
#include <QKeyEvent>

SinglePress::SinglePress(QObject* control) : QObject(control)
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool SinglePress::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyRelease) {
        m_released = static_cast<QKeyEvent*>(event)->timestamp();
    } else if (event->type() == QEvent::ShortcutOverride) {
        // On X11 a repetition is a release and a press with the same timestamp. The toolkit takes
        // them for a new press if an event pass separates the two, as during a burn.
        const auto& press = *static_cast<QKeyEvent*>(event);
        m_isHeld = press.isAutoRepeat() || (m_released != 0 && press.timestamp() == m_released);
    }
    const bool isOfControl = watched == parent() || watched->parent() == parent();
    return event->type() == QEvent::Shortcut && m_isHeld && isOfControl;
}
