#include "board/flashimage.h"
#include "simulator/board.h"
#include "simulator/trace.h"

#include <QCryptographicHash>
#include <QProcess>
#include <QtTest>

#include <cstring>
#include <iostream>
#include <sstream>
#include <sys/stat.h>

namespace
{

constexpr unsigned flashSize = 0x01000000;
FlashImage image;
QByteArray recordFile;
float progress = 0;
int reports = 0;

void connectBoard(const QByteArray& parameters)
{
    qputenv("BRAN_SIMULATOR", parameters);
    simulator::forgetBoard();
}

bool writeFile(const QString& name, const QByteArray& content)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

QByteArray contentOf(const QString& name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Shows the image's address and size, its last bytes and one more, and where the calibration is.
QString add(const QByteArray& file)
{
    unsigned size = 0;
    if (const auto result = BRAN_FillFlashImage(file, image.get(), size); result != BRAN_SUCCESS) {
        return BRAN_GetErrorString(result);
    }
    const unsigned used = image->endAddress - image->baseAddress;
    const QByteArray bytes(image->data, int(used + 1));
    return QString::asprintf("%x+%x %s %d", image->baseAddress, used, bytes.right(6).toHex().data(),
                             int(bytes.indexOf("cal")));
}

/// Fills a new image. A slash ends a line, @ and $ are a byte at the flash's address and at 0, ~ is
/// the end.
QString load(QByteArray text, bool isFull)
{
    text.replace('@', ":020000040100F9/:01000000619E/").replace('$', ":0100000041BE/");
    writeFile("content", text.replace('~', ":00000001FF/").replace('/', '\n'));
    image.reset(BRAN_CreateFlashImage(flashSize, flashSize, isFull, false));
    return add("content");
}

/// Burns and verifies. Shows how that ended and where: 1 is after the burn, 2 after the verify.
QString burn(unsigned address, int size, bool verify)
{
    QByteArray data(size, 'd');
    progress = 0;
    const BRAN_ERR_T result = BRAN_DownloadFlash(
        address, data.data(), unsigned(size), false, verify,
        [](float fraction) { progress = fraction, ++reports; },
        [](float fraction) { progress = 1 + fraction; });
    return BRAN_GetErrorString(result) + QStringLiteral(" %1").arg(progress);
}

/// Records until the end; asks for a stop after ten reads. Shows size and hash of the record file.
QString record(const BRAN_RECORD_CONFIG_T& config, unsigned long pauseMs)
{
    BRAN_RECORD_CONTEXT_T context = {};
    recordFile = QByteArray("DBGP\1\0\2\0", 8);
    BRAN_ERR_T result = BRAN_StartRecording(config, context);
    for (int reads = 1; result == BRAN_SUCCESS && reads < 9999; ++reads) {
        QByteArray buffer(512, '\0');
        unsigned size = 0;
        result = BRAN_GetRecordData(context, buffer.data(), unsigned(buffer.size()), size);
        recordFile += buffer.left(int(size));
        if (reads == 1 && pauseMs > 0) {
            QThread::msleep(pauseMs);
        } else if (reads == 10) {
            BRAN_StopRecordingRequest(context);
        }
    }
    const auto hash = QCryptographicHash::hash(recordFile, QCryptographicHash::Md5).toHex();
    return QString(BRAN_GetErrorString(result)).section(' ', -1) +
           QString::asprintf(" %d %.6s", int(recordFile.size()), hash.data());
}

/// What checkrecord says of the record file with some bytes replaced, and its result if strict.
QString check(int offset, int removed, const QByteArray& inserted)
{
    writeFile("a.prf", QByteArray(recordFile).replace(offset, removed, inserted));
    QProcess shell;
    const QString command =
        "'" CHECKRECORD "' a.prf; '" CHECKRECORD "' --strict a.prf >&2; echo $?";
    shell.start("sh", {"-c", command});
    shell.waitForFinished();
    return QString(shell.readAllStandardOutput()).simplified().mid(7);
}

/// One operation of the board: a word and its arguments, numbers in hex.
QString answerTo(const QString& operation)
{
    const QStringList words = operation.split(' ');
    const auto number = [&](int index) { return words.value(index).toUInt(nullptr, 16); };
    const QString &name = words[0], text = words.value(1);
    unsigned version = 0;
    if (name == "version") {
        const BRAN_ERR_T result = BRAN_GetVersion(&version);
        return result == BRAN_SUCCESS ? QString::number(version, 16) : BRAN_GetErrorString(result);
    }
    return name == "load"    ? load(text.toLatin1(), number(2) != 0)
           : name == "add"   ? add(text.toLatin1())
           : name == "burn"  ? burn(number(1), words.size() > 2 ? 2 : 200, words.size() == 2)
           : name == "check" ? check(int(number(1)), int(number(2)), words.value(3).toLatin1())
                             : record({number(1), number(2) != 0, number(3) != 0, number(4) != 0,
                                       number(5), number(5), std::uint16_t(number(6)), number(7),
                                       std::uint8_t(number(8)), std::uint8_t(number(8))},
                                      number(9));
}

} // namespace

class tst_board : public QObject
{
    Q_OBJECT

private slots:
    // A version that is read must not be taken for a real board's.
    void initTestCase()
    {
        QDir::setCurrent(m_folder.path());
        writeFile("cal", "cal");
        writeFile("large", QByteArray(int(flashSize) - 0x20000 + 1, 'c'));
        ::mkfifo("fifo", 0600);
        std::ostringstream heard;
        auto* const usual = std::cerr.rdbuf(heard.rdbuf());
        answerTo("version");
        BRAN_ResetTarget();
        std::cerr.rdbuf(usual);
        QCOMPARE(QString::fromStdString(heard.str()).count('\n'), 1);
    }

