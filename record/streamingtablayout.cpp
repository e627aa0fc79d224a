#include "record/hexvalidator.h"
#include "record/pipowidget.h"
#include "record/sizevalidator.h"
#include "record/streamingtab.h"
#include "widgets/plainlabel.h"
#include "widgets/recentfiles.h"
#include "widgets/spacer.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

namespace
{

constexpr int browseButtonWidth = 30;
constexpr int addressLabelWidth = 100;
constexpr int sizeLabelWidth = 50;
constexpr int startStopButtonWidth = 100;
constexpr int anyAddress = -1;
constexpr int maxCustomTag = 0xFFFF;
constexpr unsigned int maxBufferMegabytes = 64;

Q3VGroupBox* createCheckableGroup(const QString& title, QWidget* parent, bool checked)
{
    auto* group = new Q3VGroupBox(title, parent);
    group->setCheckable(true);
    group->setChecked(checked);
    return group;
}

void limitToHex(QLineEdit* edit, int max)
{
    auto* validator = new TOVAHexValidator(edit, nullptr);
    validator->changeMaxValue(max);
    edit->setValidator(validator);
}

QLineEdit* createAddressRow(const QString& text, QWidget* group)
{
    auto* row = new Q3HBox(group);
    tighten(*row);
    auto* label = new PlainLabel(text, row);
    label->setFixedWidth(addressLabelWidth);
    // The text is wider than the label with most fonts, and a row gives no height for more lines.
    label->setWordWrap(true);
    label->ensurePolished();
    label->setMinimumHeight(label->heightForWidth(addressLabelWidth));
    auto* edit = new QLineEdit(row);
    limitToHex(edit, anyAddress);
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

TOVAStreamingTab::TOVAStreamingTab(QWidget* parent, MillisecondClock clock)
    : Q3VBox(parent),
      m_clock(clock)
{
    createRecFileGroup();
    createFilterRow();
    createTriggerRow();
    createRecordingModeGroup();
    createSpacer<PipoWidget>(this, QSizePolicy::Expanding);
    createRecordingGroup();
    connectModes();
    createTimers();
    updateComboBoxFromConfig();
    connect(m_recFileCombo, &QComboBox::textActivated, this, &TOVAStreamingTab::prfActivated);
}

void TOVAStreamingTab::createRecFileGroup()
{
    m_recFileGroup = new Q3VGroupBox(QStringLiteral("Choose destination record file"), this);
    auto* row = new Q3HBox(m_recFileGroup);
    tighten(*row);
    auto* browse = new QPushButton(QStringLiteral("..."), row);
    browse->setFixedWidth(browseButtonWidth);
    connect(browse, &QPushButton::clicked, this, &TOVAStreamingTab::choseRecFile);
    m_recFileCombo = createRecentFilesCombo(row);
}

void TOVAStreamingTab::createFilterRow()
{
    auto* row = new Q3HBox(this);
    m_filterGroup = new Q3HGroupBox(QStringLiteral("Filtering (Check Boxes to Reject)"), row);
    m_xcpuCheck = new QCheckBox(QStringLiteral("XCPU"), m_filterGroup);
    m_bcpuCheck = new QCheckBox(QStringLiteral("BCPU"), m_filterGroup);

    auto* formatGroup = new Q3HGroupBox(QStringLiteral("New EXL format in .prf"), row);
    m_newExlFormatCheck =
        new QCheckBox(QStringLiteral("Use it (Ambrel, Sorvane, ...)"), formatGroup);
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
    m_exlTriggerGroup = createCheckableGroup(QStringLiteral("EXL Trigger"), row, false);
    m_startAddressEdit = createAddressRow(QStringLiteral("Start Address (0x)"), m_exlTriggerGroup);
    m_endAddressEdit = createAddressRow(QStringLiteral("End Address (0x)"), m_exlTriggerGroup);
}

void TOVAStreamingTab::createPxtsTriggerGroup(QWidget* row)
{
    m_pxtsTriggerGroup = createCheckableGroup(QStringLiteral("PXTS Trigger"), row, false);
    m_pxtsStandardCheck = new QCheckBox(QStringLiteral("Standard"), m_pxtsTriggerGroup);
    m_pxtsStandardCheck->setChecked(true);
    auto* tagRow = new Q3HBox(m_pxtsTriggerGroup);
    m_pxtsCustomTagCheck = new QCheckBox(QStringLiteral("Custom Tag (0x) "), tagRow);
    m_customTagEdit = new QLineEdit(tagRow);
    limitToHex(m_customTagEdit, maxCustomTag);
}

void TOVAStreamingTab::createRecordingModeGroup()
{
    m_recordingModeGroup = new Q3VGroupBox(QStringLiteral("Recording mode"), this);
    auto* row = new Q3HBox(m_recordingModeGroup);

    m_hardwareBufferGroup = createCheckableGroup(QStringLiteral("HW Circular buffer"), row, false);
    new PlainLabel(QStringLiteral("Buffer stored on the Brannel."), m_hardwareBufferGroup);
    new PlainLabel(QStringLiteral("Size is 2MB"), m_hardwareBufferGroup);

    createCircularGroup(row);

    m_onTheFlyGroup = createCheckableGroup(QStringLiteral("In the file on the fly"), row, false);
    new PlainLabel(QStringLiteral("Data stored directly in the file."), m_onTheFlyGroup);
    new PlainLabel(QStringLiteral("Size is illimited (HD limitation)."), m_onTheFlyGroup);
}

void TOVAStreamingTab::createCircularGroup(QWidget* row)
{
    m_circularGroup = createCheckableGroup(QStringLiteral("SW Circular buffer"), row, true);
    new PlainLabel(QStringLiteral("Buffer stored in the PC RAM."), m_circularGroup);
    auto* sizeRow = new Q3HBox(m_circularGroup);
    auto* label = new PlainLabel(QStringLiteral("Size"), sizeRow);
    label->setFixedWidth(sizeLabelWidth);
    m_bufferSizeEdit = new QLineEdit(sizeRow);
    m_bufferSizeEdit->setAlignment(Qt::AlignRight);
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
    m_brutalStopButton = new QPushButton(QStringLiteral("Brutal Stop in 5 seconds!"), row);
    m_brutalStopButton->hide();
    createSpacer<PipoWidget>(row, QSizePolicy::Minimum);
    m_statusLabel = new PlainLabel(row);
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
