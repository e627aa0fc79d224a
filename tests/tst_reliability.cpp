#include "board/errorreport.h"
#include "tests/support/cleanstart.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <QProcess>

using Store = TOVAConfiguration;

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

    void anyErrorTextCanBeShown_data()
    {
        const Texts text;
        const QString noReason = "The board library gives no reason for its error 77.";
        text.row("none", QByteArray(), noReason);
        text.row("empty", "", noReason);
        text.row("Latin-1", "\xFC\x80<b>", QString::fromLatin1("\xFC\x80<b>"));
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
