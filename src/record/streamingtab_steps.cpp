#include "board/errorreport.h"
#include "config/configuration.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"
#include "widgets/warningbox.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QLabel>
#include <QTimer>

namespace
{

constexpr auto impossibleRead = BRAN_ERR_T(0xFFFFFFFF);

} // namespace

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
bool TOVAStreamingTab::beginRecordingTo(RecordFile& file)
{
    if (!hasRecordFileName()) {
        return false;
    }
    if (!file.open(recordFileName())) {
        showWarning(this,
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
    if (!file.writeHeader(m_newExlFormatCheck->isChecked()) || !file.flush()) {
        stopAfterFailedWrite(file);
        return false;
    }
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
    m_libraryRuns = result == BRAN_SUCCESS;
    m_stopRequested = false;
    return m_libraryRuns;
}

/// Reads trace bytes. A count above `size` would lead past the end of the buffer, so it is taken as
/// a failed read without bytes, whatever the result that came with it.
BRAN_ERR_T TOVAStreamingTab::readTrace(char* buffer, unsigned int size, unsigned int& bytesRead)
{
    BRAN_ERR_T result = BRAN_GetRecordData(m_recordContext, buffer, size, bytesRead);
    m_impossibleRead = bytesRead > size ? bytesRead : 0;
    if (m_impossibleRead != 0) {
        bytesRead = 0;
        result = impossibleRead;
    }
    m_libraryRuns = result == BRAN_SUCCESS && !m_brutalStop;
    return result;
}

/// Whether this read was the last one of a recording that has not failed.
bool TOVAStreamingTab::isOver(BRAN_ERR_T result) const
{
    return result == BRAN_RECORDING_FINISHED || (m_brutalStop && m_impossibleRead == 0);
}

void TOVAStreamingTab::reportReadFailure(BRAN_ERR_T result)
{
    if (m_impossibleRead == 0) {
        reportBoardError(this, result);
        return;
    }
    showWarning(
        this, QStringLiteral("The board library reported %1 bytes, which is more than it was asked "
                             "for. They were not recorded.")
                  .arg(m_impossibleRead));
}

/// Ends a recording whose file takes no more bytes, and tells how many are safe.
void TOVAStreamingTab::stopAfterFailedWrite(RecordFile& file)
{
    showRecorded(file.traceBytes(), QStringLiteral("on error"));
    if (m_libraryRuns) {
        endStartedRecording();
    }
    file.close();
    showWarning(this, file.failureText());
    stopped();
}

/// Closes the file of a recording that is over. Some file systems tell only then that they have no
/// room for what they took.
void TOVAStreamingTab::closeRecordFile(RecordFile& file)
{
    if (!file.close()) {
        showRecorded(file.traceBytes(), QStringLiteral("on error"));
        showWarning(this, file.failureText());
    }
}

/// Ends a recording that cannot be kept: asks the library to stop and drops what still comes. If
/// the library does not answer, the brutal stop is offered.
void TOVAStreamingTab::endStartedRecording()
{
    // The hardware trigger has taken this away, and with it the brutal stop.
    m_recording = true;
    if (!m_stopRequested) {
        requestStop();
    } else if (!m_countDownTimer->isActive()) {
        waitForStop();
    }
    RefreshClock sinceRefresh(m_clock);
    unsigned int bytesRead = 0;
    while (!m_brutalStop && readTrace(m_readBuffer.data(), readSize, bytesRead) == BRAN_SUCCESS) {
        if (sinceRefresh.isDue()) {
            sinceRefresh.restart();
            QCoreApplication::processEvents();
        }
    }
    endStopControl();
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
void TOVAStreamingTab::showRecorded(qint64 bytes, const QString& end)
{
    m_statusLabel->setText(
        QStringLiteral("Recorded %1 bytes. (Stopped %2!)").arg(QString::number(bytes), end));
}
