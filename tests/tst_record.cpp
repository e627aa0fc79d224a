#include "record/refreshclock.h"
#include "tests/support/window.h"

#include <QRandomGenerator>

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>

using Read = ScriptedBoard::Read;

namespace
{

constexpr int megabyte = 1 << 20;
constexpr int due = 201;

/// How a record file begins, with the new EXL format.
const QByteArray header("DBGP\1\0\2\0", 8);

/// A box as it is noted, behind a |, with what the page shows meanwhile.
const QString box = "Tovalink: %1 | Stop! off, recording";

/// The same about a full disk, after so many bytes.
const QString full = box.arg("Cannot write a.prf: File too large. The first %1 bytes of the "
                             "recording are in the file.");

/// Bytes that do not begin again before their end.
QByteArray trace(int count)
{
    QByteArray bytes(count, '\0');
    QRandomGenerator random(1);
    std::generate(bytes.begin(), bytes.end(), [&random] { return char(random()); });
    return bytes;
}

/// The program's window on the page Record, with a file named.
struct RecordWindow : Window {
    RecordWindow() { file.setEditText("a.prf"); }
};

/// Rings have a status line of their own at the end.
QString endOf(const QString& mode, int bytes, const QString& stop)
{
    return QString(mode == ring ? "Dumped %1 bytes, buffer not full. (Stopped %2, saved)."
                                : "Recorded %1 bytes. (Stopped %2!)")
        .arg(QString::number(bytes), stop);
}

/// Presses and releases a button at that time of the window system's clock.
void press(QWidget& button, QEvent::Type type, int milliseconds)
{
    const QPointF at = button.rect().center();
    QMouseEvent event(type, at, at, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    event.setTimestamp(ulong(milliseconds));
    QCoreApplication::sendEvent(&button, &event);
    QTest::mouseRelease(&button, Qt::LeftButton);
}

/// Makes a recording to a disk with room for so many bytes. While each read goes on, a step is
/// taken, such as a click, or a timer that ends; those that are about data come with 100 bytes. In
/// the journal behind the start, the board's calls, the steps and the boxes; behind a |, the state
/// before, where it has changed.
void check(const QString& mode, bool isProtected, const QString& steps, const QString& journal,
           int bytes = 0, const QString& end = "Nicely", int room = megabyte)
{
    const CleanStart clean;
    TOVAConfiguration::m_isDoubleClickedProtected = isProtected;
    RecordWindow window;
    writeFile("other", "other");
    const QHash<QString, std::function<void()>> acts{
        {"click", [&] { click(window.startStop); }},
        {"brutal", [&] { click(window.brutalStop); }},
        {"slot", [&] { QMetaObject::invokeMethod(&window.recordPage, "go"); }},
        {"lies", [&] { window.recordPage.brutalStop(); }},
        {"unsynced", [] { board.onSync = [] { return false; }; }},
        {"emptied", [] { QFile::resize("a.prf", 0); }},
        {"renamed", [] { QFile::rename("a.prf", "b.prf"); }},
        {"replaced", [] { static_cast<void>(::rename("other", "a.prf")); }}};
    const QHash<QString, BRAN_ERR_T> results{{"last", BRAN_RECORDING_FINISHED},
                                             {"fails", ScriptedBoard::failure}};
    const QRegularExpression withoutBytes("click|brutal|slot|look|unsynced|000");
    std::deque<Read> reads;
    int delivered = 0;
    for (const QString& step : steps.split(' ')) {
        const int count = step.contains(withoutBytes) ? 0 : 100;
        const auto act = [&, step] {
            board.note(step);
            window.expire(step.toInt());
            acts.value(step, [] {})();
        };
        reads.push_back({trace(500).mid(delivered, count), results.value(step),
                         step == "kept" ? 0 : due, act, step == "lies" ? 32769U : 0});
        delivered += count;
    }
    window.answer();
    window.whenShown<QMessageBox>([&](QMessageBox&) { window.answer(); });
    withLimit(RLIMIT_FSIZE, rlim_t(room), [&] { window.record(mode, reads); });
    const QString start = isProtected ? "Stop! off, 1000" : "Stop!";
    QCOMPARE(board.journal.join("; "), "start | " + start + ", recording; " + journal);
    QCOMPARE(window.status.text(), endOf(mode, bytes, end));
    QCOMPARE(window.state(), QString("Start!"));
    QCOMPARE(nameOf(*window.focusWidget()), QString("Start!"));
    QCOMPARE(contentOf(QFile::exists("b.prf") ? "b.prf" : "a.prf") ==
                 (header + trace(bytes)).left(room),
             !journal.contains("That file does not hold"));
}

} // namespace

class tst_record : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

