#pragma once

#include <QWidget>

/// An empty widget that stretches.
class PipoWidget : public QWidget
{
public:
    using QWidget::QWidget;
};
