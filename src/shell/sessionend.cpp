#include "shell/sessionend.h"

#include "shell/mainwindow.h"

#include <QEvent>
#include <QGuiApplication>

SessionEnd::SessionEnd(TOVAMainWindow& window) : m_window(window)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // It would close the open boxes too, and so give the user's answer for him.
    QGuiApplication::setFallbackSessionManagementEnabled(false);
#endif
    connect(qApp, &QGuiApplication::commitDataRequest, &window, &QWidget::close,
            Qt::DirectConnection);
    qApp->installEventFilter(this);
}

bool SessionEnd::eventFilter(QObject* /*watched*/, QEvent* event)
{
    // A quit ends the loops of all boxes at once, unanswered. The operation that shows them ends
    // the program itself when it is over.
    if (event->type() != QEvent::Quit || !m_window.isWorking()) {
        return false;
    }
    m_window.close();
    return true;
}
