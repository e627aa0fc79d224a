#include "shell/sessionend.h"
#include "shell/terminationsignals.h"
#include "tests/support/window.h"

#include <csignal>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

using Store = TOVAConfiguration;

namespace
{

const QByteArray header("DBGP\1\0\2\0", 8);
constexpr int due = 201;
constexpr int kills = 100;

/// Some bytes that do not begin again before their end.
const QByteArray counted = [] {
    QByteArray bytes(1000, '\0');
    for (int at = 0; at < bytes.size(); ++at) {
        bytes[at] = char(at * 7 + (at >> 8));
    }
    return bytes;
}();

using End = std::function<void()>;

/// Records in `mode`, and ends the program in the event pass behind the last of these bytes.
void record(Window& window, const QString& mode, const QByteArray& bytes, const End& end)
{
    window.record(mode, {{bytes.left(3), BRAN_SUCCESS, due},
                         {bytes.mid(3), BRAN_SUCCESS, due, [&] { queue(window, end); }},
                         {""},
                         {"never read"}});
}

void burn(Window& window, const End& whileBurning, const End& whileVerifying)
{
    board.onDownload = [=](auto burned, auto verified) {
        burned(0.1F);
        whileBurning();
        verified(0.1F);
        whileVerifying();
        verified(0.5F);
    };
    click(window.burn);
}

/// Ends the program while a box is open, and then answers it, unless the end has closed it.
void endInBox(Window& window, const End& end, const QString& button)
{
    window.whenShown<QMessageBox>([&window, end, button](QMessageBox& box) {
        end();
        // Not before a quit that this has posted.
        queue(box, [&window, button] { window.answer(button); });
    });
}

void nothing() {}

/// When the program is ended, how that moment is reached, and what is left in the record file
/// sub/a.prf: null where there is none.
struct Moment {
    const char* name;
    void (*reach)(Window& window, const End& end);
    QByteArray saved;
};
const std::array<Moment, 12> moments{{
    {"idle", [](Window&, const End& end) { end(); }, {}},
    {"open dialog",
     [](Window& window, const End& end) {
         window.whenShown<QFileDialog>([end](QFileDialog&) { end(); });
         click(window.get<QPushButton>("Browse for the record file"));
     },
     {}},
    {"burning", [](Window& window, const End& end) { burn(window, end, nothing); }, {}},
    {"verifying", [](Window& window, const End& end) { burn(window, nothing, end); }, {}},
    {"burn box",
     [](Window& window, const End& end) {
         board.failing = "download";
         endInBox(window, end, "OK");
         burn(window, nothing, nothing);
     },
     {}},
    {"on the fly", [](Window& window, const End& end) { record(window, onTheFly, "onetwo", end); },
     header + "onetwo"},
    {"ring", [](Window& window, const End& end) { record(window, ring, "onetwo", end); },
     header + "onetwo"},
    {"before the trigger",
     [](Window& window, const End& end) { record(window, hardware, "", end); }, header},
    {"after the trigger",
     [](Window& window, const End& end) { record(window, hardware, "onetwo", end); },
     header + "onetwo"},
    {"countdown",
     [](Window& window, const End& end) {
         TOVAConfiguration::m_isDoubleClickedProtected = false;
         window.record(onTheFly, {{"one", BRAN_SUCCESS, due, [&] { click(window.startStop); }},
                                  {"two", BRAN_SUCCESS, due, [&] { window.expire(5000); }},
                                  {"", BRAN_SUCCESS, due, [&] { queue(window, end); }},
                                  {""},
                                  {"never read"}});
     },
     header + "onetwo"},
    {"read failure box",
     [](Window& window, const End& end) {
         endInBox(window, end, "OK");
         window.record(onTheFly, {{"onetwo"}, {"lost", ScriptedBoard::failure}});
     },
     header + "onetwo"},
    {"save question",
     [](Window& window, const End& end) {
         QDir().rmdir("sub");
         endInBox(
             window,
             [&window, end] {
                 QDir().mkdir("sub");
                 end();
                 window.choose(QDir::currentPath() + "/sub/a.prf");
             },
             "Chose again");
         window.record(ring, {{"onetwo"}});
     },
     header + "onetwo"},
}};

/// An application without arguments.
struct Application {
    int count = 1;
    std::array<char, 9> name{"tovalink"};
    std::array<char*, 2> arguments{name.data(), nullptr};
    QApplication application{count, arguments.data()};
};

void raiseAndWait(Window& window, int signal)
{
    std::raise(signal);
    static_cast<void>(QTest::qWaitFor([&] { return window.isHidden(); }));
}

void quit()
{
    QEvent event(QEvent::Quit);
    QCoreApplication::sendEvent(qApp, &event);
}

const QHash<QString, std::function<void(Window&)>> ways{
    {"close", [](Window& window) { window.close(); }},
    {"quit", [](Window&) { quit(); }},
    {"end of the session",
     [](Window& window) {
         emit qApp->commitDataRequest(*qApp->findChild<QSessionManager*>());
         if (window.isHidden()) {
             qFatal("A session that is only saved has ended the program");
         }
         quit();
     }},
    {"SIGTERM", [](Window& window) { raiseAndWait(window, SIGTERM); }},
    {"SIGINT", [](Window& window) { raiseAndWait(window, SIGINT); }},
    {"SIGHUP", [](Window& window) { raiseAndWait(window, SIGHUP); }},
    {"SIGTERM and SIGHUP",
     [](Window& window) {
         std::raise(SIGTERM);
         raiseAndWait(window, SIGHUP);
     }},
    // What the toolkit does when the display is lost.
    {"exit", [](Window&) { std::exit(1); }},
};

/// What can be read of a widget and in it, in reading order: | stands between what lies side by
/// side, / between rows. What is grey follows a ~; fields and boxes show what they hold.
QString asRead(QWidget& widget)
{
    if (widget.isHidden()) {
        return {};
    }
    const auto* layout = qobject_cast<QBoxLayout*>(widget.layout());
    const auto* group = qobject_cast<QGroupBox*>(&widget);
    const auto* box = qobject_cast<QCheckBox*>(&widget);
    const auto* edit = qobject_cast<QLineEdit*>(&widget);
    const auto* combo = qobject_cast<QComboBox*>(&widget);
    const auto* label = qobject_cast<QLabel*>(&widget);
    QStringList parts;
    for (int each = 0; layout != nullptr && each < layout->count(); ++each) {
        parts += asRead(*layout->itemAt(each)->widget());
    }
    parts.removeAll({});
    QString text = label != nullptr    ? label->text()
                   : layout == nullptr ? nameOf(widget)
                                       : QString();
    if (group != nullptr) {
        text = group->title() + (!group->isCheckable() ? "" : group->isChecked() ? " [x]" : " [ ]");
    } else if (box != nullptr) {
        text += box->isChecked() ? " [x]" : " [ ]";
    } else if (edit != nullptr || combo != nullptr) {
        text += " [" + (edit != nullptr ? edit->text() : combo->currentText()) + "]";
    }
    const bool isRow = layout != nullptr && layout->direction() == QBoxLayout::LeftToRight;
    const QString inside = parts.join(isRow ? " | " : " / ");
    return (widget.isEnabled() || text.isEmpty() ? "" : "~") + text +
           (group != nullptr ? " {" + inside + "}" : inside);
}

/// All controls that take the keyboard now, as Tab goes from one to the next.
QList<QWidget*> tabOrder(Window& window)
{
    QList<QWidget*> order;
    while (!order.contains(window.focusWidget())) {
        order += window.focusWidget();
        QTest::keyClick(order.last(), Qt::Key_Tab);
    }
    return order;
}

/// Starts a process that runs `program`: signals and ends count once in each.
template <class Program>
pid_t start(Program program)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        // A program that does not end is ended, and is a failure.
        alarm(60);
        _exit(program());
    }
    return child;
}