    void doesAsItIsTold_data()
    {
        QTest::addColumn<QByteArray>("parameters");
        QTest::addColumn<QString>("operations");
        QTest::addColumn<QString>("answers");
        const auto row = [](const QByteArray& parameters, const QString& operations,
                            const QString& answers) {
            QTest::newRow(qPrintable(parameters + ": " + operations))
                << parameters << operations << answers;
        };
        const QString any = "version; load @~; burn 1000000", twice = "record 1; record 1";
        row("version=1,version=0x4711", any, "4711; 1000000+1 61ff -1; no error 2");
        row("board=none", any, "no board; 1000000+1 61ff -1; no board is connected 0");
        row("flash=content", any, "10203; 1000000+1; content: does not hold 16777216 bytes 0");
        row("speed=1", "burn 1000000", "BRAN_SIMULATOR: there is no parameter \"speed\" 0");
        for (const QByteArray wrong : {"pace=", "pace=1K", "version=0x100000000", "fail=reset",
                                       "fail=burn@0", "skip=0x02000000", "stop=now"}) {
            row(wrong, "version", "BRAN_SIMULATOR: the value in \"" + wrong + "\" is not valid");
        }
        row("fail=version", "version; version", "told to fail: version; told to fail: version");
        row("fail=fill@1:a,fail=fill@3:b\\,c:d,fail=create@2:no room",
            "load $~; load ~; load ~; load $~", "a; no room; b,c:d; 0+1 41ff -1");
        row("fail=burn@2,fail=verify@2:v", "burn 1000000; burn 1000000; burn 1000000",
            "no error 2; told to fail: burn 0.5; v 1.5");
        row("skip=0x01002FFF", "burn 1001F9C; burn 1003000", "at 0x01002000 1.5; no error 2");
        row("", "burn FFFFFF; burn 1FFFF39; burn 1FFFF38", "not fit; not fit; no error 2");
        // Load files, whole and refused.
        row("",
            "load :020000021234B6\r/\r/:01000600ab4e/:01000400619A/:01000300629A/:010007006395/~",
            "12343+5 6261ffab63ff -1");
        row("", "load :020000040100F9/:02FFFF0061623D/~", "100ffff+2 6162ff -1");
        row("", "load $:0100010041BE", "line 2: the checksum is wrong");
        row("", "load :0100000041B; load $; load ~", "line 1: the record is cut; no end; no data");
        row("", "load ~$; load $@~",
            "line 2: the end record stands before; line 3: the data spans");
        row("", "load $$; load :01000100619D/:0200000061623B",
            "overlaps; line 2: the data overlaps");
        row("", "load ; add none; add fifo",
            "empty; cannot be opened: No such file; not a regular");
        // Calibration files go to the next free sector.
        row("", "load @:01FFFF007A87/~; add cal",
            "1000000+10000; 1000000+10003 ff7a63616cff 65536");
        row("", "load @:020000040101F8/:010000007A85/~; add large; add cal",
            "1000000+10001; too large; 1000000+20003 ffff63616cff 131072");
        row("", "load @~ 1; add cal", "1000000+1000000; 1000000+1000000 ffffffffff00 65536");
        // Recordings: mode, trigger by address, standard tag, tag; address, tag, processor, filter.
        row("rate=0", "record 1; record 1 0 0 0 0 0 0 40", "finished 5144 5140dc; 5144 2d1a4f");
        row("rate=0", "record 1 1 0 0 1000010; record 1 0 1; record 1 0 0 1 0 1A03 1 40",
            "5144 91ef3e; 5144 3ac69c; 5144 854844");
        row("rate=0", "record 1 1 1 1 1000400 1A02; record 1 0 0 1 0 1A33", "871985; 8 be3414");
        row("rate=0", "record 0 0 1; record 0 0 0 1 0 1A03", "2097152 7b060b; 3056 338a91");
        row("rate=20971520,trigger=30", "record 0", "finished 629144 c4a951");
        row("rate=0,fail=start@1:no link", twice, "link 8 be3414; finished 5144 5140dc");
        row("rate=0,fail=read@3:cable,failbytes=99", twice, "cable 1131 5261a1; finished 5144");
        row("rate=0,unplug=1000", twice, "unplugged 1008 2f2602; connected 8 be3414");
        row("rate=0,finish=1000", twice, "finished 1008 2f2602; finished 1008 2f2602");
        row("rate=0,stop=ignored", "record 1", "error 5118984 01c7db");
        // Damages. Frames begin at 8, F8 and 110.
        row("rate=0", "record 1; check; check 2 1 x; check F8 1 x; check FF 1 x; check F8 18",
            "finished; 5136 trace bytes, whole 0; offset 0: no header of a record file 1; "
            "offset 248: the sync word is missing 1; offset 248: the checksum is wrong 1; "
            "offset 272: the sequence number is not the next one 1");
        row("rate=0", "record 1; check 1418 0 x; check 8 1; check 1417 1",
            "finished; offset 5144: what remains is no whole frame 1; whole 1; 5135 trace bytes, "
            "whole 1");
    }
    void doesAsItIsTold()
    {
        QFETCH(const QByteArray, parameters);
        QFETCH(const QString, operations);
        QFETCH(const QString, answers);
        connectBoard(parameters);
        QStringList expected = answers.split("; ");
        for (const QString& operation : operations.split("; ")) {
            const QString answer = answerTo(operation);
            QVERIFY2(answer.contains(expected.takeFirst()), qPrintable(answer));
        }
    }

