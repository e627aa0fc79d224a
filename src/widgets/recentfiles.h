#pragma once

#include <QStringList>

class QComboBox;
class QPushButton;
class QWidget;

/// Creates an editable combo box for a path, owned by `parent`: its edit text is the path in use,
/// its list the recent files. There is no completion, and the wheel changes nothing. `name` is the
/// kind of file, for screen readers only.
QComboBox* createRecentFilesCombo(const QString& name, QWidget* parent);

/// Creates the "..." button for such a combo box, owned by `parent`; `name` is the kind of file.
QPushButton* createBrowseButton(const QString& name, QWidget* parent);

/// Replaces the list and keeps the edit text.
void refillRecentFiles(QComboBox& combo, const QStringList& files);

/// Makes `file` the edit text, and also the current entry if the list contains it.
void showFile(QComboBox& combo, const QString& file);

/// `file`, with "." and `suffix` appended unless that is its suffix already (case-sensitive).
QString withSuffix(const QString& file, const QString& suffix);
