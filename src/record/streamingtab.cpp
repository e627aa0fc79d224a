#include "record/streamingtab.h"

#include "config/configuration.h"
#include "widgets/recentfiles.h"
#include "widgets/warningbox.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTimer>

#include <cstdlib>

namespace
{

constexpr int doubleClickProtectionMs = 1000;

bool userReplaces(QWidget* parent, const QString& file)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Tovalink"),
                    QStringLiteral("%1 already exists.\nDo you want to replace it?").arg(file),
                    QMessageBox::Yes | QMessageBox::No, parent);
    box.setTextFormat(Qt::PlainText);
    box.setDefaultButton(QMessageBox::No);
    return box.exec() == QMessageBox::Yes;
}

/// Asks for a record file to write; empty if the user cancels. The dialog's own question about an
/// existing file is about the name as typed, so the question is asked here, about the name that
/// will be written.
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

/// Makes `mode` the one checked mode, also where the user has just unchecked it.
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

void TOVAStreamingTab::started()
{
    m_recording = true;
    m_startStopButton->setText(QStringLiteral("Stop!"));
    setOptionsEnabled(false);
    emit greyParentGUI();
    if (TOVAConfiguration::m_isDoubleClickedProtected) {
        setStartStopEnabled(false);
        m_reenableTimer->start(doubleClickProtectionMs);
    }
}

void TOVAStreamingTab::reenableButton()
{
    // Where a read has blocked, the second click of a double click may still be waiting.
    QCoreApplication::processEvents();
    setStartStopEnabled(true);
}

void TOVAStreamingTab::stopped()
{
    // A click that was meant for "Stop!" may still be waiting, or the button be held down. As
    // "Start!" it would overwrite what has just been recorded.
    m_reenableTimer->stop();
    setStartStopEnabled(false);
    QCoreApplication::processEvents();
    m_recording = false;
    m_endOfLast = m_clock();
    m_startStopButton->setText(QStringLiteral("Start!"));
    setStartStopEnabled(true);
    endStopControl();
    setOptionsEnabled(true);
    emit ungreyParentGUI();
}

void TOVAStreamingTab::setOptionsEnabled(bool enabled)
{
    for (QGroupBox* group :
         std::initializer_list<QGroupBox*>{m_filterGroup, m_recFileGroup, m_pxtsTriggerGroup,
                                           m_exlTriggerGroup, m_recordingModeGroup}) {
        group->setEnabled(enabled);
    }
}

void TOVAStreamingTab::setStartStopEnabled(bool enabled)
{
    if (enabled == m_startStopButton->isEnabled()) {
        return;
    }
    if (enabled) {
        m_startStopButton->setEnabled(true);
        m_focus.giveBack();
    } else {
        m_focus.watch(*this, [this] { m_startStopButton->setEnabled(false); });
    }
}
