#pragma once

#include "widgets/arrivaledit.h"

/// A line edit for a number. From what is pasted or dropped, blanks around the number, its prefix
/// and needless zeros in front are left out. Whatever the validator refuses, typed or not, a tip at
/// the field says what it takes.
class NumberEdit : public ArrivalEdit
{
public:
    /// `taken` is that tip; `prefix` is what may stand before a pasted number, as "0x".
    NumberEdit(QString taken, QString prefix, QWidget* parent);

private:
    void receive(const QMimeData& content, bool isDropped) override;
    bool fits(QString text) const;
    QString withPasted(const QString& digits) const;

    QString m_taken;
    QString m_prefix;
};
