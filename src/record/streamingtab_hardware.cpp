#include "record/atexit.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"

#include <QCoreApplication>
#include <QLabel>

// Each end calls stopped() by hand: the final line comes after stopped() when a read has failed,
// and before it otherwise.
void TOVAStreamingTab::bufferModeRoutine()
{
    RecordFile file;
    if (!beginRecordingTo(file)) {
        return;
    }
    const AtExit atExit([&file] {
        file.sync();
        file.close();
    });
    RefreshClock sinceRefresh(m_clock);
    constexpr unsigned int chunkSize = 512;
    std::array<char, chunkSize> chunk = {};
    unsigned int bytesRead = 0;
    std::uint32_t totalBytes = 0;
    while (true) {
        const Outcome outcome = readTrace(chunk.data(), chunkSize, bytesRead);
        if (outcome == Outcome::Over) {
            if (!finishRecording(file, chunk.data(), bytesRead, totalBytes)) {
                break;
            }
            return;
        }
        if (outcome == Outcome::Failed) {
            const qint64 bytesInFile = reportFailedRead(file, totalBytes);
            stopped();
            showRecorded(bytesInFile, QStringLiteral("on error"));
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
