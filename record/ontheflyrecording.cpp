#include "board/errorreport.h"
#include "record/rate.h"
#include "record/streamingtab.h"

#include <QCoreApplication>
#include <QFile>
#include <QLabel>

void TOVAStreamingTab::onTheFlyRoutine()
{
    QFile file;
    if (!beginRecordingTo(file)) {
        return;
    }
    RefreshClock sinceRefresh(m_clock);
    unsigned int bytesRead = 0;
    std::uint32_t totalBytes = 0;
    std::uint32_t bytesSinceRefresh = 0;
    while (true) {
        const BRAN_ERR_T result =
            BRAN_GetRecordData(m_recordContext, m_readBuffer.data(), readSize, bytesRead);
        if (result == BRAN_RECORDING_FINISHED || m_brutalStop) {
            file.write(m_readBuffer.data(), bytesRead);
            showRecorded(totalBytes + bytesRead, stopWord());
            stopped();
            file.close();
            return;
        }
        if (result != BRAN_SUCCESS) {
            reportBoardError(this, result);
            showRecorded(totalBytes, QStringLiteral("on error"));
            file.close();
            stopped();
            return;
        }
        totalBytes += bytesRead;
        bytesSinceRefresh += bytesRead;
        file.write(m_readBuffer.data(), bytesRead);

        if (sinceRefresh.isDue()) {
            m_statusLabel->setText(QStringLiteral("Recorded %1 bytes (%2 KB/s).")
                                       .arg(QString::number(totalBytes),
                                            rateText(bytesSinceRefresh, sinceRefresh.elapsed())));
            sinceRefresh.restart();
            QCoreApplication::processEvents();
            bytesSinceRefresh = 0;
        }
    }
}
