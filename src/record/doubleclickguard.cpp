#include "record/doubleclickguard.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMouseEvent>

DoubleClickGuard::DoubleClickGuard(QAbstractButton* button) : QObject(button)
{
    button->installEventFilter(this);
}

bool DoubleClickGuard::eventFilter(QObject* /*watched*/, QEvent* event)
{
    const bool isPress =
        event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick;
    if (!m_isOn || !isPress) {
        return false;
    }
    const auto& press = *static_cast<QMouseEvent*>(event);
    if (press.button() != Qt::LeftButton || !isDropped(press)) {
        return false;
    }
    m_lastDropped = press.timestamp();
    return true;
}

bool DoubleClickGuard::isDropped(const QMouseEvent& press) const
{
    return press.type() == QEvent::MouseButtonDblClick ||
           (m_lastDropped &&
            press.timestamp() - *m_lastDropped <= quint64(QApplication::doubleClickInterval()));
}
