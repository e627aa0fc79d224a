#include "burn/branneltab.h"

#include "board/errortext.h"
#include "config/configuration.h"
#include "widgets/recentfiles.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QPushButton>

/// What differs between choosing a load file and choosing a calibration file.
struct TOVABrannelTab::FileKind {
    QString suffix;
    QString filter;
    QString (*lastFolder)();
    void (*setLastFolder)(const QString& folder);

    static FileKind lod()
    {
        return {QStringLiteral("lod"), QStringLiteral("LOD File (*.lod)"),
                TOVAConfiguration::getLastLodFolder, TOVAConfiguration::setLastLodFolder};
    }

    static FileKind cfp()
    {
        return {QStringLiteral("cfp"), QStringLiteral("CFP File (*.cfp)"),
                TOVAConfiguration::getLastCfpFolder, TOVAConfiguration::setLastCfpFolder};
    }
};

void TOVABrannelTab::updateComboBoxesFromConfig()
{
    refillRecentFiles(*m_lodComboBox, TOVAConfiguration::m_lastLodFiles);
    refillRecentFiles(*m_cfpComboBox, TOVAConfiguration::m_lastCfpFiles);
}

void TOVABrannelTab::choseLodFile()
{
    choseFile(*m_lodComboBox, FileKind::lod());
}

void TOVABrannelTab::choseCfpFile()
{
    choseFile(*m_cfpComboBox, FileKind::cfp());
}

void TOVABrannelTab::choseFile(QComboBox& combo, const FileKind& kind)
{
    const QString start = combo.currentText().isEmpty() ? kind.lastFolder() : combo.currentText();
    const QString chosen = QFileDialog::getOpenFileName(
        this, QStringLiteral("Choose a file to open"), start, kind.filter);
    if (chosen.isEmpty()) {
        return;
    }
    const QString file = withSuffix(chosen, kind.suffix);
    rememberFolder(file, kind);
    showFile(combo, file);
}

void TOVABrannelTab::lodActivated(const QString& lodfile)
{
    rememberFolder(lodfile, FileKind::lod());
}

void TOVABrannelTab::cfpActivated(const QString& cfpfile)
{
    rememberFolder(cfpfile, FileKind::cfp());
}

void TOVABrannelTab::rememberFolder(const QString& file, const FileKind& kind)
{
    kind.setLastFolder(QFileInfo(file).path());
    TOVAConfiguration::dumpConfig();
}

void TOVABrannelTab::started()
{
    m_focus.disableAndRemember(*this, [this] {
        setControlsEnabled(false);
        // Greys "Reset", where the focus has gone by now.
        emit greyParentGUI();
    });
}

void TOVABrannelTab::stopped()
{
    emit ungreyParentGUI();
    setControlsEnabled(true);
    m_focus.giveBack();
}

void TOVABrannelTab::setControlsEnabled(bool enabled)
{
    m_verifyCheckBox->setEnabled(enabled);
    m_fullImageCheckBox->setEnabled(enabled);
    m_lodGroupBox->setEnabled(enabled);
    m_cfpGroupBox->setEnabled(enabled);
    m_burnButton->setEnabled(enabled);
}

void TOVABrannelTab::getVersion()
{
    unsigned int version = 0;
    const BRAN_ERR_T result = BRAN_GetVersion(&version);
    m_versionLabel->setText(result == BRAN_SUCCESS
                                ? QStringLiteral("0x%1").arg(version, 8, 16, QLatin1Char(' '))
                                : QStringLiteral("Error while getting the version : ") +
                                      boardErrorText(result).replace('\n', ' '));
}
