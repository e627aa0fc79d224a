#include "config/configuration.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QtTest>

#include <optional>
#include <sys/resource.h>

using Read = ScriptedBoard::Read;
using Reads = QList<Read>;

Q_DECLARE_METATYPE(Reads)

namespace
{

constexpr auto unplugged = BRAN_ERR_T(33);
constexpr int megabyte = 1 << 20;
constexpr int fullRead = 32768;

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

/// Reads that deliver `bytes` in pieces, the first one `first` bytes long.
Reads inPieces(const QByteArray& bytes, int first = fullRead)
{
    Reads reads;
    for (int at = 0; at < bytes.size(); at += reads.constLast().bytes.size()) {
        reads += Read{bytes.mid(at, at == 0 ? first : fullRead)};
    }
    return reads;
}

/// Notes the next message box and clicks one of its buttons.
void answerBox(const QString& button = QStringLiteral("OK"))
{
    whenShown<QMessageBox>([button](QMessageBox& box) {
        ScriptedBoard::instance().journal += box.windowTitle() + ": " + box.text();
        const auto buttons = box.buttons();
        for (QAbstractButton* each : buttons) {
            if (each->text().remove('&') == button) {
                QTest::mouseClick(each, Qt::LeftButton);
            }
        }
    });
}

} // namespace

class tst_recording : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void endsAndFails_data();
    void endsAndFails();
    void refusesBeforeItStarts_data();
    void refusesBeforeItStarts();
    void refreshesAfterMoreThan200Milliseconds_data();
    void refreshesAfterMoreThan200Milliseconds();
    void ringKeepsTheLastBytes_data();
    void ringKeepsTheLastBytes();
    void ringHoldsOnlyThisRecording();
    void ringKnowsItIsFullAfter4Gigabytes();
    void missingMemoryEndsTheRecording();
    void saveMayChooseAnotherFile();
    void exlByteIsTakenWhenTheHeaderIsWritten_data();
    void exlByteIsTakenWhenTheHeaderIsWritten();
    void stopIsAskedForOnce_data();
    void stopIsAskedForOnce();
    void brutalStopCountsDown();
    void brutalStopByClick();
    void triggerTakesTheStopAway();
    void doubleClickProtectionEndsWithTheRecording();

private:
    void click(QPushButton* button) { QTest::mouseClick(button, Qt::LeftButton); }

    ScriptedBoard& m_board = ScriptedBoard::instance();
    std::optional<WorkingFolder> m_folder;
};

void tst_recording::init()
{
    m_folder.emplace();
    m_board.reset();
    m_board.texts = {{unplugged, "the <b>board</b> is unplugged"}};
    TOVAConfiguration::m_lastPrfFiles.clear();
    TOVAConfiguration::m_isDoubleClickedProtected = false;
}

void tst_recording::endsAndFails_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<Reads>("reads");
    QTest::addColumn<int>("brutalAt");
    QTest::addColumn<QByteArray>("recorded");
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("box");

    const auto readError = Read{"lost", unplugged};
    const struct {
        const char* name;
        Reads reads;
        int brutalAt;
        QByteArray recorded;
        QString word;
    } cases[] = {
        {"nothing", {Read{"", BRAN_RECORDING_FINISHED}}, -1, "", "Nicely"},
        {"last bytes with the end",
         {Read{"one"}, Read{}, Read{"two", BRAN_RECORDING_FINISHED}},
         -1,
         "onetwo",
         "Nicely"},
        {"brutal stop, last bytes kept",
         {Read{"one"}, Read{"two"}, Read{"three"}},
         1,
         "onetwo",
         "Brutally"},
        {"brutal stop hides a failure", {Read{"one"}, readError}, 1, "onelost", "Brutally"},
        {"failing read's bytes dropped", {Read{"one"}, readError}, -1, "one", ""},
    };
    for (const QString mode : {"In the file on the fly", "HW Circular buffer"}) {
        for (const auto& each : cases) {
            const bool fails = each.word.isEmpty();
            QTest::newRow(qPrintable(mode + ": " + each.name))
                << mode << each.reads << each.brutalAt << header + each.recorded
                << QStringLiteral("Recorded %1 bytes. (Stopped %2!)")
                       .arg(each.recorded.size())
                       .arg(fails ? "on error" : each.word)
                << fails;
        }
    }
    for (const auto& each : cases) {
        const bool fails = each.word.isEmpty();
        QTest::newRow(qPrintable(QStringLiteral("SW Circular buffer: ") + each.name))
            << QStringLiteral("SW Circular buffer") << each.reads << each.brutalAt
            << (fails ? QByteArray() : header + each.recorded)
            << (fails ? QStringLiteral(
                            "Read 3 bytes. Cursor at 3. Read count : 2 (Stopped on error!)")
                      : QStringLiteral("Dumped %1 bytes, buffer not full. (Stopped %2, saved).")
                            .arg(each.recorded.size())
                            .arg(each.word))
            << fails;
    }
}

