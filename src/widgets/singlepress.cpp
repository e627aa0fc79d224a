#include "widgets/singlepress.h"

#include <QCoreApplication>
#include <QKeyEvent>

SinglePress::SinglePress(const QVector<QKeySequence>& shortcuts, QObject* parent)
    : QObject(parent),
      m_shortcuts(shortcuts)
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool SinglePress::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyRelease) {
        m_released = static_cast<QKeyEvent*>(event)->timestamp();
    }
    // A key that takes the override is no shortcut any more, but a press that arrives next.
    const bool isPress =
        event->type() == QEvent::ShortcutOverride || event->type() == QEvent::KeyPress;
    if (isPress && isRepeated(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

/// Under X11 a repetition is a release and a press at the same time. The toolkit takes the two for
/// fresh ones where an event pass comes between them, as in a burn.
bool SinglePress::isRepeated(const QKeyEvent& press) const
{
    const bool isHeld =
        press.isAutoRepeat() || (m_released != 0 && press.timestamp() == m_released);
    return isHeld && m_shortcuts.contains(QKeySequence(int(press.modifiers()) | press.key()));
}
