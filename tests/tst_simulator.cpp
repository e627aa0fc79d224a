#include "board/flashimage.h"
#include "tests/support/simulatedboard.h"

#include <QElapsedTimer>
#include <QProcess>

#include <numeric>
#include <sys/stat.h>
#include <vector>

namespace
{

constexpr unsigned flashBase = 0x01000000;
constexpr unsigned flashSize = 0x01000000;
constexpr unsigned sector = 0x10000;
const QByteArray hexEnd = ":00000001FF\n";

/// One line of a load file.
QByteArray hexLine(int type, unsigned offset, const QByteArray& data)
{
    QByteArray bytes = QByteArray(1, char(data.size())) + char(offset >> 8U) + char(offset);
    bytes += char(type) + data;
    const int sum = std::accumulate(bytes.begin(), bytes.end(), 0);
    return ':' + bytes.append(char(-sum)).toHex().toUpper() + '\n';
}

/// The two lines that place `data` at any address.
QByteArray hexAt(unsigned address, const QByteArray& data)
{
    return hexLine(4, 0, QByteArray(1, char(address >> 24U)) + char(address >> 16U)) +
           hexLine(0, address & 0xFFFFU, data);
}

FlashImage createImage(bool fullImage = false)
{
    return FlashImage(BRAN_CreateFlashImage(flashSize, flashBase, fullImage, false));
}

QString fill(const FlashImage& image, const QByteArray& file)
{
    unsigned filledSize = 0;
    return textOf(BRAN_FillFlashImage(file, image.get(), filledSize));
}

QString fillWith(const FlashImage& image, const QByteArray& content)
{
    return writeFile("content", content) ? fill(image, "content") : "not written";
}

std::vector<float> burnReports;
std::vector<float> verifyReports;

/// How a burn fails, if it does, and how far it and its verifying came.
QString burn(unsigned address, QByteArray data, bool verify)
{
    burnReports.clear();
    verifyReports.clear();
    const BRAN_ERR_T result = BRAN_DownloadFlash(
        address, data.data(), unsigned(data.size()), false, verify,
        [](float fraction) { burnReports.push_back(fraction); },
        [](float fraction) { verifyReports.push_back(fraction); });
    QString answer = textOf(result);
    for (const auto& reports : {burnReports, verifyReports}) {
        answer += reports.empty() ? QString() : QStringLiteral(" %1").arg(reports.back());
    }
    return answer;
}

/// What the board answers to "version", "fill", "burn ADDRESS" or "verify ADDRESS".
QString answerTo(const QString& operation)
{
    unsigned version = 0;
    if (operation == "version") {
        const QString failure = textOf(BRAN_GetVersion(&version));
        return failure.isEmpty() ? QString::number(version, 16) : failure;
    }
    if (operation == "fill") {
        return fillWith(createImage(), hexAt(0, "ab") + hexEnd);
    }
    const QString address = operation.section(' ', 1);
    return burn(address.toUInt(nullptr, 16), QByteArray(200, 'd'), operation.startsWith("verify"));
}

using LoadFiles = Table<QByteArray, QString>;
using Parameters = Table<QString, QString, QString>;

} // namespace

class tst_simulator : public QObject
{
    Q_OBJECT

private slots:
    void loadFileIsReadOrRefused_data()
    {
        // What is read is shown as its address and its bytes, with one more on either side.
        const LoadFiles text;
        const QByteArray plain = hexLine(0, 0x10, "\xAB\xCD") + hexEnd;
        const QByteArray byte = ":0100000041BE\n";
        text.row("other line ends and letters", plain.toLower().replace("\n", "\r\n\r\n"),
                 "10 abcdff");
        text.row("a gap", hexLine(0, 0x26, "b") + hexLine(0, 0x24, "a") + hexEnd, "24 61ff62ff");
        text.row("in a segment", hexLine(2, 0, "\x12\x34") + hexLine(0, 5, "a") + hexEnd,
                 "12345 61ff");
        text.row("across 64 KiB", hexAt(0x0100FFFF, "ab") + hexEnd, "100ffff 6162ff");
        text.row("no data", hexEnd, "the file holds no data");
        text.row("damaged", byte + ":0100010041BE", "line 2: checksum is 0xBE, should be 0xBD");
        text.row("cut in a line", ":0100000041B", "line 1: the record is cut short");
        text.row("cut between lines", byte, "line 2: the end record is missing");
        text.row("overlap", hexLine(0, 4, "abcd") + hexLine(0, 1, "abcd") + hexEnd,
                 "line 2: data at 0x00000004 overlaps that of line 1");
        text.row("larger than the flash", byte + hexAt(flashSize, "a") + hexEnd,
                 "line 3: data from 0x00000000 (line 1) to 0x01000000 (line 3) does not fit into "
                 "16777216 bytes");
    }
    void loadFileIsReadOrRefused()
    {
        const auto [text, outcome] = LoadFiles::fetch();
        const FlashImage image = createImage();
        QString seen = fillWith(image, text);
        if (seen.isEmpty()) {
            const QByteArray bytes(image->data, int(image->endAddress - image->baseAddress + 1));
            seen = QString::number(image->baseAddress, 16) + ' ' + bytes.toHex();
        }
        QCOMPARE(seen, outcome);
        // Opening a FIFO would wait for its writer.
        QVERIFY(QFile::exists("fifo") || ::mkfifo("fifo", 0600) == 0);
        QCOMPARE(fill(image, "fifo"), QString("is not a regular file"));
        QCOMPARE(fill(image, "none"), QString("cannot be opened: No such file or directory"));
    }

