#include "shell/sessionend.h"
#include "shell/startup.h"
#include "shell/terminationsignals.h"
#include "tests/support/window.h"

#include <QStyle>

#include <csignal>
#include <memory>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

const QByteArray header("DBGP\1\0\2\0", 8);
constexpr int due = 201;

using End = std::function<void()>;

/// Ends the program while a box is open, and then answers it.
void endInBox(Window& window, const QString& button, const End& end)
{
    window.whenShown<QMessageBox>([&window, button, end](QMessageBox&) {
        end();
        window.answer(button);
    });
}

/// Records in `mode`, and ends the program in the event pass behind these bytes.
void record(Window& window, const QString& mode, const QByteArray& bytes, const End& end)
{
    window.record(mode,
                  {{bytes, BRAN_SUCCESS, due, [&] { queue(window, end); }}, {""}, {"unread"}});
}

/// Uses the window until `moment`, and ends the program there.
void endAt(const QString& moment, Window& window, const End& end)
{
    if (moment == "idle") {
        end();
    } else if (moment == "open dialog") {
        window.whenShown<QFileDialog>([end](QFileDialog&) { end(); });
        click(window.get<QPushButton>("Browse for the record file"));
    } else if (moment == "burning" || moment == "verifying") {
        board.onDownload = [=](auto burned, auto verified) {
            const auto progress = moment == "burning" ? burned : verified;
            progress(0.5F);
            end();
            progress(0.6F);
        };
        click(window.burn);
    } else if (moment == "burn box") {
        board.failing = "download";
        endInBox(window, "OK", end);
        click(window.burn);
    } else if (moment == "before the trigger") {
        record(window, hardware, "", end);
    } else if (moment == "countdown") {
        TOVAConfiguration::m_isDoubleClickedProtected = false;
        window.record(onTheFly, {{"onetwo", BRAN_SUCCESS, due, [&] { click(window.startStop); }},
                                 {"", BRAN_SUCCESS, due, [&] { window.expire(5000); }},
                                 {"", BRAN_SUCCESS, due, [&] { queue(window, end); }},
                                 {""},
                                 {"unread"}});
    } else if (moment == "read failure box") {
        endInBox(window, "OK", end);
        window.record(onTheFly, {{"onetwo"}, {"lost", ScriptedBoard::failure}});
    } else if (moment == "save question") {
        const QString file = QDir::current().filePath("a.prf");
        QDir().mkdir(file);
        window.choose(file);
        endInBox(window, "Chose again", [=] { QDir().rmdir(file) ? end() : void(); });
        window.record(ring, {{"onetwo"}});
    } else {
        record(window, moment, "onetwo", end);
    }
}

template <int... Signals>
void raise(Window& window)
{
    (static_cast<void>(std::raise(Signals)), ...);
    static_cast<void>(QTest::qWaitFor([&] { return window.isHidden(); }));
}

void saveSession()
{
    emit qApp->commitDataRequest(*qApp->findChild<QSessionManager*>());
}

void endSession(Window& /*window*/)
{
    saveSession();
    QEvent quit(QEvent::Quit);
    QCoreApplication::sendEvent(qApp, &quit);
}

/// What the toolkit does when the display is lost.
void exitAtOnce(Window& /*window*/)
{
    std::exit(1);
}

const std::array<std::pair<const char*, void (*)(Window&)>, 4> ways{{
    {"close", [](Window& window) { window.close(); }},
    {"end of the session", endSession},
    {"SIGTERM", raise<SIGTERM>},
    {"exit", exitAtOnce},
}};

/// Does what main() does.
int tovalink(const std::function<void(Window&)>& use)
{
    Window window;
    const TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &window, &QWidget::close);
    const SessionEnd sessionEnd(window);
    window.file.setEditText("a.prf");
    window.get<QComboBox>("Path of the main lod file").setEditText("a.lod");
    queue(window, [&] { use(window); });
    const int result = QApplication::exec();
    writeFile("boxes", board.journal.filter("link: ").join("; ").toLocal8Bit());
    return result;
}

