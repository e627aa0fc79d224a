#include "record/streamingtab.h"

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
        if (!m_stopRequested) {
            requestStop();
        }
        return;
    }
    if (m_inLoop) {
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
