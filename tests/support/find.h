#pragma once

#include <QGroupBox>
#include <QWidget>

#include <algorithm>

template <class Widget>
QString textOf(const Widget& widget)
{
    return widget.text();
}

inline QString textOf(const QGroupBox& group)
{
    return group.title();
}

/// The first widget of its type below `parent` that shows exactly `text`; null if there is none.
template <class Widget>
Widget* withText(const QWidget& parent, const QString& text)
{
    const auto widgets = parent.findChildren<Widget*>();
    const auto found = std::find_if(widgets.begin(), widgets.end(),
                                    [&](Widget* each) { return textOf(*each) == text; });
    return found != widgets.end() ? *found : nullptr;
}
