#include "board/errorreport.h"
#include "config/configuration.h"
#include "tests/support/cleanstart.h"
#include "tests/support/fulldisk.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <QProcess>

#include <csignal>
#include <optional>

using Read = ScriptedBoard::Read;
using Store = TOVAConfiguration;

namespace
{

QByteArray counted(int size)
{
    QByteArray bytes(size, '\0');
    for (int at = 0; at < size; ++at) {
        bytes[at] = char(at * 7 + (at >> 8));
    }
    return bytes;
}

/// Records for ever into the file and says at each refresh how much has been recorded.
int recordForEver(int argc, char* argv[])
{
    QApplication application(argc, argv);
    RecordPage page(onTheFly);
    page.file->setEditText(argv[2]);
    const QByteArray bytes = counted(1000);
    qint64 total = 0;
    std::function<void()> again = [&] {
        QTextStream(stdout) << page.status->text() << Qt::endl;
        for (int each = 0; each < 40; ++each) {
            board.reads.push_back({bytes});
            total += bytes.size();
        }
        board.reads.push_back({"", BRAN_SUCCESS, 201});
        board.reads.push_back({"", BRAN_SUCCESS, 0, again});
    };
    board.reads = {Read{"", BRAN_SUCCESS, 0, again}};
    page.startStop->click();
    return 0;
}

/// Changes and saves the recent files for ever.
int saveForEver(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    for (int round = 0;; ++round) {
        Store::addLastLod(QString(1 + round % 3000, QLatin1Char('x')), true);
        if (Store::dumpConfig() && round == 0) {
            QTextStream(stdout) << "saved" << Qt::endl;
        }
    }
}

} // namespace

