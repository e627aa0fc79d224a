#include "config/configuration.h"
#include "record/streamingtab.h"

#include <QApplication>
#include <QEventLoopLocker>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QTimer>

namespace
{

constexpr int stopTimeoutMs = 5000;
constexpr int countDownStepMs = 1000;
constexpr int countDownSteps = 5;

QString countDownText(int seconds)
{
    return QStringLiteral("Brutal stop in %1 seconds!").arg(seconds);
}

} // namespace

void TOVAStreamingTab::go()
{
    if (m_recording) {
        if (m_libraryRuns && !m_stopRequested) {
            requestStop();
        }
        return;
    }
    if (m_inLoop || isDoubleClickOnStop()) {
        return;
    }
    const QScopedValueRollback<bool> inLoop(m_inLoop, true);
    // A window that is closed meanwhile must not hide the questions that saving may ask.
    const QEventLoopLocker untilSaved;
    m_brutalStop = false;
    if (m_onTheFlyGroup->isChecked()) {
        onTheFlyRoutine();
    } else if (m_circularGroup->isChecked()) {
        circularBufferRoutine();
    } else {
        bufferModeRoutine();
    }
}

void TOVAStreamingTab::requestStop()
{
    m_stopRequested = true;
    BRAN_StopRecordingRequest(m_recordContext);
    waitForStop();
}

void TOVAStreamingTab::waitForStop()
{
    m_reenableTimer->stop();
    m_stopTimer->start(stopTimeoutMs);
    setStartStopEnabled(false);
}

/// Takes the brutal stop away, which a recording that is over needs no more.
void TOVAStreamingTab::endStopControl()
{
    m_countDownTimer->stop();
    m_stopTimer->stop();
    if (window()->focusWidget() == m_brutalStopButton) {
        m_startStopButton->setFocus();
    }
    m_brutalStopButton->hide();
}

/// Whether a click on "Start!" is the second one of a double click on "Stop!", or one that came too
/// late for it; it would overwrite what has just been recorded.
bool TOVAStreamingTab::isDoubleClickOnStop() const
{
    return TOVAConfiguration::m_isDoubleClickedProtected && m_endOfLast &&
           m_clock() - *m_endOfLast < QApplication::doubleClickInterval();
}

void TOVAStreamingTab::brutalTimer()
{
    if (!m_recording) {
        return;
    }
    m_brutalStopButton->show();
    setStartStopEnabled(false);
    m_countDownTimer->start(countDownStepMs);
    m_countDown = countDownSteps;
    m_brutalStopButton->setText(countDownText(m_countDown));
}

void TOVAStreamingTab::brutalCountDown()
{
    --m_countDown;
    if (m_countDown > 0) {
        m_brutalStopButton->setText(countDownText(m_countDown));
        m_countDownTimer->start(countDownStepMs);
    } else {
        m_brutalStop = true;
    }
}

void TOVAStreamingTab::brutalStop()
{
    m_brutalStop = true;
}
