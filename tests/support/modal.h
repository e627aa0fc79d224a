#pragma once

#include <QApplication>
#include <QTimer>

/// Calls `act` once with the next modal widget of the type Widget that the program shows, from
/// inside the event loop that the widget runs.
template <class Widget, class Act>
void whenShown(Act act)
{
    auto* timer = new QTimer(qApp);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, act] {
        auto* widget = qobject_cast<Widget*>(QApplication::activeModalWidget());
        if (widget != nullptr && widget->isVisible()) {
            timer->stop();
            timer->deleteLater();
            act(*widget);
        }
    });
    timer->start(1);
}