int statusOf(pid_t child)
{
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

/// Does what main() does.
template <class Use>
int run(Use use)
{
    const Application application;
    Window window;
    const TerminationSignals termination;
    QObject::connect(&termination, &TerminationSignals::received, &window, &QWidget::close);
    const SessionEnd sessionEnd(window);
    window.file.setEditText("sub/a.prf");
    window.get<QComboBox>("Path of the main lod file").setEditText("a.lod");
    queue(window, [&] { use(window); });
    const int result = QApplication::exec();
    writeFile("boxes", board.journal.filter("link: ").join("; ").toLocal8Bit());
    return result;
}

/// Starts `program`, kills it some time after the first line that it writes to the file descriptor
/// it is given, and returns the last one.
template <class Program>
QByteArray killed(Program program, int round)
{
    std::array<int, 2> pipe{};
    QFile lines;
    if (::pipe(pipe.data()) != 0 ||
        !lines.open(pipe[0], QIODevice::ReadOnly, QFile::AutoCloseHandle)) {
        return "no pipe";
    }
    const pid_t child = start([&] { return program(pipe[1]); });
    ::close(pipe[1]);
    const QByteArray first = lines.readLine();
    usleep(round * 200U);
    kill(child, SIGKILL);
    statusOf(child);
    const QList<QByteArray> all = (first + lines.readAll()).split('\n');
    return all.value(all.size() - 2);
}

/// Records for ever and says at each refresh how much has been recorded.
int recordForEver(int descriptor)
{
    return run([descriptor](Window& window) {
        std::function<void()> again = [&] {
            dprintf(descriptor, "%s\n", qPrintable(window.status.text().section(' ', 1, 1)));
            board.reads.insert(board.reads.end(), 40, {counted});
            board.reads.push_back({"", BRAN_SUCCESS, due});
            board.reads.push_back({"", BRAN_SUCCESS, 0, again});
        };
        window.record(onTheFly, {{"", BRAN_SUCCESS, 0, again}});
    });
}

/// Changes and saves the recent files for ever.
int saveForEver(int descriptor)
{
    for (int round = 0;; ++round) {
        Store::addLastLod(QString(1 + round % 3000, QLatin1Char('x')), true);
        if (Store::dumpConfig() && round == 0) {
            dprintf(descriptor, "saved\n");
        }
    }
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
        QVERIFY(QDir().mkdir("sub"));
        // Ignored under nohup.
        static_cast<void>(std::signal(SIGHUP, SIG_DFL));
    }

    void endsWithNothingLost_data()
    {
        addColumns<int, QString>("moment", "way");
        for (int moment = 0; moment < int(moments.size()); ++moment) {
            for (auto way = ways.keyBegin(); way != ways.keyEnd(); ++way) {
                QTest::addRow("%s, %s", moments.at(moment).name, qPrintable(*way))
                    << moment << *way;
            }
        }
    }
    void endsWithNothingLost()
    {
        QFETCH(int, moment);
        QFETCH(QString, way);
        const auto& [name, reach, saved] = moments.at(moment);
        const bool isLost = way == "exit";
        board.onSync = [] {
            QFile syncs("syncs");
            return syncs.open(QIODevice::Append) && syncs.write("x") == 1;
        };
        const int status = statusOf(start([&, reach = reach] {
            return run([&](Window& window) {
                reach(window, [&] {
                    QFile::remove("syncs");
                    ways[way](window);
                });
            });
        }));
        QVERIFY(WIFEXITED(status));
        QCOMPARE(WEXITSTATUS(status), isLost ? 1 : 0);
        QCOMPARE(contentOf("sub/a.prf"), saved);
        QCOMPARE(QFile::exists("sub/a.prf"), !saved.isNull());
        // The end of other recordings is seen elsewhere.
        QVERIFY(!isLost || QFile::exists("syncs") == !saved.isNull());
        const bool hasBox = QByteArray(name).contains("box") || name == QByteArray("save question");
        QCOMPARE(contentOf("boxes").count("link: "), int(hasBox && !isLost));
    }

    void secondSignalEndsWhatHangs()
    {
        const int status = statusOf(start([] {
            return run([](Window&) {
                std::raise(SIGTERM);
                QTest::qSleep(2100);
                std::raise(SIGTERM);
            });
        }));
        QVERIFY(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    }

    void ignoredSignalStaysIgnored()
    {
        const int status = statusOf(start([] {
            static_cast<void>(std::signal(SIGHUP, SIG_IGN));
            return run([](Window& window) {
                std::raise(SIGHUP);
                window.record(onTheFly, {{"", BRAN_SUCCESS, due}, {"", BRAN_SUCCESS, due}, {"x"}});
                window.close();
            });
        }));
        QCOMPARE(status, 0);
        QCOMPARE(contentOf("sub/a.prf"), header + "x");
    }

    void killCostsOneRefreshAtMost()
    {
        for (int round = 0; round < kills; ++round) {
            const QByteArray told = killed(recordForEver, round);
            const QByteArray file = contentOf("sub/a.prf").mid(header.size());
            QVERIFY2(file.size() >= told.toInt(), told);
            QVERIFY(file == counted.repeated(file.size() / counted.size() + 1).left(file.size()));
        }
    }

    void killLeavesAWholeConfiguration()
    {
        for (int round = 0; round < kills; ++round) {
            QCOMPARE(killed(saveForEver, round), QByteArray("saved"));
            QVERIFY(Store::readConfig());
            QVERIFY(!Store::m_lastLodFiles.isEmpty());
            CleanStart::forget();
        }
    }

    // Last, as the programs above need an application of their own.
    void startsAsItIsRead_data()
    {
        addColumns<QString, QString>("page", "text");
        QTest::newRow("burn")
            << "Burn Flash"
            << "Choose main lod file {Browse for the main lod file | Path of the main lod file []} "
               "/ "
               "Choose calibration file {Browse for the calibration file | Path of the calibration "
               "file []} /  {Image Size 16MB, Base Address 0x01000000 (may be overloaded by LOD "
               "files).} /  {Get Brannel board version} / Burn image {Burn! | Verify [x] | Burn "
               "full "
               "image [ ] / Progress}";
        QTest::newRow("record")
            << "Record"
            << "Choose destination record file {Browse for the record file | Path of the record "
               "file []} / Filtering (Check Boxes to Reject) {XCPU [ ] | BCPU [ ]} | New EXL "
               "format "
               "in .prf {Use it (Ambrel, Sorvane, ...) [x]} / EXL Trigger [ ] {~Start Address (0x) "
               "| "
               "~Start Address (0x) [] / ~End Address (0x) | ~End Address (0x) []} | PXTS Trigger "
               "[ "
               "] {~Standard [x] / ~Custom Tag (0x)  [ ] | ~Custom tag in hexadecimal []} / "
               "Recording mode {HW Circular buffer [ ] {~Buffer stored on the Brannel. / ~Size is "
               "2MB} | SW Circular buffer [x] {Buffer stored in the PC RAM. / Size | Size [8] |  "
               "MB} "
               "| In the file on the fly [ ] {~Data stored directly in the file. / ~Size is "
               "illimited (HD limitation).}} / Recording {Start!}";
    }
    void startsAsItIsRead()
    {
        QFETCH(QString, page);
        QFETCH(QString, text);
        const Application application;
        Window window(page);
        QCOMPARE(window.firstPage, QString("Burn Flash"));
        QCOMPARE(window.menuBar()->actions().value(0)->text(), QString("Options"));
        QWidget& shown = *window.tabs.currentWidget();
        // In parts, since a failure shows the beginning of a text only.
        QCOMPARE(asRead(shown).split(" / "), text.split(" / "));

        for (QGroupBox* group : shown.findChildren<QGroupBox*>()) {
            group->setChecked(group->isChecked() || group->title().contains("Trigger"));
        }
        // Tab goes from one control to the next as they are read, from the page's tab to "Reset".
        const QString names = page + asRead(shown) + "Reset";
        const QList<QWidget*> order = tabOrder(window);
        QCOMPARE(order.last(), &window.reset);
        int reached = 0;
        for (QWidget* each : order) {
            reached = int(names.indexOf(nameOf(*each), reached));
            QVERIFY2(reached >= 0, qPrintable(nameOf(*each)));
            const auto* accessible = QAccessible::queryAccessibleInterface(each);
            QVERIFY2(!nameOf(*each).isEmpty() &&
                         (each == order.first() ||
                          !accessible->text(QAccessible::Description).isEmpty()),
                     qPrintable(nameOf(*each)));
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_APPLESS_MAIN(tst_endings)
#include "tst_endings.moc"
