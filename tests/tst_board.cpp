#include "board/flashimage.h"
#include "simulator/board.h"
#include "simulator/trace.h"

#include <QCryptographicHash>
#include <QProcess>
#include <QtTest>

#include <chrono>
#include <cstring>
#include <iostream>
#include <sstream>
#include <sys/stat.h>

using Work = QStringList (*)();
Q_DECLARE_METATYPE(Work)

namespace
{

constexpr unsigned flashSize = 0x01000000;

// Load files of one byte, at 0 and at the beginning of the flash, and the end of any.
const QByteArray low = ":0100000041BE\n";
const QByteArray first = ":020000040100F9\n:01000000619E\n";
const QByteArray end = ":00000001FF\n";

FlashImage image;
QByteArray recordFile;
float progress = 0;
int reports = 0;

QByteArray contentOf(const char* name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

const char* written(const char* name, const QByteArray& content)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() ? name : "";
}

QString version()
{
    unsigned number = 0;
    const BRAN_ERR_T result = BRAN_GetVersion(&number);
    return result == BRAN_SUCCESS ? QString::number(number, 16) : BRAN_GetErrorString(result);
}

/// Adds a file to the image. Shows the image's address and size, its last bytes and one more, and
/// where the calibration is.
QString add(const char* file)
{
    unsigned size = 0;
    const BRAN_ERR_T result = BRAN_FillFlashImage(file, image.get(), size);
    if (result != BRAN_SUCCESS) {
        return BRAN_GetErrorString(result);
    }
    const unsigned used = image->endAddress - image->baseAddress;
    const QByteArray bytes(image->data, int(used + 1));
    return QString::asprintf("%x+%x %s %x", image->baseAddress, used, bytes.right(6).toHex().data(),
                             unsigned(bytes.indexOf("cal")));
}

QString load(const QByteArray& content, bool isFull = false)
{
    image.reset(BRAN_CreateFlashImage(flashSize, flashSize, isFull, false));
    return add(written("content", content));
}

/// Burns and verifies. Shows how that ended and where: 1 is after the burn, 2 after the verify.
QString burn(unsigned address, int size = 200)
{
    QByteArray data(size, 'd');
    progress = 0;
    const BRAN_ERR_T result = BRAN_DownloadFlash(
        address, data.data(), unsigned(size), false, size > 2,
        [](float fraction) { progress = fraction, ++reports; },
        [](float fraction) { progress = 1 + fraction; });
    return BRAN_GetErrorString(result) + QStringLiteral(" %1").arg(progress);
}

/// Records until the end; asks for a stop after ten reads. Shows size and hash of the record file.
QString record(const BRAN_RECORD_CONFIG_T& config = {1, false, false, false, 0, 0, 0, 1, 0, 0},
               unsigned long pauseMs = 0)
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
QString check(int offset = 0, int removed = 0, const QByteArray& inserted = {})
{
    written("a.prf", QByteArray(recordFile).replace(offset, removed, inserted));
    QProcess shell;
    shell.start("sh",
                {"-c", "'" CHECKRECORD "' a.prf; '" CHECKRECORD "' --strict a.prf >&2; echo $?"});
    shell.waitForFinished();
    return QString(shell.readAllStandardOutput()).simplified().mid(7);
}

} // namespace

