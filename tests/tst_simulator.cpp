#include "simulator/board.h"
#include "simulator/intelhex.h"
#include "tests/support/folder.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QtTest>

#include <memory>
#include <sys/stat.h>
#include <vector>

namespace
{

struct ImageDeleter {
    void operator()(BRAN_FLASH_IMAGE_T* image) const { BRAN_DeleteFlashImage(image); }
};
using ImagePointer = std::unique_ptr<BRAN_FLASH_IMAGE_T, ImageDeleter>;

constexpr unsigned flashBase = 0x01000000;
constexpr unsigned flashSize = 0x01000000;
constexpr int sector = 0x10000;

std::vector<float> burnReports;
std::vector<float> verifyReports;
bool versionAnswered = false;
qint64 longestSilence = 0;
QElapsedTimer sinceReport;

void burnReport(float fraction)
{
    // A burn report behind a verify report breaks the order that the caller relies on.
    burnReports.push_back(verifyReports.empty() ? fraction : -1);
    longestSilence = qMax(longestSilence, sinceReport.restart());
    unsigned version = 0;
    versionAnswered = BRAN_GetVersion(&version) == BRAN_SUCCESS && version == 0x4711;
}

void verifyReport(float fraction)
{
    verifyReports.push_back(fraction);
}

void simulate(const QByteArray& parameters)
{
    qputenv("BRAN_SIMULATOR", parameters);
    simulator::forgetBoard();
}

QByteArray record(int type, unsigned offset, const QByteArray& data)
{
    QByteArray bytes;
    bytes.append(char(data.size())).append(char(offset >> 8U)).append(char(offset));
    bytes.append(char(type)).append(data);
    int sum = 0;
    for (const char byte : qAsConst(bytes)) {
        sum -= byte;
    }
    return ':' + bytes.append(char(sum)).toHex().toUpper() + '\n';
}

const QByteArray end = ":00000001FF\n";

QByteArray linearBase(unsigned address)
{
    return record(4, 0, QByteArray(1, char(address >> 24U)) + char(address >> 16U));
}

QByteArray loadFile(unsigned address, const QByteArray& data)
{
    QByteArray text;
    for (int place = 0; place < data.size(); place += 16) {
        const unsigned at = address + unsigned(place);
        text += linearBase(at) + record(0, at & 0xFFFFU, data.mid(place, 16));
    }
    return text + end;
}

QByteArray sample(int size)
{
    QByteArray bytes(size, '\0');
    for (int place = 0; place < size; ++place) {
        bytes[place] = char(place * 7 + place / 251);
    }
    return bytes;
}

QByteArray textOf(BRAN_ERR_T error)
{
    return error == BRAN_SUCCESS ? "" : BRAN_GetErrorString(error);
}

ImagePointer createImage(bool fullImage = false)
{
    return ImagePointer(BRAN_CreateFlashImage(flashSize, flashBase, fullImage, false));
}

QByteArray fill(const ImagePointer& image, const QByteArray& path)
{
    unsigned filledSize = 0;
    return textOf(BRAN_FillFlashImage(path.constData(), image.get(), filledSize));
}

QByteArray fillFrom(const ImagePointer& image, const QByteArray& content)
{
    return writeFile("content", content) ? fill(image, "content") : "not written";
}

QByteArray download(unsigned address, QByteArray data, bool verify)
{
    burnReports.clear();
    verifyReports.clear();
    longestSilence = 0;
    sinceReport.start();
    return textOf(BRAN_DownloadFlash(address, data.data(), unsigned(data.size()), false, verify,
                                     burnReport, verifyReport));
}

// Runs one operation in the way a fault of it is reached, and returns the text of its failure.
QByteArray run(const QByteArray& operation)
{
    unsigned version = 0;
    if (operation == "version") {
        return textOf(BRAN_GetVersion(&version));
    }
    if (operation == "create" || operation == "fill") {
        return fillFrom(createImage(), loadFile(flashBase, "ab"));
    }
    return download(flashBase, sample(1000), operation == "verify");
}

} // namespace

class SimulatorTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulate("version=0x4711,pace=0"); }

    void badHexIsRefused();
    void goodHexIsRead();
    void badFilesAreRefused();
    void loadFileIsPlaced();
    void calibrationFollowsTheLoadFile();
    void imageIsBurntIntoTheFlashFile();
    void badFlashFileIsRefused();
    void burnOutsideTheFlashIsRefused();
    void progressIsComplete();
    void paceIsKept();
    void skippedBlockIsFoundByVerify();
    void faultsStrike();
    void badParametersFailEverything();
    void makersLibraryIsKept();

private:
    WorkingFolder m_folder;
};

void SimulatorTest::badHexIsRefused()
{
    const QByteArray byte = ":0100000041BE\n";
    const std::vector<std::pair<const char*, QByteArray>> cases = {
        {"the file holds no data", end},
        {"line 2: checksum is 0xBE, should be 0xBD", byte + ":0100010041BE\n"},
        {"line 1: a record begins with ':', not with '0'", "0100000041BE"},
        {"line 1: a record begins with ':', not with 0x7F", "\177ELF" + QByteArray(999, '\0')},
        {"line 1: 'G' is not a hex digit", ":010000004GBE"},
        {"line 1: the record is cut short", ":0100000041B"},
        {"line 1: holds 1 bytes of data, its length field says 2", ":0200000041BD"},
        {"line 1: record type 0x06 is unknown", record(6, 0, "a")},
        {"line 2: a record of type 0x01 holds 0 bytes, not 1", byte + record(1, 0, "a")},
        {"line 1: a record of type 0x02 holds 2 bytes, not 1", record(2, 0, "a")},
        {"line 3: the end record is missing", byte + "\n"},
        {"line 4: stands behind the end record of line 2", byte + end + "\n" + byte},
        {"line 3: data at 0x00000004 overlaps that of line 1",
         record(0, 4, "abcd") + linearBase(0) + record(0, 1, "abcd") + end},
        {"line 2: data from 0x00000008 (line 1) to 0x00000028 (line 2) does not fit into 32 bytes",
         record(0, 8, "a") + record(0, 8 + 32, "b") + end},
        {"line 2: data from 0x00000008 (line 2) to 0x00000028 (line 1) does not fit into 32 bytes",
         record(0, 8 + 32, "b") + record(0, 8, "a") + end},
        {"line 2: data runs past address 0xFFFFFFFF",
         linearBase(0xFFFF0000) + record(0, 0xFFFF, "ab")},
        {"line 2: data runs past the end of its 64 KiB segment",
         record(2, 0, "\x10\x10") + record(0, 0xFFFF, "ab")},
    };
    for (const auto& [reason, text] : cases) {
        QByteArray seen = "was accepted";
        try {
            simulator::readIntelHex(text.toStdString(), 32);
        } catch (const std::runtime_error& error) {
            seen = error.what();
        }
        QCOMPARE(seen, QByteArray(reason));
    }
}

void SimulatorTest::goodHexIsRead()
{
    struct Case {
        unsigned lowest;
        QByteArray bytes;
        QByteArray text;
    };
    const QByteArray upper = record(0, 0x10, "\xAB\xCD") + end;
    const QByteArray longest(255, 'a');
    const std::vector<Case> cases = {
        {0x10, "\xAB\xCD", QByteArray(upper + "\n\n").replace("\n", "\r\n")},
        {0x10, "\xAB\xCD", upper.toLower().trimmed()},
        {0x21, "ab\377\377\377cd", record(0, 0x26, "cd") + record(0, 0x21, "ab") + end},
        {0, 'a' + QByteArray(253, '\xFF') + 'b', record(0, 0xFE, "b") + record(0, 0, "a") + end},
        {0x12345, "ab", record(2, 0, "\x12\x34") + record(0, 5, "ab") + end},
        {0x0100FFFF, "ab",
         linearBase(0x01000000) + record(0, 0xFFFF, "ab") + record(5, 0, "abcd") + end},
        {0, longest, record(0, 0, longest) + end},
    };
    for (const auto& [lowest, bytes, text] : cases) {
        const simulator::HexData read = simulator::readIntelHex(text.toStdString(), 255);
        QCOMPARE(unsigned(read.lowestAddress), lowest);
        QCOMPARE(QByteArray::fromStdString(read.bytes), bytes);
        QCOMPARE(int(read.dataSize), bytes.size() - bytes.count('\xFF'));
    }
}