void tst_recording::endsAndFails()
{
    QFETCH(QString, mode);
    QFETCH(Reads, reads);
    QFETCH(int, brutalAt);
    QFETCH(bool, box);
    RecordPage page(mode);
    if (brutalAt >= 0) {
        reads[brutalAt].meanwhile = [&] { page.tab->brutalStop(); };
    }
    m_board.reads = reads;
    if (box) {
        answerBox();
    }
    click(page.startStop);

    const QString running = " | Stop!, no options";
    QStringList journal = {"grey" + running, "start" + running};
    if (box) {
        journal += "Tovalink: the <b>board</b> is unplugged";
    }
    QCOMPARE(m_board.journal, journal << "ungrey | Start!, options");
    QTEST(contentOf("a.prf"), "recorded");
    QTEST(page.status->text(), "status");
    const bool saved = QFile::exists("a.prf");
    QCOMPARE(TOVAConfiguration::m_lastPrfFiles, saved ? QStringList{"a.prf"} : QStringList());
    QCOMPARE(contentOf("tovaconfig.cfg").contains("a.prf"), saved);

    // Whatever ended it, the next recording is a normal one.
    m_board.journal.clear();
    m_board.reads = {Read{"again", BRAN_RECORDING_FINISHED}};
    click(page.startStop);
    QCOMPARE(contentOf("a.prf"), header + "again");
    QVERIFY(page.status->text().contains("Stopped Nicely"));
}

void tst_recording::refusesBeforeItStarts_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("box");
    QTest::addColumn<QString>("status");
    QTest::addColumn<bool>("remembered");
    const QString noName = "You'd better chose a filename before recording!";
    const QString cannotOpen = "Tovalink: Cannot open file for writing. File may be in read-only "
                               "mode, or it is already opened by another application";
    const QString cannotStart = "Tovalink: the <b>board</b> is unplugged";
    for (const char* mode : {"In the file on the fly", "HW Circular buffer"}) {
        QTest::newRow(qPrintable(mode + QString(": no name"))) << mode << ""
                                                               << "" << noName << false;
        QTest::newRow(qPrintable(mode + QString(": a folder")))
            << mode << "." << cannotOpen << "" << false;
        QTest::newRow(qPrintable(mode + QString(": start fails")))
            << mode << "a.prf" << cannotStart << "Stopped on error." << true;
    }
    QTest::newRow("ring: no name") << "SW Circular buffer"
                                   << ""
                                   << "" << noName << false;
    QTest::newRow("ring: start fails") << "SW Circular buffer"
                                       << "a.prf" << cannotStart << "Stopped on error." << false;
}

void tst_recording::refusesBeforeItStarts()
{
    QFETCH(QString, mode);
    QFETCH(QString, name);
    QFETCH(QString, box);
    QFETCH(bool, remembered);
    RecordPage page(mode);
    page.file->setEditText(name);
    m_board.startResult = unplugged;
    m_board.state = nullptr;
    if (!box.isEmpty()) {
        answerBox();
    }
    click(page.startStop);
    QTEST(page.status->text(), "status");
    QCOMPARE(m_board.journal.filter("Tovalink"), box.isEmpty() ? QStringList() : QStringList{box});
    QCOMPARE(m_board.journal.count("grey"), m_board.journal.count("ungrey"));
    QCOMPARE(page.state(), QString("Start!, options"));
    QCOMPARE(TOVAConfiguration::m_lastPrfFiles.size(), remembered ? 1 : 0);
    QCOMPARE(QFile::exists("a.prf"), remembered);
    QVERIFY(contentOf("a.prf").isEmpty());
}

void tst_recording::refreshesAfterMoreThan200Milliseconds_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QStringList>("statuses");
    // Each is what stands there while the next read goes on.
    QTest::newRow("on the fly") << "In the file on the fly"
                                << QStringList{"before", "before",
                                               "Recorded 1000 bytes (4.85852 KB/s).",
                                               "Recorded 33768 bytes (128 KB/s).",
                                               "Recorded 33768 bytes (0 KB/s)."};
    QTest::newRow("ring") << "SW Circular buffer"
                          << QStringList{"before", "before",
                                         "Buffer contains 1000 bytes (4.85852 KB/s).",
                                         "Buffer contains 33768 bytes (128 KB/s).",
                                         "Buffer contains 33768 bytes (0 KB/s)."};
    QTest::newRow("hardware") << "HW Circular buffer"
                              << QStringList{"before", "before", "Triggered! Recorded 1000 bytes.",
                                             "Triggered! Recorded 33768 bytes.",
                                             "Triggered! Recorded 33768 bytes."};
}

