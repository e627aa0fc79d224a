#include "shell/sessionend.h"

#include "shell/mainwindow.h"

#include <QEvent>
#include <QGuiApplication>

SessionEnd::SessionEnd(TOVAMainWindow& window) : m_window(window)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // The fallback would close the window whenever the session is saved, even if the session goes
    // on.
    QGuiApplication::setFallbackSessionManagementEnabled(false);
#endif
    qApp->installEventFilter(this);
}

bool SessionEnd::eventFilter(QObject* /*watched*/, QEvent* event)
{
    // The end of the session arrives as a quit, which would end the loops of all boxes at once,
    // unanswered. The running operation ends the program itself when the operation is over.
    if (event->type() != QEvent::Quit || !m_window.isWorking()) {
        return false;
    }
    m_window.close();
    return true;
}
