#include "tests/support/cleanstart.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <optional>
#include <sys/resource.h>

using Read = ScriptedBoard::Read;

namespace
{

constexpr int megabyte = 1 << 20;
constexpr int fullRead = 32768;

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

/// Rings have a status line of their own at the end.
QString endOf(const QString& mode, int bytes, const QString& stop)
{
    return QString(mode == ring ? "Dumped %1 bytes, buffer not full. (Stopped %2, saved)."
                                : "Recorded %1 bytes. (Stopped %2!)")
        .arg(QString::number(bytes), stop);
}

} // namespace

class tst_recording : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

    void endsAndFails_data()
    {
        columns<QString, QString, int, bool, QString, QString>("mode", "reads", "result", "brutal",
                                                               "recorded", "stop");
        for (const QString& mode : {onTheFly, hardware, ring}) {
            row(mode + ": nothing", mode, "", 9, false, "", "Nicely");
            row(mode + ": last bytes with the end", mode, "one,,two", 9, false, "onetwo", "Nicely");
            row(mode + ": brutal stop", mode, "one,two,three", 0, true, "onetwo", "Brutally");
            row(mode + ": failing, but hidden", mode, "one,lost", 77, true, "onelost", "Brutally");
            row(mode + ": failing", mode, "one,lost", 77, false, "one", "on error");
        }
    }
    void endsAndFails()
    {
        QFETCH(QString, mode);
        QFETCH(QString, reads);
        QFETCH(int, result);
        QFETCH(bool, brutal);
        QFETCH(QString, recorded);
        QFETCH(QString, stop);
        RecordPage page(mode);
        for (const QString& bytes : reads.split(',')) {
            board.reads.push_back({bytes.toLatin1()});
        }
        board.reads.back().result = BRAN_ERR_T(result);
        // The header of a ring's file is written at its end.
        bool rememberedAtOnce = false;
        board.reads.front().meanwhile = [&] {
            page.newExl->click();
            rememberedAtOnce = contentOf("tovaconfig.cfg").contains("a.prf");
        };
        if (brutal) {
            board.reads[1].meanwhile = [&] { page.tab->brutalStop(); };
        }
        qint64 sizeAtTheEnd = 0;
        connect(page.tab, &TOVAStreamingTab::ungreyParentGUI,
                [&] { sizeAtTheEnd = QFileInfo("a.prf").size(); });
        QStringList journal{"grey | Stop!", "start | Stop! off, 1000"};
        if (stop == "on error") {
            answerBox();
            journal += "Tovalink: it is <b>damaged";
        }
        click(page.startStop);

        QCOMPARE(board.journal, journal << "ungrey | Start!, 10 groups");
        QByteArray file = header + recorded.toLatin1();
        file[6] = mode == ring ? 1 : 2;
        const bool saved = mode != ring || stop != "on error";
        QCOMPARE(contentOf("a.prf"), saved ? file : QByteArray());
        QCOMPARE(sizeAtTheEnd, contentOf("a.prf").size());
        QCOMPARE(page.status->text(),
                 saved ? endOf(mode, recorded.size(), stop)
                       : "Read 3 bytes. Cursor at 3. Read count : 2 (Stopped on error!)");
        QCOMPARE(rememberedAtOnce, mode != ring);
        QCOMPARE(contentOf("tovaconfig.cfg").contains("a.prf"), saved);
        QCOMPARE(page.file->count(), int(saved));

        // Whatever ended it, the next recording is a normal one.
        // A click at once is the second one of a double click on "Stop!".
        click(page.startStop);
        QCOMPARE(board.journal.filter("start").size(), 1);
        page.record({{"again"}});
        QCOMPARE(contentOf("a.prf").mid(8), QByteArray("again"));
        QCOMPARE(page.status->text(), endOf(mode, 5, "Nicely"));
    }

    void refusesBeforeItStarts_data()
    {
        columns<QString, QString, QString>("mode", "file", "told");
        const QString noName = "You'd better chose a filename before recording!";
        const QString cannotOpen = "Tovalink: Cannot open file for writing. File may be in "
                                   "read-only mode, or it is already opened by another application";
        row("a folder", onTheFly, ".", cannotOpen);
        row("a folder, hardware", hardware, ".", cannotOpen);
        for (const QString& mode : {onTheFly, hardware, ring}) {
            row(mode + ": no name", mode, "", noName);
            row(mode + ": start fails", mode, "a.prf",
                "grey; start; Tovalink: it is <b>damaged; ungrey; Stopped on error.");
        }
    }
    void refusesBeforeItStarts()
    {
        QFETCH(QString, mode);
        QFETCH(QString, file);
        QFETCH(QString, told);
        const RecordPage page(mode);
        page.file->setEditText(file);
        board.state = nullptr;
        board.failing = "start";
        if (!file.isEmpty()) {
            answerBox();
        }
        click(page.startStop);
        QCOMPARE(lines(told), page.status->text().isEmpty() ? board.journal
                                                            : board.journal << page.status->text());
        QCOMPARE(page.state(), QString("Start!, 10 groups"));
        // An empty file is left behind where a recording goes to its file directly.
        const bool opened = mode != ring && file == "a.prf";
        QCOMPARE(QFile::exists("a.prf"), opened);
        QCOMPARE(page.file->count(), int(opened));
        QVERIFY(contentOf("a.prf").isEmpty());
    }

    void refreshesAfterMoreThan200Milliseconds_data()
    {
        columns<QString, QString>("mode", "statuses");
        // Each is what stands there while the next read goes on.
        row("on the fly", onTheFly,
            "before; Recorded 0 bytes (0 KB/s).; Recorded 0 bytes (0 KB/s).; Recorded 1000 bytes "
            "(4.85852 KB/s).; Recorded 33768 bytes (128 KB/s).; Recorded 33768 bytes (0 KB/s).");
        row("ring", ring,
            "before; Buffer contains 0 bytes (0 KB/s).; Buffer contains 0 bytes (0 KB/s).; Buffer "
            "contains 1000 bytes (4.85852 KB/s).; Buffer contains 33768 bytes (128 KB/s).; Buffer "
            "contains 33768 bytes (0 KB/s).");
        row("hardware", hardware,
            "before; Waiting for trigger...; Waiting for trigger...; Triggered! Recorded 1000 "
            "bytes.; Triggered! Recorded 33768 bytes.; Triggered! Recorded 33768 bytes.");
    }
    void refreshesAfterMoreThan200Milliseconds()
    {
        QFETCH(QString, mode);
        QFETCH(QString, statuses);
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
        columns<QString, int, int>("size", "first", "total");
        row("one byte short of full", "1", fullRead, megabyte - 1);
        row("exactly full", "1", fullRead, megabyte);
        row("full, then one byte", "1", fullRead, megabyte + 1);
        row("a read crosses the end by one byte", "1", 1, megabyte + 1);
        row("a read crosses the end but for one byte", "1", fullRead - 1, megabyte + fullRead - 1);
        row("three times around", "1", 77, 3 * megabyte + 12345);
        row("no size is one megabyte", "", 77, megabyte + 12345);
        row("the largest size", "64", 77, 64 * megabyte + 12345);
    }
    void ringKeepsTheLastBytes()
    {
        QFETCH(QString, size);
        QFETCH(int, first);
        QFETCH(int, total);
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
        QString shown;
        board.reads.back().lasts = 201;
        board.reads.push_back(
            {"", BRAN_RECORDING_FINISHED, 0, [&] { shown = page.status->text(); }});
        click(page.startStop);
        QVERIFY(shown.startsWith("Buffer is full. Cursor at 32768 ("));
        QCOMPARE(QFileInfo("a.prf").size(), header.size() + megabyte);
    }

    void missingMemoryEndsTheRecording()
    {
#ifdef __SANITIZE_ADDRESS__
        QSKIP("the sanitizer's allocator knows no limits of the system's");
#endif
        const RecordPage page;
        page.size->setText("64");
        rlimit limit{};
        QCOMPARE(getrlimit(RLIMIT_DATA, &limit), 0);
        answerBox();
#ifndef __SANITIZE_ADDRESS__
        const rlimit scarce{rlim_t(40) * megabyte, limit.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_DATA, &scarce), 0);
