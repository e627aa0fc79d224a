#pragma once

class QMessageBox;
class QString;
class QWidget;

/// Shows a box and returns the answer when the user has given it. The text is shown as it is: a
/// path that holds a tag is no markup. A user who looks at another window is called.
int showBox(QMessageBox& box);

/// Shows a modal warning with the single button OK and returns when the user has closed it.
void showWarning(QWidget* parent, const QString& text);
