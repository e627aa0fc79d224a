#include "board/errorreport.h"
#include "config/configuration.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"
#include "widgets/warningbox.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QFile>
#include <QLabel>

bool TOVAStreamingTab::hasRecordFileName()
{
    if (recordFileName().isEmpty()) {
        m_statusLabel->setText(QStringLiteral("You'd better chose a filename before recording!"));
        return false;
    }
    return true;
}

/// Opens the record file, starts the recording and writes the file's header; false if the recording
/// does not run, which the user has been told.
bool TOVAStreamingTab::beginRecordingTo(QFile& file)
{
    if (!hasRecordFileName()) {
        return false;
    }
    file.setFileName(recordFileName());
    if (!file.open(QIODevice::WriteOnly)) {
        showWarning(this, QStringLiteral("Tovalink"),
                    QStringLiteral("Cannot open file for writing. File may be in read-only mode, "
                                   "or it is already opened by another application"));
        return false;
    }
    rememberRecordFile();
    if (!startRecording()) {
        file.close();
        stopped();
        return false;
    }
    writeRecordFileHeader(file, m_newExlFormatCheck->isChecked());
    return true;
}

/// Starts the recording; false, with the status and the warning shown, if the board library fails.
bool TOVAStreamingTab::startRecording()
{
    const BRAN_RECORD_CONFIG_T config = makeRecordConfigFromUserOptions();
    started();
    const BRAN_ERR_T result = BRAN_StartRecording(config, m_recordContext);
    if (result != BRAN_SUCCESS) {
        reportBoardError(this, result);
        m_statusLabel->setText(QStringLiteral("Stopped on error."));
    }
    return result == BRAN_SUCCESS;
}

/// Ends a recording that cannot be kept: asks the library to stop and drops what still comes.
void TOVAStreamingTab::endStartedRecording()
{
    requestStop();
    RefreshClock sinceRefresh(m_clock);
    unsigned int bytesRead = 0;
    while (BRAN_GetRecordData(m_recordContext, m_readBuffer.data(), readSize, bytesRead) ==
               BRAN_SUCCESS &&
           !m_brutalStop) {
        if (sinceRefresh.isDue()) {
            sinceRefresh.restart();
            QCoreApplication::processEvents();
        }
    }
}

void TOVAStreamingTab::rememberRecordFile()
{
    TOVAConfiguration::addLastPrf(recordFileName(), true);
    TOVAConfiguration::dumpConfig();
    updateComboBoxFromConfig();
}

QString TOVAStreamingTab::stopWord() const
{
    return m_brutalStop ? QStringLiteral("Brutally") : QStringLiteral("Nicely");
}

/// Shows the final line of a recording that went to its file directly.
void TOVAStreamingTab::showRecorded(std::uint32_t bytes, const QString& end)
{
    m_statusLabel->setText(
        QStringLiteral("Recorded %1 bytes. (Stopped %2!)").arg(QString::number(bytes), end));
}
