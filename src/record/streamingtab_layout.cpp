#include "record/doubleclickguard.h"
#include "record/hexvalidator.h"
#include "record/pipowidget.h"
#include "record/sizevalidator.h"
#include "record/streamingtab.h"
#include "widgets/filedrop.h"
#include "widgets/numberedit.h"
#include "widgets/readoutlabel.h"
#include "widgets/recentfiles.h"
#include "widgets/spacer.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

namespace
{

constexpr int addressLabelWidth = 100;
constexpr int sizeLabelWidth = 50;
constexpr int startStopButtonWidth = 100;
constexpr int anyAddress = -1;
constexpr int maxCustomTag = 0xFFFF;
constexpr unsigned int maxBufferMegabytes = 64;

/// Creates a checked group. Uncheck a group only when it has its children: a child that is disabled
/// in its own constructor has no name and no role for screen readers.
Q3VGroupBox* createCheckableGroup(const QString& title, const QString& tip, QWidget* parent)
{
    auto* group = new Q3VGroupBox(title, parent);
    group->setCheckable(true);
    group->setToolTip(tip);
    return group;
}

QCheckBox* createCheckBox(const QString& text, const QString& tip, QWidget* parent)
{
    auto* box = new QCheckBox(text, parent);
    box->setToolTip(tip);
    return box;
}

QLineEdit* createHexEdit(int max, const QString& taken, QWidget* parent)
{
    auto* edit = new NumberEdit(taken, QStringLiteral("0x"), parent);
    auto* validator = new TOVAHexValidator(edit, nullptr);
    validator->changeMaxValue(max);
    edit->setValidator(validator);
    return edit;
}

QLineEdit* createAddressRow(const QString& text, const QString& tip, QWidget* group)
{
    auto* row = new Q3HBox(group);
    tighten(*row);
    auto* label = new PlainLabel(text, row);
    label->setFixedWidth(addressLabelWidth);
    // With most fonts the text is wider than the label, and a row does not grow for more lines.
    label->setWordWrap(true);
    label->ensurePolished();
    label->setMinimumHeight(label->heightForWidth(addressLabelWidth));
    QLineEdit* edit =
        createHexEdit(anyAddress, QStringLiteral("Up to 8 hexadecimal digits, without 0x"), row);
    edit->setToolTip(tip);
    label->setBuddy(edit);
    return edit;
}

QTimer* createSingleShot(QObject* parent)
{
    auto* timer = new QTimer(parent);
    timer->setSingleShot(true);
    // A coarse timer may be 5 % off: a countdown would not count seconds.
    timer->setTimerType(Qt::PreciseTimer);
    return timer;
}

} // namespace

void TOVAStreamingTab::createRecFileGroup()
{
    m_recFileGroup = new Q3VGroupBox(QStringLiteral("Choose destination record file"), this);
    auto* row = new Q3HBox(m_recFileGroup);
    tighten(*row);
    const QString name = QStringLiteral("record file");
    connect(createBrowseButton(name, row), &QPushButton::clicked, this,
            &TOVAStreamingTab::choseRecFile);
    m_recFileCombo = createRecentFilesCombo(name, row);
    m_recFileCombo->setToolTip(QStringLiteral("The file that the trace is recorded into."));
    auto* drop = new FileDrop(this);
    drop->addField(QStringLiteral("prf"), m_recFileCombo);
}

