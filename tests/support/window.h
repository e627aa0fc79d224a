#pragma once

#include "burn/branneltab.h"
#include "config/configuration.h"
#include "record/streamingtab.h"
#include "shell/mainwindow.h"
#include "shell/startup.h"
#include "tests/support/board.h"
#include "tests/support/folder.h"

#include <QtTest>
#include <QtWidgets>

#include <sys/resource.h>

/// The titles of the three modes.
inline const QString onTheFly = QStringLiteral("In the file on the fly");
inline const QString ring = QStringLiteral("SW Circular buffer");
inline const QString hardware = QStringLiteral("HW Circular buffer");

/// What a newly installed program finds: an empty working folder, and nothing in memory.
struct CleanStart {
    CleanStart()
    {
        QDir::setCurrent(folder.path());
        board = ScriptedBoard();
        forget();
        ignoreWriteSignals();
    }

    static void forget()
    {
        using Store = TOVAConfiguration;
        Store::m_lastLodFiles = Store::m_lastCfpFiles = Store::m_lastPrfFiles = QStringList();
        Store::m_lastLodFolder = Store::m_lastCfpFolder = Store::m_lastPrfFolder = QString();
        Store::m_isDoubleClickedProtected = true;
    }

    QTemporaryDir folder;
};

/// Calls `act` while the process may have only so many bytes of a resource: of any file
/// (RLIMIT_FSIZE), as if the disk were full, or of memory (RLIMIT_DATA).
template <class Act>
void withLimit(__rlimit_resource resource, rlim_t bytes, Act act)
{
    rlimit before{};
    getrlimit(resource, &before);
    const rlimit scarce{bytes, before.rlim_max};
    setrlimit(resource, &scarce);
    act();
    setrlimit(resource, &before);
}

/// What a screen reader calls a control. A combo box is called by its label, a label by what it is
/// for.
inline QString nameOf(QWidget& widget)
{
    auto* accessible = QAccessible::queryAccessibleInterface(&widget);
    const auto labels = accessible->relations(QAccessible::Label);
    if (qobject_cast<QComboBox*>(&widget) != nullptr && !labels.isEmpty()) {
        accessible = labels.first().first;
    }
    const QString use = widget.accessibleDescription();
    return use.isEmpty() ? accessible->text(QAccessible::Name) : use;
}

inline void click(QWidget& widget)
{
    QTest::mouseClick(&widget, Qt::LeftButton);
}

/// Has `act` called in the next event pass that lets the window of `context` live.
template <class Act>
void queue(QObject& context, Act act)
{
    QMetaObject::invokeMethod(&context, act, Qt::QueuedConnection);
}

/// The program's window, timed by the scripted clock, with a page open. Its boxes and dialogs are
/// answered for real; how is said before the click that shows them, since that returns when all is
/// over.
class Window : public TOVAMainWindow
{
public:
    explicit Window(const QString& page = QStringLiteral("Record"))
        : TOVAMainWindow(
              []() -> std::chrono::nanoseconds { return std::chrono::milliseconds(board.now); })
    {
        tabs.setCurrentIndex(tabs.tabText(0) == page ? 0 : 1);
        show();
        activateWindow();
        static_cast<void>(QTest::qWaitForWindowActive(this));
        board.journal.clear();
        board.noted.clear();
        board.state = [this] { return state(); };
    }

    /// The control of that name.
    template <class Widget>
    Widget& get(const QString& name)
    {
        for (Widget* each : findChildren<Widget*>()) {
            if (nameOf(*each) == name) {
                return *each;
            }
        }
        qFatal("There is no control called %s", qPrintable(name));
    }

    QTabWidget& tabs = *findChild<QTabWidget*>();
    const QString firstPage = tabs.tabText(tabs.currentIndex());
    TOVAStreamingTab& recordPage = *findChild<TOVAStreamingTab*>();
    QPushButton& burn = get<QPushButton>("Burn!");
    QPushButton& startStop = get<QPushButton>("Start!");
    QPushButton& brutalStop = get<QPushButton>("Brutal Stop in 5 seconds!");
    QPushButton& reset = get<QPushButton>("Reset");
    QLabel& status = get<QLabel>("Status of the recording");
    QComboBox& file = get<QComboBox>("Path of the record file");

    /// What is grey of both pages: all that a recording or a burn needs grey, or else the names.
    QString grey()
    {
        QStringList names;
        for (QWidget* each : findChildren<QWidget*>()) {
            const bool isInGroup = qobject_cast<QGroupBox*>(each->parentWidget()) != nullptr;
            const QString page = tabs.tabText(tabs.indexOf(each));
            if (!each->isEnabledTo(each->parentWidget()) && !isInGroup && each != &startStop) {
                names += page.isEmpty() && !each->isHidden() ? nameOf(*each) : page;
            }
        }
        names.removeAll(QString());
        const QString work = names.contains("Record") ? "burning" : "recording";
        return names.size() == 7 ? work : names.join(", ");
    }

    /// The buttons that stop, the running timers' periods, and what is grey.
    QString state()
    {
        QStringList shown{startStop.text() + (startStop.isEnabledTo(&recordPage) ? "" : " off")};
        shown += brutalStop.isHidden() ? QString() : brutalStop.text();
        for (const QTimer* timer : recordPage.findChildren<QTimer*>()) {
            shown += timer->isActive() ? QString::number(timer->interval()) : QString();
        }
        shown += grey();
        shown.removeAll(QString());
        return shown.join(", ");
    }

    /// Makes a recording of that trace in `mode`.
    void record(const QString& mode, const std::deque<ScriptedBoard::Read>& reads)
    {
        get<QGroupBox>(mode).setChecked(true);
        board.reads = reads;
        click(startStop);
    }

    /// Lets the one running timer of that period end now.
    void expire(int period)
    {
        for (QTimer* timer : recordPage.findChildren<QTimer*>()) {
            if (timer->isActive() && timer->interval() == period) {
                timer->setInterval(0);
            }
        }
    }

    /// Calls `act` once with the next modal widget of the type Widget, from inside its event loop.
    template <class Widget, class Act>
    void whenShown(Act act)
    {
        auto* timer = new QTimer(this);
        connect(timer, &QTimer::timeout, timer, [timer, act] {
            auto* widget = qobject_cast<Widget*>(QApplication::activeModalWidget());
            if (widget != nullptr && widget->isVisible()) {
                timer->stop();
                act(*widget);
            }
        });
        timer->start(1);
    }

    /// Notes the next message box, with the state, and clicks one of its buttons, or presses a key.
    void answer(const QString& button = QStringLiteral("OK"))
    {
        whenShown<QMessageBox>([button](QMessageBox& box) {
            board.noted.clear();
            board.note(box.windowTitle() + ": " + box.text());
            const auto buttons = box.buttons();
            const auto named = std::find_if(buttons.begin(), buttons.end(), [&](auto* each) {
                return each->text().remove('&') == button;
            });
            named != buttons.end() ? click(**named)
                                   : QTest::keySequence(&box, QKeySequence(button));
        });
    }

    /// Types `name` in the next file dialog, or cancels it where that is empty. `opened`, where
    /// given, receives the folder in which the dialog has opened.
    void choose(const QString& name, QString* opened = nullptr)
    {
        whenShown<QFileDialog>([name, opened](QFileDialog& dialog) {
            opened != nullptr ? * opened = dialog.directory().path() : QString();
            dialog.findChild<QLineEdit*>("fileNameEdit")->setText(name);
            QTest::keyClick(&dialog, name.isEmpty() ? Qt::Key_Escape : Qt::Key_Return);
        });
    }
};
