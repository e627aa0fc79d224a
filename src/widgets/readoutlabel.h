#pragma once

#include "widgets/plainlabel.h"

/// A label for the program's output, with a `description` for screen readers. The user can select
/// the text with the mouse and copy the selection. Tab skips the label.
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
        // Ctrl+C needs the focus. A click that selects nothing leaves the focus where it is.
        if (hasSelectedText()) {
            setFocus(Qt::MouseFocusReason);
        }
    }
};
