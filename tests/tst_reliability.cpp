#include "board/errortext.h"
#include "tests/support/cleanstart.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <QProcess>

#include <cerrno>
#include <dlfcn.h>

using Store = TOVAConfiguration;

/// As on a server's disk, where only a synchronisation tells that there was no room for it.
static bool syncFails = false;

extern "C" int fdatasync(int descriptor)
{
    static const auto systems = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fdatasync"));
    errno = EDQUOT;
    return syncFails ? -1 : systems(descriptor);
}

namespace
{

constexpr int kills = 100;

using Texts = Table<QByteArray, QString>;

QByteArray counted(int size)
{
    QByteArray bytes(size, '\0');
    for (int at = 0; at < size; ++at) {
        bytes[at] = char(at * 7 + (at >> 8));
    }
    return bytes;
}

/// Records for ever and says at each refresh how much has been recorded.
void recordForEver()
{
    const RecordPage page(onTheFly);
    const QByteArray bytes = counted(1000);
    std::function<void()> again = [&] {
        QTextStream(stdout) << page.status->text() << Qt::endl;
        board.reads.insert(board.reads.end(), 40, {bytes});
        board.reads.push_back({"", BRAN_SUCCESS, 201});
        board.reads.push_back({"", BRAN_SUCCESS, 0, again});
    };
    page.record({{"", BRAN_SUCCESS, 0, again}});
}

/// Changes and saves the recent files for ever.
void saveForEver()
{
    for (int round = 0;; ++round) {
        Store::addLastLod(QString(1 + round % 3000, QLatin1Char('x')), true);
        if (Store::dumpConfig() && round == 0) {
            QTextStream(stdout) << "saved" << Qt::endl;
        }
    }
}

/// Runs this program for ever in that role, kills it some time after its first line, and returns
/// its last one.
QString killed(const QString& role, int round)
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {role});
    if (!process.waitForReadyRead()) {
        return "nothing";
    }
    QThread::usleep(round * 200UL);
    process.kill();
    process.waitForFinished();
    const QStringList lines = QString::fromUtf8(process.readAllStandardOutput()).split('\n');
    return lines.value(lines.size() - 2);
}

} // namespace

class tst_reliability : public CleanTest
{
    Q_OBJECT

private slots:
    void killCostsOneRefreshAtMost()
    {
        for (int round = 0; round < kills; ++round) {
            const QString last = killed("record", round);
            const QByteArray file = contentOf("a.prf").mid(8);
            QVERIFY2(last == "" || last.startsWith("Recorded "), qPrintable(last));
            QVERIFY2(file.size() >= last.section(' ', 1, 1).toInt(), qPrintable(last));
            QVERIFY(file == counted(1000).repeated(file.size() / 1000 + 1).left(file.size()));
        }
    }

    void killLeavesAWholeConfiguration()
    {
        for (int round = 0; round < kills; ++round) {
            QCOMPARE(killed("save", round), QString("saved"));
            QVERIFY(Store::readConfig());
            QVERIFY(!Store::m_lastLodFiles.isEmpty());
            clearStore();
        }
    }

    void impossibleReadIsToldInABrutalStopToo()
    {
        for (const QString& mode : {onTheFly, hardware, ring}) {
            const RecordPage page(mode);
            board.journal.clear();
            answerBox();
            page.record({{"", BRAN_SUCCESS, 0, [&page] { page.tab->brutalStop(); }, 32769}});
            QCOMPARE(board.journal.filter("reported 32769 bytes").size(), 1);
            QVERIFY(page.status->text().endsWith("(Stopped on error!)"));
        }
    }

    void lateFailureIsTold()
    {
        for (const QString& mode : {onTheFly, hardware}) {
            const RecordPage page(mode);
            board.journal.clear();
            answerBox();
            page.record({{"trace", BRAN_RECORDING_FINISHED, 0, [] { syncFails = true; }}});
            syncFails = false;
            const QString box = "Tovalink: Cannot write a.prf to its end: Disk quota exceeded. Its "
                                "last bytes may be missing.";
            QCOMPARE(board.journal.filter(box).size(), 1);
            QCOMPARE(page.status->text(), QString("Recorded 5 bytes. (Stopped on error!)"));
            QCOMPARE(page.state(), QString("Start!, 10 groups"));
        }
    }

    void anyErrorTextCanBeShown_data()
    {
        const Texts text;
        const QString noReason = "The board library gives no reason for its error 77.";
        text.row("none", QByteArray(), noReason);
        text.row("empty", "", noReason);
        text.row("Latin-1", "\xFC\x80<b>", QString::fromLatin1("\xFC\x80<b>"));
        text.row("200 lines", QByteArray("x\n").repeated(200),
                 QString("x\n").repeated(20).chopped(1) + "...");
        text.row("1 MB", QByteArray(1 << 20, 'x'), QString(1000, 'x') + "...");
    }
    void anyErrorTextCanBeShown()
    {
        const auto [text, shown] = Texts::fetch();
        board.failureText = text;
        QCOMPARE(boardErrorText(ScriptedBoard::failure), shown);
    }
};

int main(int argc, char* argv[])
{
    const QByteArray role = argc > 1 ? argv[1] : "";
    if (role == "save") {
        saveForEver();
    }
    const QApplication application(argc, argv);
    if (role == "record") {
        recordForEver();
    }
    tst_reliability test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_reliability.moc"
