#include "record/atexit.h"
#include "record/rate.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"

#include <QCoreApplication>
#include <QLabel>

// The file is closed behind stopped() after a good end and before it after a failure, so each end
// calls it by hand.
void TOVAStreamingTab::onTheFlyRoutine()
{
    RecordFile file;
    if (!beginRecordingTo(file)) {
        return;
    }
    const AtExit atExit([&file] { file.sync(); });
    RefreshClock sinceRefresh(m_clock);
    unsigned int bytesRead = 0;
    std::uint32_t totalBytes = 0;
    std::uint32_t bytesSinceRefresh = 0;
    while (true) {
        const Outcome outcome = readTrace(m_readBuffer.data(), readSize, bytesRead);
        if (outcome == Outcome::Over) {
            const QString stop = howItStopped();
            if (!file.write(m_readBuffer.data(), bytesRead) || !file.sync()) {
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
            showRecorded(isOnDisk ? totalBytes : file.traceBytes(), QStringLiteral("on error"));
            file.close();
            stopped();
            return;
        }
        totalBytes += bytesRead;
        bytesSinceRefresh += bytesRead;
        if (!file.write(m_readBuffer.data(), bytesRead)) {
            break;
        }
        if (sinceRefresh.isDue()) {
            if (!file.flush()) {
                break;
            }
            const float rate = kilobytesPerSecond(bytesSinceRefresh, sinceRefresh.elapsed());
            m_statusLabel->setText(QStringLiteral("Recorded %1 bytes (%2 KB/s).")
                                       .arg(QString::number(totalBytes), rateText(rate)));
            showRoomOnDisk(file, rate);
            sinceRefresh.restart();
            QCoreApplication::processEvents();
            bytesSinceRefresh = 0;
        }
    }
    stopAfterFailedWrite(file);
}
