#pragma once

#include <QWidget>

/// Creates an empty widget that takes all free width and, with `vertical` Expanding, all free
/// height of the box `parent`, which owns it.
template <class Spacer = QWidget>
Spacer* createSpacer(QWidget* parent, QSizePolicy::Policy vertical)
{
    auto* spacer = new Spacer(parent);
    spacer->setSizePolicy(QSizePolicy::Expanding, vertical);
    return spacer;
}