class tst_reliability : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_start.emplace();
        Store::m_isDoubleClickedProtected = false;
    }

    void fullDiskEndsTheRecording_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<int>("room");
        QTest::addColumn<bool>("answers");
        for (const QString& mode : {onTheFly, hardware}) {
            const auto row = [&](const char* name, int room, bool answers) {
                QTest::newRow(qPrintable(mode + ": " + name)) << mode << room << answers;
            };
            row("in the header", 4, true);
            row("in the first refresh", 1000, true);
            row("in the middle of a read", 40000, true);
            row("with the last bytes", 50000 + 8, true);
            row("and the stop is not answered", 40000, false);
        }
    }
    void fullDiskEndsTheRecording()
    {
        QFETCH(QString, mode);
        QFETCH(int, room);
        QFETCH(bool, answers);
        RecordPage page(mode);
        const QByteArray bytes = counted(50100);
        const int piece = mode == hardware ? 500 : 20000;
        for (int at = 0; at < bytes.size(); at += piece) {
            board.reads.push_back({bytes.mid(at, piece), BRAN_SUCCESS, 201});
        }
        board.reads.back().result = BRAN_RECORDING_FINISHED;
        if (!answers) {
            board.onStop = [this, &page] {
                board.reads.clear();
                for (const int period : {5000, 1000, 1000, 1000, 1000, 1000}) {
                    board.reads.push_back(
                        {"dropped", BRAN_SUCCESS, 201, [&page, period] { page.expire(period); }});
                }
                board.reads.push_back({"never read"});
            };
        }
        QStringList boxes;
        whenShown<QMessageBox>([&](QMessageBox& box) {
            boxes += box.windowTitle() + ": " + box.text();
            box.accept();
        });
        {
            const FullDisk disk(static_cast<rlim_t>(room));
            page.startStop->click();
        }
        const int safe = std::max(room - 8, 0);
        QCOMPARE(boxes, QStringList{QStringLiteral("Tovalink: Cannot write a.prf: File too large. "
                                                   "The first %1 bytes of the recording are in the "
                                                   "file.")
                                        .arg(safe)});
        QCOMPARE(page.status->text(),
                 QStringLiteral("Recorded %1 bytes. (Stopped on error!)").arg(safe));
        QCOMPARE(contentOf("a.prf"), (QByteArray("DBGP\1\0\2\0", 8) + bytes).left(room));
        QCOMPARE(board.journal.filter("stop").size(), room > 50000 ? 0 : 1);
        QCOMPARE(board.reads.empty(), answers);
        QCOMPARE(page.state(), QString("Start!, 10 groups"));
    }

    void unsavedRingStaysInMemory()
    {
        const RecordPage page(ring);
        const QByteArray bytes = counted(20000);
        page.file->setEditText("/dev/full");
        chooseInDialog(m_start->path() + "/b");
        answerBox("Chose again");
        page.record({{bytes}});
        QCOMPARE(board.journal
                     .filter("TOVAlink: Cannot write /dev/full: No space left on device. The "
                             "first 0 bytes of the recording are in the file.")
                     .size(),
                 1);
        QCOMPARE(contentOf("b.prf").mid(8), bytes);
        QCOMPARE(page.status->text(),
                 QString("Dumped 20000 bytes, buffer not full. (Stopped Nicely, saved)."));
    }

    void impossibleReadIsAFailedOne_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::addColumn<int>("code");
        for (const QString& mode : {onTheFly, hardware, ring}) {
            for (const int code : {0, 9, 33}) {
                QTest::newRow(qPrintable(QStringLiteral("%1, %2").arg(mode).arg(code)))
                    << mode << code;
            }
        }
    }
    void impossibleReadIsAFailedOne()
    {
        QFETCH(QString, mode);
        QFETCH(int, code);
        RecordPage page(mode);
        board.reads = {Read{"one"}, Read{"lost", BRAN_ERR_T(code)}};
        board.reads.back().claims = 4000000000U;
        QString text;
        whenShown<QMessageBox>([&](QMessageBox& box) {
            text = box.text();
            box.accept();
        });
        page.startStop->click();
        QCOMPARE(text, QString("The board library reported 4000000000 bytes, which is more than it "
                               "was asked for. They were not recorded."));
        QVERIFY(page.status->text().contains(" 3 bytes"));
        QVERIFY(page.status->text().contains("Stopped on error!"));
        QCOMPARE(contentOf("a.prf").mid(8), mode == ring ? QByteArray() : QByteArray("one"));
    }

    void anyErrorTextCanBeShown_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("shown");
        const QString noReason = "The board library gives no reason for its error 77.";
        QTest::newRow("none") << QByteArray() << noReason;
        QTest::newRow("empty") << QByteArray("") << noReason;
        QTest::newRow("Latin-1") << QByteArray("\xFC\x80<b>") << QString::fromLatin1("\xFC\x80<b>");
        QTest::newRow("1 MB") << QByteArray(1 << 20, 'x') << QString(1000, 'x') + "...";
    }
    void anyErrorTextCanBeShown()
    {
        QFETCH(QByteArray, text);
        board.failureText = text;
        QTEST(boardErrorText(ScriptedBoard::failure), "shown");
    }

    void badConfigurationCostsNothing_data()
    {
        QTest::addColumn<QByteArray>("bad");
        const auto many = [](const char* piece, int count) {
            return QByteArray(piece).repeated(count);
        };
        QTest::newRow("nested") << many("<a>", 500000);
        QTest::newRow("huge") << many("<lastlod path='/more'/>", 5000000);
        QTest::newRow("one long path") << "<lastlod path='" + many("x", 100000000) + "'/>";
        QTest::newRow("binary") << QByteArray::fromHex("00ff013c").repeated(10000);
        QTest::newRow("entities") << "<!DOCTYPE a [<!ENTITY e '" + many("x", 9000) + "'>]>" +
                                         many("&e;", 60000);
        QTest::newRow("element declarations") << "<!DOCTYPE a [<!ELEMENT a " + many("(", 900000);
    }
    void badConfigurationCostsNothing()
    {
        QFETCH(QByteArray, bad);
        QElapsedTimer timer;
        timer.start();
        for (const bool first : {true, false}) {
            Store::m_lastCfpFiles.clear();
            QVERIFY(writeFile("tovaconfig.cfg", first ? "<x><lastcfp path='/good'/>" + bad : bad));
            QVERIFY(!Store::readConfig());
            QCOMPARE(Store::m_lastCfpFiles.size(), first ? 1 : 0);
        }
        QVERIFY(timer.elapsed() < 10000);
    }

    void killCostsOneRefreshAtMost()
    {
        for (int round = 0; round < m_kills; ++round) {
            const QString last = killed("--record", m_start->path() + "/kill.prf", round);
            const int told = last.section(' ', 1, 1).toInt();
            const QByteArray file = contentOf("kill.prf").mid(8);
            QVERIFY2(file.size() >= told, qPrintable(last));
            QVERIFY(file == counted(1000).repeated(file.size() / 1000 + 1).left(file.size()));
        }
    }
    void killLeavesAWholeConfiguration()
    {
        for (int round = 0; round < m_kills; ++round) {
            killed("--save", QString(), round);
            QVERIFY(Store::readConfig());
            QVERIFY(!Store::m_lastLodFiles.isEmpty());
            Store::m_lastLodFiles.clear();
        }
    }

private:
    /// Runs this program in the role, kills it some time after its first line, returns its last
    /// one.
    QString killed(const QString& role, const QString& file, int round)
    {
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(), {role, file});
        if (!process.waitForReadyRead()) {
            return {};
        }
        QThread::usleep(round * 200UL);
        process.kill();
        process.waitForFinished();
        const QStringList lines = QString::fromUtf8(process.readAllStandardOutput()).split('\n');
        return lines.value(lines.size() - 2);
    }

    static constexpr int m_kills = 100;
    std::optional<CleanStart> m_start;
};

int main(int argc, char* argv[])
{
    static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
    const QByteArray role = argc > 1 ? argv[1] : "";
    if (role == "--record") {
        return recordForEver(argc, argv);
    }
    if (role == "--save") {
        return saveForEver(argc, argv);
    }
    const QApplication application(argc, argv);
    tst_reliability test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_reliability.moc"
