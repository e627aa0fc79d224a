#include "board/errortext.h"

#include <QString>

#include <cstring>

QString boardErrorText(BRAN_ERR_T code)
{
    // Longer than any sentence. A box with more text would not fit on the screen.
    constexpr std::size_t maxLength = 1000;
    constexpr int maxLines = 20;
    const char* text = BRAN_GetErrorString(code);
    const std::size_t length = text != nullptr ? strnlen(text, maxLength + 1) : 0;
    if (length == 0) {
        return QStringLiteral("The board library gives no reason for its error %1.").arg(code);
    }
    const QString whole = QString::fromLatin1(text, int(length));
    const QString shown = whole.left(int(maxLength)).section(QLatin1Char('\n'), 0, maxLines - 1);
    return shown.size() == whole.size() ? shown : shown + QStringLiteral("...");
}
