#pragma once

class QString;
class QWidget;

/// Shows a modal warning with the single button OK and returns when the user has closed it. The
/// text is shown as it is: a path that holds a tag is no markup.
void showWarning(QWidget* parent, const QString& text);
