#include "record/refreshclock.h"
#include "tests/support/window.h"

#include <QMenu>

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using Read = ScriptedBoard::Read;

namespace
{

constexpr int megabyte = 1 << 20;
constexpr int fullRead = 32768;
constexpr int due = 201;

/// How a record file begins, with the new EXL format.
const QByteArray header("DBGP\1\0\2\0", 8);

/// Bytes of which no two stretches of a ring's length are alike.
QByteArray trace(int count)
{
    QByteArray bytes(count, '\0');
    quint32 state = 1;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = char(state >> 24);
    }
    return bytes;
}

/// The program's window on the page Record, with a file named.
struct RecordWindow : Window {
    QLineEdit& size = get<QLineEdit>("Size");

    RecordWindow() { file.setEditText("a.prf"); }

    /// Has a stop that was asked for stay without an answer: only the brutal stop ends it.
    void leaveStopUnanswered()
    {
        board.reads.clear();
        for (const int period : {5000, 1000, 1000, 1000, 1000, 1000}) {
            board.reads.push_back(
                {"dropped", BRAN_SUCCESS, due, [this, period] { expire(period); }});
        }
        board.reads.push_back({"never read"});
    }
};

/// Rings have a status line of their own at the end.
QString endOf(const QString& mode, int bytes, const QString& stop)
{
    return QString(mode == ring ? "Dumped %1 bytes, buffer not full. (Stopped %2, saved)."
                                : "Recorded %1 bytes. (Stopped %2!)")
        .arg(QString::number(bytes), stop);
}

