#include "burn/branneltab.h"
#include "burn/burnprogress.h"
#include "widgets/plainlabel.h"
#include "widgets/recentfiles.h"
#include "widgets/spacer.h"

#include <QCheckBox>
#include <QComboBox>
#include <QProgressBar>
#include <QPushButton>
#include <QShortcut>

namespace
{

constexpr int browseButtonWidth = 30;
constexpr int statusWidth = 150;

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
}

void TOVABrannelTab::createLodGroup()
{
    m_lodGroupBox = new Q3VGroupBox(QStringLiteral("Choose main lod file"), this);
    createFileRow(m_lodGroupBox, m_lodComboBox, &TOVABrannelTab::choseLodFile);
}

void TOVABrannelTab::createCfpGroup()
{
    m_cfpGroupBox = new Q3VGroupBox(QStringLiteral("Choose calibration file"), this);
    createFileRow(m_cfpGroupBox, m_cfpComboBox, &TOVABrannelTab::choseCfpFile);
}

void TOVABrannelTab::createFileRow(QWidget* group, QComboBox*& combo,
                                   void (TOVABrannelTab::*choose)())
{
    auto* row = new Q3HBox(group);
    tighten(*row);
    auto* browse = new QPushButton(QStringLiteral("..."), row);
    browse->setFixedWidth(browseButtonWidth);
    connect(browse, &QPushButton::clicked, this, choose);
    combo = createRecentFilesCombo(row);
}

void TOVABrannelTab::createImageInfoGroup()
{
    auto* group = new Q3VGroupBox(this);
    m_imageInfoLabel = new PlainLabel(
        QStringLiteral(
            "Image Size 16MB, Base Address 0x01000000 (may be overloaded by LOD files)."),
        group);
}

void TOVABrannelTab::createVersionGroup()
{
    auto* group = new Q3HGroupBox(this);
    auto* button = new QPushButton(QStringLiteral("Get Brannel board version"), group);
    button->setFixedSize(button->sizeHint());
    connect(button, &QPushButton::clicked, this, &TOVABrannelTab::getVersion);
    m_versionLabel = new PlainLabel(group);
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
    m_statusLabel = new PlainLabel(row);
    m_statusLabel->setFixedWidth(statusWidth);
    createSpacer(row, QSizePolicy::Minimum);
    m_verifyCheckBox = new QCheckBox(QStringLiteral("Verify"), row);
    m_verifyCheckBox->setChecked(true);
    m_fullImageCheckBox = new QCheckBox(QStringLiteral("Burn full image"), row);
    m_progressBar = new QProgressBar(group);

    s_progress = m_progressBar;
    s_label = m_statusLabel;
}

void TOVABrannelTab::createBurnButton(QWidget* row)
{
    m_burnButton = new QPushButton(QStringLiteral("&Burn!"), row);
    // A button has one shortcut: Ctrl+B takes the place of the underlined letter's, which therefore
    // gets one of its own.
    m_burnButton->setShortcut(QKeySequence(QStringLiteral("Ctrl+B")));
    auto* mnemonic = new QShortcut(QKeySequence::mnemonic(m_burnButton->text()), m_burnButton);
    mnemonic->setAutoRepeat(false);
    connect(mnemonic, &QShortcut::activated, m_burnButton, &QPushButton::click);
    connect(m_burnButton, &QPushButton::clicked, this, &TOVABrannelTab::go);
}