void tst_recording::refreshesAfterMoreThan200Milliseconds()
{
    QFETCH(QString, mode);
    QFETCH(QStringList, statuses);
    RecordPage page(mode);
    page.status->setText("before");
    QStringList seen;
    int passes = 0;
    const auto look = [&] {
        seen += page.status->text();
        QMetaObject::invokeMethod(
            page.tab, [&] { ++passes; }, Qt::QueuedConnection);
    };
    const int mostOfIt = mode.startsWith("HW") ? 512 : fullRead;
    m_board.reads = {Read{trace(500), BRAN_SUCCESS, 200, look},
                     Read{trace(500), BRAN_SUCCESS, 1, look}};
    for (int left = fullRead; left > 0; left -= mostOfIt) {
        m_board.reads += Read{trace(mostOfIt)};
    }
    m_board.reads[2].meanwhile = look;
    m_board.reads.last().lasts = 250;
    m_board.reads +=
        {Read{"", BRAN_SUCCESS, 201, look}, Read{"", BRAN_RECORDING_FINISHED, 201, look}};
    click(page.startStop);
    QCOMPARE(seen, statuses);
    // One more at the end, where a click that is still waiting is taken.
    QCOMPARE(passes, 5);
}

void tst_recording::ringKeepsTheLastBytes_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("total");
    QTest::newRow("one byte short of full") << fullRead << megabyte - 1;
    QTest::newRow("exactly full") << fullRead << megabyte;
    QTest::newRow("full, then one byte") << fullRead << megabyte + 1;
    QTest::newRow("a read crosses the end by one byte") << 1 << megabyte - fullRead + 1 + fullRead;
    QTest::newRow("a read crosses the end but for one byte")
        << fullRead - 1 << megabyte + fullRead - 1;
    QTest::newRow("three times around") << 77 << 3 * megabyte + 12345;
}

void tst_recording::ringKeepsTheLastBytes()
{
    QFETCH(int, first);
    QFETCH(int, total);
    const QByteArray bytes = trace(total);
    RecordPage page;
    page.size->setText("1");
    m_board.reads = inPieces(bytes, first);
    click(page.startStop);
    QVERIFY(contentOf("a.prf") == header + bytes.right(megabyte));
    QCOMPARE(page.status->text(),
             total < megabyte
                 ? QStringLiteral("Dumped %1 bytes, buffer not full. (Stopped Nicely, saved).")
                       .arg(total)
                 : QStringLiteral("Dumped last full buffer. (Stopped Nicely, saved)."));
}

void tst_recording::ringHoldsOnlyThisRecording()
{
    RecordPage page;
    const QByteArray bytes = trace(2 * megabyte + 100);
    for (const char* size : {"1", "1", "2", "", "64"}) {
        page.size->setText(size);
        m_board.reads = inPieces(bytes);
        click(page.startStop);
        const int ring = std::max(QString(size).toInt(), 1) * megabyte;
        QCOMPARE(page.size->text(), QString::number(ring / megabyte));
        QVERIFY(contentOf("a.prf") == header + bytes.right(ring));
        m_board.reads = {Read{"short"}};
        click(page.startStop);
        QCOMPARE(contentOf("a.prf"), header + "short");
    }
}

void tst_recording::ringKnowsItIsFullAfter4Gigabytes()
{
    RecordPage page;
    page.size->setText("1");
    const Read read{trace(fullRead)};
    constexpr qint64 fourGigabytes = qint64(1) << 32;
    m_board.reads.reserve(fourGigabytes / fullRead + 1);
    for (qint64 left = fourGigabytes; left >= 0; left -= fullRead) {
        m_board.reads += read;
    }
    QString shown;
    m_board.reads.last().lasts = 201;
    m_board.reads += Read{"", BRAN_RECORDING_FINISHED, 0, [&] { shown = page.status->text(); }};
    click(page.startStop);
    QVERIFY(shown.startsWith("Buffer is full. Cursor at 32768 ("));
    QCOMPARE(QFileInfo("a.prf").size(), header.size() + megabyte);
}

#ifdef __SANITIZE_ADDRESS__
// The sanitizer's allocator knows no limits of the system's.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=60";
}
#endif

