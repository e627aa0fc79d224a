#pragma once

#include <QValidator>

/// Holds a field to a decimal number from 1 to a maximum, or to nothing at all.
class TOVASizeValidator : public QValidator
{
    Q_OBJECT

public:
    TOVASizeValidator(QObject* parent, const char* name);

    /// Sets the maximum; 0 until then.
    void changeMaxValue(unsigned int max);

    State validate(QString& input, int& pos) const override;

    /// Keeps the digits of `input`, or makes `input` "1" if they are no size.
    void fixup(QString& input) const override;

private:
    unsigned int m_maxValue = 0;
};
