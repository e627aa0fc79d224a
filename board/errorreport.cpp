#include "board/errorreport.h"

#include "widgets/warningbox.h"

#include <QString>

#include <cstring>

namespace
{

void showReport(QWidget* parent, const QString& text)
{
    showWarning(parent, QStringLiteral("Tovalink"), text);
}

} // namespace

QString boardErrorText(BRAN_ERR_T code)
{
    // Longer than any sentence; a box for more would not fit on a screen.
    constexpr std::size_t maxLength = 1000;
    const char* text = BRAN_GetErrorString(code);
    const std::size_t length = text != nullptr ? strnlen(text, maxLength + 1) : 0;
    if (length == 0) {
        return QStringLiteral("The board library gives no reason for its error %1.").arg(code);
    }
    return length <= maxLength ? QString::fromLatin1(text)
                               : QString::fromLatin1(text, maxLength) + QStringLiteral("...");
}

void reportBoardError(QWidget* parent, BRAN_ERR_T code)
{
    showReport(parent, boardErrorText(code));
}

void reportBoardError(QWidget* parent, const QString& file, BRAN_ERR_T code)
{
    showReport(parent, file + QStringLiteral(" :\n") + boardErrorText(code));
}