void press(QWidget& button, QEvent::Type type, int milliseconds)
{
    const QPointF at = button.rect().center();
    for (const QEvent::Type each : {type, QEvent::MouseButtonRelease}) {
        QMouseEvent event(each, at, button.mapToGlobal(at.toPoint()), Qt::LeftButton,
                          each == type ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        event.setTimestamp(ulong(milliseconds));
        QCoreApplication::sendEvent(&button, &event);
    }
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
        QElapsedTimer inner;
        inner.start();
        QTest::qSleep(5);
        const qint64 least = inner.elapsed();
        const qint64 counted = clock.elapsed();
        QVERIFY(least >= 5 && least <= counted && counted <= outer.elapsed());
    }

    void refreshesAfterMoreThan200Milliseconds_data()
    {
        QTest::addColumn<QString>("mode");
        // Each is what stands there while the next read goes on.
        QTest::addColumn<QStringList>("statuses");
        QTest::newRow("on the fly") << onTheFly
                                    << QStringList{"before",
                                                   "Recorded 0 bytes (0 KB/s).",
                                                   "Recorded 0 bytes (0 KB/s).",
                                                   "Recorded 1000 bytes (4.85852 KB/s).",
                                                   "Recorded 33768 bytes (128 KB/s).",
                                                   "Recorded 33768 bytes (0 KB/s)."};
        QTest::newRow("ring") << ring
                              << QStringList{"before",
                                             "Buffer contains 0 bytes (0 KB/s).",
                                             "Buffer contains 0 bytes (0 KB/s).",
                                             "Buffer contains 1000 bytes (4.85852 KB/s).",
                                             "Buffer contains 33768 bytes (128 KB/s).",
                                             "Buffer contains 33768 bytes (0 KB/s)."};
        QTest::newRow("hardware") << hardware
                                  << QStringList{"before",
                                                 "Waiting for trigger...",
                                                 "Waiting for trigger...",
                                                 "Triggered! Recorded 1000 bytes.",
                                                 "Triggered! Recorded 33768 bytes.",
                                                 "Triggered! Recorded 33768 bytes."};
    }
    void refreshesAfterMoreThan200Milliseconds()
    {
        QFETCH(QString, mode);
        RecordWindow window;
        window.status.setText("before");
        QStringList seen;
        QStringList tips;
        int passes = 0;
        const auto look = [&] {
            seen += window.status.text();
            tips += window.status.toolTip();
            queue(window, [&] { ++passes; });
        };
        window.record(mode, {{"", BRAN_SUCCESS, due, look},
                             {trace(500), BRAN_SUCCESS, due - 1, look},
                             {trace(500), BRAN_SUCCESS, 1, look},
                             {trace(fullRead), BRAN_SUCCESS, 250, look},
                             {"", BRAN_SUCCESS, due, look},
                             {"", BRAN_RECORDING_FINISHED, due, look}});
        QTEST(seen, "statuses");
        // One more at the end, where a click that is still waiting is taken.
        QCOMPARE(passes, 6);
        const QString room = "are free on the disk of the record file";
        QCOMPARE(tips.filter(room).size(), mode == onTheFly ? 5 : 0);
        QCOMPARE(
            tips.filter(QRegularExpression(room + ", enough for \\d+ (days|h \\d+ min) at")).size(),
            mode == onTheFly ? 2 : 0);
        QCOMPARE(window.status.toolTip(), QString());
    }

    void ringKeepsTheLastBytes_data()
    {
        QTest::addColumn<QString>("size");
        QTest::addColumn<int>("first");
        QTest::addColumn<int>("total");
        QTest::newRow("exactly full") << "1" << fullRead << megabyte;
        QTest::newRow("a read crosses the end by one byte") << "1" << 1 << megabyte + 1;
        QTest::newRow("no size is one megabyte") << "" << 77 << megabyte + 12345;
        QTest::newRow("the largest size") << "64" << 77 << 64 * megabyte + 12345;
    }
    void ringKeepsTheLastBytes()
    {
        QFETCH(QString, size);
        QFETCH(int, first);
        QFETCH(int, total);
        const QByteArray bytes = trace(total);
        RecordWindow window;
        // A larger ring, then the one in question, twice: each holds its own recording only.
        window.size.setText("2");
        window.record(ring, {{trace(3 * megabyte)}});
        window.size.setText(size);
        window.record(ring, {{bytes.left(first)}, {bytes.mid(first)}});
        QCOMPARE(window.size.text(), size.isEmpty() ? "1" : size);
        QVERIFY(contentOf("a.prf") == header + bytes.right(window.size.text().toInt() * megabyte));
        QCOMPARE(window.status.text(),
                 QString("Dumped last full buffer. (Stopped Nicely, saved)."));
        window.record(ring, {{"short"}});
        QCOMPARE(contentOf("a.prf"), header + "short");
    }

    void ringKnowsItIsFullAfter4Gigabytes()
    {
        RecordWindow window;
        window.size.setText("1");
        std::deque<Read> reads((qint64(1) << 32) / fullRead + 1, Read{trace(fullRead)});
        reads.back().lasts = due;
        reads.push_back(
            {"", BRAN_RECORDING_FINISHED, 0, [&] { board.note(window.status.text()); }});
        window.record(ring, reads);
        QCOMPARE(board.journal.filter("Buffer is full. Cursor at 32768 (").size(), 1);
        QCOMPARE(QFileInfo("a.prf").size(), header.size() + megabyte);
    }

    void missingMemoryEndsTheRecording()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the sanitizer's allocator knows no limits of the system's");
#endif
        RecordWindow window;
        window.size.setText("64");
        window.answer();
        // The stop is answered after two more reads.
        withLimit(RLIMIT_DATA, rlim_t(40) * megabyte, [&] {
            window.record(ring,
                          {{"dropped"}, {"dropped", BRAN_SUCCESS, 0, [] { board.note("look"); }}});
        });
        QCOMPARE(board.journal.mid(0, 3), (QStringList{"start | Stop! off, 1000, recording", "stop",
                                                       "look | Stop! off, 5000, recording"}));
        QCOMPARE(board.journal.filter(" 67141632 bytes").size(), 1);
        QCOMPARE(window.state(), QString("Start!"));
        QVERIFY(!QFile::exists("a.prf"));
        window.record(ring, {{"trace"}});
        QCOMPARE(contentOf("a.prf"), header + "trace");
    }

    void fullDiskEndsTheRecording_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<int>("room");
        QTest::addColumn<bool>("isAnswered");
        for (const QString& mode : {onTheFly, hardware}) {
            const QByteArray name = mode.toLatin1();
            QTest::newRow(name + ": in the header") << mode << 4 << true;
            QTest::newRow(name + ": in the middle of a read") << mode << 40000 << true;
            QTest::newRow(name + ": with the last bytes") << mode << 50000 + 8 << true;
            QTest::newRow(name + ": the stop is not answered") << mode << 40000 << false;
        }
    }
    void fullDiskEndsTheRecording()
    {
        QFETCH(QString, mode);
        QFETCH(int, room);
        QFETCH(bool, isAnswered);
        RecordWindow window;
        const QByteArray bytes = trace(50100);
        const int piece = mode == hardware ? 500 : 20000;
        std::deque<Read> reads;
        for (int at = 0; at < bytes.size(); at += piece) {
            reads.push_back({bytes.mid(at, piece), BRAN_SUCCESS, due});
        }
        reads.back().result = BRAN_RECORDING_FINISHED;
        if (!isAnswered) {
            board.onStop = [&] { window.leaveStopUnanswered(); };
        }
        window.answer();
        withLimit(RLIMIT_FSIZE, rlim_t(room), [&] { window.record(mode, reads); });
        const int safe = std::max(room - 8, 0);
        const QString box = "Tovalink: Cannot write a.prf: File too large. The first %1 bytes of "
                            "the recording are in the file. | Stop! off, recording";
        QCOMPARE(board.journal.last(), box.arg(safe));
        QCOMPARE(board.journal.filter("stop").size(), room > 50000 ? 0 : 1);
        QCOMPARE(window.status.text(), endOf(mode, safe, "on error"));
        QCOMPARE(window.state(), QString("Start!"));
        QCOMPARE(contentOf("a.prf"), (header + bytes).left(room));
        QCOMPARE(board.reads.empty(), isAnswered);
    }

    void fullDiskAfterTheStopTimerIsGone()
    {
        RecordWindow window;
        TOVAConfiguration::m_isDoubleClickedProtected = false;
        window.answer();
        // The trigger fires when the stop has been asked for, so that its timer means nothing.
        withLimit(RLIMIT_FSIZE, 8, [&] {
            window.record(hardware,
                          {{"", BRAN_SUCCESS, due, [&] { click(window.startStop); }},
                           {"x", BRAN_SUCCESS, 0, [&] { window.expire(5000); }},
                           {"", BRAN_SUCCESS, 0, [&] { QCoreApplication::processEvents(); }},
                           {"y", BRAN_SUCCESS, due, [&] { window.leaveStopUnanswered(); }}});
        });
        QCOMPARE(window.status.text(), endOf(hardware, 0, "on error"));
        QCOMPARE(window.state(), QString("Start!"));
        QCOMPARE(board.reads.size(), 1U);
    }

    void bothReasonsAreTold()
    {
        for (const QString& mode : {onTheFly, hardware}) {
            RecordWindow window;
            board.journal.clear();
            window.answer();
            window.whenShown<QMessageBox>([&](QMessageBox&) { window.answer(); });
            withLimit(RLIMIT_FSIZE, 10, [&] {
                window.record(mode, {{"trace"}, {"lost", ScriptedBoard::failure}});
            });
            QCOMPARE(board.journal.mid(1),
                     (QStringList{"Tovalink: it is <b>damaged | Stop! off, recording",
                                  "Tovalink: Cannot write a.prf: File too large. The first 2 bytes "
                                  "of the recording are in the file. | Stop! off, recording"}));
            QCOMPARE(window.status.text(), endOf(mode, 2, "on error"));
        }
    }

    void lateFailureIsToldBeforeTheEnd()
    {
        for (const QString& mode : {onTheFly, hardware}) {
            RecordWindow window;
            board.journal.clear();
            board.onSync = [] { return false; };
            window.answer();
            window.record(mode, {{"trace"}});
            QCOMPARE(board.journal.mid(1),
                     QStringList{"Tovalink: Cannot write a.prf to its end: Disk quota exceeded. "
                                 "Its last bytes may be missing. | Stop! off, recording"});
            QCOMPARE(window.status.text(), endOf(mode, 5, "on error"));
            QCOMPARE(window.state(), QString("Start!"));
        }
    }

    void impossibleReadIsToldInABrutalStopToo()
    {
        for (const QString& mode : {onTheFly, hardware, ring}) {
            RecordWindow window;
            board.journal.clear();
            window.answer();
            window.record(mode,
                          {{"", BRAN_SUCCESS, 0, [&] { window.recordPage.brutalStop(); }, 32769}});
            QCOMPARE(board.journal.filter("reported 32769 bytes").size(), 1);
            QVERIFY(window.status.text().endsWith("(Stopped on error!)"));
        }
    }

    void fileThatIsTakenAway_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("reason");
        const QString gone = "somebody has deleted or replaced it";
        QTest::newRow("deleted") << "deleted" << gone;
        QTest::newRow("replaced") << "replaced" << gone;
        QTest::newRow("emptied") << "emptied"
                                 << "another program has changed its length";
        QTest::newRow("renamed, with every byte") << "renamed"
                                                  << "";
    }
    void fileThatIsTakenAway()
    {
        QFETCH(QString, how);
        QFETCH(QString, reason);
        for (const QString& mode : {onTheFly, hardware}) {
            RecordWindow window;
            QFile::remove("b.prf");
            board.journal.clear();
            window.answer();
            window.record(mode, {{"one", BRAN_SUCCESS, due},
                                 {"two", BRAN_SUCCESS, due, [&] {
                                      if (how == "deleted" || how == "renamed") {
                                          how == "deleted" ? QFile::remove("a.prf")
                                                           : QFile::rename("a.prf", "b.prf");
                                      } else if (how == "emptied") {
                                          QFile::resize("a.prf", 0);
                                      } else {
                                          writeFile("b.prf", "other");
                                          ::rename("b.prf", "a.prf");
                                      }
                                  }}});
            const bool isLost = !reason.isEmpty();
            const QString box = "Tovalink: Cannot write a.prf: %1. That file does not hold the "
                                "recording. | Stop! off, recording";
            QCOMPARE(board.journal.value(2), isLost ? box.arg(reason) : QString());
            QCOMPARE(board.journal.filter("stop").size(), isLost ? 1 : 0);
            QCOMPARE(window.status.text(),
                     isLost ? endOf(mode, 0, "on error") : endOf(mode, 6, "Nicely"));
            QCOMPARE(contentOf("b.prf"), isLost ? QByteArray() : header + "onetwo");
        }
    }

    void pipe_data()
    {
        QTest::addColumn<QString>("reader");
        QTest::addColumn<QString>("reason");
        QTest::newRow("takes all") << "takes all"
                                   << "";
        QTest::newRow("goes away") << "goes away"
                                   << "its reader is gone. The first 393216 bytes";
        QTest::newRow("takes nothing") << "takes nothing"
                                       << "nobody has read from it for two seconds. The first 10";
    }
    void pipe()
    {
        QFETCH(QString, reader);
        QFETCH(QString, reason);
        RecordWindow window;
        QCOMPARE(mkfifo("pipe", S_IRWXU), 0);
        const int descriptor = ::open("pipe", O_RDONLY | O_NONBLOCK);
        QFile pipe;
        QVERIFY(pipe.open(descriptor, QIODevice::ReadOnly, QFile::AutoCloseHandle));
        QByteArray taken;
        const QByteArray bytes = trace(1200000);
        std::deque<Read> reads;
        for (int at = 0; at < bytes.size(); at += 400000) {
            reads.push_back({bytes.mid(at, 400000), BRAN_SUCCESS, due, [&] {
                                 reader == "goes away" ? pipe.close() : void();
                                 taken += reader == "takes all" ? pipe.readAll() : QByteArray();
                             }});
        }
        window.file.setEditText("pipe");
        window.answer();
        window.record(onTheFly, reads);
        if (reason.isEmpty()) {
            QVERIFY(taken + pipe.readAll() == header + bytes);
            QCOMPARE(window.status.text(), endOf(onTheFly, 1200000, "Nicely"));
        } else {
            QCOMPARE(board.journal.filter("Tovalink: Cannot write pipe: " + reason).size(), 1);
        }
    }

    void unsavedRingStaysInMemory_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("problem");
        const QString saved =
            " Nothing has been saved there; all of the recording is still in memory.";
        QTest::newRow("a folder") << "."
                                  << "Cannot open file for writing.\nFile may be in read-only "
                                     "mode, or it is already opened by another application.\n";
        QTest::newRow("a full disk") << "/dev/full"
                                     << "Cannot write /dev/full: No space left on device." + saved;
        QTest::newRow("a disk that is full at the end")
            << "a.prf"
            << "Cannot write a.prf to its end: Disk quota exceeded." + saved;
    }
    void unsavedRingStaysInMemory()
    {
        QFETCH(QString, file);
        QFETCH(QString, problem);
        const QString chosen = QDir::currentPath() + "/b";
        RecordWindow window;
        window.file.setEditText(file);
        board.onSync = [&] { return window.file.currentText() != "a.prf"; };
        // The dialog is cancelled first, so that the same box comes back. Return means to choose.
        window.answer("Return");
        window.whenShown<QFileDialog>([&](QFileDialog& dialog) {
            dialog.reject();
            window.answer("Chose again");
            window.choose(chosen);
        });
        window.record(ring, {{trace(20000)}});
        const QString box = "TOVAlink: " + problem + " | Stop! off, recording";
        QCOMPARE(board.journal, (QStringList{"start | Stop! off, 1000, recording", box, box}));
        QCOMPARE(contentOf("b.prf"), header + trace(20000));
        QCOMPARE(window.status.text(), endOf(ring, 20000, "Nicely"));
        QCOMPARE(TOVAConfiguration::m_lastPrfFiles.first(), chosen + ".prf");
        QCOMPARE(contentOf("a.prf"), QByteArray());

        // The countdown goes on while the user is asked, but cannot change how it has ended.
        window.file.setEditText(file);
        window.whenShown<QMessageBox>([&](QMessageBox&) {
            window.recordPage.brutalStop();
            window.answer("Esc");
        });
        window.record(ring, {{"dropped"}});
        QCOMPARE(window.status.text(), QString("(Stopped Nicely, user has chosen not to save)."));
        QCOMPARE(window.state(), QString("Start!"));
    }

    void stops_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<bool>("isProtected");
        // What happens while each read goes on: a click, data that arrives, a timer that ends.
        QTest::addColumn<QString>("steps");
        // The board's calls and those steps; behind a |, the state before the step.
        QTest::addColumn<QString>("journal");
        QTest::addColumn<QString>("end");
        const QString start = "start | Stop!, recording; ";
        const QString asked = start + "click; stop; ";
        const QString counting = " | Stop! off, Brutal stop in %1 seconds!, 1000, recording; ";
        QTest::newRow("asked for once")
            << onTheFly << false << "click click look"
            << asked + "click | Stop! off, 5000, recording; look" << endOf(onTheFly, 0, "Nicely");
        QTest::newRow("not in the first second")
            << ring << true << "click 1000 click look"
            << "start | Stop! off, 1000, recording; click; 1000; click | Stop!, recording; stop; "
               "look | Stop! off, 5000, recording"
            << endOf(ring, 0, "Nicely");
        QString counted = asked + "5000 | Stop! off, 5000, recording; ";
        for (int left = 5; left > 0; --left) {
            counted += "1000" + counting.arg(left);
        }
        QTest::newRow("brutal stop counts down")
            << ring << false << "click 5000 1000 1000 1000 1000 1000 look"
            << counted + "look | Stop! off, Brutal stop in 1 seconds!, recording"
            << endOf(ring, 0, "Brutally");
        QTest::newRow("brutal stop by a click, after the trigger")
            << hardware << false << "click 5000 data 1000 brutal"
            << asked + "5000 | Stop! off, 5000, recording; data" + counting.arg(5) +
                   "1000; brutal" + counting.arg(4).chopped(2)
            << endOf(hardware, 1, "Brutally");
        QTest::newRow("no brutal stop after the trigger")
            << hardware << false << "click data 5000 look"
            << asked + "data | Stop! off, 5000, recording; 5000; look | Stop! off, recording"
            << endOf(hardware, 1, "Nicely");
        QTest::newRow("the trigger takes the stop away")
            << hardware << true << "data forced data"
            << "start | Stop! off, 1000, recording; data; forced | Stop! off, recording; data"
            << endOf(hardware, 2, "Nicely");
    }
    void stops()
    {
        QFETCH(QString, mode);
        QFETCH(bool, isProtected);
        QFETCH(QString, steps);
        QFETCH(QString, journal);
        QFETCH(QString, end);
        TOVAConfiguration::m_isDoubleClickedProtected = isProtected;
        RecordWindow window;
        std::deque<Read> reads;
        for (const QString& step : steps.split(' ')) {
            reads.push_back({step == "data" ? "x" : "", BRAN_SUCCESS, due, [&window, step] {
                                 board.note(step);
                                 window.expire(step.toInt());
                                 if (step == "forced") {
                                     window.startStop.setEnabled(true);
                                 }
                                 if (step == "click" || step == "forced") {
                                     click(window.startStop);
                                 } else if (step == "brutal") {
                                     window.brutalStop.click();
                                 }
                             }});
        }
        if (end.contains("Brutally")) {
            reads.push_back({"never read"});
        }
        window.record(mode, reads);
        QCOMPARE(board.journal, journal.split("; "));
        QCOMPARE(window.status.text(), end);
        QCOMPARE(window.state(), QString("Start!"));
        QVERIFY(window.startStop.hasFocus());
    }

    void slotsStopAsTheButtonDoes()
    {
        RecordWindow window;
        TOVAConfiguration::m_isDoubleClickedProtected = false;
        for (const char* slot : {"started", "go", "go"}) {
            QVERIFY(QMetaObject::invokeMethod(&window.recordPage, slot));
        }
        board.note("end");
        QCOMPARE(board.journal,
                 (QStringList{"stop | Stop!, recording", "end | Stop! off, 5000, recording"}));
        QVERIFY(QMetaObject::invokeMethod(&window.recordPage, "stopped"));
        QCOMPARE(window.state(), QString("Start!"));
    }

    void clicksBehindTheEnd_data()
    {
        QTest::addColumn<bool>("isProtected");
        // The presses that follow the one which has ended the recording.
        QTest::addColumn<QString>("presses");
        QTest::addColumn<int>("starts");
        QTest::newRow("double click") << true << "double 100" << 0;
        QTest::newRow("triple click") << true << "double 100, press 200" << 0;
        QTest::newRow("four clicks") << true << "double 100, press 200, double 300, press 400" << 0;
        QTest::newRow("double click, and one later") << true << "double 100, press 2000" << 1;
        QTest::newRow("a quick click") << true << "press 1" << 1;
        QTest::newRow("a key") << true << "space" << 1;
        QTest::newRow("a double click, without protection") << false << "double 100" << 1;
    }
    void clicksBehindTheEnd()
    {
        QFETCH(bool, isProtected);
        QFETCH(QString, presses);
        TOVAConfiguration::m_isDoubleClickedProtected = isProtected;
        RecordWindow window;
        window.record(onTheFly, {{"trace"}});
        for (const QString& each : presses.split(", ")) {
            if (each == "space") {
                QTest::keyClick(&window.startStop, Qt::Key_Space);
            } else {
                press(window.startStop,
                      each.startsWith("double") ? QEvent::MouseButtonDblClick
                                                : QEvent::MouseButtonPress,
                      each.section(' ', 1).toInt());
            }
        }
        QTEST(board.journal.filter("start").size() - 1, "starts");
    }

    void optionsBecomeTheConfiguration_data()
    {
        QTest::addColumn<QStringList>("checked");
        QTest::addColumn<QString>("typed");
        // mode | exl, standard, custom, gap | start | end | tag, gap | cpu | masks, gap
        QTest::addColumn<QString>("configuration");
        const QString start = "Start Address (0x)=1000, End Address (0x)=ffffFFFF";
        const QString tag = "Custom tag in hexadecimal=1A2B";
        const QString customTag = "Custom Tag (0x) ";
        QTest::newRow("as it starts")
            << QStringList() << ""
            << "01000000 00000000 00000000 00000000 00000000 01000000 00000000";
        QTest::newRow("XCPU rejected")
            << QStringList{"XCPU"} << ""
            << "01000000 00000000 00000000 00000000 00000000 01000000 40400000";
        QTest::newRow("BCPU rejected, hardware")
            << QStringList{"BCPU", hardware} << ""
            << "00000000 00000000 00000000 00000000 00000000 00000000 40400000";
        QTest::newRow("both, on the fly")
            << QStringList{"XCPU", "BCPU", onTheFly} << ""
            << "01000000 00000000 00000000 00000000 00000000 00000000 00000000";
        QTest::newRow("EXL trigger")
            << QStringList{"EXL Trigger"} << start
            << "01000000 01000000 00100000 FFFFFFFF 00000000 01000000 00000000";
        QTest::newRow("fields without a trigger")
            << QStringList{customTag} << start + ", " + tag
            << "01000000 00000000 00100000 FFFFFFFF 2B1A0000 01000000 00000000";
        QTest::newRow("PXTS trigger")
            << QStringList{"PXTS Trigger"} << ""
            << "01000000 00010000 00000000 00000000 00000000 01000000 00000000";
        QTest::newRow("PXTS trigger by a tag too")
            << QStringList{"PXTS Trigger", customTag} << tag
            << "01000000 00010100 00000000 00000000 2B1A0000 01000000 00000000";
    }
    void optionsBecomeTheConfiguration()
    {
        QFETCH(QStringList, checked);
        QFETCH(QString, typed);
        QFETCH(QString, configuration);
        RecordWindow window;
        for (QWidget* each : window.recordPage.findChildren<QWidget*>()) {
            if (checked.contains(nameOf(*each))) {
                each->setProperty("checked", true);
            }
        }
        for (const QString& field : typed.split(", ", Qt::SkipEmptyParts)) {
            window.get<QLineEdit>(field.section('=', 0, 0)).setText(field.section('=', 1));
        }
        click(window.startStop);
        const QByteArray seen(reinterpret_cast<const char*>(&board.config), sizeof board.config);
        QCOMPARE(seen, QByteArray::fromHex(configuration.toLatin1()));
    }

    void exactlyOneModeIsChecked()
    {
        RecordWindow window;
        QString checked = ring;
        // The first one is unchecked, in vain.
        for (const QString& toggled : {ring, hardware, onTheFly, ring}) {
            for (const QString& mode : {onTheFly, ring, hardware}) {
                auto& group = window.get<QGroupBox>(mode);
                QCOMPARE(group.isChecked(), mode == checked);
                QCOMPARE(group.findChild<QLabel*>()->isEnabled(), mode == checked);
            }
            QTest::keyClick(&window.get<QGroupBox>(toggled), Qt::Key_Space);
            checked = toggled;
        }
    }

    void protectionIsSwitchedInTheMenu()
    {
        RecordWindow window;
        QAction* protect = window.findChild<QMenu*>()->actions().constFirst();
        for (const bool isOn : {true, false, true}) {
            QCOMPARE(protect->isChecked(), isOn);
            board.journal.clear();
            click(window.startStop);
            QCOMPARE(board.journal.first().contains("Stop! off, 1000"), isOn);
            protect->trigger();
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_record)
#include "tst_record.moc"
