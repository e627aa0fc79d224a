#include "config/configuration.h"
#include "record/doubleclickguard.h"
#include "record/streamingtab.h"
#include "widgets/waitingclicks.h"

#include <QEventLoopLocker>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace
{

constexpr int doubleClickProtectionMs = 1000;
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
        if (m_board == Board::Recording) {
            requestStop();
        }
        return;
    }
    // The hardware trigger has fired, or the click waited until the window was closed.
    if (m_board != Board::Idle || isWindowClosed(*this)) {
        return;
    }
    // Closing the window must not hide the questions that saving may ask.
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

void TOVAStreamingTab::started()
{
    m_recording = true;
    m_board = Board::Recording;
    m_startStopButton->setText(QStringLiteral("Stop!"));
    setOptionsEnabled(false);
    emit greyParentGUI();
    m_doubleClickGuard->setOn(TOVAConfiguration::m_isDoubleClickedProtected);
    if (TOVAConfiguration::m_isDoubleClickedProtected) {
        setStartStopEnabled(false);
        m_reenableTimer->start(doubleClickProtectionMs);
    }
}

void TOVAStreamingTab::reenableButton()
{
    setStartStopEnabled(true);
}

void TOVAStreamingTab::stopped()
{
    m_recording = false;
    m_board = Board::Idle;
    m_startStopButton->setText(QStringLiteral("Start!"));
    m_reenableTimer->stop();
    setStartStopEnabled(true);
    endStopControl();
    m_statusLabel->setToolTip(QString());
    setOptionsEnabled(true);
    emit ungreyParentGUI();
}

void TOVAStreamingTab::requestStop()
{
    m_board = Board::AskedToStop;
    BRAN_StopRecordingRequest(m_recordContext);
    waitForStop();
}

void TOVAStreamingTab::waitForStop()
{
    m_stopTimer->start(stopTimeoutMs);
    m_reenableTimer->stop();
    setStartStopEnabled(false);
}

/// Takes the brutal stop away, which a finished recording no longer needs.
void TOVAStreamingTab::endStopControl()
{
    m_countDownTimer->stop();
    m_stopTimer->stop();
    if (window()->focusWidget() == m_brutalStopButton) {
        m_startStopButton->setFocus();
    }
    m_brutalStopButton->hide();
}

/// Once the trigger has fired, the board's buffer is delivered to its end.
void TOVAStreamingTab::takeStopAway()
{
    m_recording = false;
    m_reenableTimer->stop();
    setStartStopEnabled(false);
}

/// Asks the board to stop, unless that was done, and offers the brutal stop if the board does not
/// answer. This works even if the hardware trigger has taken both away.
void TOVAStreamingTab::letUserStopAgain()
{
    m_recording = true;
    if (m_board == Board::Recording) {
        requestStop();
    } else if (!m_countDownTimer->isActive()) {
        waitForStop();
    }
}

/// The library has ended the recording or failed, and is asked for nothing any more.
void TOVAStreamingTab::settleEnd()
{
    m_board = Board::Ended;
}

/// Drops the clicks on "Stop!" that were made during the last read. Only stopped() enables the
/// button again.
void TOVAStreamingTab::dropClicksOnStop()
{
    m_reenableTimer->stop();
    setStartStopEnabled(false);
    dropWaitingClicks();
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

void TOVAStreamingTab::setOptionsEnabled(bool enabled)
{
    for (QGroupBox* group :
         std::initializer_list<QGroupBox*>{m_filterGroup, m_recFileGroup, m_pxtsTriggerGroup,
                                           m_exlTriggerGroup, m_recordingModeGroup}) {
        group->setEnabled(enabled);
    }
}

void TOVAStreamingTab::setStartStopEnabled(bool enabled)
{
    if (enabled == m_startStopButton->isEnabled()) {
        return;
    }
    if (enabled) {
        m_startStopButton->setEnabled(true);
        m_focus.giveBack();
    } else {
        m_focus.disableAndRemember(*this, [this] { m_startStopButton->setEnabled(false); });
    }
}
