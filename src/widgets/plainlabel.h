#pragma once

#include <QLabel>

/// A label that shows its text as it is, never as markup.
class PlainLabel : public QLabel
{
public:
    explicit PlainLabel(QWidget* parent) : PlainLabel(QString(), parent) {}
    PlainLabel(const QString& text, QWidget* parent) : QLabel(text, parent)
    {
        setTextFormat(Qt::PlainText);
    }
};
