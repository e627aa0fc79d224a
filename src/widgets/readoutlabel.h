#pragma once

#include "widgets/plainlabel.h"

/// A label for what the program tells, called `description` for a screen reader. Its text can be
/// selected with the mouse and copied; Tab passes it over.
class ReadoutLabel : public PlainLabel
{
public:
    ReadoutLabel(const QString& description, QWidget* parent) : PlainLabel(parent)
    {
        setAccessibleDescription(description);
        setTextInteractionFlags(Qt::TextSelectableByMouse);
        setFocusPolicy(Qt::NoFocus);
    }

protected:
    void mouseReleaseEvent(QMouseEvent* event) override
    {
        PlainLabel::mouseReleaseEvent(event);
        // Ctrl+C goes to what has the focus. A click that selects nothing takes it from nobody.
        if (hasSelectedText()) {
            setFocus(Qt::MouseFocusReason);
        }
    }
};