    void clockCountsMilliseconds()
    {
        QElapsedTimer outer;
        outer.start();
        const RefreshClock clock(steadyTime);
        QTest::qSleep(5);
        const qint64 counted = clock.elapsed();
        QVERIFY(counted >= 5 && counted <= outer.elapsed());
    }

    void refreshesAfterMoreThan200Milliseconds()
    {
        // What stands there while the next read goes on.
        const QString rates = "before; %1 0 bytes (0 KB/s).; %1 0 bytes (0 KB/s).; "
                              "%1 1000 bytes (4.85852 KB/s).; %1 33768 bytes (128 KB/s).; "
                              "%1 33768 bytes (0 KB/s).";
        const QString trigger = "before; Waiting for trigger...; Waiting for trigger...; "
                                "Triggered! Recorded 1000 bytes.; Triggered! Recorded 33768 "
                                "bytes.; Triggered! Recorded 33768 bytes.";
        const QString room = " are free on the disk of the record file";
        const QRegularExpression time(room + R"(, enough for \d+ (days|h \d+ min) at this rate\.)");
        for (const auto& [mode, statuses] :
             {std::pair(onTheFly, rates.arg("Recorded")),
              std::pair(ring, rates.arg("Buffer contains")), std::pair(hardware, trigger)}) {
            RecordWindow window;
            window.status.setText("before");
            QStringList seen;
            QStringList tips;
            const auto look = [&] {
                seen += window.status.text();
                tips += window.status.toolTip();
            };
            window.record(mode, {{"", BRAN_SUCCESS, due, look},
                                 {trace(500), BRAN_SUCCESS, due - 1, look},
                                 {trace(500), BRAN_SUCCESS, 1, look},
                                 {trace(32768), BRAN_SUCCESS, 250, look},
                                 {"", BRAN_SUCCESS, due, look},
                                 {"", BRAN_RECORDING_FINISHED, due, look}});
            QCOMPARE(seen.join("; "), statuses);
            QCOMPARE(tips.filter(room + ".").size(), mode == onTheFly ? 3 : 0);
            QCOMPARE(tips.filter(time).size(), mode == onTheFly ? 2 : 0);
            QCOMPARE(window.status.toolTip(), QString());
        }
    }

    void ringKnowsItIsFullAfter4Gigabytes()
    {
        RecordWindow window;
        window.get<QLineEdit>("Size").setText("1");
        std::deque<Read> reads(4096, Read{trace(megabyte)});
        reads.push_back({"trace", BRAN_SUCCESS, due});
        reads.push_back({"", BRAN_SUCCESS, 0, [&] { board.note(window.status.text()); }});
        window.record(ring, reads);
        QCOMPARE(board.journal.filter("Buffer is full. Cursor at 5 (").size(), 1);
        QVERIFY(contentOf("a.prf") == header + trace(megabyte).mid(5) + "trace");
    }

