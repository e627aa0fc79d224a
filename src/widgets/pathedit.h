#pragma once

#include "widgets/arrivaledit.h"

/// A line edit for a path. Pasting a file that was copied in a file manager replaces the text with
/// the file's path. Line ends at the end of pasted text are dropped.
class PathEdit : public ArrivalEdit
{
public:
    using ArrivalEdit::ArrivalEdit;

private:
    void receive(const QMimeData& content, bool isDropped) override;
};