#endif
        // The stop is answered after two more reads.
        page.record({{"dropped"}, {"dropped", BRAN_SUCCESS, 0, [] { board.note("look"); }}});
        QCOMPARE(setrlimit(RLIMIT_DATA, &limit), 0);
        QCOMPARE(board.journal.mid(1, 3),
                 lines("start | Stop! off, 1000; stop; look | Stop! off, 5000"));
        QCOMPARE(board.journal.filter(" 67141632 bytes").size(), 1);
        QCOMPARE(page.state(), QString("Start!, 10 groups"));
        QVERIFY(!QFile::exists("a.prf"));
    }

    void saveMayChooseAnotherFile()
    {
        const QString folder = m_start->path();
        const RecordPage page;
        board.state = nullptr;
        page.file->setEditText(folder);
        // The dialog is cancelled first, so that the same box comes back.
        answerBox("Chose again");
        whenShown<QFileDialog>([&](QFileDialog& dialog) {
            dialog.reject();
            answerBox("Chose again");
            chooseInDialog(folder + "/b");
        });
        page.record({{"kept"}});
        QCOMPARE(
            board.journal.count("TOVAlink: Cannot open file for writing.\nFile may be in read-only "
                                "mode, or it is already opened by another application.\n"),
            2);
        QCOMPARE(contentOf("b.prf"), header + "kept");
        QCOMPARE(TOVAConfiguration::m_lastPrfFiles, QStringList{folder + "/b.prf"});
    }

    void saveMayBeCancelled()
    {
        const RecordPage page;
        page.file->setEditText(".");
        // The countdown goes on while the user is asked, but cannot change how it has ended.
        whenShown<QMessageBox>([&](QMessageBox&) {
            page.tab->brutalStop();
            answerBox("Cancel");
        });
        page.record({{"dropped"}});
        QCOMPARE(page.status->text(), QString("(Stopped Nicely, user has chosen not to save)."));
        QCOMPARE(page.state(), QString("Start!, 10 groups"));
    }

    void stops_data()
    {
        columns<QString, QString, QString>("mode", "story", "end");
        const QString counting = " | Stop! off, Brutal stop in %1 seconds!, 1000; ";
        const QString unanswered = "start; click; stop; 5000 | Stop! off, 5000; ";
        for (const QString& mode : {onTheFly, hardware, ring}) {
            row(mode + ": asked for once", mode,
                "start; click; stop; click | Stop! off, 5000; look", endOf(mode, 0, "Nicely"));
            row(mode + ": not in the first second", mode,
                "start | Stop! off, 1000; click; 1000; click | Stop!; stop; look | Stop! off, 5000",
                endOf(mode, 0, "Nicely"));
            row(mode + ": brutal stop counts down", mode,
                unanswered + "1000" + counting.arg(5) + "1000" + counting.arg(4) + "1000" +
                    counting.arg(3) + "1000" + counting.arg(2) + "1000" + counting.arg(1) +
                    "look | Stop! off, Brutal stop in 1 seconds!",
                endOf(mode, 0, "Brutally"));
        }
        row("brutal stop by a click, after the trigger", hardware,
            unanswered + "data" + counting.arg(5) + "1000; brutal" + counting.arg(4).chopped(2),
            endOf(hardware, 1, "Brutally"));
        row("no brutal stop after the trigger", hardware,
            "start; click; stop; data | Stop! off, 5000; 5000; look | Stop! off",
            endOf(hardware, 1, "Nicely"));
        row("the trigger takes the stop away", hardware,
            "start | Stop! off, 1000; data; force | Stop! off; data", endOf(hardware, 2, "Nicely"));
    }
    void stops()
    {
        QFETCH(QString, mode);
        QFETCH(QString, story);
        QFETCH(QString, end);
        TOVAConfiguration::m_isDoubleClickedProtected = story.startsWith("start | Stop! off");
        const RecordPage page(mode);
        page.startStop->setFocus();
        const auto act = [&](const QString& step) {
            board.note(step);
            page.expire(step.toInt());
            if (step == "force") {
                page.startStop->setEnabled(true);
            }
            if (step == "click" || step == "force") {
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
        QCOMPARE(page.state(), QString("Start!, 10 groups"));
        QVERIFY(page.startStop->hasFocus());
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_recording)
#include "tst_recording.moc"