void SimulatorTest::badFilesAreRefused()
{
    const ImagePointer image = createImage();
    QCOMPARE(fill(image, "none"), QByteArray("cannot be opened: No such file or directory"));
    QCOMPARE(fill(image, "."), QByteArray("is a directory"));
    QCOMPARE(fill(image, "/dev/zero"), QByteArray("is not a regular file"));
    QCOMPARE(::mkfifo("fifo", 0600), 0);
    QCOMPARE(fill(image, "fifo"), QByteArray("is not a regular file"));
    QVERIFY(writeFile("huge", {}) && QFile::resize("huge", 0x8000001));
    QCOMPARE(fill(image, "huge"),
             QByteArray("the file holds 134217729 bytes, there is room for 134217728"));
    QCOMPARE(fillFrom(image, ""), QByteArray("the file is empty"));
    QCOMPARE(fillFrom(image, loadFile(0xFFFFFFFE, "ab")),
             QByteArray("the image does not end before address 0xFFFFFFFF"));
    QCOMPARE(image->baseAddress, flashBase);
    QCOMPARE(image->endAddress, flashBase);
}

void SimulatorTest::loadFileIsPlaced()
{
    const ImagePointer image = createImage();
    unsigned filledSize = 0;
    QVERIFY(writeFile("a.lod", record(0, 0x2345, "xyz") + loadFile(0x00002340, "ab")));
    QCOMPARE(BRAN_FillFlashImage("a.lod", image.get(), filledSize), BRAN_SUCCESS);
    QCOMPARE(filledSize, 5U);
    QCOMPARE(image->baseAddress, 0x2340U);
    QCOMPARE(image->endAddress, 0x2348U);
    QCOMPARE(image->fullSize, flashSize);
    QCOMPARE(QByteArray(image->data, 10), QByteArray("ab\xFF\xFF\xFFxyz\xFF\xFF"));
}

void SimulatorTest::calibrationFollowsTheLoadFile()
{
    struct Case {
        unsigned loadAddress;
        int loadSize;
        bool fullImage;
        unsigned place;
    };
    for (const auto& [loadAddress, loadSize, fullImage, place] :
         {Case{flashBase, sector + 1, false, 2 * sector}, Case{flashBase, sector, false, sector},
          // At a sector of the flash, not of the image.
          Case{flashBase + 0x100, 3, false, sector - 0x100}, Case{flashBase, 3, true, sector}}) {
        const ImagePointer image = createImage(fullImage);
        QCOMPARE(fillFrom(image, loadFile(loadAddress, sample(loadSize))), QByteArray());
        QByteArray expected(image->data, int(flashSize));
        const unsigned end = image->endAddress;
        QCOMPARE(end, loadAddress + (fullImage ? flashSize : unsigned(loadSize)));

        const int room = int(flashSize - place);
        QCOMPARE(fillFrom(image, ""), QByteArray("the file is empty"));
        QVERIFY(fillFrom(image, QByteArray(room + 1, 'c')).startsWith("the file holds"));
        QCOMPARE(image->endAddress, end);
        QVERIFY(QByteArray(image->data, int(flashSize)) == expected);

        const QByteArray calibration = sample(fullImage ? room : 11);
        QCOMPARE(fillFrom(image, calibration), QByteArray());
        QCOMPARE(image->endAddress, fullImage ? end : loadAddress + place + 11);
        expected.replace(int(place), calibration.size(), calibration);
        QVERIFY(QByteArray(image->data, int(flashSize)) == expected);
    }
}

