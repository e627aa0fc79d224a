#pragma once

class QMessageBox;
class QString;
class QWidget;

/// Shows a box and returns the user's answer. The text is plain text, so a tag in a path is no
/// markup. If another window is active, the program's window asks for attention.
int showBox(QMessageBox& box);

/// Shows a modal warning with the single button OK and returns when the user has closed it.
void showWarning(QWidget* parent, const QString& text);
