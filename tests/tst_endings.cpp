#include "shell/run.h"
#include "tests/support/window.h"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

/// Uses the window until `moment`, and ends the program there.
void endAt(const QString& moment, Window& window, const std::function<void()>& end)
{
    window.whenShown = [end] {
        // Now nothing is in the file's way.
        QDir().rmdir("a.prf");
        end();
    };
    window.answers = moment.endsWith("box") ? QStringList{"OK"} : QStringList();
    board.failing = moment == "burn box" ? "download" : "";
    board.onDownload = [=](auto burned, auto verified) {
        burned(0.5F);
        moment == "burn" ? end() : void();
        verified(0.5F);
    };
    if (moment == "idle") {
        // What has been saved is not saved again.
        window.record(ring, {{"saved"}});
        QFile::remove("a.prf");
        end();
    } else if (moment == "open dialog") {
        click(window.get<QPushButton>("Browse for the record file"));
    } else if (moment.startsWith("burn")) {
        click(window.burn);
    } else if (moment == "read failure box") {
        window.record(onTheFly, {{"onetwo"}, {"lost", ScriptedBoard::failure}});
    } else if (moment == "save question box") {
        QDir().mkdir("a.prf");
        window.answers = QStringList{"Chose again", QDir::current().filePath("a.prf")};
        window.record(ring, {{"onetwo"}});
    } else {
        const QString mode = moment == "before the trigger" ? hardware : moment;
        const QByteArray bytes = moment == mode ? "onetwo" : "";
        // The end comes in the event pass behind these bytes: one more read, and none after that.
        window.record(mode, {{bytes, BRAN_SUCCESS, due, [&] { queue(window, end); }}, {}, {"no"}});
    }
}

template <int... Signals>
void raise(Window& window)
{
    (static_cast<void>(std::raise(Signals)), ...);
    static_cast<void>(QTest::qWaitFor([&] { return window.isHidden(); }));
}

/// The ways to end the program, and the status that each leaves. The toolkit calls exit() when the
/// display is lost.
const std::array<std::tuple<const char*, void (*)(Window&), int>, 5> ways{{
    {"close", [](Window& window) { window.close(); }, 0},
    {"end of the session",
     [](Window&) { qApp->sendEvent(qApp, std::make_unique<QEvent>(QEvent::Quit).get()); }, 0},
    {"SIGTERM", raise<SIGTERM>, 0},
    {"exit", [](Window&) { std::exit(1); }, W_EXITCODE(1, 0)},
    {"SIGKILL", raise<SIGKILL>, SIGKILL},
}};

