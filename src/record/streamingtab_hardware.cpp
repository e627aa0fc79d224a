#include "record/recordfile.h"
#include "record/streamingtab.h"

#include <QCoreApplication>
#include <QLabel>
#include <QTimer>

void TOVAStreamingTab::bufferModeRoutine()
{
    RecordFile file;
    if (!beginRecordingTo(file)) {
        return;
    }
    RefreshClock sinceRefresh(m_clock);
    constexpr unsigned int chunkSize = 512;
    std::array<char, chunkSize> chunk = {};
    unsigned int bytesRead = 0;
    std::uint32_t totalBytes = 0;
    while (true) {
        const BRAN_ERR_T result = readTrace(chunk.data(), chunkSize, bytesRead);
        if (isOver(result)) {
            if (!file.write(chunk.data(), bytesRead) || !file.flush()) {
                break;
            }
            showRecorded(totalBytes + bytesRead, stopWord());
            setStartStopEnabled(true);
            stopped();
            closeRecordFile(file);
            return;
        }
        if (result != BRAN_SUCCESS) {
            if (!file.flush()) {
                break;
            }
            reportReadFailure(result);
            setStartStopEnabled(true);
            stopped();
            showRecorded(totalBytes, QStringLiteral("on error"));
            closeRecordFile(file);
            return;
        }
        totalBytes += bytesRead;
        if (!file.write(chunk.data(), bytesRead)) {
            break;
        }
        if (sinceRefresh.isDue()) {
            if (!file.flush()) {
                break;
            }
            if (totalBytes == 0) {
                m_statusLabel->setText(QStringLiteral("Waiting for trigger..."));
            } else {
                showTriggered(totalBytes);
            }
            sinceRefresh.restart();
            QCoreApplication::processEvents();
        }
    }
    stopAfterFailedWrite(file);
}

/// Shows that the trigger has fired, and takes the stop away: what the board's buffer holds is
/// delivered to its end.
void TOVAStreamingTab::showTriggered(std::uint32_t totalBytes)
{
    m_recording = false;
    m_reenableTimer->stop();
    setStartStopEnabled(false);
    m_statusLabel->setText(QStringLiteral("Triggered! Recorded %1 bytes.").arg(totalBytes));
}