class tst_board : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QDir::setCurrent(m_folder.path());
        // A version that is read must not be taken for a real board's.
        std::ostringstream heard;
        auto* const usual = std::cerr.rdbuf(heard.rdbuf());
        version();
        BRAN_ResetTarget();
        std::cerr.rdbuf(usual);
        QCOMPARE(QString::fromStdString(heard.str()).count('\n'), 1);
    }

    void doesAsItIsTold_data()
    {
        QTest::addColumn<QByteArray>("parameters");
        QTest::addColumn<Work>("work");
        QTest::addColumn<QString>("answers");
        const auto row = [](const QByteArray& parameters, Work work, const QString& answers) {
            QTest::newRow(qPrintable(parameters + ": " + answers)) << parameters << work << answers;
        };
        using All = QStringList;
        const Work any = [] { return All{version(), load(first + end), burn(flashSize)}; };
        row("version=1,version=0x4711", any, "4711; 1000000+1 61ff ffffffff; no error 2");
        const QString absent = "no board is connected";
        row("board=none", any, absent + "; 1000000+1 61ff ffffffff; " + absent + " 0");
        const QString wrongSize = "flash file content: does not hold 16777216 bytes 0";
        row("flash=content", any, "10203; 1000000+1 61ff ffffffff; " + wrongSize);
        row(
            "speed=1", [] { return All{burn(flashSize)}; },
            "BRAN_SIMULATOR: there is no parameter \"speed\" 0");
        for (const QByteArray wrong : {"pace=", "pace=1K", "version=0x100000000", "fail=reset",
                                       "fail=burn@0", "skip=0x02000000", "stop=now"}) {
            const QString failure = "BRAN_SIMULATOR: the value in \"" + wrong + "\" is not valid";
            row(
                wrong,
                [] {
                    return All{version(), version()};
                },
                failure + "; " + failure);
        }
        const QString told = "the simulated board was told to fail: ";
        row(
            "fail=version,fail=fill@1:a,fail=fill@3:b\\,c:d,fail=create@2:no room",
            [] {
                const QByteArray file = low + end;
                return All{version(), version(), load(file), load(file), load(file), load(file)};
            },
            told + "version; " + told + "version; a; no room; b,c:d; 0+1 41ff ffffffff");
        row(
            "fail=burn@2,fail=verify@2:v",
            [] {
                return All{burn(flashSize), burn(flashSize), burn(flashSize)};
            },
            "no error 2; " + told + "burn 0.5; v 1.5");
        const QString outside =
            "the image does not fit into the flash, 0x01000000 to 0x01FFFFFF 0; ";
        row(
            "skip=0x01002FFF",
            [] {
                return All{burn(0x01001F9C), burn(0x01003000), burn(0x00FFFFFF), burn(0x01FFFF39),
                           burn(0x01FFFF38)};
            },
            "verification failed at 0x01002000 1.5; no error 2; " + outside + outside +
                "no error 2");
        row(
            "flash=a\\,b.bin",
            [] {
                const QString burnt =
                    burn(0x01012345) + (simulator::forgetBoard(), burn(0x01FFFF38));
                const QByteArray flash = contentOf("a,b.bin");
                return All{burnt, QString::asprintf("%x %d", unsigned(flash.indexOf('d')),
                                                    int(flash.count('d')))};
            },
            "no error 2no error 2; 12345 400");
        // A slow step repeats the last report.
        row(
            "pace=4",
            [] {
                const auto begin = std::chrono::steady_clock::now();
                reports = 0;
                const QString answer = burn(flashSize, 2);
                const auto time = std::chrono::steady_clock::now() - begin;
                return All{answer, reports > 100 ? "alive" : "",
                           time < std::chrono::milliseconds(499) ? "fast" : ""};
            },
            "no error 1; alive; ");
        // Load files, whole and refused.
        row(
            "",
            [] {
                return All{load(":020000021234B6\r\n\r\n:01000600ab4e\n:01000400619A\n:"
                                "01000300629A\n:010007006395\n" +
                                end),
                           load(":020000040100F9\n:02FFFF0061623D\n" + end)};
            },
            "12343+5 6261ffab63ff ffffffff; 100ffff+2 6162ff ffffffff");
        row(
            "",
            [] {
                return All{load(low + ":0100010041BE\n"),
                           load(low.left(12)),
                           load(low),
                           load(end),
                           load(end + low),
                           load("")};
            },
            "line 2: the checksum is wrong; line 1: the record is cut short; the file has no end "
            "record; the file holds no data; line 2: the end record stands before this line; the "
            "file is empty or too large");
        row(
            "",
            [] {
                return All{load(low + low), load(":01000100619D\n:0200000061623B\n"),
                           load(low + first), add("none"), (::mkfifo("fifo", 0600), add("fifo"))};
            },
            "line 2: the data overlaps that of an earlier line; line 2: the data overlaps that of "
            "an earlier line; line 3: the data spans more than fits into the image; cannot be "
            "opened: No such file or directory; is not a regular file");
        // Calibration files go to the next free sector.
        row(
            "",
            [] {
                const QByteArray large(int(flashSize) - 0x20000 + 1, 'c');
                return All{load(first + ":01FFFF007A87\n" + end),
                           add(written("cfp", "cal")),
                           load(first + ":020000040101F8\n:010000007A85\n" + end),
                           add(written("large", large)),
                           add("cfp"),
                           load(first + end, true),
                           add("cfp")};
            },
            "1000000+10000 ffffffff7aff ffffffff; 1000000+10003 ff7a63616cff 10000; 1000000+10001 "
            "ffffffff7aff ffffffff; the file is empty or too large; 1000000+20003 ffff63616cff "
            "20000; 1000000+1000000 ffffffffff00 ffffffff; 1000000+1000000 ffffffffff00 10000");
        // Streams by mode, triggers and processor, then the board's own buffer.
        row(
            "rate=0",
            [] {
                return All{record(),
                           record({1, false, false, false, 0, 0, 0, 0, 0x40, 0x40}),
                           record({1, true, false, false, 0x01000010, 0x01000010, 0, 0, 0, 0}),
                           record({1, false, false, true, 0, 0, 0x1A03, 1, 0x40, 0x40}),
                           record({1, true, true, true, 0x01000400, 0x01000400, 0x1A02, 0, 0, 0}),
                           record({1, false, false, true, 0, 0, 0x1A33, 1, 0x40, 0x40}),
                           record({1, false, true, false, 0, 0, 0, 0, 0, 0})};
            },
            "finished 5144 5140dc; finished 5144 2d1a4f; finished 5144 91ef3e; finished 5144 "
            "854844; finished 5144 871985; finished 8 be3414; finished 5144 3ac69c");
        row(
            "rate=0",
            [] {
                return All{record({0, false, true, false, 0, 0, 0, 0, 0, 0}),
                           record({0, false, false, true, 0, 0, 0x1A03, 1, 0, 0})};
            },
            "finished 2097152 7b060b; finished 3056 338a91");
        row(
            "rate=20971520,trigger=30", [] { return All{record({})}; }, "finished 629144 c4a951");
        const Work twice = [] { return All{record(), record()}; };
        row("rate=0,fail=start@1:no link", twice, "link 8 be3414; finished 5144 5140dc");
        row("rate=0,fail=read@3:cable,failbytes=99", twice,
            "cable 1131 5261a1; finished 5144 5140dc");
        row("rate=0,unplug=1000", twice, "unplugged 1008 2f2602; connected 8 be3414");
        row("rate=0,finish=1000", twice, "finished 1008 2f2602; finished 1008 2f2602");
        row("rate=0,stop=ignored", twice, "error 5118984 01c7db; error 5118984 01c7db");
        // An overrun: the gap is where the reader slept, and all is counted from the trigger on.
        row(
            "rate=20971520,buffer=1048576,report=counts",
            [] {
                record({1, true, false, false, 0x01000010, 0x01000010, 0, 0, 0, 0}, 100);
                const qint64 delivered = recordFile.size() - 8;
                simulator::Frame last = {};
                std::memcpy(&last, recordFile.constEnd() - sizeof last, sizeof last);
                const qint64 generated = qint64(last.time / 16 + 1 - 8) * 24;
                const QString counts = QStringLiteral("generated %1 delivered %2 lost %3\n")
                                           .arg(generated)
                                           .arg(delivered)
                                           .arg(generated - delivered);
                return All{check(), contentOf("counts") == counts ? "counted" : contentOf("counts"),
                           QString::number(delivered / 0x100000)};
            },
            "offset 536: the sequence number is not the next one 1; counted; 1");
        // Damages. Frames begin at 8, 32, 56 and 248.
        row(
            "rate=0",
            [] {
                return All{record(),
                           check(),
                           check(2, 1, "x"),
                           check(248, 1, "x"),
                           check(255, 1, "x"),
                           check(248, 24),
                           check(5144, 0, "x"),
                           check(8, 1),
                           check(5143, 1),
                           check(8, 48, recordFile.mid(32, 24) + recordFile.mid(8, 24))};
            },
            "finished 5144 5140dc; 5136 trace bytes, whole 0; offset 0: no header of a record file "
            "1; offset 248: the sync word is missing 1; offset 248: the checksum is wrong 1; "
            "offset 272: the sequence number is not the next one 1; offset 5144: what remains is "
            "no whole frame 1; 5135 trace bytes, whole 1; 5135 trace bytes, whole 1; offset 32: "
            "the frame is older than the one before it 1");
    }
    void doesAsItIsTold()
    {
        QFETCH(const QByteArray, parameters);
        QFETCH(const Work, work);
        QFETCH(const QString, answers);
        qputenv("BRAN_SIMULATOR", parameters);
        simulator::forgetBoard();
        const QString seen = work().join("; ");
        QVERIFY2(seen == answers, qPrintable(seen));
    }

    void makersLibraryIsKept()
    {
        const QString script = QFINDTESTDATA("../simulator/PlaceInLib.cmake");
        const QByteArray built = "Tovalink simulated board, built";
        const QByteArray older = "\177ELF, Tovalink simulated board";
        QVERIFY(*written("built.so", built) && *written("older.so", older));
        QVERIFY(*written("maker.so", "maker") && QFile::link("older.so", "link.so"));
        for (const char* to : {"new.so", "link.so", "older.so", "maker.so"}) {
            const QByteArray kept = contentOf(to) == "maker" ? "maker" : built;
            QProcess::execute("cmake", {"-DFROM=built.so", QString("-DTO=") + to, "-P", script});
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
