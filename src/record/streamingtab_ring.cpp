#include "record/atexit.h"
#include "record/rate.h"
#include "record/recordfile.h"
#include "record/streamingtab.h"
#include "widgets/warningbox.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScopeGuard>

#include <cstdlib>
#include <cstring>

/// How far the ring is filled. Until the ring wraps, it holds the bytes before the cursor; from
/// then on the oldest byte is at the cursor.
struct TOVAStreamingTab::Ring {
    std::uint32_t cursor = 0;
    /// Wider than the count that is shown: one that starts again at 4 GiB would equal the cursor
    /// again.
    std::uint64_t totalBytes = 0;

    bool hasWrapped() const { return totalBytes != cursor; }

    /// Adds the bytes that were just read at the cursor of the ring `bytes`. Bytes beyond the
    /// ring's end, at `size`, move to its start.
    void advance(char* bytes, std::uint32_t size, std::uint32_t bytesRead)
    {
        cursor += bytesRead;
        totalBytes += bytesRead;
        if (cursor >= size) {
            cursor -= size;
            std::memcpy(bytes, bytes + size, cursor);
        }
    }
};

void TOVAStreamingTab::circularBufferRoutine()
{
    if (!requireRecordFileName()) {
        return;
    }
    const auto end = qScopeGuard([this] { stopped(); });
    if (!startRecording() || !allocateRing(ringSizeFromUser())) {
        return;
    }
    Ring ring;
    AtExit atExit([this, &ring] {
        RecordFile file;
        if (file.open(recordFileName())) {
            writeRing(ring, file);
        }
    });
    RefreshClock sinceRefresh(m_clock);
    unsigned int bytesRead = 0;
    std::uint32_t bytesSinceRefresh = 0;
    std::uint32_t readCount = 0;
    while (true) {
        const Outcome outcome = readTrace(m_circularBuffer + ring.cursor, readSize, bytesRead);
        if (outcome == Outcome::Over) {
            ring.advance(m_circularBuffer, m_circularBufferSize, bytesRead);
            break;
        }
        ++readCount;
        if (outcome == Outcome::Failed) {
            atExit.release();
            dropClicksOnStop();
            reportFailures({m_readFailure});
            m_statusLabel->setText(
                QStringLiteral("Read %1 bytes. Cursor at %2. Read count : %3 (Stopped on error!)")
                    .arg(static_cast<std::uint32_t>(ring.totalBytes))
                    .arg(ring.cursor)
                    .arg(readCount));
            return;
        }
        bytesSinceRefresh += bytesRead;
        ring.advance(m_circularBuffer, m_circularBufferSize, bytesRead);

        if (sinceRefresh.isDue()) {
            const QString format = ring.hasWrapped()
                                       ? QStringLiteral("Buffer is full. Cursor at %1 (%2 KB/s).")
                                       : QStringLiteral("Buffer contains %1 bytes (%2 KB/s).");
            const float rate = kilobytesPerSecond(bytesSinceRefresh, sinceRefresh.elapsed());
            m_statusLabel->setText(format.arg(QString::number(ring.cursor), rateText(rate)));
            sinceRefresh.restart();
            QCoreApplication::processEvents();
            bytesSinceRefresh = 0;
        }
    }
    saveRing(ring, atExit);
}

std::uint32_t TOVAStreamingTab::ringSizeFromUser()
{
    constexpr int megabyteShift = 20;
    if (m_bufferSizeEdit->text().toUInt() << megabyteShift == 0) {
        m_bufferSizeEdit->setText(QStringLiteral("1"));
    }
    return m_bufferSizeEdit->text().toUInt() << megabyteShift;
}

/// Makes the ring `size` bytes large, with room behind its end for a read that goes past it. If
/// there is no memory, ends the recording, tells the user and returns false.
bool TOVAStreamingTab::allocateRing(std::uint32_t size)
{
    if (size == m_circularBufferSize) {
        return true;
    }
    std::free(m_circularBuffer);
    const std::size_t blockSize = std::size_t(size) + readSize;
    m_circularBuffer = static_cast<char*>(std::malloc(blockSize));
    m_circularBufferSize = m_circularBuffer != nullptr ? size : 0;
    if (m_circularBuffer != nullptr) {
        return true;
    }
    endStartedRecording();
    dropClicksOnStop();
    reportFailures(
        {m_readFailure, QStringLiteral("Nothing was recorded, because there is no memory "
                                       "for a buffer of %1 bytes. Choose a smaller size.")
                            .arg(blockSize)});
    m_statusLabel->setText(QStringLiteral("Stopped on error."));
    return false;
}

/// Saves the ring in the record file. As long as that fails, the user may choose another file.
void TOVAStreamingTab::saveRing(const Ring& ring, AtExit& atExit)
{
    // The user may take minutes to answer below, and a late timer must not change how the recording
    // ended.
    const QString stop = howItStopped();
    QString problem = trySavingRing(ring);
    while (!problem.isEmpty()) {
        dropClicksOnStop();
        if (!askForAnotherFile(problem)) {
            m_statusLabel->setText(
                QStringLiteral("(Stopped %1, user has chosen not to save).").arg(stop));
            return;
        }
        problem = trySavingRing(ring);
    }
    atExit.release();
    dropClicksOnStop();
    m_statusLabel->setText(
        ring.hasWrapped()
            ? QStringLiteral("Dumped last full buffer. (Stopped %1, saved).").arg(stop)
            : QStringLiteral("Dumped %1 bytes, buffer not full. (Stopped %2, saved).")
                  .arg(QString::number(ring.cursor), stop));
}

/// Saves the ring in the named file. Returns what went wrong; empty if nothing did.
QString TOVAStreamingTab::trySavingRing(const Ring& ring)
{
    RecordFile file;
    if (!file.open(recordFileName())) {
        return QStringLiteral(
            "Cannot open file for writing.\nFile may be in read-only mode, or it is "
            "already opened by another application.\n");
    }
    rememberRecordFile();
    if (writeRing(ring, file)) {
        return {};
    }
    // The bytes in this file would take room on the disk from the next try.
    file.empty();
    return file.failure() +
           QStringLiteral(
               " Nothing has been saved there; all of the recording is still in memory.");
}

/// Writes the ring, oldest byte first, to the disk; false if the file has not taken all of it.
bool TOVAStreamingTab::writeRing(const Ring& ring, RecordFile& file)
{
    bool isWhole = file.writeHeader(m_newExlFormatCheck->isChecked());
    if (ring.hasWrapped()) {
        isWhole = isWhole &&
                  file.write(m_circularBuffer + ring.cursor, m_circularBufferSize - ring.cursor);
    }
    return isWhole && file.write(m_circularBuffer, ring.cursor) && file.sync();
}

/// Asks whether the recording, which is still in memory, is to be saved in another file.
bool TOVAStreamingTab::askForAnotherFile(const QString& problem)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("TOVAlink"), problem,
                    QMessageBox::NoButton, this);
    auto* choseAgain = box.addButton(QStringLiteral("Chose again"), QMessageBox::AcceptRole);
    auto* cancel = box.addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box.setDefaultButton(choseAgain);
    box.setEscapeButton(cancel);
    showBox(box);
    if (box.clickedButton() == choseAgain) {
        choseRecFile();
    }
    // Only this answer drops the recording; after any other one the question comes back.
    return box.clickedButton() != cancel;
}
