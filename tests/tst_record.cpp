#include "tests/support/window.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace
{

/// A box as it is noted, behind a |, with what the page shows meanwhile.
const QString box = "Tovalink: %1 | Stop! off, 7 grey";

/// The same about a full disk, after so many bytes.
const QString full = box.arg("Cannot write a.prf: File too large. The first %1 bytes of the "
                             "recording are in the file.");

} // namespace

class tst_record : public WindowTest
{
    Q_OBJECT

private slots:
    void refreshesAfterMoreThan200Milliseconds()
    {
        // What stands there while the next read goes on.
        const QString rates = "before; %1 0 bytes (0 KB/s).; %1 0 bytes (0 KB/s).; "
                              "%1 1000 bytes (4.85852 KB/s).; %1 33768 bytes (128 KB/s).; "
                              "%1 33768 bytes (0 KB/s).";
        const QString trigger = "before; Waiting for trigger...; Waiting for trigger...; "
                                "Triggered! Recorded 1000 bytes.; Triggered! Recorded 33768 "
                                "bytes.; Triggered! Recorded 33768 bytes.";
        const QRegularExpression time(R"( are free on the disk of the record file, enough for \d+ )"
                                      R"((days|h \d+ min) at this rate\.)");
        for (const auto& [mode, statuses] :
             {std::pair(onTheFly, rates.arg("Recorded")),
              std::pair(ring, rates.arg("Buffer contains")), std::pair(hardware, trigger)}) {
            Window window;
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
            QCOMPARE(tips.filter("record file.").size(), mode == onTheFly ? 3 : 0);
            QCOMPARE(tips.filter(time).size(), mode == onTheFly ? 2 : 0);
            QCOMPARE(window.status.toolTip(), QString());
            // One mode is always checked.
            QTest::keyClick(&window.get<QGroupBox>(mode), Qt::Key_Space);
            QVERIFY(window.get<QGroupBox>(mode).isChecked());
        }
    }

    void ringKnowsItIsFullAfter4Gigabytes()
    {
        Window window;
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
        Window window;
        window.get<QLineEdit>("Size").setText("64");
        window.answers = QStringList{"OK"};
        // The stop is answered after two more reads.
        withLimit(RLIMIT_DATA, rlim_t(40) * megabyte, [&] {
            window.record(ring, {{"dropped"}, {"", BRAN_SUCCESS, 0, [] { board.note("look"); }}});
        });
        QCOMPARE(board.journal.mid(1, 2).join("; "),
                 QString("stop; look | Stop! off, 5000, 7 grey"));
        QCOMPARE(board.journal.filter(" 67141632 bytes").size(), 1);
        QCOMPARE(window.state(), QString());
        QVERIFY(!QFile::exists("a.prf"));
        window.record(ring, {{"trace"}});
        QCOMPARE(contentOf("a.prf"), header + "trace");
    }

    void stops()
    {
        const QString stopping = " | Stop! off, 5000, 7 grey; ";
        const QString counting = " | Stop! off, Brutal stop in %1 seconds!, 1000, 7 grey; ";
        const QString fired = " | Stop! off, 7 grey; ";
        check(onTheFly, true, "click 1000 click slot look",
              "click; 1000; click | Stop!, 7 grey; stop; slot" + stopping + "look");
        check(hardware, false, "click 5000 data 1000 brutal",
              "click; stop; 5000" + stopping + "data" + counting.arg(5) + "1000; brutal" +
                  counting.arg(4).chopped(2),
              100, "Brutally");
        check(hardware, true, "data slot data", "data; slot" + fired + "data", 200);
        QString counted = "5000" + stopping;
        for (int left = 5; left > 0; --left) {
            counted += "1000" + counting.arg(left);
        }
        // The stop's timer means nothing behind the trigger. A full disk starts the timer again.
        check(hardware, false, "click data 5000 look data 5000 1000 1000 1000 1000 1000 never",
              "click; stop; data" + stopping + "5000; look" + fired + "data; " + counted +
                  full.arg(100),
              100, "on error", 108);
    }

