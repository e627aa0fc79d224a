#pragma once

#include "board/branlib.h"
#include "record/refreshclock.h"
#include "widgets/boxes.h"
#include "widgets/focuskeeper.h"

#include <array>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTimer;
class AtExit;
class DoubleClickGuard;
class RecordFile;

/// The page "Record": sets up the board's trace capture and records the trace into a file. A
/// recording runs to its end inside the click that started it; the clicks and timers that stop it
/// arrive while it lets events be processed, and only set flags or ask the board library to stop.
class TOVAStreamingTab : public Q3VBox
{
    Q_OBJECT

public:
    /// `clock` times the refreshes of the status line.
    explicit TOVAStreamingTab(QWidget* parent, SteadyClock clock = steadyTime);
    ~TOVAStreamingTab() override;
    TOVAStreamingTab(const TOVAStreamingTab&) = delete;
    TOVAStreamingTab& operator=(const TOVAStreamingTab&) = delete;

signals:
    /// A recording begins; comes in a pair with ungreyParentGUI().
    void greyParentGUI();
    void ungreyParentGUI();

public slots:
    /// Makes a running recording end after its current read.
    void brutalStop();

protected slots:
    /// Starts a recording, or asks the running one to stop.
    void go();
    void onOnTheFly(bool on);
    void onCircular(bool on);
    void onHardwareBuffer(bool on);
    void choseRecFile();
    void prfActivated(const QString& prffile);
    void reenableButton();
    void started();
    void stopped();
    /// Offers the brutal stop: some seconds after the request the library has not ended the
    /// recording.
    void brutalTimer();
    void brutalCountDown();

private:
    struct Ring;

    /// What the board does with a recording, as far as the library has reported.
    enum class Board {
        Idle,        ///< nothing, and the page is not in its recording state
        Recording,   ///< records, and may be asked to stop
        AskedToStop, ///< records on until the library answers
        Ended,       ///< nothing more: bytes are being saved, or a failure shown
    };

    /// What a read means to a recording loop.
    enum class Outcome {
        GoesOn,
        Over,   ///< with the last bytes
        Failed, ///< without bytes; m_readFailure tells why
    };

    static constexpr unsigned int readSize = 32768;

    void createRecFileGroup();
    void createFilterRow();
    void createTriggerRow();
    void createExlTriggerGroup(QWidget* row);
    void createPxtsTriggerGroup(QWidget* row);
    void createRecordingModeGroup();
    void createCircularGroup(QWidget* row);
    void createRecordingGroup();
    void createTimers();
    void connectModes();

    void checkMode(const QWidget* mode);
    void setOptionsEnabled(bool enabled);
    void setStartStopEnabled(bool enabled);
    void updateComboBoxFromConfig();
    QString recordFileName() const;
    BRAN_RECORD_CONFIG_T makeRecordConfigFromUserOptions();

    void onTheFlyRoutine();
    void circularBufferRoutine();
    void bufferModeRoutine();

    bool requireRecordFileName();
    bool beginRecordingTo(RecordFile& file);
    bool startRecording();
    Outcome readTrace(char* buffer, unsigned int size, unsigned int& bytesRead);
    void endStartedRecording();
    bool finishRecording(RecordFile& file, const char* bytes, unsigned int count,
                         std::uint32_t totalBytes);
    qint64 reportFailedRead(RecordFile& file, std::uint32_t totalBytes);
    void stopAfterFailedWrite(RecordFile& file);
    void reportFailures(const QStringList& failures);
    void rememberRecordFile();
    QString howItStopped() const;
    void showRecorded(qint64 bytes, const QString& end);
    void showRoomOnDisk(const RecordFile& file, float rate);

    void requestStop();
    void waitForStop();
    void endStopControl();
    void takeStopAway();
    void letUserStopAgain();
    void settleEnd();
    void dropClicksOnStop();

    std::uint32_t ringSizeFromUser();
    bool allocateRing(std::uint32_t size);
    void saveRing(const Ring& ring, AtExit& atExit);
    bool writeRing(const Ring& ring, RecordFile& file);
    QString trySavingRing(const Ring& ring);
    bool askForAnotherFile(const QString& problem);

    QComboBox* m_recFileCombo = nullptr;
    QLabel* m_statusLabel = nullptr;
    QPushButton* m_startStopButton = nullptr;
    QPushButton* m_brutalStopButton = nullptr;
    Q3VGroupBox* m_recFileGroup = nullptr;
    Q3HGroupBox* m_filterGroup = nullptr;
    Q3VGroupBox* m_circularGroup = nullptr;
    Q3VGroupBox* m_onTheFlyGroup = nullptr;
    Q3VGroupBox* m_hardwareBufferGroup = nullptr;
    Q3VGroupBox* m_recordingModeGroup = nullptr;
    QLineEdit* m_bufferSizeEdit = nullptr;
    QCheckBox* m_xcpuCheck = nullptr;
    QCheckBox* m_bcpuCheck = nullptr;
    QCheckBox* m_pxtsStandardCheck = nullptr;
    QCheckBox* m_pxtsCustomTagCheck = nullptr;
    QLineEdit* m_customTagEdit = nullptr;
    QCheckBox* m_newExlFormatCheck = nullptr;
    Q3VGroupBox* m_pxtsTriggerGroup = nullptr;
    Q3VGroupBox* m_exlTriggerGroup = nullptr;
    QLineEdit* m_startAddressEdit = nullptr;
    QLineEdit* m_endAddressEdit = nullptr;
    QTimer* m_countDownTimer = nullptr;
    QTimer* m_stopTimer = nullptr;
    BRAN_RECORD_CONTEXT_T m_recordContext = {};
    bool m_brutalStop = false;
    std::array<char, readSize> m_readBuffer = {};
    std::uint32_t m_circularBufferSize = 0;
    char* m_circularBuffer = nullptr;
    bool m_recording = false;
    int m_countDown = 0;

    SteadyClock m_clock;
    DoubleClickGuard* m_doubleClickGuard = nullptr;
    /// Ends the double-click protection. A timer of its own can be stopped, so that no timeout from
    /// an earlier recording, or from before the hardware trigger, enables the button.
    QTimer* m_reenableTimer = nullptr;
    /// Not the same as m_recording, which the hardware trigger clears early.
    Board m_board = Board::Idle;
    QString m_readFailure;
    FocusKeeper m_focus;
};
