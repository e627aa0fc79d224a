#pragma once

#include "board/branlib.h"
#include "record/refreshclock.h"
#include "widgets/boxes.h"
#include "widgets/focuskeeper.h"

#include <array>
#include <optional>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTimer;
class RecordFile;

/// The page "Record": sets up the board's trace capture and records the trace into a file. A
/// recording runs to its end inside the click that started it; the clicks and timers that stop it
/// arrive while it lets events be processed, and only set flags or ask the board library to stop.
class TOVAStreamingTab : public Q3VBox
{
    Q_OBJECT

public:
    /// `clock` times the refreshes of the status line.
    explicit TOVAStreamingTab(QWidget* parent, MillisecondClock clock = steadyMilliseconds);
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
    /// The library has not ended the recording some seconds after it was asked to.
    void brutalTimer();
    void brutalCountDown();

private:
    struct Ring;

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

    bool hasRecordFileName();
    bool beginRecordingTo(RecordFile& file);
    bool startRecording();
    BRAN_ERR_T readTrace(char* buffer, unsigned int size, unsigned int& bytesRead);
    bool isOver(BRAN_ERR_T result) const;
    void reportReadFailure(BRAN_ERR_T result);
    void stopAfterFailedWrite(RecordFile& file);
    void closeRecordFile(RecordFile& file);
    void endStartedRecording();
    void requestStop();
    void waitForStop();
    void endStopControl();
    bool isDoubleClickOnStop() const;
    void rememberRecordFile();
    QString stopWord() const;
    void showRecorded(qint64 bytes, const QString& end);
    void showTriggered(std::uint32_t totalBytes);

    std::uint32_t ringSizeFromUser();
    bool provideRing(std::uint32_t size);
    void saveRing(const Ring& ring);
    QString writeRing(const Ring& ring);
    bool wantsToChoseAgain(const QString& problem);

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

    MillisecondClock m_clock;
    /// Ends the double-click protection. Its own timer, so that none is left over from a recording
    /// that has ended, or from before the hardware trigger, to enable the button when it must not
    /// be.
    QTimer* m_reenableTimer = nullptr;
    /// True while a loop runs. m_recording is not: the hardware trigger clears it early.
    bool m_inLoop = false;
    /// True from a successful start until the library, or a brutal stop, has ended the recording.
    bool m_libraryRuns = false;
    bool m_stopRequested = false;
    /// What the library claimed to have read when that was more than it was asked for, else 0.
    unsigned int m_impossibleRead = 0;
    FocusKeeper m_focus;
    /// When the last recording ended, by the clock.
    std::optional<qint64> m_endOfLast;
};
