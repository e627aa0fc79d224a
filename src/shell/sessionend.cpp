#include "shell/sessionend.h"

#include "shell/mainwindow.h"

#include <QEvent>
#include <QGuiApplication>

SessionEnd::SessionEnd(TOVAMainWindow& window) : m_window(window)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // It would close the window whenever the session is saved, also while the session goes on.
    QGuiApplication::setFallbackSessionManagementEnabled(false);
#endif
    qApp->installEventFilter(this);
}

bool SessionEnd::eventFilter(QObject* /*watched*/, QEvent* event)
{
    // What the end of the session comes down to. A quit ends the loops of all boxes at once,
    // unanswered. The operation that shows them ends the program itself when it is over.
    if (event->type() != QEvent::Quit || !m_window.isWorking()) {
        return false;
    }
    m_window.close();
    return true;
}
