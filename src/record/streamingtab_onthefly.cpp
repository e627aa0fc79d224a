#include "record/atexit.h"
#include "record/rate.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"

#include <QCoreApplication>
#include <QLabel>

// Each end calls stopped() by hand: the file is closed after stopped() at a good end, and before
// stopped() after a failure.
void TOVAStreamingTab::onTheFlyRoutine()
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
    unsigned int bytesRead = 0;
    std::uint32_t totalBytes = 0;
    std::uint32_t bytesSinceRefresh = 0;
    while (true) {
        const Outcome outcome = readTrace(m_readBuffer.data(), readSize, bytesRead);
        if (outcome == Outcome::Over) {
            if (!finishRecording(file, m_readBuffer.data(), bytesRead, totalBytes)) {
                break;
            }
            return;
        }
        if (outcome == Outcome::Failed) {
            const qint64 bytesInFile = reportFailedRead(file, totalBytes);
            showRecorded(bytesInFile, QStringLiteral("on error"));
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