/// The status of a process that uses the program: signals and ends count once in each.
int statusAfter(const std::function<void(Window&)>& use)
{
    static_cast<void>(std::fflush(nullptr));
    const pid_t child = fork();
    if (child == 0) {
        // A program that does not end is ended, and is a failure.
        alarm(60);
        Window window;
        queue(window, [&] { use(window); });
        const int result = run(window);
        writeFile("boxes", board.journal.filter("link: ").join("; ").toLocal8Bit());
        _exit(result);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

/// What can be read on a page, each text in a line of its own, or behind a | if it lies on the
/// right of the one before. What is grey follows a ~.
QString asRead(QWidget& page)
{
    QString read;
    int end = page.width();
    for (QWidget* each : page.findChildren<QWidget*>()) {
        auto* accessible = QAccessible::queryAccessibleInterface(each);
        const QString text = accessible->text(QAccessible::Name);
        const QString value = accessible->text(QAccessible::Value);
        const auto state = accessible->state();
        const int start = each->mapTo(&page, QPoint()).x();
        // Boxes have no text of their own, and the fields in combo boxes that of these.
        if (each->isVisible() && !text.isEmpty() && each->focusProxy() == nullptr &&
            accessible->role() != QAccessible::Border) {
            read += (start >= end ? " | " : "\n") + QString(state.disabled ? "~" : "") + text;
            read += QString(state.checkable ? state.checked ? " [x]" : " [ ]" : "");
            read += value.isEmpty() ? "" : ": " + value;
            end = start + each->width();
        }
    }
    return read;
}

} // namespace

/// Ends the program in every way at every moment.
class tst_endings : public WindowTest
{
    Q_OBJECT

private slots:
    void endsWithNothingLost_data()
    {
        QTest::addColumn<QByteArray>("saved");
        for (const char* moment : {"idle", "open dialog", "burn", "burn box"}) {
            QTest::newRow(moment) << QByteArray();
        }
        QTest::newRow("before the trigger") << header;
        for (const QString& moment : {onTheFly, ring, hardware, QString("read failure box"),
                                      QString("save question box")}) {
            QTest::newRow(qPrintable(moment)) << header + "onetwo";
        }
    }
    void endsWithNothingLost()
    {
        QFETCH(QByteArray, saved);
        const QString moment = QTest::currentDataTag();
        for (const auto& [way, end, wanted] : ways) {
            init();
            board.onSync = [] { return writeFile("synced", ""); };
            const int status = statusAfter([&, end = end](Window& window) {
                endAt(moment, window, [&] {
                    QFile::remove("synced");
                    end(window);
                });
            });
            QVERIFY2(status == wanted, way);
            // A ring is in memory only.
            const bool isLost = status == SIGKILL && (moment == ring || moment.startsWith("save"));
            QCOMPARE(contentOf("a.prf"), isLost ? QByteArray() : saved);
            QVERIFY(wanted != W_EXITCODE(1, 0) || QFile::exists("synced") == !saved.isNull());
            QCOMPARE(contentOf("boxes").count("link: "),
                     int(moment.endsWith("box") && status == 0));
        }
    }

    void signalsEndTheProgram()
    {
        // Ignored under nohup.
        static_cast<void>(std::signal(SIGHUP, SIG_DFL));
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
        // One that was ignored stays so, and a session that is only saved goes on.
        static_cast<void>(std::signal(SIGHUP, SIG_IGN));
        QCOMPARE(statusAfter([](Window& window) {
                     static_cast<void>(std::raise(SIGHUP));
                     emit qApp->commitDataRequest(*qApp->findChild<QSessionManager*>());
                     QCoreApplication::processEvents();
                     QCoreApplication::exit(window.isVisible() ? 7 : 0);
                 }),
                 W_EXITCODE(7, 0));
    }

    void startsAsItIsRead()
    {
        const QScopedPointer<QStyle> style(createStyle());
        QVERIFY(style->inherits(QT_VERSION_MAJOR < 6 ? "QPlastiqueStyle" : "QFusionStyle"));
        TOVAMainWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        auto& tabs = *window.findChild<QTabWidget*>();
        QString read = "Menu: " + window.findChild<QMenu*>()->title() +
                       "\nOpen page: " + tabs.tabText(tabs.currentIndex()) + '\n';
        for (int page = 0; page < tabs.count(); ++page) {
            tabs.setCurrentIndex(page);
            tabs.tabBar()->setFocus();
            read += '\n' + tabs.tabText(page) + asRead(*tabs.currentWidget()) + "\n\n";
            for (QGroupBox* group : tabs.currentWidget()->findChildren<QGroupBox*>()) {
                group->setChecked(group->isChecked() || group->title().contains("Trigger"));
            }
            // Where Tab goes, from the page's tab to "Reset", and the tip there.
            QWidget* focus = tabs.tabBar();
            for (int pressed = 0; pressed < 50 && nameOf(*focus) != "Reset"; ++pressed) {
                QTest::keyClick(focus, Qt::Key_Tab);
                focus = window.focusWidget();
                read += nameOf(*focus) + ": " + focus->toolTip() + '\n';
            }
        }
        QCOMPARE(read.split('\n'), QString(contentOf(QFINDTESTDATA("start.txt"))).split('\n'));
    }
};

QTEST_MAIN(tst_endings)
#include "tst_endings.moc"