void SimulatorTest::imageIsBurntIntoTheFlashFile()
{
    QVERIFY(writeFile("a,b.bin.new", "left by a kill"));
    simulate("pace=0,version=0x4711,flash=a\\,b.bin");
    QCOMPARE(download(flashBase + 0x12345, sample(300000), true), QByteArray());
    QVERIFY(versionAnswered);
    simulator::forgetBoard();
    QCOMPARE(download(flashBase + flashSize - 5, "later", true), QByteArray());
    QByteArray expected(int(flashSize), '\xFF');
    expected.replace(0x12345, 300000, sample(300000)).replace(int(flashSize) - 5, 5, "later");
    QVERIFY(contentOf("a,b.bin") == expected);
}

void SimulatorTest::badFlashFileIsRefused()
{
    QVERIFY(writeFile("small.bin", "abc"));
    simulate("flash=small.bin");
    QCOMPARE(download(flashBase, "abc", false),
             QByteArray("flash file small.bin: holds 3 bytes, should hold 16777216"));
    QCOMPARE(contentOf("small.bin"), QByteArray("abc"));
    simulate("flash=none/flash.bin");
    QCOMPARE(download(flashBase, "abc", false),
             QByteArray("flash file none/flash.bin: cannot be opened: No such file or directory"));
}

void SimulatorTest::burnOutsideTheFlashIsRefused()
{
    const QByteArray rest = " do not fit into the flash, 0x01000000 to 0x01FFFFFF";
    QCOMPARE(download(flashBase - 1, "abc", false), "3 bytes at 0x00FFFFFF" + rest);
    QCOMPARE(download(flashBase + flashSize - 2, "abc", false), "3 bytes at 0x01FFFFFE" + rest);
    QCOMPARE(download(0xFFFFFFFF, "abc", false), "3 bytes at 0xFFFFFFFF" + rest);
    QVERIFY(burnReports.empty());
}

void SimulatorTest::progressIsComplete()
{
    for (const int size : {1, 99, 12345}) {
        QCOMPARE(download(flashBase, sample(size), false), QByteArray());
        QVERIFY(verifyReports.empty());
        QCOMPARE(download(flashBase, sample(size), true), QByteArray());
        for (const auto& seen : {burnReports, verifyReports}) {
            QCOMPARE(int(seen.size()), qMin(size, 100));
            QVERIFY(seen.front() > 0 && seen.back() == 1.0F);
            QVERIFY(std::adjacent_find(seen.begin(), seen.end(), std::greater_equal<>()) ==
                    seen.end());
        }
    }
}

void SimulatorTest::paceIsKept()
{
    simulate("pace=4");
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(download(flashBase, "ab", false), QByteArray());
    QVERIFY2(timer.elapsed() >= 499 && timer.elapsed() < 5000,
             qPrintable(QString::number(timer.elapsed())));
    QVERIFY2(longestSilence < 200, qPrintable(QString::number(longestSilence)));
    QVERIFY(std::is_sorted(burnReports.begin(), burnReports.end()) && burnReports.back() == 1.0F);
}

void SimulatorTest::skippedBlockIsFoundByVerify()
{
    simulate("pace=0,skip=0x01002FFF,flash=skip.bin");
    const QByteArray data = QByteArray(0x5000, 'd');
    QCOMPARE(download(flashBase + 0x800, data, false), QByteArray());
    QCOMPARE(download(flashBase + 0x800, data, true),
             QByteArray("verification failed at 0x01002000: flash holds 0xFF, should hold 0x64"));
    QVERIFY(verifyReports.back() < 1.0F);
    QByteArray expected = QByteArray(0x800, '\xFF') + data;
    expected.replace(0x2000, 0x1000, QByteArray(0x1000, '\xFF'));
    QVERIFY(contentOf("skip.bin").startsWith(expected));
}

