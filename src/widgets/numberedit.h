#pragma once

#include "widgets/arrivaledit.h"

/// A line edit for a number. Pasted or dropped text loses the blanks around the number, its prefix
/// and leading zeros that do not fit. If the validator refuses the input, a tip at the field says
/// what the field takes.
class NumberEdit : public ArrivalEdit
{
public:
    /// `taken` is the text of that tip. `prefix` may precede a pasted number, such as "0x".
    NumberEdit(QString taken, QString prefix, QWidget* parent);

private:
    void receive(const QMimeData& content, bool isDropped) override;
    bool fits(QString text) const;
    QString withPasted(const QString& digits) const;

    QString m_taken;
    QString m_prefix;
};
