#pragma once

#include "widgets/arrivaledit.h"

/// A line edit for a path. A file that was copied in a file manager replaces what was there by its
/// path; line ends behind what is pasted are no part of a path.
class PathEdit : public ArrivalEdit
{
public:
    using ArrivalEdit::ArrivalEdit;

private:
    void receive(const QMimeData& content, bool isDropped) override;
};
