#include "record/streamingtab.h"

#include "config/configuration.h"
#include "record/pipowidget.h"
#include "widgets/recentfiles.h"
#include "widgets/spacer.h"
#include "widgets/warningbox.h"

#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QSignalBlocker>

#include <cstdlib>

namespace
{

bool userReplaces(QWidget* parent, const QString& file)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Tovalink"),
                    QStringLiteral("%1 already exists.\nDo you want to replace it?").arg(file),
                    QMessageBox::Yes | QMessageBox::No, parent);
    box.setDefaultButton(QMessageBox::No);
    return showBox(box) == QMessageBox::Yes;
}

/// Asks for a record file to write; empty if the user cancels. The dialog's own question about an
/// existing file would be about the name as typed. This question is about the name that will be
/// written.
QString askForRecordFile(QWidget* parent, QString start)
{
    while (true) {
        QString chosen = QFileDialog::getSaveFileName(
            parent, QStringLiteral("Choose a file to open"), start,
            QStringLiteral("Tracemint File (*.prf)"), nullptr, QFileDialog::DontConfirmOverwrite);
        if (chosen.isEmpty()) {
            return chosen;
        }
        QString file = withSuffix(chosen, QStringLiteral("prf"));
        if (QFileInfo(file).isDir()) {
            showWarning(parent,
                        QStringLiteral("Cannot record into %1, because it is a folder.").arg(file));
        } else if (!QFileInfo::exists(file) || userReplaces(parent, file)) {
            return file;
        }
        start = file;
    }
}

void rememberFolder(const QString& file)
{
    TOVAConfiguration::setLastPrfFolder(QFileInfo(file).path());
    TOVAConfiguration::dumpConfig();
}

} // namespace

TOVAStreamingTab::TOVAStreamingTab(QWidget* parent, SteadyClock clock)
    : Q3VBox(parent),
      m_clock(clock)
{
    createRecFileGroup();
    createFilterRow();
    createTriggerRow();
    createRecordingModeGroup();
    createSpacer<PipoWidget>(this, QSizePolicy::Expanding);
    createRecordingGroup();
    connectModes();
    createTimers();
    updateComboBoxFromConfig();
    connect(m_recFileCombo, &QComboBox::textActivated, this, &TOVAStreamingTab::prfActivated);
}

TOVAStreamingTab::~TOVAStreamingTab()
{
    std::free(m_circularBuffer);
}

void TOVAStreamingTab::onOnTheFly(bool /*on*/)
{
    checkMode(m_onTheFlyGroup);
}

void TOVAStreamingTab::onCircular(bool /*on*/)
{
    checkMode(m_circularGroup);
}

void TOVAStreamingTab::onHardwareBuffer(bool /*on*/)
{
    checkMode(m_hardwareBufferGroup);
}

/// Makes `mode` the one checked mode, even if the user has just unchecked it.
void TOVAStreamingTab::checkMode(const QWidget* mode)
{
    const QSignalBlocker onTheFly(m_onTheFlyGroup);
    const QSignalBlocker circular(m_circularGroup);
    const QSignalBlocker hardwareBuffer(m_hardwareBufferGroup);
    for (QGroupBox* group : {m_onTheFlyGroup, m_circularGroup, m_hardwareBufferGroup}) {
        group->setChecked(group == mode);
    }
}

void TOVAStreamingTab::choseRecFile()
{
    const QString name = recordFileName();
    const QString file =
        askForRecordFile(this, name.isEmpty() ? TOVAConfiguration::getLastPrfFolder() : name);
    if (file.isEmpty()) {
        return;
    }
    rememberFolder(file);
    showFile(*m_recFileCombo, file);
}

void TOVAStreamingTab::prfActivated(const QString& prffile)
{
    rememberFolder(prffile);
}

void TOVAStreamingTab::updateComboBoxFromConfig()
{
    refillRecentFiles(*m_recFileCombo, TOVAConfiguration::m_lastPrfFiles);
}

QString TOVAStreamingTab::recordFileName() const
{
    return m_recFileCombo->currentText();
}
