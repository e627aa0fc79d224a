#pragma once

#include "tests/support/scriptedboard.h"

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QtTest>

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

/// Notes the next message box and clicks one of its buttons.
inline void answerBox(const QString& button = QStringLiteral("OK"))
{
    whenShown<QMessageBox>([button](QMessageBox& box) {
        board.note(box.windowTitle() + ": " + box.text());
        for (QAbstractButton* each : box.buttons()) {
            if (each->text().remove('&') == button) {
                QTest::mouseClick(each, Qt::LeftButton);
            }
        }
    });
}

/// Types `file` in the next file dialog, or cancels it where that is empty. `opened`, where given,
/// receives the folder in which the dialog has opened.
inline void chooseInDialog(const QString& file, QString* opened = nullptr)
{
    whenShown<QFileDialog>([file, opened](QFileDialog& dialog) {
        if (opened != nullptr) {
            *opened = dialog.directory().path();
        }
        if (file.isEmpty()) {
            dialog.reject();
            return;
        }
        dialog.findChild<QLineEdit*>("fileNameEdit")->setText(file);
        QTest::keyClick(&dialog, Qt::Key_Return);
    });
}
