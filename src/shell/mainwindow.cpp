#include "shell/mainwindow.h"

#include "board/branlib.h"
#include "burn/branneltab.h"
#include "config/configuration.h"
#include "record/streamingtab.h"
#include "shell/sleepinhibitor.h"
#include "widgets/boxes.h"
#include "widgets/spacer.h"
#include "widgets/waitingclicks.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QMenu>
#include <QMenuBar>
#include <QPushButton>
#include <QTabWidget>

namespace
{

constexpr int resetButtonWidth = 100;

} // namespace

TOVAMainWindow::TOVAMainWindow(SteadyClock clock)
{
    // Before the pages, which show the recent files.
    TOVAConfiguration::readConfig();
    auto* box = new Q3VBox(this);
    setCentralWidget(box);
    createPages(box, clock);
    createBottomBar(box);
    connectPages();
    watchWork();
    createOptionsMenu();
}

bool TOVAMainWindow::isWorking() const
{
    return !m_resetButton->isEnabled();
}

void TOVAMainWindow::createPages(QWidget* box, SteadyClock clock)
{
    auto* tabs = new QTabWidget(box);
    tabs->setAccessibleName(QStringLiteral("Pages"));
    m_brannelTab = new TOVABrannelTab(tabs);
    tabs->addTab(m_brannelTab, QStringLiteral("Burn Flash"));
    m_streamingTab = new TOVAStreamingTab(tabs, clock);
    tabs->addTab(m_streamingTab, QStringLiteral("Record"));
}

void TOVAMainWindow::createBottomBar(QWidget* box)
{
    auto* bar = new Q3HBox(box);
    tighten(*bar);
    createSpacer(bar, QSizePolicy::Minimum);
    m_resetButton = new QPushButton(QStringLiteral("Reset"), bar);
    m_resetButton->setFixedWidth(resetButtonWidth);
    m_resetButton->setToolTip(QStringLiteral("Resets the target that is attached to the board."));
    connect(m_resetButton, &QPushButton::clicked, this, &TOVAMainWindow::reset);
}

void TOVAMainWindow::connectPages()
{
    connect(m_brannelTab, &TOVABrannelTab::greyParentGUI, this, &TOVAMainWindow::branGreyGUI);
    connect(m_brannelTab, &TOVABrannelTab::ungreyParentGUI, this, &TOVAMainWindow::branUngreyGUI);
    connect(m_streamingTab, &TOVAStreamingTab::greyParentGUI, this, &TOVAMainWindow::streamGreyGUI);
    connect(m_streamingTab, &TOVAStreamingTab::ungreyParentGUI, this,
            &TOVAMainWindow::streamUngreyGUI);
}

/// While a page works, the machine does not fall asleep. When the work has ended, the window asks
/// for attention if another window is active.
void TOVAMainWindow::watchWork()
{
    auto* inhibitor = new SleepInhibitor(this);
    const auto watch = [this, inhibitor](auto* page, const QString& work) {
        using Page = std::remove_pointer_t<decltype(page)>;
        connect(page, &Page::greyParentGUI, inhibitor,
                [inhibitor, work] { inhibitor->hold(work); });
        connect(page, &Page::ungreyParentGUI, inhibitor, &SleepInhibitor::release);
        connect(page, &Page::ungreyParentGUI, this, [this] { QApplication::alert(this); });
    };
    watch(m_brannelTab, QStringLiteral("A board is being burned."));
    watch(m_streamingTab, QStringLiteral("A trace is being recorded."));
}

void TOVAMainWindow::createOptionsMenu()
{
    auto* options = new QMenu(QStringLiteral("Options"), this);
    menuBar()->addMenu(options);
    QAction* protect = options->addAction(QStringLiteral("Protect Start/Stop double click"));
    protect->setToolTip(QStringLiteral(
        "Ignores the second click of a double click on the button that starts and stops."));
    options->setToolTipsVisible(true);
    protect->setCheckable(true);
    protect->setChecked(true);
    connect(options, &QMenu::triggered, this, &TOVAMainWindow::protectClickAction);
}

void TOVAMainWindow::reset()
{
    if (!isWindowClosed(*this)) {
        BRAN_ResetTarget();
    }
}

void TOVAMainWindow::branGreyGUI()
{
    m_resetButton->setEnabled(false);
    m_streamingTab->setEnabled(false);
}

void TOVAMainWindow::branUngreyGUI()
{
    m_resetButton->setEnabled(true);
    m_streamingTab->setEnabled(true);
}

void TOVAMainWindow::streamGreyGUI()
{
    m_resetButton->setEnabled(false);
    m_brannelTab->setEnabled(false);
}

void TOVAMainWindow::streamUngreyGUI()
{
    m_resetButton->setEnabled(true);
    m_brannelTab->setEnabled(true);
}

void TOVAMainWindow::protectClickAction(QAction* a)
{
    TOVAConfiguration::m_isDoubleClickedProtected = a->isChecked();
}

void TOVAMainWindow::closeEvent(QCloseEvent* e)
{
    m_streamingTab->brutalStop();
    e->accept();
}
