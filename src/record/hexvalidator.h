#pragma once

#include <QValidator>

/// Holds a field to at most eight hexadecimal digits and a maximum value. No input is ever
/// Acceptable, and fixup() changes nothing, so the text stays as it was typed.
class TOVAHexValidator : public QValidator
{
    Q_OBJECT

public:
    TOVAHexValidator(QObject* parent, const char* name);

    /// Sets the maximum, taken as unsigned: -1 allows any 32-bit value. 10 until then.
    void changeMaxValue(int max);

    State validate(QString& input, int& pos) const override;
    void fixup(QString& input) const override;

private:
    int m_maxValue = 10;
};
