#include "tests/support/cleanstart.h"
#include "tests/support/limit.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <sys/stat.h>

using Read = ScriptedBoard::Read;

namespace
{

constexpr int megabyte = 1 << 20;
constexpr int fullRead = 32768;

/// How a record file begins, with the new EXL format.
const QByteArray header("DBGP\1\0\2\0", 8);

const QString idle = QStringLiteral("Start!, 10 groups");

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

/// Rings have a status line of their own at the end.
QString endOf(const QString& mode, int bytes, const QString& stop)
{
    return QString(mode == ring ? "Dumped %1 bytes, buffer not full. (Stopped %2, saved)."
                                : "Recorded %1 bytes. (Stopped %2!)")
        .arg(QString::number(bytes), stop);
}

using Refreshes = Table<QString, QString>;
using Rings = Table<QString, int, int>;
using FullDisks = Table<QString, int, bool>;
using Unsaved = Table<QString, QString>;
using Stops = Table<QString, QString, QString>;

} // namespace

class tst_recording : public CleanTest
{
    Q_OBJECT

private slots:
    void refusesBeforeItStarts()
    {
        RecordPage page;
        for (const QString& mode : {onTheFly, hardware, ring}) {
            page.group(mode)->setChecked(true);
            page.file->setEditText("");
            page.status->clear();
            click(page.startStop);
            QCOMPARE(page.status->text(),
                     QString("You'd better chose a filename before recording!"));
            QCOMPARE(board.journal, QStringList());
        }
        for (const QString& mode : {onTheFly, hardware}) {
            page.group(mode)->setChecked(true);
            page.file->setEditText(".");
            answerBox();
            click(page.startStop);
        }
        QCOMPARE(mkfifo("pipe", S_IRWXU), 0);
        page.file->setEditText("pipe");
        answerBox();
        click(page.startStop);
        const QString box =
            "Tovalink: Cannot open file for writing. File may be in read-only mode, "
            "or it is already opened by another application";
        QCOMPARE(board.journal, QStringList({box + " | " + idle, box, box}));
        QCOMPARE(page.state(), idle);
        QCOMPARE(page.file->count(), 0);
    }

    void refreshesAfterMoreThan200Milliseconds_data()
    {
        // Each is what stands there while the next read goes on.
        const Refreshes status;
        status.row("on the fly", onTheFly,
                   "before; Recorded 0 bytes (0 KB/s).; Recorded 0 bytes (0 KB/s).; Recorded 1000 "
                   "bytes (4.85852 KB/s).; Recorded 33768 bytes (128 KB/s).; Recorded 33768 bytes "
                   "(0 KB/s).");
        status.row("ring", ring,
                   "before; Buffer contains 0 bytes (0 KB/s).; Buffer contains 0 bytes (0 KB/s).; "
                   "Buffer contains 1000 bytes (4.85852 KB/s).; Buffer contains 33768 bytes (128 "
                   "KB/s).; Buffer contains 33768 bytes (0 KB/s).");
        status.row("hardware", hardware,
                   "before; Waiting for trigger...; Waiting for trigger...; Triggered! Recorded "
                   "1000 bytes.; Triggered! Recorded 33768 bytes.; Triggered! Recorded 33768 "
                   "bytes.");
    }
    void refreshesAfterMoreThan200Milliseconds()
    {
        const auto [mode, statuses] = Refreshes::fetch();
        const RecordPage page(mode);
        page.status->setText("before");
        QStringList seen;
        int passes = 0;
        const auto look = [&] {
            seen += page.status->text();
            QMetaObject::invokeMethod(
                page.tab, [&] { ++passes; }, Qt::QueuedConnection);
        };
        page.record({{"", BRAN_SUCCESS, 201, look},
                     {trace(500), BRAN_SUCCESS, 200, look},
                     {trace(500), BRAN_SUCCESS, 1, look},
                     {trace(fullRead), BRAN_SUCCESS, 250, look},
                     {"", BRAN_SUCCESS, 201, look},
                     {"", BRAN_RECORDING_FINISHED, 201, look}});
        QCOMPARE(seen, lines(statuses));
        // One more at the end, where a click that is still waiting is taken.
        QCOMPARE(passes, 6);
    }

