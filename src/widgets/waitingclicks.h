#pragma once

#include <QCoreApplication>
#include <QWidget>

/// Takes the clicks and keys that were meant for controls which are disabled by now, and so drops
/// them: once the controls are enabled again they would do what nobody wants any more.
inline void dropWaitingClicks()
{
    QCoreApplication::processEvents();
}

/// Whether the page's window has been closed. A window that was never shown is not.
inline bool isWindowClosed(const QWidget& page)
{
    return page.window()->isHidden() && page.window()->testAttribute(Qt::WA_WState_Created);
}
