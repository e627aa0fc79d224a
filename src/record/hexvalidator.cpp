#include "record/hexvalidator.h"

#include <algorithm>

namespace
{

constexpr int maxDigits = 8;

bool isHexDigit(QChar character)
{
    return (character >= QLatin1Char('0') && character <= QLatin1Char('9')) ||
           (character >= QLatin1Char('a') && character <= QLatin1Char('f')) ||
           (character >= QLatin1Char('A') && character <= QLatin1Char('F'));
}

} // namespace

TOVAHexValidator::TOVAHexValidator(QObject* parent, const char* name) : QValidator(parent)
{
    setObjectName(QString::fromLatin1(name));
}

void TOVAHexValidator::changeMaxValue(int max)
{
    m_maxValue = max;
}

QValidator::State TOVAHexValidator::validate(QString& input, int& /*pos*/) const
{
    if (input.size() > maxDigits || input.toUInt(nullptr, 16) > static_cast<unsigned>(m_maxValue)) {
        return Invalid;
    }
    return std::all_of(input.cbegin(), input.cend(), isHexDigit) ? Intermediate : Invalid;
}

void TOVAHexValidator::fixup(QString& /*input*/) const {}