    void ringKeepsTheLastBytes_data()
    {
        const Rings bytes;
        bytes.row("one byte short of full", "1", fullRead, megabyte - 1);
        bytes.row("exactly full", "1", fullRead, megabyte);
        bytes.row("full, then one byte", "1", fullRead, megabyte + 1);
        bytes.row("a read crosses the end by one byte", "1", 1, megabyte + 1);
        bytes.row("no size is one megabyte", "", 77, megabyte + 12345);
        bytes.row("the largest size", "64", 77, 64 * megabyte + 12345);
    }
    void ringKeepsTheLastBytes()
    {
        const auto [size, first, total] = Rings::fetch();
        const QByteArray bytes = trace(total);
        const RecordPage page;
        // A larger ring, then the one in question, twice: each holds its own recording only.
        page.size->setText("2");
        page.record({{trace(3 * megabyte)}});
        page.size->setText(size);
        page.record({{bytes.left(first)}, {bytes.mid(first)}});
        QCOMPARE(page.size->text(), size.isEmpty() ? "1" : size);
        const int ringSize = page.size->text().toInt() * megabyte;
        QVERIFY(contentOf("a.prf") == header + bytes.right(ringSize));
        QCOMPARE(page.status->text(), total < ringSize
                                          ? endOf(ring, total, "Nicely")
                                          : "Dumped last full buffer. (Stopped Nicely, saved).");
        page.record({{"short"}});
        QCOMPARE(contentOf("a.prf"), header + "short");
    }

    void ringKnowsItIsFullAfter4Gigabytes()
    {
        const RecordPage page;
        page.size->setText("1");
        board.reads.assign((qint64(1) << 32) / fullRead + 1, Read{trace(fullRead)});
        board.reads.back().lasts = 201;
        board.reads.push_back(
            {"", BRAN_RECORDING_FINISHED, 0, [&] { board.note(page.status->text()); }});
        click(page.startStop);
        QCOMPARE(board.journal.filter("Buffer is full. Cursor at 32768 (").size(), 1);
        QCOMPARE(QFileInfo("a.prf").size(), header.size() + megabyte);
    }

