#include "widgets/warningbox.h"

#include <QMessageBox>

void showWarning(QWidget* parent, const QString& text)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Tovalink"), text, QMessageBox::Ok,
                    parent);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}
