#include "board/errorreport.h"

#include "widgets/warningbox.h"

#include <QString>

namespace
{

void showReport(QWidget* parent, const QString& text)
{
    showWarning(parent, QStringLiteral("Tovalink"), text);
}

} // namespace

QString boardErrorText(BRAN_ERR_T code)
{
    return QString::fromLatin1(BRAN_GetErrorString(code));
}

void reportBoardError(QWidget* parent, BRAN_ERR_T code)
{
    showReport(parent, boardErrorText(code));
}

void reportBoardError(QWidget* parent, const QString& file, BRAN_ERR_T code)
{
    showReport(parent, file + QStringLiteral(" :\n") + boardErrorText(code));
}