    void failuresAreTold()
    {
        const QString error = "on error";
        const QString stopped = "stop; look | Stop! off, 5000, 7 grey; ";
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
            check(mode, false, "deleted", "deleted; stop; " + gone, 0, error);
            check(mode, false, "emptied", "emptied; stop; " + emptied, 0, error);
            check(mode, false, "renamed", "renamed", 100);
        }
    }

    void pipe()
    {
        QCOMPARE(mkfifo("pipe", S_IRWXU), 0);
        const QStringList told{"its reader is gone. The first 393216 bytes",
                               "nobody has read from it for two seconds. The first ",
                               "Recorded 1200000 bytes. (Stopped Nicely!)"};
        for (int row = 0; row < told.size(); ++row) {
            Window window;
            window.file.setEditText("pipe");
            window.answers = QStringList{"OK"};
            QFile pipe;
            QVERIFY(pipe.open(::open("pipe", O_RDONLY | O_NONBLOCK), QIODevice::ReadOnly,
                              QFile::AutoCloseHandle));
            // The pipe is full before this reader begins.
            QProcess reader;
            row == 2 ? reader.start("sh", {"-c", "sleep 0.3; cat pipe >taken"}) : void();
            const auto look = [&] { row == 0 ? pipe.close() : void(); };
            const Read read{trace(400000), BRAN_SUCCESS, due, look};
            window.record(onTheFly, {read, read, read});
            QVERIFY((board.journal << window.status.text()).join("; ").contains(told[row]));
            reader.waitForFinished();
            const QByteArray taken = contentOf("taken") + pipe.readAll();
            QVERIFY((header + read.bytes.repeated(3)).startsWith(taken));
            QVERIFY(taken.size() == 1200008 || row != 2);
        }
    }

    void unsavedRingStaysInMemory()
    {
        Window window;
        board.onSync = [&] { return window.file.currentText() != "a.prf"; };
        // The dialog is cancelled first, so that the same box comes back. Return means to choose.
        window.answers = QStringList{"Return", "", "Chose again", QDir::currentPath() + "/b"};
        window.record(ring, {{trace(20000)}});
        const QString asked = box.arg("Cannot write a.prf to its end: Disk quota exceeded. Nothing "
                                      "has been saved there; all of the recording is still in "
                                      "memory.")
                                  .replace("Tova", "TOVA");
        QCOMPARE(board.journal.mid(1), (QStringList{asked, asked}));
        QCOMPARE(contentOf("b.prf"), header + trace(20000));
        QVERIFY(window.status.text().endsWith("(Stopped Nicely, saved)."));
        QCOMPARE(contentOf("a.prf"), QByteArray());
    }

    void clicksBehindTheEnd()
    {
        Window window;
        click(window.startStop);
        // When a press comes, whether as the second of a double click, and how many recordings have
        // been started by then. The option "Protect Start/Stop double click" is off before the last
        // two.
        for (const auto& [milliseconds, isSecond, recordings] :
             {std::tuple(100, true, 1), std::tuple(200, false, 1), std::tuple(300, true, 1),
              std::tuple(400, false, 1), std::tuple(2000, false, 2), std::tuple(4000, false, 3),
              std::tuple(4100, true, 4)}) {
            if (milliseconds == 4000) {
                window.findChild<QMenu*>()->actions().constFirst()->trigger();
            }
            const QPointF at = window.startStop.rect().center();
            const auto press = isSecond ? QEvent::MouseButtonDblClick : QEvent::MouseButtonPress;
            QMouseEvent event(press, at, at, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
            event.setTimestamp(ulong(milliseconds));
            QCoreApplication::sendEvent(&window.startStop, &event);
            QTest::mouseRelease(&window.startStop, Qt::LeftButton);
            QCOMPARE(board.journal.filter("start").size(), recordings);
        }
    }

    void optionsBecomeTheConfiguration()
    {
        // mode | exl, standard, custom, gap | start | end | tag, gap | cpu | masks, gap
        const QString tag = "Custom Tag (0x) ";
        for (const auto& [checked, configuration] :
             {std::pair(QStringList{"XCPU", tag},
                        "01000000 00000000 00100000 FFFFFFFF 2B1A0000 01000000 40400000"),
              std::pair(QStringList{"BCPU", hardware, "PXTS Trigger"},
                        "00000000 00010000 00100000 FFFFFFFF 2B1A0000 00000000 40400000"),
              std::pair(QStringList{"XCPU", "BCPU", onTheFly, "EXL Trigger", "PXTS Trigger", tag},
                        "01000000 01010100 00100000 FFFFFFFF 2B1A0000 00000000 00000000")}) {
            Window window;
            window.get<QLineEdit>("Start Address (0x)").setText("1000");
            window.get<QLineEdit>("End Address (0x)").setText("ffffFFFF");
            window.get<QLineEdit>("Custom tag in hexadecimal").setText("1A2b");
            for (const QString& each : checked) {
                window.get<QWidget>(each).setProperty("checked", true);
            }
            click(window.startStop);
            const QByteArray seen(reinterpret_cast<const char*>(&board.config),
                                  sizeof board.config);
            QCOMPARE(seen, QByteArray::fromHex(configuration));
        }
    }

private:
    /// Makes a recording to a disk with room for so many bytes. While each read goes on, a step is
    /// taken, such as a click, or a timer that ends; those that are about data come with 100 bytes.
    /// In the journal behind the start, the board's calls, the steps and the boxes; behind a |, the
    /// state before, where it has changed.
    void check(const QString& mode, bool isProtected, const QString& steps, const QString& journal,
               int bytes = 0, const QString& end = "Nicely", int room = megabyte)
    {
        init();
        TOVAConfiguration::m_isDoubleClickedProtected = isProtected;
        Window window;
        const QHash<QString, std::function<void()>> acts{
            {"click", [&] { click(window.startStop); }},
            {"brutal", [&] { click(window.brutalStop); }},
            {"slot", [&] { QMetaObject::invokeMethod(&window.recordPage, "go"); }},
            {"unsynced", [] { board.onSync = [] { return false; }; }},
            {"emptied", [] { QFile::resize("a.prf", 0); }},
            {"renamed", [] { QFile::rename("a.prf", "b.prf"); }},
            {"deleted", [] { QFile::remove("a.prf"); }}};
        const QHash<QString, BRAN_ERR_T> results{{"last", BRAN_RECORDING_FINISHED},
                                                 {"fails", ScriptedBoard::failure}};
        const QRegularExpression withoutBytes("click|brutal|slot|look|unsynced|000");
        std::deque<Read> reads;
        int delivered = 0;
        for (const QString& step : steps.split(' ')) {
            const int count = step.contains(withoutBytes) ? 0 : 100;
            const auto act = [&, step] {
                board.note(step);
                for (QTimer* timer : window.recordPage.findChildren<QTimer*>()) {
                    timer->setInterval(timer->interval() == step.toInt() ? 0 : timer->interval());
                }
                acts.value(step, [] {})();
            };
            reads.push_back({trace(500).mid(delivered, count), results.value(step),
                             step == "kept" ? 0 : due, act, step == "lies" ? 32769U : 0});
            delivered += count;
        }
        window.answers = QStringList{"OK", "OK"};
        withLimit(RLIMIT_FSIZE, rlim_t(room), [&] { window.record(mode, reads); });
        const QString start = isProtected ? "Stop! off, 1000" : "Stop!";
        board.journal << window.status.text() << nameOf(*window.focusWidget()) + window.state();
        QCOMPARE(board.journal.join("; "),
                 QString("start | %1, 7 grey; %2; Recorded %3 bytes. (Stopped %4!); Start!")
                     .arg(start, journal, QString::number(bytes), end));
        QCOMPARE(contentOf(QFile::exists("b.prf") ? "b.prf" : "a.prf") ==
                     (header + trace(bytes)).left(room),
                 !journal.contains("That file does not hold"));
    }
};

QTEST_MAIN(tst_record)
#include "tst_record.moc"
