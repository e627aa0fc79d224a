#pragma once

#include "config/configurationkinds.h"
#include "record/streamingtab.h"
#include "shell/mainwindow.h"
#include "shell/startup.h"
#include "tests/support/board.h"
#include "tests/support/folder.h"

#include <QtTest>
#include <QtWidgets>

#include <optional>
#include <sys/resource.h>

/// The titles of the three modes.
inline const QString onTheFly = QStringLiteral("In the file on the fly");
inline const QString ring = QStringLiteral("SW Circular buffer");
inline const QString hardware = QStringLiteral("HW Circular buffer");

using Read = ScriptedBoard::Read;

constexpr int megabyte = 1 << 20;
/// The shortest time, in milliseconds, after which the status is refreshed.
constexpr int due = 201;
/// How a record file begins, with the new EXL format.
inline const QByteArray header("DBGP\1\0\2\0", 8);

/// Bytes that do not begin again before their end.
inline QByteArray trace(int count)
{
    QByteArray bytes(count, '\0');
    QRandomGenerator random(1);
    std::generate(bytes.begin(), bytes.end(), [&random] { return char(random()); });
    return bytes;
}

/// A program of tests. Each finds what a newly installed program finds: an empty working folder,
/// and nothing in memory.
class WindowTest : public QObject
{
    Q_OBJECT

public:
    /// A window that is a member of the tests needs the folder too.
    WindowTest() { init(); }

protected slots:
    void init()
    {
        m_folder.emplace();
        QDir::setCurrent(m_folder->path());
        board = ScriptedBoard();
        forgetFiles();
        TOVAConfiguration::m_isDoubleClickedProtected = true;
        ignoreWriteSignals();
    }

protected:
    static void forgetFiles()
    {
        for (const ConfigurationKind& kind : configurationKinds) {
            kind.files.clear();
            kind.folder.clear();
        }
    }

private:
    std::optional<QTemporaryDir> m_folder;
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
    if (widget.inherits("QComboBox")) {
        accessible = accessible->relations(QAccessible::Label).constFirst().first;
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
/// answered for real, from inside their event loops; how is said before the click that shows them,
/// since that returns when all is over.
class Window : public TOVAMainWindow
{
public:
    explicit Window(const QString& page = QStringLiteral("Record"))
        : TOVAMainWindow(
              []() -> std::chrono::nanoseconds { return std::chrono::milliseconds(board.now); })
    {
        file.setEditText("a.prf");
        lod.setEditText("a.lod");
        tabs.setCurrentIndex(tabs.tabText(0) == page ? 0 : 1);
        show();
        activateWindow();
        static_cast<void>(QTest::qWaitForWindowActive(this));
        board.journal.clear();
        board.noted.clear();
        board.state = [this] { return state(); };
        startTimer(1);
    }

    /// The answers, in order: a button or a key for a box, and the name of a file for a dialog,
    /// which is cancelled where that is empty. What has no answer stays open.
    QStringList answers;
    /// Called once, with the next box or dialog, before that is answered.
    std::function<void()> whenShown = [] {};
    /// The folder in which the last dialog has opened.
    QString openedIn;

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
    TOVAStreamingTab& recordPage = *findChild<TOVAStreamingTab*>();
    QPushButton& burn = get<QPushButton>("Burn!");
    QPushButton& version = get<QPushButton>("Get Brannel board version");
    QPushButton& startStop = get<QPushButton>("Start!");
    QPushButton& brutalStop = get<QPushButton>("Brutal Stop in 5 seconds!");
    QPushButton& reset = get<QPushButton>("Reset");
    QLabel& status = get<QLabel>("Status of the recording");
    QLabel& burnStatus = get<QLabel>("Status of the burn");
    QProgressBar& bar = get<QProgressBar>("Progress");
    QComboBox& file = get<QComboBox>("Path of the record file");
    QComboBox& lod = get<QComboBox>("Path of the main lod file");
    QComboBox& cfp = get<QComboBox>("Path of the calibration file");

    /// What is not as it is at the start: the buttons that stop, the running timers' periods, how
    /// far a burn has come, and how many controls and pages are grey, apart from those in a group.
    QString state()
    {
        const QString off = startStop.isEnabledTo(&recordPage) ? "" : " off";
        QStringList shown{startStop.text().remove("Start!") + off};
        shown += brutalStop.isHidden() ? QString() : brutalStop.text();
        for (const QTimer* timer : recordPage.findChildren<QTimer*>()) {
            shown += timer->isActive() ? QString::number(timer->interval()) : QString();
        }
        shown += burnStatus.text() + (bar.value() < 0 ? "" : QString::number(bar.value()));
        int grey = 0;
        for (const QWidget* each : findChildren<QWidget*>()) {
            const QWidget* parent = each->parentWidget();
            const bool isPart = parent->inherits("QGroupBox") || parent->inherits("QTabBar");
            grey += int(!each->isEnabledTo(parent) && !isPart && each != &startStop);
        }
        shown += grey == 0 ? QString() : QStringLiteral("%1 grey").arg(grey);
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

private:
    /// Answers the box or the dialog that is open, in the event pass behind that of whenShown().
    /// Notes a box, with the state.
    void timerEvent(QTimerEvent* /*event*/) override
    {
        QWidget* shown = QApplication::activeModalWidget();
        const int turn = shown != nullptr ? shown->property("turn").toInt() : 2;
        if (turn > 1 || (turn == 1 && answers.isEmpty()) || !shown->isVisible()) {
            return;
        }
        shown->setProperty("turn", turn + 1);
        if (turn == 0) {
            return std::exchange(whenShown, [] {})();
        }
        const QString text = answers.takeFirst();
        if (auto* box = qobject_cast<QMessageBox*>(shown)) {
            board.noted.clear();
            board.note(box->windowTitle() + ": " + box->text());
            for (auto* button : box->buttons()) {
                if (button->text().remove('&') == text) {
                    return click(*button);
                }
            }
            QTest::keySequence(box, QKeySequence(text));
        } else {
            auto& dialog = dynamic_cast<QFileDialog&>(*shown);
            openedIn = dialog.directory().path();
            dialog.findChild<QLineEdit*>("fileNameEdit")->setText(text);
            QTest::keyClick(&dialog, text.isEmpty() ? Qt::Key_Escape : Qt::Key_Return);
        }
    }
};
