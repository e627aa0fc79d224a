#include "record/atexit.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"

#include <QCoreApplication>
#include <QLabel>

// The final line comes behind stopped() after a failed read and before it otherwise, so each end
// calls it by hand.
void TOVAStreamingTab::bufferModeRoutine()
{
    RecordFile file;
    if (!beginRecordingTo(file)) {
        return;
    }
    const AtExit atExit([&file] { file.sync(); });
    RefreshClock sinceRefresh(m_clock);
    constexpr unsigned int chunkSize = 512;
    std::array<char, chunkSize> chunk = {};
    unsigned int bytesRead = 0;
    std::uint32_t totalBytes = 0;
    while (true) {
        const Outcome outcome = readTrace(chunk.data(), chunkSize, bytesRead);
        if (outcome == Outcome::Over) {
            const QString stop = howItStopped();
            if (!file.write(chunk.data(), bytesRead) || !file.sync()) {
                break;
            }
            dropClicksOnStop();
            showRecorded(totalBytes + bytesRead, stop);
            stopped();
            file.close();
            return;
        }
        if (outcome == Outcome::Failed) {
            const bool isOnDisk = file.sync();
            dropClicksOnStop();
            reportFailures({m_readFailure, file.failureText()});
            stopped();
            showRecorded(isOnDisk ? totalBytes : file.traceBytes(), QStringLiteral("on error"));
            file.close();
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
                takeStopAway();
                m_statusLabel->setText(
                    QStringLiteral("Triggered! Recorded %1 bytes.").arg(totalBytes));
            }
            sinceRefresh.restart();
            QCoreApplication::processEvents();
        }
    }
    stopAfterFailedWrite(file);
}