void SimulatorTest::faultsStrike()
{
    struct Case {
        QByteArray parameters;
        QByteArray operation;
        QByteArrayList texts;
    };
    const QByteArray told = "the simulated board was told to fail: ";
    const std::vector<Case> cases = {
        {"fail=version", "version", {told + "version", told + "version"}},
        {"fail=fill@1:a,fail=fill@3:b", "fill", {"a", "", "b", ""}},
        {"fail=burn:a\\,b:c=d", "burn", {"a,b:c=d"}},
        {"fail=create@2:no room", "create", {"", "no room", ""}},
        {"fail=burn@1", "burn", {told + "burn", ""}},
        {"fail=verify@2", "verify", {"", told + "verify", ""}},
        {"board=none", "version", {"no board is connected"}},
        {"board=none,fail=version", "verify", {"no board is connected"}},
        {"board=none,pace=0x4K", "fill", {""}},
    };
    for (const Case& each : cases) {
        simulate("pace=0," + each.parameters);
        for (const QByteArray& text : each.texts) {
            QCOMPARE(run(each.operation), text);
            if (text.endsWith(": burn") || text.endsWith(": verify")) {
                QCOMPARE((each.operation == "burn" ? burnReports : verifyReports).back(), 0.5F);
            }
        }
    }
}

void SimulatorTest::badParametersFailEverything()
{
    const std::vector<std::pair<QByteArray, QByteArray>> cases = {
        {"speed=1", "there is no such parameter"},
        {"version", "the value is missing"},
        {"flash=", "the value is missing"},
        {"version=12x", "not a number"},
        {"version=0x", "not a number"},
        {"pace=-1", "not a number"},
        {"pace=K", "not a number"},
        {"version=0x100000000", "the number is too large"},
        {"pace=99999999999999999999", "the number is too large"},
        {"pace=18446744073709551615K", "the number is too large"},
        {"fail=reset", "there is no such operation"},
        {"fail=burn@0", "occurrences count from 1"},
        {"fail=burn@", "not a number"},
        {"fail=burn:", "the text is empty"},
        {"skip=0x02000000", "the address is not in the flash, 0x01000000 to 0x01FFFFFF"},
        {"board=two", "the only value is none"},
        {"stall=2", "the time is missing"},
        {"flash=a\\", "nothing follows the backslash"},
    };
    for (const auto& [parameter, reason] : cases) {
        simulate(parameter);
        for (const char* operation : {"version", "create", "burn", "verify"}) {
            QCOMPARE(run(operation), "BRAN_SIMULATOR: " + parameter + ": " + reason);
        }
        QVERIFY(!createImage());
    }
    simulate("pace=1,");
    QCOMPARE(run("fill"),
             QByteArray("BRAN_SIMULATOR: empty parameter: there is no such parameter"));
}

void SimulatorTest::makersLibraryIsKept()
{
    struct Case {
        QByteArray present;
        bool isLink;
        bool isReplaced;
    };
    const QString script = QFINDTESTDATA("../simulator/PlaceInLib.cmake");
    const QByteArray older = "\177ELF" + QByteArray(9, '\0') + "Tovalink simulated board";
    const QByteArray built = "Tovalink simulated board, built";
    for (const auto& [present, isLink, isReplaced] :
         {Case{"", false, true}, Case{older, false, true}, Case{"\177ELF maker", false, false},
          Case{"maker", true, false}, Case{older, true, true}, Case{"", true, false}}) {
        const WorkingFolder folder;
        const QString target = isLink ? "elsewhere.so" : "lib.so";
        QVERIFY(present.isEmpty() || writeFile(target, present));
        QVERIFY(!isLink || QFile::link(target, "lib.so"));
        QVERIFY(writeFile("built.so", built));
        QCOMPARE(QProcess::execute("cmake", {"-DFROM=built.so", "-DTO=lib.so", "-P", script}), 0);
        QCOMPARE(contentOf("lib.so"), isReplaced ? built : present);
        QCOMPARE(QFileInfo("lib.so").isSymLink(), isLink && !isReplaced);
        QCOMPARE(contentOf(target), isReplaced && !isLink ? built : present);
    }
}

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