    void missingMemoryEndsTheRecording()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the sanitizer's allocator knows no limits of the system's");
#endif
        RecordWindow window;
        window.get<QLineEdit>("Size").setText("64");
        window.answer();
        // The stop is answered after two more reads.
        withLimit(RLIMIT_DATA, rlim_t(40) * megabyte, [&] {
            window.record(ring, {{"dropped"}, {"", BRAN_SUCCESS, 0, [] { board.note("look"); }}});
        });
        QCOMPARE(board.journal.mid(1, 2).join("; "),
                 QString("stop; look | Stop! off, 5000, recording"));
        QCOMPARE(board.journal.filter(" 67141632 bytes").size(), 1);
        QCOMPARE(window.state(), QString("Start!"));
        QVERIFY(!QFile::exists("a.prf"));
        window.record(ring, {{"trace"}});
        QCOMPARE(contentOf("a.prf"), header + "trace");
    }

    void stops()
    {
        const QString asked = "click; stop; ";
        const QString stopping = " | Stop! off, 5000, recording; ";
        const QString counting = " | Stop! off, Brutal stop in %1 seconds!, 1000, recording; ";
        const QString fired = " | Stop! off, recording; ";
        check(ring, true, "click 1000 click look",
              "click; 1000; click | Stop!, recording; stop; look" + stopping.chopped(2));
        check(hardware, false, "click 5000 data 1000 brutal",
              asked + "5000" + stopping + "data" + counting.arg(5) + "1000; brutal" +
                  counting.arg(4).chopped(2),
              100, "Brutally");
        check(hardware, true, "data slot data", "data; slot" + fired + "data", 200);
        QString counted = "5000" + stopping;
        for (int left = 5; left > 0; --left) {
            counted += "1000" + counting.arg(left);
        }
        // The stop's timer means nothing behind the trigger. A full disk starts the timer again.
        check(hardware, false, "click data 5000 look data 5000 1000 1000 1000 1000 1000 never",
              asked + "data" + stopping + "5000; look" + fired + "data; " + counted + full.arg(100),
              100, "on error", 108);
    }

    void failuresAreTold()
    {
        const QString error = "on error";
        const QString stopped = "stop; look | Stop! off, 5000, recording; ";
        const QString lost = box.arg("Cannot write a.prf: %1. That file does not hold the "
                                     "recording.");
        const QString gone = lost.arg("somebody has deleted or replaced it");
        const QString emptied = lost.arg("another program has changed its length");
        const QString lie = box.arg("The board library reported 32769 bytes, which is more than it "
                                    "was asked for. They were not recorded.");
        const QString late = box.arg("Cannot write a.prf to its end: Disk quota exceeded. Its last "
                                     "bytes may be missing.");
        const QString both = box.arg("it is <b>damaged") + "; " + full.arg(42);
        for (const QString& mode : {onTheFly, hardware}) {
            check(mode, false, "look", stopped + full.arg(0), 0, error, 4);
            check(mode, false, "data look", "data; " + stopped + full.arg(42), 42, error, 50);
            check(mode, false, "last", "last; " + full.arg(42), 42, error, 50);
            check(mode, false, "kept fails", "kept; fails; " + both, 42, error, 50);
            check(mode, false, "kept lies", "kept; lies; " + lie, 100, error);
            check(mode, false, "kept unsynced", "kept; unsynced; " + late, 100, error);
            check(mode, false, "replaced", "replaced; stop; " + gone, 0, error);
            check(mode, false, "emptied", "emptied; stop; " + emptied, 0, error);
            check(mode, false, "renamed", "renamed", 100);
        }
    }

    void pipe()
    {
        QCOMPARE(mkfifo("pipe", S_IRWXU), 0);
        const QString gone = "its reader is gone. The first 393216 bytes";
        const QString waits = "nobody has read from it for two seconds. The first ";
        for (const QString& reason : {QString(), gone, waits}) {
            RecordWindow window;
            QFile pipe;
            QVERIFY(pipe.open(::open("pipe", O_RDONLY | O_NONBLOCK), QIODevice::ReadOnly,
                              QFile::AutoCloseHandle));
            QByteArray taken;
            const auto use = [&] {
                reason == gone ? pipe.close() : void();
                taken += reason.isEmpty() ? pipe.readAll() : QByteArray();
            };
            const Read read{trace(400000), BRAN_SUCCESS, due, use};
            window.file.setEditText("pipe");
            window.answer();
            window.record(onTheFly, {read, read, read});
            QCOMPARE(board.journal.filter("Tovalink: Cannot write pipe: " + reason).size(),
                     int(!reason.isEmpty()));
            QVERIFY(!reason.isEmpty() || taken + pipe.readAll() == header + read.bytes.repeated(3));
        }
    }

    void unsavedRingStaysInMemory()
    {
        RecordWindow window;
        board.onSync = [&] { return window.file.currentText() != "a.prf"; };
        // The dialog is cancelled first, so that the same box comes back. Return means to choose.
        window.answer("Return");
        window.whenShown<QFileDialog>([&](QFileDialog& dialog) {
            dialog.reject();
            window.answer("Chose again");
            window.choose(QDir::currentPath() + "/b");
        });
        window.record(ring, {{trace(20000)}});
        const QString asked = box.arg("Cannot write a.prf to its end: Disk quota exceeded. Nothing "
                                      "has been saved there; all of the recording is still in "
                                      "memory.")
                                  .replace("Tova", "TOVA");
        QCOMPARE(board.journal.mid(1), (QStringList{asked, asked}));
        QCOMPARE(contentOf("b.prf"), header + trace(20000));
        QCOMPARE(window.status.text(), endOf(ring, 20000, "Nicely"));
        QCOMPARE(TOVAConfiguration::m_lastPrfFiles.first(), QDir::currentPath() + "/b.prf");
        QCOMPARE(contentOf("a.prf"), QByteArray());

        // The countdown goes on while the user is asked, but cannot change how it has ended.
        window.file.setEditText("a.prf");
        window.whenShown<QMessageBox>([&](QMessageBox&) {
            window.recordPage.brutalStop();
            window.answer("Esc");
        });
        window.record(ring, {{"dropped"}});
        QCOMPARE(window.status.text(), QString("(Stopped Nicely, user has chosen not to save)."));
        QCOMPARE(window.state(), QString("Start!"));
    }

    void slotsStopAsTheButtonDoes()
    {
        RecordWindow window;
        TOVAConfiguration::m_isDoubleClickedProtected = false;
        for (const char* slot : {"started", "go", "go"}) {
            QVERIFY(QMetaObject::invokeMethod(&window.recordPage, slot));
        }
        QCOMPARE(board.journal.join("; "), QString("stop | Stop!, recording"));
        QCOMPARE(window.state(), QString("Stop! off, 5000, recording"));
        QVERIFY(QMetaObject::invokeMethod(&window.recordPage, "stopped"));
        QCOMPARE(window.state(), QString("Start!"));
    }

    void clicksBehindTheEnd()
    {
        // The presses that follow the one which has ended the recording, double ones behind a 2.
        for (const auto& [isProtected, presses] :
             {std::pair(true, "2@100 1@200 2@300 1@400 1@2000"), std::pair(true, "1@1"),
              std::pair(false, "2@100")}) {
            RecordWindow window;
            QAction* protect = window.findChild<QMenu*>()->actions().constFirst();
            QVERIFY(protect->isChecked());
            isProtected ? void() : protect->trigger();
            window.record(onTheFly, {{"trace"}});
            for (const QString& each : QString(presses).split(' ')) {
                press(window.startStop,
                      each.startsWith('2') ? QEvent::MouseButtonDblClick : QEvent::MouseButtonPress,
                      each.mid(2).toInt());
            }
            QCOMPARE(board.journal.filter("start").size(), 2);
            QCOMPARE(board.journal.first().contains("Stop! off, 1000"), isProtected);
        }
    }

    void optionsBecomeTheConfiguration()
    {
        // mode | exl, standard, custom, gap | start | end | tag, gap | cpu | masks, gap
        const QString fields = " 00100000 FFFFFFFF 2B1A0000 ";
        const QString tag = "Custom Tag (0x) ";
        for (const auto& [checked, configuration] :
             {std::pair(QStringList(), "01000000 00000000" + fields + "01000000 00000000"),
              std::pair(QStringList{"XCPU", tag},
                        "01000000 00000000" + fields + "01000000 40400000"),
              std::pair(QStringList{"BCPU", hardware, "PXTS Trigger"},
                        "00000000 00010000" + fields + "00000000 40400000"),
              std::pair(QStringList{"XCPU", "BCPU", onTheFly, "EXL Trigger", "PXTS Trigger", tag},
                        "01000000 01010100" + fields + "00000000 00000000")}) {
            RecordWindow window;
            window.get<QLineEdit>("Start Address (0x)").setText("1000");
            window.get<QLineEdit>("End Address (0x)").setText("ffffFFFF");
            window.get<QLineEdit>("Custom tag in hexadecimal").setText("1A2b");
            for (const QString& each : checked) {
                window.get<QWidget>(each).setProperty("checked", true);
            }
            click(window.startStop);
            const QByteArray seen(reinterpret_cast<const char*>(&board.config),
                                  sizeof board.config);
            QCOMPARE(seen, QByteArray::fromHex(configuration.toLatin1()));
        }
    }

    void exactlyOneModeIsChecked()
    {
        RecordWindow window;
        // The first one is unchecked, in vain.
        for (const QString& toggled : {ring, hardware, onTheFly, ring}) {
            QTest::keyClick(&window.get<QGroupBox>(toggled), Qt::Key_Space);
            for (const QString& mode : {onTheFly, ring, hardware}) {
                QCOMPARE(window.get<QGroupBox>(mode).isChecked(), mode == toggled);
            }
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_record)
#include "tst_record.moc"
