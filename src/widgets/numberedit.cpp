#include "widgets/numberedit.h"

#include <QMimeData>
#include <QValidator>

#include <utility>

NumberEdit::NumberEdit(QString taken, QString prefix, QWidget* parent)
    : ArrivalEdit(parent),
      m_taken(std::move(taken)),
      m_prefix(std::move(prefix))
{
    connect(this, &QLineEdit::inputRejected, this, [this] { tell(m_taken); });
}

void NumberEdit::receive(const QMimeData& content, bool isDropped)
{
    QString digits = content.text().trimmed();
    const bool hasPrefix = !m_prefix.isEmpty() && digits.startsWith(m_prefix, Qt::CaseInsensitive);
    if (!digits.isEmpty() && !hasPrefix && !isDropped && fits(withPasted(digits))) {
        insertText(*this, digits);
        return;
    }
    // A complete number, as a map file or a debugger shows it, replaces the old one.
    digits.remove(0, hasPrefix ? m_prefix.size() : 0);
    while (digits.startsWith(QLatin1Char('0')) && !fits(digits)) {
        digits.remove(0, 1);
    }
    if (!digits.isEmpty() && fits(digits)) {
        replaceText(*this, digits);
    } else {
        tell(m_taken);
    }
}

bool NumberEdit::fits(QString text) const
{
    int cursor = 0;
    return validator()->validate(text, cursor) != QValidator::Invalid;
}

QString NumberEdit::withPasted(const QString& digits) const
{
    const int start = hasSelectedText() ? selectionStart() : cursorPosition();
    return text().replace(start, selectedText().size(), digits);
}