void TOVAStreamingTab::createFilterRow()
{
    auto* row = new Q3HBox(this);
    m_filterGroup = new Q3HGroupBox(QStringLiteral("Filtering (Check Boxes to Reject)"), row);
    m_xcpuCheck = createCheckBox(
        QStringLiteral("XCPU"),
        QStringLiteral(
            "Rejects the trace of the target's processor XCPU, unless BCPU is checked too."),
        m_filterGroup);
    m_bcpuCheck = createCheckBox(
        QStringLiteral("BCPU"),
        QStringLiteral(
            "Rejects the trace of the target's processor BCPU, unless XCPU is checked too."),
        m_filterGroup);

    auto* formatGroup = new Q3HGroupBox(QStringLiteral("New EXL format in .prf"), row);
    m_newExlFormatCheck =
        createCheckBox(QStringLiteral("Use it (Ambrel, Sorvane, ...)"),
                       QStringLiteral("Marks the file's EXL entries, which carry code addresses, "
                                      "as being in the new format."),
                       formatGroup);
    m_newExlFormatCheck->setChecked(true);
}

void TOVAStreamingTab::createTriggerRow()
{
    auto* row = new Q3HBox(this);
    createExlTriggerGroup(row);
    createPxtsTriggerGroup(row);
}

void TOVAStreamingTab::createExlTriggerGroup(QWidget* row)
{
    m_exlTriggerGroup = createCheckableGroup(
        QStringLiteral("EXL Trigger"),
        QStringLiteral(
            "Makes the recording wait for an EXL trace entry with a code address in this range."),
        row);
    m_startAddressEdit = createAddressRow(
        QStringLiteral("Start Address (0x)"),
        QStringLiteral("The first code address of the range, in hexadecimal."), m_exlTriggerGroup);
    m_endAddressEdit = createAddressRow(
        QStringLiteral("End Address (0x)"),
        QStringLiteral("The last code address of the range, in hexadecimal."), m_exlTriggerGroup);
    m_exlTriggerGroup->setChecked(false);
}

void TOVAStreamingTab::createPxtsTriggerGroup(QWidget* row)
{
    m_pxtsTriggerGroup = createCheckableGroup(
        QStringLiteral("PXTS Trigger"),
        QStringLiteral(
            "Makes the recording wait for a PXTS trace entry with one of the tags chosen below."),
        row);
    m_pxtsStandardCheck = createCheckBox(
        QStringLiteral("Standard"),
        QStringLiteral("Lets any of the standard PXTS tags end the waiting."), m_pxtsTriggerGroup);
    m_pxtsStandardCheck->setChecked(true);
    auto* tagRow = new Q3HBox(m_pxtsTriggerGroup);
    m_pxtsCustomTagCheck = createCheckBox(
        QStringLiteral("Custom Tag (0x) "),
        QStringLiteral("Lets the PXTS tag in the field on the right end the waiting."), tagRow);
    m_customTagEdit = createHexEdit(
        maxCustomTag, QStringLiteral("Hexadecimal digits, FFFF at most, without 0x"), tagRow);
    m_customTagEdit->setAccessibleName(QStringLiteral("Custom tag in hexadecimal"));
    m_customTagEdit->setToolTip(
        QStringLiteral("The PXTS tag to wait for, in hexadecimal, FFFF at most."));
    m_pxtsTriggerGroup->setChecked(false);
}

void TOVAStreamingTab::createRecordingModeGroup()
{
    m_recordingModeGroup = new Q3VGroupBox(QStringLiteral("Recording mode"), this);
    auto* row = new Q3HBox(m_recordingModeGroup);

    m_hardwareBufferGroup =
        createCheckableGroup(QStringLiteral("HW Circular buffer"),
                             QStringLiteral("The board keeps the last 2 MB of trace until the "
                                            "trigger fires, then they go into the file."),
                             row);
    new PlainLabel(QStringLiteral("Buffer stored on the Brannel."), m_hardwareBufferGroup);
    new PlainLabel(QStringLiteral("Size is 2MB"), m_hardwareBufferGroup);
    m_hardwareBufferGroup->setChecked(false);

    createCircularGroup(row);

    m_onTheFlyGroup = createCheckableGroup(
        QStringLiteral("In the file on the fly"),
        QStringLiteral(
            "All of the trace goes into the file as it arrives, however long the recording takes."),
        row);
    new PlainLabel(QStringLiteral("Data stored directly in the file."), m_onTheFlyGroup);
    new PlainLabel(QStringLiteral("Size is illimited (HD limitation)."), m_onTheFlyGroup);
    m_onTheFlyGroup->setChecked(false);
}

