#include "widgets/recentfiles.h"

#include "widgets/pathedit.h"
#include "widgets/plainlabel.h"

#include <QComboBox>
#include <QFileInfo>
#include <QLineEdit>
#include <QPushButton>
#include <QStringList>
#include <QWheelEvent>

namespace
{

/// Leaves the wheel to the parent. Otherwise the wheel would replace the path in a field that
/// nobody looks at.
class RecentFilesCombo : public QComboBox
{
public:
    using QComboBox::QComboBox;

protected:
    void wheelEvent(QWheelEvent* event) override { event->ignore(); }
};

void nameForScreenReaders(QComboBox& combo, const QString& name)
{
    // On Linux the accessible name of a combo box is always its text. Only a label can name the
    // combo box.
    auto* label = new PlainLabel(name, combo.parentWidget());
    label->hide();
    label->setBuddy(&combo);
    combo.lineEdit()->setAccessibleName(name);
}

} // namespace

QComboBox* createRecentFilesCombo(const QString& name, QWidget* parent)
{
    auto* combo = new RecentFilesCombo(parent);
    combo->setObjectName(QStringLiteral("editable combobox"));
    combo->setEditable(true);
    combo->setLineEdit(new PathEdit(combo));
    // A completion would change the typed text, or its popup would swallow the next click.
    combo->setCompleter(nullptr);
    nameForScreenReaders(*combo, QStringLiteral("Path of the ") + name);
    // A long path in the list must not make the window wider than the screen.
    combo->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    combo->setMinimumContentsLength(40);
    combo->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    return combo;
}

QPushButton* createBrowseButton(const QString& name, QWidget* parent)
{
    constexpr int width = 30;
    auto* button = new QPushButton(QStringLiteral("..."), parent);
    button->setFixedWidth(width);
    button->setToolTip(QStringLiteral("Opens a dialog in which the file is chosen."));
    button->setAccessibleName(QStringLiteral("Browse for the ") + name);
    return button;
}

void refillRecentFiles(QComboBox& combo, const QStringList& files)
{
    const QString text = combo.currentText();
    combo.clear();
    combo.addItems(files);
    // The first item added has become current; without this it would replace what the user typed.
    combo.setCurrentIndex(-1);
    showFile(combo, text);
}

void showFile(QComboBox& combo, const QString& file)
{
    const int entry = combo.findText(file, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (entry >= 0) {
        combo.setCurrentIndex(entry);
    }
    combo.setEditText(file);
}

QString withSuffix(const QString& file, const QString& suffix)
{
    return QFileInfo(file).suffix() == suffix ? file : file + QLatin1Char('.') + suffix;
}
