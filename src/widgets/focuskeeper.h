#pragma once

#include <QPointer>
#include <QWidget>

/// Gives the keyboard focus back to a widget that lost the focus by being disabled. Without this,
/// the focus would stay on the tab bar.
class FocusKeeper
{
public:
    /// Runs `disable` and remembers which widget of `page`'s window lost the focus.
    template <class Disable>
    void disableAndRemember(const QWidget& page, Disable disable)
    {
        QWidget* before = page.window()->focusWidget();
        disable();
        m_parkedOn = page.window()->focusWidget();
        m_lost = m_parkedOn != before ? before : nullptr;
    }

    /// Call this when the widgets are enabled again. If the user has moved the focus meanwhile, or
    /// has turned to another page, the focus stays there.
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
