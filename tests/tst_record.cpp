#include "record/refreshclock.h"
#include "tests/support/window.h"

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

/// A box as it is noted.
QString told(const QString& text)
{
    return "Tovalink: " + text + " | Stop! off, recording";
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

    void refreshesAfterMoreThan200Milliseconds()
    {
        // What stands there while the next read goes on.
        const QStringList rates{"0 bytes (0 KB/s).", "0 bytes (0 KB/s).",
                                "1000 bytes (4.85852 KB/s).", "33768 bytes (128 KB/s).",
                                "33768 bytes (0 KB/s)."};
        const QString waiting = "before; Waiting for trigger...; Waiting for trigger...";
        const QString triggered = "; Triggered! Recorded %1 bytes.";
        const QString room = "are free on the disk of the record file";
        const QRegularExpression time(room + ", enough for \\d+ (days|h \\d+ min) at this rate");
        for (const auto& [mode, statuses] :
             {std::pair(onTheFly, "before; Recorded " + rates.join("; Recorded ")),
              std::pair(ring, "before; Buffer contains " + rates.join("; Buffer contains ")),
              std::pair(hardware,
                        waiting + triggered.arg(1000) + triggered.arg(33768).repeated(2))}) {
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
            QCOMPARE(seen.join("; "), statuses);
            // One more at the end, where a click that is still waiting is taken.
            QCOMPARE(passes, 6);
            QCOMPARE(tips.filter(room).size(), mode == onTheFly ? 5 : 0);
            QCOMPARE(tips.filter(time).size(), mode == onTheFly ? 2 : 0);
            QCOMPARE(window.status.toolTip(), QString());
        }
    }

    void ringIsAsLargeAsItSays()
    {
        RecordWindow window;
        for (const auto& [size, megabytes] : {std::pair("64", 64), std::pair("", 1)}) {
            window.size.setText(size);
            const QByteArray bytes = trace(megabytes * megabyte + 12345);
            window.record(ring, {{bytes}});
            QCOMPARE(window.size.text(), QString::number(megabytes));
            QVERIFY(contentOf("a.prf") == header + bytes.right(megabytes * megabyte));
        }
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
        addColumns<QString, int, bool>("mode", "room", "isAnswered");
        for (const QString& mode : {onTheFly, hardware}) {
            QTest::addRow("%s: in the header", qPrintable(mode)) << mode << 4 << true;
            QTest::addRow("%s: in a read", qPrintable(mode)) << mode << 40000 << true;
            QTest::addRow("%s: in the last bytes", qPrintable(mode)) << mode << 50008 << true;
            QTest::addRow("%s: no answer", qPrintable(mode)) << mode << 40000 << false;
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
        QCOMPARE(board.journal.last(),
                 told("Cannot write a.prf: File too large. The first %1 bytes "
                      "of the recording are in the file.")
                     .arg(safe));
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

    void eachReasonIsTold()
    {
        for (const QString& mode : {onTheFly, hardware}) {
            const auto record = [mode = mode](int room, const Read& read, const QString& boxes,
                                              int safe) {
                RecordWindow window;
                board.journal.clear();
                window.answer();
                window.whenShown<QMessageBox>([&](QMessageBox&) { window.answer(); });
                withLimit(RLIMIT_FSIZE, rlim_t(room), [&] {
                    window.record(mode, {{"trace"}, read});
                });
                QCOMPARE(board.journal.mid(1).join("; "), boxes);
                QCOMPARE(window.status.text(), endOf(mode, safe, "on error"));
                QCOMPARE(window.state(), QString("Start!"));
            };
            const QString full = "Cannot write a.prf: File too large. The first 2 bytes of the "
                                 "recording are in the file.";
            record(10, {"lost", ScriptedBoard::failure},
                   told("it is <b>damaged") + "; " + told(full), 2);
            record(1000, {"", BRAN_SUCCESS, 0, [] { board.brutalStop(); }, 32769},
                   told("The board library reported 32769 bytes, which is more than it was asked "
                        "for. They were not recorded."),
                   5);
            board.onSync = [] { return false; };
            record(1000, {"", BRAN_RECORDING_FINISHED},
                   told("Cannot write a.prf to its end: Disk quota exceeded. Its last bytes may be "
                        "missing."),
                   5);
            board.onSync = nullptr;
        }
    }

    void fileThatIsTakenAway_data()
    {
        addColumns<QString, QString>("how", "reason");
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
        const auto take = [&] {
            if (how == "deleted" || how == "emptied") {
                how == "deleted" ? QFile::remove("a.prf") : QFile::resize("a.prf", 0);
            } else if (how == "renamed") {
                QFile::rename("a.prf", "b.prf");
            } else {
                writeFile("other", "other");
                ::rename("other", "a.prf");
            }
        };
        const bool isLost = !reason.isEmpty();
        for (const QString& mode : {onTheFly, hardware}) {
            RecordWindow window;
            QFile::remove("b.prf");
            window.answer();
            window.record(mode, {{"one", BRAN_SUCCESS, due}, {"two", BRAN_SUCCESS, due, take}});
            const QString box =
                told("Cannot write a.prf: %1. That file does not hold the recording.").arg(reason);
            QCOMPARE(board.journal.last() == box, isLost);
            QCOMPARE(board.journal.contains("stop"), isLost);
            QCOMPARE(window.status.text(),
                     isLost ? endOf(mode, 0, "on error") : endOf(mode, 6, "Nicely"));
            QCOMPARE(contentOf("b.prf"), isLost ? QByteArray() : header + "onetwo");
        }
    }

    void pipe_data()
    {
        addColumns<QString, QString>("reader", "reason");
        QTest::newRow("takes all") << "takes all"
                                   << "";
        QTest::newRow("goes away") << "goes away"
                                   << "its reader is gone. The first 393216 bytes";
        QTest::newRow("waits") << "waits"
                               << "nobody has read from it for two seconds. The first ";
    }
    void pipe()
    {
        QFETCH(QString, reader);
        QFETCH(QString, reason);
        RecordWindow window;
        QCOMPARE(mkfifo("pipe", S_IRWXU), 0);
        QFile pipe;
        QVERIFY(pipe.open(::open("pipe", O_RDONLY | O_NONBLOCK), QIODevice::ReadOnly,
                          QFile::AutoCloseHandle));
        QByteArray taken;
        const Read read{trace(400000), BRAN_SUCCESS, due, [&] {
                            reader == "goes away" ? pipe.close() : void();
                            taken += reader == "takes all" ? pipe.readAll() : QByteArray();
                        }};
        window.file.setEditText("pipe");
        window.answer();
        window.record(onTheFly, {read, read, read});
        QCOMPARE(board.journal.filter("Tovalink: Cannot write pipe: " + reason).size(),
                 reason.isEmpty() ? 0 : 1);
        QVERIFY(!reason.isEmpty() || taken + pipe.readAll() == header + read.bytes.repeated(3));
    }

    void unsavedRingStaysInMemory_data()
    {
        addColumns<QString, QString>("file", "problem");
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
        RecordWindow window;
        window.file.setEditText(file);
        board.onSync = [&] { return window.file.currentText() != "a.prf"; };
        // The dialog is cancelled first, so that the same box comes back. Return means to choose.
        window.answer("Return");
        window.whenShown<QFileDialog>([&](QFileDialog& dialog) {
            dialog.reject();
            window.answer("Chose again");
            window.choose(QDir::currentPath() + "/b");
        });
        window.record(ring, {{trace(20000)}});
        const QString box = "TOVAlink: " + problem + " | Stop! off, recording";
        QCOMPARE(board.journal.mid(1), (QStringList{box, box}));
        QCOMPARE(contentOf("b.prf"), header + trace(20000));
        QCOMPARE(window.status.text(), endOf(ring, 20000, "Nicely"));
        QCOMPARE(TOVAConfiguration::m_lastPrfFiles.first(), QDir::currentPath() + "/b.prf");
        QCOMPARE(contentOf("a.prf"), QByteArray());

        // The countdown goes on while the user is asked, but cannot change how it has ended.
        window.file.setEditText(file);
        window.whenShown<QMessageBox>([&](QMessageBox&) {
            board.brutalStop();
            window.answer("Esc");
        });
        window.record(ring, {{"dropped"}});
        QCOMPARE(window.status.text(), QString("(Stopped Nicely, user has chosen not to save)."));
        QCOMPARE(window.state(), QString("Start!"));
    }

    void stops_data()
    {
        // What happens while each read goes on: a click, data that arrives, a timer that ends. In
        // the journal, the board's calls and those steps; behind a |, the state before the step.
        addColumns<QString, bool, QString, QString, QString>("mode", "isProtected", "steps",
                                                             "journal", "end");
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
            const auto act = [&window, step] {
                board.note(step);
                window.expire(step.toInt());
                if (step == "forced") {
                    window.startStop.setEnabled(true);
                }
                if (step == "click" || step == "forced") {
                    click(window.startStop);
                } else if (step == "brutal") {
                    click(window.brutalStop);
                }
            };
            reads.push_back({step == "data" ? "x" : "", BRAN_SUCCESS, due, act});
        }
        reads.push_back({"", BRAN_RECORDING_FINISHED});
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
        // The presses that follow the one which has ended the recording, double ones behind a 2.
        addColumns<bool, QString, int>("isProtected", "presses", "starts");
        QTest::newRow("double click") << true << "2@100" << 0;
        QTest::newRow("triple click") << true << "2@100 1@200" << 0;
        QTest::newRow("four clicks") << true << "2@100 1@200 2@300 1@400" << 0;
        QTest::newRow("double click, and one later") << true << "2@100 1@2000" << 1;
        QTest::newRow("quick click") << true << "1@1" << 1;
        QTest::newRow("key") << true << "" << 1;
        QTest::newRow("double click, without protection") << false << "2@100" << 1;
    }
    void clicksBehindTheEnd()
    {
        QFETCH(bool, isProtected);
        QFETCH(QString, presses);
        RecordWindow window;
        QAction* protect = window.findChild<QMenu*>()->actions().constFirst();
        QVERIFY(protect->isChecked());
        isProtected ? void() : protect->trigger();
        window.record(onTheFly, {{"trace"}});
        for (const QString& each : presses.split(' ', Qt::SkipEmptyParts)) {
            press(window.startStop,
                  each.startsWith('2') ? QEvent::MouseButtonDblClick : QEvent::MouseButtonPress,
                  each.mid(2).toInt());
        }
        if (presses.isEmpty()) {
            QTest::keyClick(&window.startStop, Qt::Key_Space);
        }
        QTEST(board.journal.filter("start").size() - 1, "starts");
        QCOMPARE(board.journal.first().contains("Stop! off, 1000"), isProtected);
    }

    void optionsBecomeTheConfiguration_data()
    {
        // mode | exl, standard, custom, gap | start | end | tag, gap | cpu | masks, gap
        addColumns<QStringList, QString>("checked", "configuration");
        const QString tag = "Custom Tag (0x) ";
        QTest::newRow("as it starts")
            << QStringList() << "01000000 00000000 00100000 FFFFFFFF 2B1A0000 01000000 00000000";
        QTest::newRow("XCPU rejected") << QStringList{"XCPU", tag}
                                       << "01000000 00000000 00100000 FFFFFFFF 2B1A0000 01000000 "
                                          "40400000";
        QTest::newRow("BCPU rejected") << QStringList{"BCPU", hardware}
                                       << "00000000 00000000 00100000 FFFFFFFF 2B1A0000 00000000 "
                                          "40400000";
        QTest::newRow("both") << QStringList{"XCPU", "BCPU", onTheFly, "EXL Trigger"}
                              << "01000000 01000000 00100000 FFFFFFFF 2B1A0000 00000000 00000000";
        QTest::newRow("standard") << QStringList{"PXTS Trigger"}
                                  << "01000000 00010000 00100000 FFFFFFFF 2B1A0000 01000000 "
                                     "00000000";
        QTest::newRow("tag too")
            << QStringList{"PXTS Trigger", tag}
            << "01000000 00010100 00100000 FFFFFFFF 2B1A0000 01000000 00000000";
    }
    void optionsBecomeTheConfiguration()
    {
        QFETCH(QStringList, checked);
        QFETCH(QString, configuration);
        RecordWindow window;
        window.get<QLineEdit>("Start Address (0x)").setText("1000");
        window.get<QLineEdit>("End Address (0x)").setText("ffffFFFF");
        window.get<QLineEdit>("Custom tag in hexadecimal").setText("1A2b");
        for (QWidget* each : window.recordPage.findChildren<QWidget*>()) {
            if (checked.contains(nameOf(*each))) {
                each->setProperty("checked", true);
            }
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

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_record)
#include "tst_record.moc"
