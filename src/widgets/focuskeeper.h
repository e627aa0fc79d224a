#pragma once

#include <QPointer>
#include <QWidget>

/// Gives the keyboard focus back to the widget that lost it by being disabled: otherwise it would
/// end on the tab bar for good.
class FocusKeeper
{
public:
    /// Runs `disable`, and remembers which widget of `page`'s window lost the focus by it.
    template <class Disable>
    void disableAndRemember(const QWidget& page, Disable disable)
    {
        QWidget* before = page.window()->focusWidget();
        disable();
        m_parkedOn = page.window()->focusWidget();
        m_lost = m_parkedOn != before ? before : nullptr;
    }

    /// To be called when the widgets are enabled again. A user who has moved the focus meanwhile,
    /// or has turned to another page, keeps it there.
    void giveBack()
    {
        if (m_lost && m_lost->isVisible() && m_lost->window()->focusWidget() == m_parkedOn) {
            m_lost->setFocus();
        }
        m_lost = nullptr;
    }

private:
    QPointer<QWidget> m_lost;
    QPointer<QWidget> m_parkedOn;
};
