#pragma once

#include <QCoreApplication>
#include <QWidget>

/// Drops the waiting clicks and keys for controls that are disabled by now, by processing them.
/// Once the controls are enabled again, these would do what nobody wants any more.
inline void dropWaitingClicks()
{
    QCoreApplication::processEvents();
}

/// Whether the page's window has been closed. A window that was never shown does not count as
/// closed.
inline bool isWindowClosed(const QWidget& page)
{
    return page.window()->isHidden() &&
           page.window()->testAttribute(Qt::WA_WState_ExplicitShowHide);
}