/// The status of a process that uses the program: signals and ends count once in each.
int statusAfter(const std::function<void(Window&)>& use)
{
    static_cast<void>(std::fflush(nullptr));
    const pid_t child = fork();
    if (child == 0) {
        // A program that does not end is ended, and is a failure.
        alarm(60);
        _exit(tovalink(use));
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

/// What asRead() finds on the pages at the start.
const QString burnTexts =
    "Choose main lod file / Browse for the main lod file | Path of the main lod file / "
    "Choose calibration file / Browse for the calibration file | Path of the calibration file / "
    "Image Size 16MB, Base Address 0x01000000 (may be overloaded by LOD files). / "
    "Get Brannel board version / Burn image / Burn! | Verify [x] | Burn full image [ ] / "
    "Progress: -1";
const QString recordTexts =
    "Choose destination record file / Browse for the record file | Path of the record file / "
    "Filtering (Check Boxes to Reject) / XCPU [ ] | BCPU [ ] | New EXL format in .prf / "
    "Use it (Ambrel, Sorvane, ...) [x] / EXL Trigger [ ] / ~Start Address (0x) | "
    "~Start Address (0x) / ~End Address (0x) | ~End Address (0x) | PXTS Trigger [ ] / "
    "~Standard [x] / ~Custom Tag (0x)  [ ] | ~Custom tag in hexadecimal / Recording mode / "
    "HW Circular buffer [ ] / ~Buffer stored on the Brannel. / ~Size is 2MB | "
    "SW Circular buffer [x] / Buffer stored in the PC RAM. / Size | Size: 8 |  MB | "
    "In the file on the fly [ ] / ~Data stored directly in the file. / "
    "~Size is illimited (HD limitation). / Recording / Start!";

/// What can be read on a page: | stands between what lies side by side, / elsewhere. What is grey
/// follows a ~.
QString asRead(QWidget& page)
{
    QString read;
    int end = 0;
    for (QWidget* each : page.findChildren<QWidget*>()) {
        auto* accessible = QAccessible::queryAccessibleInterface(each);
        const QString text = accessible->text(QAccessible::Name);
        // Boxes have no text of their own, and the fields in combo boxes that of these.
        const bool isPart =
            accessible->role() == QAccessible::Border || each->focusProxy() != nullptr;
        if (each->isVisible() && !text.isEmpty() && !isPart) {
            const auto state = accessible->state();
            const QString value = accessible->text(QAccessible::Value);
            const int start = each->mapTo(&page, QPoint()).x();
            read += (start >= end ? " | " : " / ") + QString(state.disabled ? "~" : "") + text +
                    (!state.checkable ? ""
                     : state.checked  ? " [x]"
                                      : " [ ]") +
                    (value.isEmpty() ? "" : ": " + value);
            end = start + each->width();
        }
    }
    return read.mid(3);
}

} // namespace

/// Ends the program in every way at every moment.
class tst_endings : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_start.emplace();
        // Ignored under nohup.
        static_cast<void>(std::signal(SIGHUP, SIG_DFL));
    }

    void endsWithNothingLost_data()
    {
        QTest::addColumn<QByteArray>("saved");
        for (const char* moment : {"idle", "open dialog", "burning", "verifying", "burn box"}) {
            QTest::newRow(moment) << QByteArray();
        }
        QTest::newRow("before the trigger") << header;
        for (const QString& moment : QStringList{onTheFly, ring, hardware, "countdown",
                                                 "read failure box", "save question"}) {
            QTest::newRow(qPrintable(moment)) << header + "onetwo";
        }
    }
    void endsWithNothingLost()
    {
        QFETCH(QByteArray, saved);
        const QString moment = QTest::currentDataTag();
        const bool hasBox = moment.contains("box") || moment.contains("question");
        for (const auto& [way, end] : ways) {
            m_start.emplace();
            board.onSync = [] { return writeFile("synced", ""); };
            const int status = statusAfter([&, end = end](Window& window) {
                endAt(moment, window, [&] {
                    QFile::remove("synced");
                    end(window);
                });
            });
            const bool isLost = way == QString("exit");
            QVERIFY2(status == (isLost ? W_EXITCODE(1, 0) : 0), way);
            QCOMPARE(contentOf("a.prf"), saved);
            QCOMPARE(QFileInfo("a.prf").isFile(), !saved.isNull());
            // The end of other recordings is seen elsewhere.
            QVERIFY(!isLost || QFile::exists("synced") == !saved.isNull());
            QCOMPARE(contentOf("boxes").count("link: "), int(hasBox && !isLost));
        }
    }

    void killCostsOneRefreshAtMost()
    {
        for (const QString& mode : {onTheFly, hardware}) {
            QCOMPARE(statusAfter([&](Window& window) {
                         endAt(mode, window, [&] { raise<SIGKILL>(window); });
                     }),
                     SIGKILL);
            QCOMPARE(contentOf("a.prf"), header + "onetwo");
        }
    }

    void signalsEndTheProgram()
    {
        QCOMPARE(statusAfter(raise<SIGINT>), 0);
        QCOMPARE(statusAfter(raise<SIGHUP>), 0);
        QCOMPARE(statusAfter(raise<SIGTERM, SIGHUP>), 0);
        // A second one that comes late ends what hangs.
        QCOMPARE(statusAfter([](Window&) {
                     static_cast<void>(std::raise(SIGHUP));
                     QTest::qSleep(2100);
                     static_cast<void>(std::raise(SIGTERM));
                 }),
                 SIGTERM);
        // One that was ignored stays so; and a session that is only saved goes on.
        static_cast<void>(std::signal(SIGHUP, SIG_IGN));
        QCOMPARE(statusAfter([](Window& window) {
                     static_cast<void>(std::raise(SIGHUP));
                     saveSession();
                     QCoreApplication::processEvents();
                     QCoreApplication::exit(window.isVisible() ? 7 : 0);
                 }),
                 W_EXITCODE(7, 0));
    }

    void startsAsItIsRead()
    {
        const std::unique_ptr<QStyle> style(createStyle());
        QVERIFY(style->inherits(QT_VERSION_MAJOR < 6 ? "QPlastiqueStyle" : "QFusionStyle"));
        for (const auto& [page, text] :
             {std::pair("Burn Flash", burnTexts), std::pair("Record", recordTexts)}) {
            Window window(page);
            QCOMPARE(window.firstPage, QString("Burn Flash"));
            QCOMPARE(window.menuBar()->actions().value(0)->text(), QString("Options"));
            QWidget& shown = *window.tabs.currentWidget();
            // In parts, since a failure shows the beginning of a text only.
            QCOMPARE(asRead(shown).split(" / "), text.split(" / "));
            for (QGroupBox* group : shown.findChildren<QGroupBox*>()) {
                group->setChecked(group->isChecked() || group->title().contains("Trigger"));
            }
            // Tab goes through the controls as they are read, from the page's tab to "Reset".
            const QString names = page + asRead(shown) + "Reset";
            int reached = 0;
            QList<QWidget*> order;
            while (!order.contains(window.focusWidget())) {
                QWidget* each = window.focusWidget();
                reached = int(names.indexOf(nameOf(*each), reached));
                QVERIFY2(reached >= 0 && !nameOf(*each).isEmpty(), qPrintable(nameOf(*each)));
                QVERIFY2(order.isEmpty() || !each->toolTip().isEmpty(), qPrintable(nameOf(*each)));
                order += each;
                QTest::keyClick(each, Qt::Key_Tab);
            }
            QCOMPARE(order.last(), &window.reset);
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_endings)
#include "tst_endings.moc"
