#include "board/errortext.h"
#include "config/configuration.h"
#include "record/diskroom.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"
#include "widgets/warningbox.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QLabel>

/// Whether a record file is named; if not, the status line asks for it.
bool TOVAStreamingTab::requireRecordFileName()
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
    if (!requireRecordFileName()) {
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
    m_readFailure.clear();
    const BRAN_ERR_T result = BRAN_StartRecording(config, m_recordContext);
    if (result != BRAN_SUCCESS) {
        settleEnd();
        dropClicksOnStop();
        showWarning(this, boardErrorText(result));
        m_statusLabel->setText(QStringLiteral("Stopped on error."));
    }
    return result == BRAN_SUCCESS;
}

/// Reads trace bytes. If the library reports more than `size` bytes, none are taken, and a success
/// that it reports counts as a failure.
TOVAStreamingTab::Outcome TOVAStreamingTab::readTrace(char* buffer, unsigned int size,
                                                      unsigned int& bytesRead)
{
    const BRAN_ERR_T result = BRAN_GetRecordData(m_recordContext, buffer, size, bytesRead);
    const unsigned int told = bytesRead;
    bytesRead = told > size ? 0 : told;
    if (result == BRAN_SUCCESS && told <= size && !m_brutalStop) {
        return Outcome::GoesOn;
    }
    settleEnd();
    if (told > size && (result == BRAN_SUCCESS || result == BRAN_RECORDING_FINISHED)) {
        m_readFailure =
            QStringLiteral("The board library reported %1 bytes, which is more than it was asked "
                           "for. They were not recorded.")
                .arg(told);
        return Outcome::Failed;
    }
    if (result == BRAN_RECORDING_FINISHED || m_brutalStop) {
        return Outcome::Over;
    }
    m_readFailure = boardErrorText(result);
    return Outcome::Failed;
}

/// Ends a recording that cannot be kept: asks the library to stop and drops what still comes. If
/// the library does not answer, the brutal stop is offered.
void TOVAStreamingTab::endStartedRecording()
{
    letUserStopAgain();
    RefreshClock sinceRefresh(m_clock);
    unsigned int bytesRead = 0;
    while (!m_brutalStop &&
           readTrace(m_readBuffer.data(), readSize, bytesRead) == Outcome::GoesOn) {
        if (sinceRefresh.isDue()) {
            sinceRefresh.restart();
            QCoreApplication::processEvents();
        }
    }
    settleEnd();
    endStopControl();
}

/// Ends a recording that is over, with its last bytes; false if the file does not take them.
bool TOVAStreamingTab::finishRecording(RecordFile& file, const char* bytes, unsigned int count,
                                       std::uint32_t totalBytes)
{
    // A brutal stop that comes with the clicks below comes too late.
    const QString stop = howItStopped();
    if (!file.write(bytes, count) || !file.sync()) {
        return false;
    }
    dropClicksOnStop();
    showRecorded(totalBytes + count, stop);
    stopped();
    file.close();
    return true;
}

/// Shows why a read has failed, and then why the file has, if it has too. Returns the number of
/// trace bytes in the file.
qint64 TOVAStreamingTab::reportFailedRead(RecordFile& file, std::uint32_t totalBytes)
{
    const bool isOnDisk = file.sync();
    dropClicksOnStop();
    reportFailures({m_readFailure, file.failureText()});
    return isOnDisk ? totalBytes : file.traceBytes();
}

/// Ends a recording whose file takes no more bytes, and tells how many are safe.
void TOVAStreamingTab::stopAfterFailedWrite(RecordFile& file)
{
    if (m_board != Board::Ended) {
        endStartedRecording();
    }
    file.close();
    dropClicksOnStop();
    reportFailures({m_readFailure, file.failureText()});
    showRecorded(file.traceBytes(), QStringLiteral("on error"));
    stopped();
}

/// Shows each failure in a box of its own; an empty text is no failure.
void TOVAStreamingTab::reportFailures(const QStringList& failures)
{
    for (const QString& failure : failures) {
        if (!failure.isEmpty()) {
            showWarning(this, failure);
        }
    }
}

void TOVAStreamingTab::rememberRecordFile()
{
    TOVAConfiguration::addLastPrf(recordFileName(), true);
    TOVAConfiguration::dumpConfig();
    updateComboBoxFromConfig();
}

QString TOVAStreamingTab::howItStopped() const
{
    return m_brutalStop ? QStringLiteral("Brutally") : QStringLiteral("Nicely");
}

/// Shows the final line of a recording that went to its file directly.
void TOVAStreamingTab::showRecorded(qint64 bytes, const QString& end)
{
    m_statusLabel->setText(
        QStringLiteral("Recorded %1 bytes. (Stopped %2!)").arg(QString::number(bytes), end));
}

/// Shows in the status line's tip how long the disk of the file will last.
void TOVAStreamingTab::showRoomOnDisk(const RecordFile& file, float rate)
{
    m_statusLabel->setToolTip(diskRoomText(file.freeBytes(), rate));
}
