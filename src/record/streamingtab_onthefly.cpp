#include "record/rate.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"

#include <QCoreApplication>
#include <QLabel>

void TOVAStreamingTab::onTheFlyRoutine()
{
    RecordFile file;
    if (!beginRecordingTo(file)) {
        return;
    }
    RefreshClock sinceRefresh(m_clock);
    unsigned int bytesRead = 0;
    std::uint32_t totalBytes = 0;
    std::uint32_t bytesSinceRefresh = 0;
    while (true) {
        const BRAN_ERR_T result = readTrace(m_readBuffer.data(), readSize, bytesRead);
        if (isOver(result)) {
            if (!file.write(m_readBuffer.data(), bytesRead) || !file.flush()) {
                break;
            }
            showRecorded(totalBytes + bytesRead, stopWord());
            stopped();
            closeRecordFile(file);
            return;
        }
        if (result != BRAN_SUCCESS) {
            if (!file.flush()) {
                break;
            }
            reportReadFailure(result);
            showRecorded(totalBytes, QStringLiteral("on error"));
            closeRecordFile(file);
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
            m_statusLabel->setText(QStringLiteral("Recorded %1 bytes (%2 KB/s).")
                                       .arg(QString::number(totalBytes),
                                            rateText(bytesSinceRefresh, sinceRefresh.elapsed())));
            sinceRefresh.restart();
            QCoreApplication::processEvents();
            bytesSinceRefresh = 0;
        }
    }
    stopAfterFailedWrite(file);
}