void TOVAStreamingTab::createCircularGroup(QWidget* row)
{
    m_circularGroup =
        createCheckableGroup(QStringLiteral("SW Circular buffer"),
                             QStringLiteral("The PC keeps the last megabytes of trace in memory "
                                            "and saves them when the recording stops."),
                             row);
    new PlainLabel(QStringLiteral("Buffer stored in the PC RAM."), m_circularGroup);
    auto* sizeRow = new Q3HBox(m_circularGroup);
    auto* label = new PlainLabel(QStringLiteral("Size"), sizeRow);
    label->setFixedWidth(sizeLabelWidth);
    m_bufferSizeEdit =
        new NumberEdit(QStringLiteral("A number of megabytes, from 1 to 64"), QString(), sizeRow);
    m_bufferSizeEdit->setAlignment(Qt::AlignRight);
    m_bufferSizeEdit->setToolTip(
        QStringLiteral("How many megabytes of the trace are kept, from 1 to 64."));
    label->setBuddy(m_bufferSizeEdit);
    auto* validator = new TOVASizeValidator(m_bufferSizeEdit, nullptr);
    validator->changeMaxValue(maxBufferMegabytes);
    m_bufferSizeEdit->setValidator(validator);
    m_bufferSizeEdit->setText(QStringLiteral("8"));
    new PlainLabel(QStringLiteral(" MB"), sizeRow);
}

void TOVAStreamingTab::createRecordingGroup()
{
    auto* group = new Q3VGroupBox(QStringLiteral("Recording"), this);
    auto* row = new Q3HBox(group);
    tighten(*row);
    m_startStopButton = new QPushButton(QStringLiteral("Start!"), row);
    m_startStopButton->setFixedWidth(startStopButtonWidth);
    m_doubleClickGuard = new DoubleClickGuard(m_startStopButton);
    m_startStopButton->setToolTip(
        QStringLiteral("Starts a recording, or asks the board to end the one that runs."));
    m_brutalStopButton = new QPushButton(QStringLiteral("Brutal Stop in 5 seconds!"), row);
    m_brutalStopButton->setToolTip(QStringLiteral(
        "Ends the recording without an answer from the board and keeps what has arrived."));
    m_brutalStopButton->hide();
    createSpacer<PipoWidget>(row, QSizePolicy::Minimum);
    m_statusLabel = new ReadoutLabel(QStringLiteral("Status of the recording"), row);
    createSpacer<PipoWidget>(row, QSizePolicy::Minimum);
    connect(m_brutalStopButton, &QPushButton::clicked, this, &TOVAStreamingTab::brutalStop);
    connect(m_startStopButton, &QPushButton::clicked, this, &TOVAStreamingTab::go);
}

void TOVAStreamingTab::connectModes()
{
    connect(m_onTheFlyGroup, &QGroupBox::toggled, this, &TOVAStreamingTab::onOnTheFly);
    connect(m_circularGroup, &QGroupBox::toggled, this, &TOVAStreamingTab::onCircular);
    connect(m_hardwareBufferGroup, &QGroupBox::toggled, this, &TOVAStreamingTab::onHardwareBuffer);
}

void TOVAStreamingTab::createTimers()
{
    m_countDownTimer = createSingleShot(this);
    m_stopTimer = createSingleShot(this);
    m_reenableTimer = createSingleShot(this);
    connect(m_countDownTimer, &QTimer::timeout, this, &TOVAStreamingTab::brutalCountDown);
    connect(m_stopTimer, &QTimer::timeout, this, &TOVAStreamingTab::brutalTimer);
    connect(m_reenableTimer, &QTimer::timeout, this, &TOVAStreamingTab::reenableButton);
}