    void flashIsKeptInItsFile()
    {
        connectBoard("flash=a\\,b.bin");
        answerTo("burn 1012345");
        connectBoard("flash=a\\,b.bin");
        answerTo("burn 1FFFF38");
        const QByteArray flash = contentOf("a,b.bin");
        QVERIFY(flash.indexOf('d') == 0x12345 && flash.count('d') == 400);
    }

    // The program's window lives on the reports, so a slow step repeats the last one.
    void burnIsPaced()
    {
        connectBoard("pace=4");
        reports = 0;
        QElapsedTimer timer;
        timer.start();
        answerTo("burn 1000000 2");
        QVERIFY(timer.elapsed() >= 499 && reports > 100);
    }

    void overrunIsSeenAndCounted()
    {
        connectBoard("rate=20971520,buffer=1048576,report=counts");
        answerTo("record 1 1 0 0 1000010 0 0 0 64");
        QCOMPARE(answerTo("check"),
                 QString("offset 536: the sequence number is not the next one 1"));
        simulator::Frame last = {};
        std::memcpy(&last, recordFile.constEnd() - sizeof last, sizeof last);
        const auto generated = int((last.time / 16 + 1 - 8) * sizeof last);
        const int delivered = int(recordFile.size()) - 8;
        QVERIFY(delivered / 0x100000 == 1);
        QCOMPARE(contentOf("counts"), QString::asprintf("generated %d delivered %d lost %d\n",
                                                        generated, delivered, generated - delivered)
                                          .toLatin1());
    }

    void makersLibraryIsKept()
    {
        const QString script = QFINDTESTDATA("../simulator/place-in-lib");
        const QByteArray built = "Tovalink simulated board, built";
        const QByteArray older = "\177ELF, Tovalink simulated board";
        QVERIFY(writeFile("built.so", built) && writeFile("older.so", older));
        QVERIFY(writeFile("maker.so", "maker") && QFile::link("older.so", "link.so"));
        for (const char* to : {"new.so", "link.so", "older.so", "maker.so"}) {
            const QByteArray kept = contentOf(to) == "maker" ? "maker" : built;
            QProcess::execute(script, {"built.so", to});
            QCOMPARE(contentOf(to), kept);
            // A link is replaced itself, not what it leads to.
            QVERIFY(QByteArray(to) != "link.so" || contentOf("older.so") == older);
        }
    }

private:
    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(tst_board)
#include "tst_board.moc"