void tst_recording::missingMemoryEndsTheRecording()
{
    RecordPage page;
    page.size->setText("64");
    rlimit limit{};
    QCOMPARE(getrlimit(RLIMIT_DATA, &limit), 0);
    QString boxText;
    answerBox();
    // Requested, and answered after two more reads.
    m_board.reads = {Read{"dropped"}, Read{"dropped"}};
#ifndef __SANITIZE_ADDRESS__
    const rlimit scarce{rlim_t(40) * megabyte, limit.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_DATA, &scarce), 0);
#endif
    click(page.startStop);
    QCOMPARE(setrlimit(RLIMIT_DATA, &limit), 0);
    QVERIFY(m_board.reads.isEmpty());
    QCOMPARE(m_board.journal.filter("stop").size(), 1);
    QCOMPARE(m_board.journal.filter("67141632 bytes").size(), 1);
    QCOMPARE(page.state(), QString("Start!, options"));
    QVERIFY(!QFile::exists("a.prf"));
}

void tst_recording::saveMayChooseAnotherFile()
{
    const QString folder = m_folder->path();
    RecordPage page;
    page.file->setEditText(folder);
    m_board.reads = {Read{"kept"}};
    const QString box =
        "TOVAlink: Cannot open file for writing.\nFile may be in read-only mode, or "
        "it is already opened by another application.\n";
    const auto choose = [](const QString& name) {
        whenShown<QFileDialog>([name](QFileDialog& dialog) {
            if (name.isEmpty()) {
                dialog.reject();
                return;
            }
            dialog.findChild<QLineEdit*>("fileNameEdit")->setText(name);
            QTest::keyClick(&dialog, Qt::Key_Return);
        });
    };
    // The dialog is cancelled first, so that the same box comes back.
    answerBox("Chose again");
    whenShown<QFileDialog>([&](QFileDialog& dialog) {
        dialog.reject();
        answerBox("Chose again");
        choose(folder + "/b");
    });
    click(page.startStop);
    QCOMPARE(m_board.journal.count(box), 2);
    QCOMPARE(contentOf("b.prf"), header + "kept");
    QCOMPARE(TOVAConfiguration::m_lastPrfFiles, QStringList{folder + "/b.prf"});

    page.file->setEditText(folder);
    m_board.reads = {Read{"dropped"}};
    answerBox("Cancel");
    click(page.startStop);
    QCOMPARE(page.status->text(), QString("(Stopped Nicely, user has chosen not to save)."));
    QCOMPARE(page.state(), QString("Start!, options"));
}

void tst_recording::exlByteIsTakenWhenTheHeaderIsWritten_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<char>("byte");
    QTest::newRow("at the start") << "In the file on the fly" << '\2';
    QTest::newRow("at the start, hardware") << "HW Circular buffer" << '\2';
    QTest::newRow("at the save") << "SW Circular buffer" << '\1';
}

void tst_recording::exlByteIsTakenWhenTheHeaderIsWritten()
{
    QFETCH(QString, mode);
    RecordPage page(mode);
    m_board.reads = {Read{"", BRAN_SUCCESS, 0, [&] { page.newExl->click(); }}};
    click(page.startStop);
    QTEST(contentOf("a.prf").at(6), "byte");
}

void tst_recording::stopIsAskedForOnce_data()
{
    QTest::addColumn<QString>("mode");
    QTest::newRow("on the fly") << "In the file on the fly";
    QTest::newRow("ring") << "SW Circular buffer";
    QTest::newRow("hardware, before the trigger") << "HW Circular buffer";
}

void tst_recording::stopIsAskedForOnce()
{
    QFETCH(QString, mode);
    RecordPage page(mode);
    const auto clickInPass = [&] {
        QMetaObject::invokeMethod(
            page.tab, [&] { click(page.startStop); }, Qt::QueuedConnection);
    };
    m_board.reads = {Read{"", BRAN_SUCCESS, 201, clickInPass},
                     Read{"", BRAN_SUCCESS, 201, clickInPass},
                     Read{"last", BRAN_RECORDING_FINISHED}};
    QStringList states;
    m_board.reads[2].meanwhile = [&] { states += page.state(); };
    click(page.startStop);
    QCOMPARE(m_board.journal.filter("stop |"), QStringList{"stop | Stop!, no options"});
    QCOMPARE(states, QStringList{"Stop! off, no options, 5000"});
    QCOMPARE(contentOf("a.prf"), header + "last");
    QCOMPARE(page.state(), QString("Start!, options"));
}

