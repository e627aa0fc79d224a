#pragma once

#include <QStringList>

class QComboBox;
class QPushButton;
class QWidget;

/// Creates an editable combo box for a path, owned by `parent`: its edit text is the path in use,
/// its list the recent files. Nothing is completed, and the wheel changes nothing. `name` is the
/// kind of file, for a screen reader; nothing of it is seen.
QComboBox* createRecentFilesCombo(const QString& name, QWidget* parent);

/// Creates the "..." button beside it, owned by `parent`; `name` is the kind of file.
QPushButton* createBrowseButton(const QString& name, QWidget* parent);

/// Replaces the list and keeps the edit text.
void refillRecentFiles(QComboBox& combo, const QStringList& files);

/// Makes `file` the edit text, and the current entry where the list holds exactly it.
void showFile(QComboBox& combo, const QString& file);

/// `file`, with "." and `suffix` appended unless that is its suffix already (case-sensitive).
QString withSuffix(const QString& file, const QString& suffix);
