#include "shell/sessionend.h"
#include "shell/terminationsignals.h"
#include "tests/support/window.h"

#include <QCheckBox>
#include <QProgressBar>
#include <QSessionManager>

#include <csignal>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

using Store = TOVAConfiguration;

namespace
{

const QByteArray header("DBGP\1\0\2\0", 8);
constexpr int due = 201;

using End = std::function<void()>;

/// When the program is ended: how that moment is reached, and what is then in the record file
/// sub/a.prf; none where that is null. What is open then is answered after the end.
struct Moment {
    const char* name;
    void (*reach)(Window& window, const End& end);
    QByteArray saved;
};

void record(Window& window, const QString& mode, const QByteArray& bytes, const End& end)
{
    window.record(
        mode,
        {{bytes.left(3), BRAN_SUCCESS, due}, {bytes.mid(3), BRAN_SUCCESS, 0, end}, {"three"}});
}

/// Answers an open box, if the program's end has not closed it: not before that could have
/// happened.
void answerLate(Window& window, QMessageBox& box, const QString& button)
{
    queue(box,
          [&window, &box, button] { queue(box, [&window, button] { window.answer(button); }); });
}

const std::array<Moment, 12> moments{{
    {"idle", [](Window&, const End& end) { end(); }, {}},
    {"open dialog",
     [](Window& window, const End& end) {
         window.whenShown<QFileDialog>([end](QFileDialog&) { end(); });
         click(window.get<QPushButton>("Browse for the record file"));
     },
     {}},
    {"burning",
     [](Window& window, const End& end) {
         board.onDownload = [end](auto burned, auto) {
             burned(0.1F);
             end();
             burned(0.5F);
         };
         click(window.burn);
     },
     {}},
    {"verifying",
     [](Window& window, const End& end) {
         board.onDownload = [end](auto burned, auto verified) {
             burned(1.0F);
             verified(0.1F);
             end();
             verified(0.5F);
         };
         click(window.burn);
     },
     {}},
    {"burn box",
     [](Window& window, const End& end) {
         board.failing = "download";
         window.whenShown<QMessageBox>([&window, end](QMessageBox& box) {
             end();
             answerLate(window, box, "OK");
         });
         click(window.burn);
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
         Store::m_isDoubleClickedProtected = false;
         window.record(onTheFly, {{"one", BRAN_SUCCESS, due, [&] { click(window.startStop); }},
                                  {"two", BRAN_SUCCESS, due, [&] { window.expire(5000); }},
                                  {"", BRAN_SUCCESS, 0, end},
                                  {"three"}});
     },
     header + "onetwo"},
    {"read failure box",
     [](Window& window, const End& end) {
         window.whenShown<QMessageBox>([&window, end](QMessageBox& box) {
             end();
             answerLate(window, box, "OK");
         });
         window.record(onTheFly, {{"onetwo"}, {"lost", ScriptedBoard::failure}});
     },
     header + "onetwo"},
    {"save question",
     [](Window& window, const End& end) {
         QDir().rmdir("sub");
         window.whenShown<QMessageBox>([&window, end](QMessageBox& box) {
             QDir().mkdir("sub");
             end();
             window.choose(QDir::currentPath() + "/sub/a.prf");
             answerLate(window, box, "Chose again");
         });
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

/// The names of all controls that take the keyboard now, as Tab goes from one to the next.
QStringList tabOrder(Window& window)
{
    QStringList names;
    for (QString name = nameOf(*window.focusWidget()); !names.contains(name);
         name = nameOf(*window.focusWidget())) {
        names += name;
        QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
    }
    return names;
}

/// Runs a program of its own, as signals and ends count once in each; its status when it has ended.
int statusOf(const std::function<void(Window& window)>& use)
{
    const pid_t child = fork();
    if (child != 0) {
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }
    TerminationSignals termination;
    const Application application;
    Window window;
    QObject::connect(&termination, &TerminationSignals::received, &window, &QWidget::close);
    termination.listen();
    const SessionEnd sessionEnd(window);
    window.file.setEditText("sub/a.prf");
    window.get<QComboBox>("Path of the main lod file").setEditText("a.lod");
    queue(window, [&] { use(window); });
    const int result = QApplication::exec();
    writeFile("boxes", board.journal.filter("link: ").join("; ").toLocal8Bit());
    _exit(result);
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
    }

    void endsWithNothingLost_data()
    {
        QTest::addColumn<int>("moment");
        QTest::addColumn<QString>("way");
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
        const int status = statusOf([reach = reach, way](Window& window) {
            reach(window, [&window, way] {
                QFile::remove("syncs");
                ways[way](window);
            });
        });
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
        const int status = statusOf([](Window& window) {
            window.record(onTheFly, {{"", BRAN_SUCCESS, due, [] {
                                          std::raise(SIGTERM);
                                          QTest::qSleep(2100);
                                          std::raise(SIGTERM);
                                      }}});
        });
        QVERIFY(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    }

    void ignoredSignalStaysIgnored()
    {
        static_cast<void>(std::signal(SIGHUP, SIG_IGN));
        const int status = statusOf([](Window& window) {
            window.record(onTheFly, {{"", BRAN_SUCCESS, due, [] { std::raise(SIGHUP); }},
                                     {"", BRAN_SUCCESS, due},
                                     {"three"}});
            window.close();
        });
        static_cast<void>(std::signal(SIGHUP, SIG_DFL));
        QCOMPARE(status, 0);
        QCOMPARE(contentOf("sub/a.prf"), header + "three");
    }

    // Last, as the programs above need an application of their own.
    void startsAsItIsRead_data()
    {
        QTest::addColumn<QString>("page");
        QTest::addColumn<QString>("text");
        QTest::newRow("burn") << "Burn Flash"
                              << "";
        QTest::newRow("record") << "Record"
                                << "";
    }
    void startsAsItIsRead()
    {
        QFETCH(QString, page);
        const Application application;
        Window window(page);
        puts(qPrintable(asRead(*window.tabs.currentWidget()).replace(" / ","\n")));
        QTEST(asRead(*window.tabs.currentWidget()), "text");
    }

    void everyControlCanBeReachedAndExplained()
    {
        const Application application;
        for (const QString& page : {"Burn Flash", "Record"}) {
            Window window(page);
            for (QGroupBox* group : window.findChildren<QGroupBox*>()) {
                group->setChecked(true);
            }
            const QStringList order = tabOrder(window);
            qDebug() << order;
            for (QWidget* each : window.findChildren<QWidget*>()) {
                if ((each->focusPolicy() & Qt::TabFocus) != 0 && each->isVisible() &&
                    each->isEnabled() && each->focusProxy() == nullptr) {
                    auto* accessible = QAccessible::queryAccessibleInterface(each);
                    qDebug() << each << nameOf(*each) << accessible->text(QAccessible::Name)
                             << accessible->text(QAccessible::Description);
                }
            }
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_APPLESS_MAIN(tst_endings)
#include "tst_endings.moc"
