#pragma once

#include "tests/support/scriptedboard.h"

#include <QComboBox>
#include <QGroupBox>
#include <QPushButton>
#include <QtTest>

/// The first widget of its type below `parent` that shows exactly `text`; null if there is none.
template <class Widget>
Widget* withText(const QWidget& parent, const QString& text)
{
    const char* property = std::is_same_v<Widget, QGroupBox> ? "title" : "text";
    for (Widget* each : parent.findChildren<Widget*>()) {
        if (each->property(property) == text) {
            return each;
        }
    }
    return nullptr;
}

inline void click(QWidget* widget)
{
    QTest::mouseClick(widget, Qt::LeftButton);
}

/// One of the two pages in a window of its own; its signals to the window are noted.
template <class Tab>
struct Page {
    QWidget window;
    Tab* tab;

    template <class... Arguments>
    explicit Page(Arguments... arguments) : tab(new Tab(&window, arguments...))
    {
        QObject::connect(tab, &Tab::greyParentGUI, [] { board.note("grey"); });
        QObject::connect(tab, &Tab::ungreyParentGUI, [] { board.note("ungrey"); });
        window.show();
        QApplication::setActiveWindow(&window);
    }

    template <class Widget>
    Widget* find(const QString& text) const
    {
        return withText<Widget>(*tab, text);
    }
};
