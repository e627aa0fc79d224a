#include "record/sizevalidator.h"

#include <QRegularExpression>

#include <algorithm>

TOVASizeValidator::TOVASizeValidator(QObject* parent, const char* name) : QValidator(parent)
{
    setObjectName(QString::fromLatin1(name));
}

void TOVASizeValidator::changeMaxValue(unsigned int max)
{
    m_maxValue = max;
}

QValidator::State TOVASizeValidator::validate(QString& input, int& /*pos*/) const
{
    const auto isDigit = [](QChar character) {
        return character >= QLatin1Char('0') && character <= QLatin1Char('9');
    };
    if (!std::all_of(input.cbegin(), input.cend(), isDigit)) {
        return Invalid;
    }
    const unsigned int value = input.toUInt();
    if (value > m_maxValue) {
        return Invalid;
    }
    if (input.isEmpty()) {
        return Acceptable;
    }
    return value != 0 ? Intermediate : Invalid;
}

void TOVASizeValidator::fixup(QString& input) const
{
    static const QRegularExpression notDigits(QStringLiteral("[^0-9]"));
    input.remove(notDigits);
    if (input.toUInt() == 0) {
        input = QStringLiteral("1");
    }
}
