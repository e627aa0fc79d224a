#include "widgets/warningbox.h"

#include <QApplication>
#include <QMessageBox>

int showBox(QMessageBox& box)
{
    box.setTextFormat(Qt::PlainText);
    QApplication::alert(box.parentWidget()->window());
    return box.exec();
}

void showWarning(QWidget* parent, const QString& text)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Tovalink"), text, QMessageBox::Ok,
                    parent);
    showBox(box);
}