    void missingMemoryEndsTheRecording()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the sanitizer's allocator knows no limits of the system's");
#endif
        const RecordPage page;
        page.size->setText("64");
        answerBox();
        // The stop is answered after two more reads.
        withLimit(RLIMIT_DATA, rlim_t(40) * megabyte, [&] {
            page.record({{"dropped"}, {"dropped", BRAN_SUCCESS, 0, [] { board.note("look"); }}});
        });
        QCOMPARE(board.journal.mid(1, 3),
                 lines("start | Stop! off, 1000; stop; look | Stop! off, 5000"));
        QCOMPARE(board.journal.filter(" 67141632 bytes").size(), 1);
        QCOMPARE(page.state(), idle);
        QVERIFY(!QFile::exists("a.prf"));
    }

    void fullDiskEndsTheRecording_data()
    {
        const FullDisks disk;
        for (const QString& mode : {onTheFly, hardware}) {
            disk.row(mode + ": in the header", mode, 4, true);
            disk.row(mode + ": in the middle of a read", mode, 40000, true);
            disk.row(mode + ": with the last bytes", mode, 50000 + 8, true);
            disk.row(mode + ": and the stop is not answered", mode, 40000, false);
        }
    }
    void fullDiskEndsTheRecording()
    {
        const auto [mode, room, answers] = FullDisks::fetch();
        RecordPage page(mode);
        const QByteArray bytes = trace(50100);
        const int piece = mode == hardware ? 500 : 20000;
        std::deque<Read> reads;
        for (int at = 0; at < bytes.size(); at += piece) {
            reads.push_back({bytes.mid(at, piece), BRAN_SUCCESS, 201});
        }
        reads.back().result = BRAN_RECORDING_FINISHED;
        if (!answers) {
            board.onStop = [&page] {
                board.reads.clear();
                for (const int period : {5000, 1000, 1000, 1000, 1000, 1000}) {
                    board.reads.push_back(
                        {"dropped", BRAN_SUCCESS, 201, [&page, period] { page.expire(period); }});
                }
                board.reads.push_back({"never read"});
            };
        }
        answerBox();
        withLimit(RLIMIT_FSIZE, rlim_t(room), [&] { page.record(reads); });
        const int safe = std::max(room - 8, 0);
        const QString box = "Tovalink: Cannot write a.prf: File too large. The first %1 bytes of "
                            "the recording are in the file.";
        QCOMPARE(board.journal.filter(box.arg(safe)).size(), 1);
        QCOMPARE(board.journal.filter("stop").size(), room > 50000 ? 0 : 1);
        QCOMPARE(page.status->text(), endOf(mode, safe, "on error"));
        QCOMPARE(page.state(), idle);
        QCOMPARE(contentOf("a.prf"), (header + bytes).left(room));
        QCOMPARE(board.reads.empty(), answers);
    }

    void unsavedRingStaysInMemory_data()
    {
        const Unsaved file;
        file.row("a folder", ".",
                 "TOVAlink: Cannot open file for writing.\nFile may be in read-only mode, or it is "
                 "already opened by another application.\n");
        file.row("a full disk", "/dev/full",
                 "TOVAlink: Cannot write /dev/full: No space left on device. Nothing has been "
                 "saved there; all of the recording is still in memory.");
    }
    void unsavedRingStaysInMemory()
    {
        const auto [file, box] = Unsaved::fetch();
        const QString chosen = QDir::currentPath() + "/b";
        const RecordPage page;
        board.state = nullptr;
        page.file->setEditText(file);
        // The dialog is cancelled first, so that the same box comes back.
        answerBox("Chose again");
        whenShown<QFileDialog>([&](QFileDialog& dialog) {
            dialog.reject();
            answerBox("Chose again");
            chooseInDialog(chosen);
        });
        page.record({{trace(20000)}});
        QCOMPARE(board.journal, QStringList({"grey", "start", box, box, "ungrey"}));
        QCOMPARE(contentOf("b.prf"), header + trace(20000));
        QCOMPARE(page.status->text(), endOf(ring, 20000, "Nicely"));
        QCOMPARE(TOVAConfiguration::m_lastPrfFiles.first(), chosen + ".prf");

        // The countdown goes on while the user is asked, but cannot change how it has ended.
        page.file->setEditText(file);
        whenShown<QMessageBox>([&](QMessageBox&) {
            page.tab->brutalStop();
            answerBox("Cancel");
        });
        page.record({{"dropped"}});
        QCOMPARE(page.status->text(), QString("(Stopped Nicely, user has chosen not to save)."));
        QCOMPARE(page.state(), idle);
    }

    void stops_data()
    {
        const Stops stop;
        const QString counting = " | Stop! off, Brutal stop in %1 seconds!, 1000; ";
        const QString unanswered = "start; click; stop; 5000 | Stop! off, 5000; ";
        for (const QString& mode : {onTheFly, hardware, ring}) {
            stop.row(mode + ": asked for once", mode,
                     "start; click; stop; click | Stop! off, 5000; look", endOf(mode, 0, "Nicely"));
            stop.row(mode + ": not in the first second", mode,
                     "start | Stop! off, 1000; click; 1000; click | Stop!; stop; look | Stop! off, "
                     "5000",
                     endOf(mode, 0, "Nicely"));
            stop.row(mode + ": brutal stop counts down", mode,
                     unanswered + "1000" + counting.arg(5) + "1000" + counting.arg(4) + "1000" +
                         counting.arg(3) + "1000" + counting.arg(2) + "1000" + counting.arg(1) +
                         "look | Stop! off, Brutal stop in 1 seconds!",
                     endOf(mode, 0, "Brutally"));
        }
        stop.row("brutal stop by a click, after the trigger", hardware,
                 unanswered + "data" + counting.arg(5) + "1000; brutal" +
                     counting.arg(4).chopped(2),
                 endOf(hardware, 1, "Brutally"));
        stop.row("no brutal stop after the trigger", hardware,
                 "start; click; stop; data | Stop! off, 5000; 5000; look | Stop! off",
                 endOf(hardware, 1, "Nicely"));
        stop.row("the trigger takes the stop away", hardware,
                 "start | Stop! off, 1000; data; forced click | Stop! off; data",
                 endOf(hardware, 2, "Nicely"));
    }
    void stops()
    {
        const auto [mode, story, end] = Stops::fetch();
        TOVAConfiguration::m_isDoubleClickedProtected = story.startsWith("start | Stop! off");
        const RecordPage page(mode);
        page.startStop->setFocus();
        const auto act = [&](const QString& step) {
            board.note(step);
            page.expire(step.toInt());
            if (step == "forced click") {
                page.startStop->setEnabled(true);
            }
            if (step.endsWith("click")) {
                click(page.startStop);
            } else if (step == "brutal") {
                page.brutalStop->click();
            }
        };
        for (const QString& line : lines(story)) {
            const QString step = line.section(" | ", 0, 0);
            if (step != "start" && step != "stop") {
                const QByteArray bytes = step == "data" ? "x" : "";
                board.reads.push_back({bytes, BRAN_SUCCESS, 201, [=] { act(step); }});
            }
        }
        if (end.contains("Brutally")) {
            board.reads.push_back({"never read"});
        }
        click(page.startStop);
        // The page greys the window first and ungreys it last.
        QCOMPARE(board.journal.mid(1, board.journal.size() - 2), lines(story));
        QCOMPARE(page.status->text(), end);
        QCOMPARE(page.state(), idle);
        QVERIFY(page.startStop->hasFocus());
    }
};

QTEST_MAIN(tst_recording)
#include "tst_recording.moc"
