#include "burn/branneltab.h"
#include "burn/burnprogress.h"
#include "widgets/filedrop.h"
#include "widgets/readoutlabel.h"
#include "widgets/recentfiles.h"
#include "widgets/singlepress.h"
#include "widgets/spacer.h"

#include <QCheckBox>
#include <QComboBox>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>

namespace
{

QLabel* createStatusLabel(QWidget* row)
{
    constexpr int width = 150;
    auto* label = new ReadoutLabel(QStringLiteral("Status of the burn"), row);
    label->setFixedWidth(width);
    // With a large font the longest status takes two lines, and a row does not grow later.
    label->setWordWrap(true);
    label->ensurePolished();
    label->setText(QStringLiteral("Creating Image..."));
    label->setMinimumHeight(label->heightForWidth(width));
    label->clear();
    return label;
}

} // namespace

TOVABrannelTab::TOVABrannelTab(QWidget* parent) : Q3VBox(parent)
{
    createLodGroup();
    createCfpGroup();
    createImageInfoGroup();
    createVersionGroup();
    createSpacer(this, QSizePolicy::Expanding);
    createBurnGroup();
    updateComboBoxesFromConfig();
    connect(m_lodComboBox, &QComboBox::textActivated, this, &TOVABrannelTab::lodActivated);
    connect(m_cfpComboBox, &QComboBox::textActivated, this, &TOVABrannelTab::cfpActivated);
    takeDroppedFiles();
}

void TOVABrannelTab::takeDroppedFiles()
{
    auto* drop = new FileDrop(this);
    drop->addField(QStringLiteral("lod"), m_lodComboBox);
    drop->addField(QStringLiteral("cfp"), m_cfpComboBox);
}

void TOVABrannelTab::createLodGroup()
{
    m_lodGroupBox = new Q3VGroupBox(QStringLiteral("Choose main lod file"), this);
    createFileRow(m_lodGroupBox, QStringLiteral("main lod file"), m_lodComboBox,
                  &TOVABrannelTab::choseLodFile);
    m_lodComboBox->setToolTip(
        QStringLiteral("The load file with the firmware that is burned into the flash."));
}

void TOVABrannelTab::createCfpGroup()
{
    m_cfpGroupBox = new Q3VGroupBox(QStringLiteral("Choose calibration file"), this);
    createFileRow(m_cfpGroupBox, QStringLiteral("calibration file"), m_cfpComboBox,
                  &TOVABrannelTab::choseCfpFile);
    m_cfpComboBox->setToolTip(QStringLiteral(
        "The calibration file that is burned together with the load file; may be left empty."));
}

void TOVABrannelTab::createFileRow(QWidget* group, const QString& name, QComboBox*& combo,
                                   void (TOVABrannelTab::*choose)())
{
    auto* row = new Q3HBox(group);
    tighten(*row);
    connect(createBrowseButton(name, row), &QPushButton::clicked, this, choose);
    combo = createRecentFilesCombo(name, row);
}

void TOVABrannelTab::createImageInfoGroup()
{
    auto* group = new Q3VGroupBox(this);
    m_imageInfoLabel = new ReadoutLabel(QStringLiteral("Summary of the flash image"), group);
    m_imageInfoLabel->setText(QStringLiteral(
        "Image Size 16MB, Base Address 0x01000000 (may be overloaded by LOD files)."));
}

void TOVABrannelTab::createVersionGroup()
{
    auto* group = new Q3HGroupBox(this);
    auto* button = new QPushButton(QStringLiteral("Get Brannel board version"), group);
    button->setFixedSize(button->sizeHint());
    button->setToolTip(
        QStringLiteral("Asks the board for its version and shows the answer on the right."));
    connect(button, &QPushButton::clicked, this, &TOVABrannelTab::getVersion);
    m_versionLabel = new ReadoutLabel(QStringLiteral("Version of the board"), group);
    // A long error must not make the window wider than the screen.
    m_versionLabel->setWordWrap(true);
    m_versionLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void TOVABrannelTab::createBurnGroup()
{
    auto* group = new Q3VGroupBox(QStringLiteral("Burn image"), this);
    auto* row = new Q3HBox(group);
    tighten(*row);
    createBurnButton(row);
    createSpacer(row, QSizePolicy::Minimum);
    m_statusLabel = createStatusLabel(row);
    createSpacer(row, QSizePolicy::Minimum);
    m_verifyCheckBox = new QCheckBox(QStringLiteral("Verify"), row);
    m_verifyCheckBox->setChecked(true);
    m_verifyCheckBox->setToolTip(
        QStringLiteral("Reads the flash back after burning and compares it with the image."));
    m_fullImageCheckBox = new QCheckBox(QStringLiteral("Burn full image"), row);
    m_fullImageCheckBox->setToolTip(
        QStringLiteral("Burns the whole image of 16 MB, not only the part that the files fill."));
    m_progressBar = new QProgressBar(group);
    m_progressBar->setAccessibleName(QStringLiteral("Progress"));
    m_progressBar->setToolTip(
        QStringLiteral("How much of the burning, and then of the verifying, is done."));

    s_progress = m_progressBar;
    s_label = m_statusLabel;
}

void TOVABrannelTab::createBurnButton(QWidget* row)
{
    m_burnButton = new QPushButton(QStringLiteral("&Burn!"), row);
    m_burnButton->setToolTip(
        QStringLiteral("Builds a flash image from the chosen files and burns it into the board."));
    // A button has one shortcut. Ctrl+B replaces the one of the underlined letter, which therefore
    // gets a shortcut of its own.
    m_burnButton->setShortcut(QKeySequence(QStringLiteral("Ctrl+B")));
    auto* mnemonic = new QShortcut(QKeySequence::mnemonic(m_burnButton->text()), m_burnButton);
    connect(mnemonic, &QShortcut::activated, m_burnButton, &QPushButton::click);
    new SinglePress(m_burnButton);
    connect(m_burnButton, &QPushButton::clicked, this, &TOVABrannelTab::go);
}