    void calibrationFollowsTheLoadFile()
    {
        for (const auto& [lastByte, isFull, place] :
             {std::tuple(flashBase + sector - 1, false, sector),
              std::tuple(flashBase + sector, false, 2 * sector),
              std::tuple(flashBase + 1, true, sector)}) {
            const FlashImage image = createImage(isFull);
            const QByteArray load = hexAt(flashBase, "a") + hexAt(lastByte, "z") + hexEnd;
            QCOMPARE(fillWith(image, load), QString());
            const QByteArray tooLarge(int(flashSize - place + 1), 'c');
            QVERIFY(fillWith(image, tooLarge).contains("room for"));
            QCOMPARE(fillWith(image, "calibration"), QString());
            QCOMPARE(QByteArray(image->data + place, 12), QByteArray("calibration\xFF"));
            QCOMPARE(image->endAddress, flashBase + (isFull ? flashSize : place + 11));
        }
    }

    void parametersSteerTheBoard_data()
    {
        const Parameters of;
        const QString told = "the simulated board was told to fail: ";
        const QString absent = "no board is connected; ";
        of.row("version", "version=1,version=0x4711", "version", "4711");
        of.row("always fail", "fail=version", "version; version",
               told + "version; " + told + "version");
        of.row("fail at some", "fail=fill@1:a,fail=fill@3:b", "fill; fill; fill; fill", "a; ; b; ");
        of.row("fail with a text", "fail=burn:a\\,b:c=d", "burn 1000000", "a,b:c=d 0.5");
        of.row("fail half way", "fail=verify@2", "verify 1000000; verify 1000000; verify 1000000",
               " 1 1; " + told + "verify 1 0.5;  1 1");
        of.row("fail to create", "fail=create@2:no room", "fill; fill; fill", "; no room; ");
        of.row("skip", "skip=0x01002FFF", "burn 1001FF0; verify 1001FF0",
               " 1; verification failed at 0x01002000: flash holds 0xFF, should hold 0x64 1 0.08");
        of.row("no board", "board=none", "version; burn 1000000; fill", absent + absent);
        const QString outside = "200 bytes at %1 do not fit into the flash, 0x01000000 to "
                                "0x01FFFFFF";
        of.row("below the flash", "version=1", "burn 0FFFFFF", outside.arg("0x00FFFFFF"));
        of.row("above the flash", "version=1", "burn 1FFFF39; burn 1FFFF38",
               outside.arg("0x01FFFF39") + ";  1");
        of.row("no flash file", "flash=content", "fill; burn 1000000",
               "; flash file content: holds 44 bytes, should hold 16777216");
        for (const char* wrong :
             {"speed=1: there is no such parameter", "version: the value is missing",
              "pace=K: not a number", "version=0x100000000: the number is too large",
              "fail=reset: there is no such operation", "fail=burn@0: occurrences count from 1",
              "skip=0x02000000: the address is not in the flash, 0x01000000 to 0x01FFFFFF",
              "stop=now: the only value is ignored", "stall=2: the time is missing"}) {
            const QString failure = QStringLiteral("BRAN_SIMULATOR: ") + wrong;
            of.row(wrong, QString(wrong).section(':', 0, 0), "version; fill; burn 1000000",
                   failure + "; " + failure + "; " + failure);
        }
    }
    void parametersSteerTheBoard()
    {
        const auto [parameters, operations, answers] = Parameters::fetch();
        connectBoard("pace=0," + parameters);
        QStringList seen;
        for (const QString& operation : lines(operations)) {
            seen += answerTo(operation);
        }
        QCOMPARE(seen, lines(answers));
    }

    void flashIsKeptInItsFile()
    {
        QByteArray flash(int(flashSize), '\xFF');
        for (const unsigned place : {0x12345U, flashSize - 5}) {
            connectBoard("pace=0,flash=a\\,b.bin");
            QCOMPARE(burn(flashBase + place, "bytes", true), QString(" 1 1"));
            flash.replace(int(place), 5, "bytes");
        }
        QVERIFY(contentOf("a,b.bin") == flash);
    }

    // The caller's window lives on the reports alone, so they come faster than the bytes.
    void burnIsPaced()
    {
        connectBoard("pace=8");
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(burn(flashBase, "ab", false), QString(" 1"));
        QVERIFY(timer.elapsed() >= 249 && timer.elapsed() < 5000);
        QCOMPARE(burnReports, (std::vector<float>{0, 0.5, 0.5, 1}));
    }

    void makersLibraryIsKept()
    {
        const QString script = QFINDTESTDATA("../simulator/place-in-lib");
        const QByteArray built = "Tovalink simulated board, built";
        const QByteArray older = "\177ELF, Tovalink simulated board";
        QVERIFY(writeFile("built.so", built));
        QVERIFY(writeFile("older.so", older) && QFile::link("older.so", "link.so"));
        QVERIFY(writeFile("maker.so", "maker") && QFile::link("maker.so", "kept.so"));
        for (const char* place : {"new.so", "link.so", "older.so", "kept.so", "maker.so"}) {
            const QByteArray kept = contentOf(place) == "maker" ? "maker" : built;
            QCOMPARE(QProcess::execute(script, {"built.so", place}), 0);
            QCOMPARE(contentOf(place), kept);
            // A link is replaced itself, not what it leads to.
            QVERIFY(QByteArray(place) != "link.so" || contentOf("older.so") == older);
        }
    }

private:
    WorkingFolder m_folder;
};

QTEST_GUILESS_MAIN(tst_simulator)
#include "tst_simulator.moc"