void tst_recording::brutalStopCountsDown()
{
    RecordPage page("In the file on the fly");
    QStringList states;
    const auto look = [&] { states += page.state(); };
    const auto expire = [&](int period) {
        return Read{"x", BRAN_SUCCESS, 201, [&, period] {
                        look();
                        page.expire(period);
                    }};
    };
    m_board.reads = {Read{"x", BRAN_SUCCESS, 201,
                          [&] {
                              look();
                              QMetaObject::invokeMethod(page.startStop, "click",
                                                        Qt::QueuedConnection);
                          }},
                     expire(5000),
                     expire(1000),
                     expire(1000),
                     expire(1000),
                     expire(1000),
                     expire(1000),
                     Read{"x", BRAN_SUCCESS, 0, look},
                     Read{"never read"}};
    click(page.startStop);
    QCOMPARE(states, (QStringList{"Stop!, no options", "Stop! off, no options, 5000",
                                  "Stop! off, Brutal stop in 5 seconds!, no options, 1000",
                                  "Stop! off, Brutal stop in 4 seconds!, no options, 1000",
                                  "Stop! off, Brutal stop in 3 seconds!, no options, 1000",
                                  "Stop! off, Brutal stop in 2 seconds!, no options, 1000",
                                  "Stop! off, Brutal stop in 1 seconds!, no options, 1000",
                                  "Stop! off, Brutal stop in 1 seconds!, no options"}));
    QCOMPARE(page.state(), QString("Start!, options"));
    QCOMPARE(page.status->text(), QString("Recorded 8 bytes. (Stopped Brutally!)"));
    QCOMPARE(m_board.reads.size(), 1);
}

void tst_recording::brutalStopByClick()
{
    RecordPage page("HW Circular buffer");
    m_board.reads = {
        Read{"", BRAN_SUCCESS, 201, [&] { page.startStop->click(); }},
        Read{"", BRAN_SUCCESS, 201, [&] { page.expire(5000); }},
        // The trigger fires during the countdown, which goes on.
        Read{"x", BRAN_SUCCESS, 201},
        Read{"x", BRAN_SUCCESS, 201, [&] { click(page.brutalStop); }},
    };
    click(page.startStop);
    QCOMPARE(page.status->text(), QString("Recorded 2 bytes. (Stopped Brutally!)"));
    QCOMPARE(page.state(), QString("Start!, options"));
}

void tst_recording::triggerTakesTheStopAway()
{
    TOVAConfiguration::m_isDoubleClickedProtected = true;
    RecordPage page("HW Circular buffer");
    QStringList states;
    const auto look = [&] { states += page.state() + ", " + page.status->text(); };
    const auto forceClick = [&] {
        look();
        page.startStop->setEnabled(true);
        click(page.startStop);
    };
    m_board.reads = {Read{"", BRAN_SUCCESS, 201}, Read{"x", BRAN_SUCCESS, 201, look},
                     Read{"x", BRAN_SUCCESS, 201, forceClick}, Read{"x", BRAN_SUCCESS, 0, look}};
    click(page.startStop);
    QCOMPARE(states, (QStringList{"Stop! off, no options, 1000, Waiting for trigger...",
                                  "Stop! off, no options, Triggered! Recorded 1 bytes.",
                                  "Stop! off, no options, Triggered! Recorded 2 bytes."}));
    QCOMPARE(m_board.journal.filter("start |").size(), 1);
    QCOMPARE(m_board.journal.filter("stop |").size(), 0);
    QCOMPARE(contentOf("a.prf"), header + "xxx");
}

void tst_recording::doubleClickProtectionEndsWithTheRecording()
{
    TOVAConfiguration::m_isDoubleClickedProtected = true;
    RecordPage page;
    page.startStop->setFocus();
    QStringList states;
    const auto look = [&] { states += page.state(); };
    m_board.reads = {Read{"", BRAN_SUCCESS, 0, look}};
    QTest::mouseClick(page.startStop, Qt::LeftButton);
    QCOMPARE(page.state(), QString("Start!, options"));
    // Too soon, that is a double click on "Stop!".
    QTest::keyClick(page.startStop, Qt::Key_Space);
    m_board.now += QApplication::doubleClickInterval();
    m_board.reads = {Read{"", BRAN_SUCCESS, 201,
                          [&] {
                              look();
                              page.expire(1000);
                          }},
                     Read{"", BRAN_SUCCESS, 0, look}};
    QTest::keyClick(page.startStop, Qt::Key_Space);
    QCOMPARE(states, (QStringList{"Stop! off, no options, 1000", "Stop! off, no options, 1000",
                                  "Stop!, no options"}));
    QVERIFY(page.startStop->hasFocus());
}

QTEST_MAIN(tst_recording)
#include "tst_recording.moc"
