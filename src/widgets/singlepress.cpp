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
    // An accepted override is no shortcut any more; the key arrives next as a press.
    const bool isPress =
        event->type() == QEvent::ShortcutOverride || event->type() == QEvent::KeyPress;
    if (isPress && isRepeated(*static_cast<QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

/// On X11 a repetition is a release and a press with the same timestamp. The toolkit takes them for
/// a new press if an event pass separates the two, as during a burn.
bool SinglePress::isRepeated(const QKeyEvent& press) const
{
    const bool isHeld =
        press.isAutoRepeat() || (m_released != 0 && press.timestamp() == m_released);
    return isHeld && m_shortcuts.contains(QKeySequence(int(press.modifiers()) | press.key()));
}
