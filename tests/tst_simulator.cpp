#include "simulator/board.h"
#include "simulator/exports.h"
#include "simulator/intelhex.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <sstream>
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
constexpr unsigned sector = 0x10000;

std::vector<float> burnReports;
std::vector<float> verifyReports;
bool versionAnswered = false;

void burnReport(float fraction)
{
    // A burn report behind a verify report breaks the order that the caller relies on.
    burnReports.push_back(verifyReports.empty() ? fraction : -1);
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
    return record(4, 0,
                  QByteArray::fromHex(QByteArray::number(0x10000 | address >> 16U, 16).mid(1)));
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

QByteArray download(unsigned address, QByteArray data, bool verify)
{
    burnReports.clear();
    verifyReports.clear();
    return textOf(BRAN_DownloadFlash(address, data.data(), unsigned(data.size()), false, verify,
                                     burnReport, verifyReport));
}

// Runs one operation in the way a fault of it is reached, and returns the text of its failure.
QByteArray run(const QByteArray& operation, const QByteArray& path)
{
    unsigned version = 0;
    if (operation == "version") {
        return textOf(BRAN_GetVersion(&version));
    }
    if (operation == "create" || operation == "fill") {
        return fill(createImage(), path);
    }
    return download(flashBase, sample(1000), operation == "verify");
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        qFatal("%s cannot be written", qPrintable(path));
    }
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class SimulatorTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { simulate("version=0x4711,pace=0"); }

    void badHexIsRefused_data();
    void badHexIsRefused();
    void goodHexIsRead_data();
    void goodHexIsRead();
    void unreadableFilesAreRefused();
    void loadFileIsPlaced();
    void calibrationFollowsTheLoadFile_data();
    void calibrationFollowsTheLoadFile();
    void imageIsBurntIntoTheFlashFile();
    void progressIsComplete_data();
    void progressIsComplete();
    void paceIsKept();
    void burnOutsideTheFlashIsRefused();
    void skippedBlockIsFoundByVerify();
    void faultsStrike_data();
    void faultsStrike();
    void badParametersFailEverything_data();
    void badParametersFailEverything();
    void badFlashFileIsRefused();
    void makersLibraryIsKept_data();
    void makersLibraryIsKept();

private:
    QByteArray path(const QString& name) const { return m_folder.filePath(name).toLocal8Bit(); }
    QByteArray write(const QString& name, const QByteArray& bytes) const
    {
        writeFile(path(name), bytes);
        return path(name);
    }

    QTemporaryDir m_folder;
};

void SimulatorTest::badHexIsRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("reason");
    const auto row = [](const char* name, const QByteArray& text, const char* reason) {
        QTest::newRow(name) << text << QByteArray(reason);
    };
    const QByteArray byte = ":0100000041BE\n";
    row("an empty file", "", "the file is empty");
    row("no data", end, "the file holds no data");
    row("a wrong checksum", byte + ":0100010041BE\n", "line 2: checksum is 0xBE, should be 0xBD");
    row("no colon", "0100000041BE", "line 1: a record begins with ':', not with '0'");
    row("a binary file", "\177ELF" + QByteArray(999, '\1'),
        "line 1: a record begins with ':', not with 0x7F");
    row("NUL bytes", QByteArray(90, '\0'), "line 1: a record begins with ':', not with 0x00");
    row("a strange digit", ":010000004GBE", "line 1: 'G' is not a hex digit");
    row("half a byte", ":0100000041B", "line 1: the record is cut short");
    row("less data than announced", ":0200000041BD",
        "line 1: holds 1 bytes of data, its length field says 2");
    row("more data than announced", ":0000000041BF",
        "line 1: holds 1 bytes of data, its length field says 0");
    row("an unknown type", record(6, 0, "a"), "line 1: record type 0x06 is unknown");
    row("a long end", byte + record(1, 0, "a"),
        "line 2: a record of type 0x01 holds 0 bytes, not 1");
    row("a short segment", record(2, 0, "a"), "line 1: a record of type 0x02 holds 2 bytes, not 1");
    row("a long EIP", record(5, 0, "abcde"), "line 1: a record of type 0x05 holds 4 bytes, not 5");
    row("no end record", byte + "\n", "line 3: the end record is missing");
    row("data behind the end", byte + end + "\n" + byte,
        "line 4: stands behind the end record of line 2");
    row("overlap", record(0, 4, "abcd") + linearBase(0) + record(0, 1, "abcd"),
        "line 3: data at 0x00000004 overlaps that of line 1");
    row("data far behind", record(0, 8, "a") + record(0, 8 + 32, "b"),
        "line 2: data from 0x00000008 (line 1) to 0x00000028 (line 2) does not fit into 32 bytes");
    row("data far before", record(0, 8 + 32, "b") + record(0, 8, "a"),
        "line 2: data from 0x00000008 (line 2) to 0x00000028 (line 1) does not fit into 32 bytes");
    row("more than 32 bits", linearBase(0xFFFF0000) + record(0, 0xFFFF, "ab"),
        "line 2: data runs past address 0xFFFFFFFF");
    row("more than a segment", record(2, 0, "\x10\x10") + record(0, 0xFFFF, "ab"),
        "line 2: data runs past the end of its 64 KiB segment");
    row("a line too long by one byte", record(0, 0, QByteArray(255, 'a')).insert(1, "00"),
        "line 1: is longer than any record");
    row("a carriage return within a line",
        record(0, 0, QByteArray(255, 'a')).replace('\n', '\r') + 'x',
        "line 1: is longer than any record");
    row("an endless line", ':' + QByteArray(1000, '0'), "line 1: is longer than any record");
}

void SimulatorTest::badHexIsRefused()
{
    QFETCH(QByteArray, text);
    std::istringstream input(text.toStdString());
    try {
        simulator::readIntelHex(input, 32);
        QFAIL("was accepted");
    } catch (const std::runtime_error& error) {
        QTEST(QByteArray(error.what()), "reason");
    }
}

void SimulatorTest::goodHexIsRead_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<unsigned>("lowest");
    QTest::addColumn<QByteArray>("bytes");
    const QByteArray upper = record(0, 0x10, "\xAB\xCD") + end;
    QTest::newRow("lines end with CR LF and blank lines follow")
        << QByteArray(upper + "\n\n").replace("\n", "\r\n") << 0x10U << QByteArray("\xAB\xCD");
    QTest::newRow("the last line has no end") << upper.trimmed() << 0x10U << QByteArray("\xAB\xCD");
    QTest::newRow("lower-case digits") << upper.toLower() << 0x10U << QByteArray("\xAB\xCD");
    QTest::newRow("records in falling order with a gap")
        << record(0, 0x26, "cd") + record(0, 0x21, "ab") + end << 0x21U
        << QByteArray("ab\377\377\377cd");
    QTest::newRow("as many bytes as there may be") << record(0, 0x1F, "b") + record(0, 0, "a") + end
                                                   << 0U << 'a' + QByteArray(30, '\xFF') + 'b';
    QTest::newRow("a segment moves the data")
        << record(2, 0, "\x12\x34") + record(0, 5, "ab") + end << 0x12345U << QByteArray("ab");
    QTest::newRow("linear data crosses 64 KiB")
        << linearBase(0x01000000) + record(0, 0xFFFF, "ab") + record(5, 0, "abcd") + end
        << 0x0100FFFFU << QByteArray("ab");
    QTest::newRow("the longest record")
        << record(0, 0, QByteArray(255, 'a')).replace("\n", "\r\n") + end << 0U
        << QByteArray(255, 'a');
}

void SimulatorTest::goodHexIsRead()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, bytes);
    std::istringstream input(text.toStdString());
    const auto limit = bytes.size() > 32 ? 255U : 32U;
    const simulator::HexData read = simulator::readIntelHex(input, limit);
    QTEST(unsigned(read.lowestAddress), "lowest");
    QCOMPARE(QByteArray(read.bytes.data(), int(read.bytes.size())), bytes);
    QCOMPARE(int(read.dataSize), bytes.size() - bytes.count('\xFF'));
}

void SimulatorTest::unreadableFilesAreRefused()
{
    const ImagePointer image = createImage();
    QCOMPARE(fill(image, path("none")), QByteArray("cannot be opened: No such file or directory"));
    QCOMPARE(fill(image, path("")), QByteArray("is a directory"));
    QCOMPARE(fill(image, "/dev/zero"), QByteArray("is not a regular file"));
    QCOMPARE(::mkfifo(path("fifo").constData(), 0600), 0);
    QCOMPARE(fill(image, path("fifo")), QByteArray("is not a regular file"));
}

void SimulatorTest::loadFileIsPlaced()
{
    const ImagePointer image = createImage();
    QCOMPARE(image->endAddress, flashBase);
    QCOMPARE(fill(image, write("empty", "")), QByteArray("the file is empty"));
    QCOMPARE(fill(image, write("top", loadFile(0xFFFFFFFE, "ab"))),
             QByteArray("the image does not end before address 0xFFFFFFFF"));
    QCOMPARE(image->baseAddress, flashBase);

    unsigned filledSize = 0;
    const QByteArray hex = record(0, 0x2345, "xyz") + loadFile(0x00002340, "ab");
    QCOMPARE(BRAN_FillFlashImage(write("a.lod", hex).constData(), image.get(), filledSize),
             BRAN_SUCCESS);
    QCOMPARE(filledSize, 5U);
    QCOMPARE(image->baseAddress, 0x2340U);
    QCOMPARE(image->endAddress, 0x2348U);
    QCOMPARE(image->fullSize, flashSize);
    QCOMPARE(QByteArray(image->data, 10), QByteArray("ab\xFF\xFF\xFFxyz\xFF\xFF"));
}

void SimulatorTest::calibrationFollowsTheLoadFile_data()
{
    QTest::addColumn<unsigned>("loadAddress");
    QTest::addColumn<int>("loadSize");
    QTest::addColumn<bool>("fullImage");
    QTest::addColumn<unsigned>("place");
    QTest::addColumn<unsigned>("room");
    QTest::newRow("behind a few bytes") << flashBase << 3 << false << sector << flashSize - sector;
    QTest::newRow("right behind a full sector")
        << flashBase << int(sector) << false << sector << flashSize - sector;
    QTest::newRow("behind a sector and a byte")
        << flashBase << int(sector) + 1 << false << 2 * sector << flashSize - 2 * sector;
    QTest::newRow("at a sector of the flash, not of the image")
        << flashBase + 0x100 << 3 << false << sector - 0x100 << flashSize - sector + 0x100;
    QTest::newRow("up to the last byte of a full image")
        << flashBase << 3 << true << sector << flashSize - sector;
}

void SimulatorTest::calibrationFollowsTheLoadFile()
{
    QFETCH(unsigned, loadAddress);
    QFETCH(int, loadSize);
    QFETCH(bool, fullImage);
    QFETCH(unsigned, place);
    QFETCH(unsigned, room);
    const ImagePointer image = createImage(fullImage);
    QCOMPARE(fill(image, write("a.lod", loadFile(loadAddress, sample(loadSize)))), QByteArray());
    const QByteArray before(image->data, int(flashSize));
    const unsigned endBefore = image->endAddress;
    QCOMPARE(endBefore, loadAddress + (fullImage ? flashSize : unsigned(loadSize)));

    QCOMPARE(fill(image, write("none.cfp", "")), QByteArray("the file is empty"));
    QVERIFY(fill(image, write("huge.cfp", QByteArray(int(room) + 1, 'c')))
                .startsWith("the file holds"));
    QCOMPARE(image->endAddress, endBefore);
    QCOMPARE(QByteArray(image->data, int(flashSize)), before);

    const QByteArray calibration = sample(fullImage ? int(room) : 11);
    QCOMPARE(fill(image, write("a.cfp", calibration)), QByteArray());
    QCOMPARE(image->endAddress, fullImage ? endBefore : loadAddress + place + 11);
    const QByteArray after(image->data, int(flashSize));
    QVERIFY(after ==
            before.left(int(place)) + calibration + before.mid(int(place) + calibration.size()));
}

void SimulatorTest::imageIsBurntIntoTheFlashFile()
{
    simulate("pace=0,version=0x4711,flash=" + path("a\\,b.bin"));
    QCOMPARE(download(flashBase + 0x12345, sample(300000), true), QByteArray());
    QVERIFY(versionAnswered);
    simulator::forgetBoard();
    QCOMPARE(download(flashBase + flashSize - 5, "later", true), QByteArray());
    QByteArray expected(int(flashSize), '\xFF');
    expected.replace(0x12345, 300000, sample(300000)).replace(int(flashSize) - 5, 5, "later");
    QVERIFY(contents(path("a,b.bin")) == expected);
}

void SimulatorTest::progressIsComplete_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("reports");
    QTest::newRow("one byte") << 1 << 1;
    QTest::newRow("less bytes than percents") << 99 << 99;
    QTest::newRow("an odd number of bytes") << 12345 << 100;
}

void SimulatorTest::progressIsComplete()
{
    QFETCH(int, size);
    QFETCH(int, reports);
    QCOMPARE(download(flashBase, sample(size), false), QByteArray());
    QVERIFY(verifyReports.empty());
    QCOMPARE(download(flashBase, sample(size), true), QByteArray());
    for (const auto& seen : {burnReports, verifyReports}) {
        QCOMPARE(int(seen.size()), reports);
        QVERIFY(seen.front() > 0 && seen.back() == 1.0F);
        QVERIFY(std::adjacent_find(seen.begin(), seen.end(), std::greater_equal<>()) == seen.end());
    }
    QByteArray data = sample(size);
    QCOMPARE(
        BRAN_DownloadFlash(flashBase, data.data(), unsigned(size), false, true, nullptr, nullptr),
        BRAN_SUCCESS);
}

void SimulatorTest::paceIsKept()
{
    simulate("pace=1M");
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(download(flashBase, sample(0x10000), true), QByteArray());
    QVERIFY2(timer.elapsed() >= 124 && timer.elapsed() < 5000,
             qPrintable(QString::number(timer.elapsed())));
}

void SimulatorTest::burnOutsideTheFlashIsRefused()
{
    const QByteArray rest = " do not fit into the flash, 0x01000000 to 0x01FFFFFF";
    QCOMPARE(download(flashBase - 1, "abc", false), "3 bytes at 0x00FFFFFF" + rest);
    QCOMPARE(download(flashBase + flashSize - 2, "abc", false), "3 bytes at 0x01FFFFFE" + rest);
    QCOMPARE(download(0xFFFFFFFF, "abc", false), "3 bytes at 0xFFFFFFFF" + rest);
    QVERIFY(burnReports.empty());
}

void SimulatorTest::skippedBlockIsFoundByVerify()
{
    simulate("pace=0,version=0x4711,skip=0x01002FFF,flash=" + path("skip.bin"));
    const QByteArray data = QByteArray(0x5000, 'd');
    QCOMPARE(download(flashBase + 0x800, data, false), QByteArray());
    QCOMPARE(download(flashBase + 0x800, data, true),
             QByteArray("verification failed at 0x01002000: flash holds 0xFF, should hold 0x64"));
    QVERIFY(verifyReports.back() < 1.0F);
    QByteArray expected = QByteArray(0x800, '\xFF') + data;
    expected.replace(0x2000, 0x1000, QByteArray(0x1000, '\xFF'));
    QVERIFY(contents(path("skip.bin")).startsWith(expected));
}

void SimulatorTest::faultsStrike_data()
{
    QTest::addColumn<QByteArray>("parameters");
    QTest::addColumn<QByteArray>("operation");
    QTest::addColumn<QByteArrayList>("texts");
    const auto row = [](const char* name, const char* parameters, const char* operation,
                        const QByteArrayList& texts) {
        QTest::newRow(name) << QByteArray(parameters) << QByteArray(operation) << texts;
    };
    const QByteArray told = "the simulated board was told to fail: ";
    row("every time", "fail=version", "version", {told + "version", told + "version"});
    row("the second time only", "fail=version@2:gone", "version", {"", "gone", ""});
    row("two occurrences", "fail=fill@1:a,fail=fill@3:b", "fill", {"a", "", "b"});
    row("another operation is left alone", "fail=version", "fill", {"", ""});
    row("a text with a comma and a colon", "fail=burn:a\\,b:c=d", "burn", {"a,b:c=d"});
    row("no image", "fail=create@2:no room", "create", {"", "no room", ""});
    row("half of the burn", "fail=burn@1", "burn", {told + "burn", ""});
    row("half of the verification", "fail=verify@2", "verify", {"", told + "verify", ""});
    row("no board to ask", "board=none", "version", {"no board is connected"});
    row("no board to burn", "board=none", "verify", {"no board is connected"});
    row("an image without a board", "board=none", "fill", {""});
}

void SimulatorTest::faultsStrike()
{
    QFETCH(QByteArray, parameters);
    QFETCH(QByteArray, operation);
    QFETCH(QByteArrayList, texts);
    simulate("pace=0," + parameters);
    const QByteArray load = write("good.lod", loadFile(flashBase, "ab"));
    for (const QByteArray& text : qAsConst(texts)) {
        QCOMPARE(run(operation, load), text);
        if (text.endsWith("told to fail: " + operation) && operation != "version") {
            QCOMPARE((operation == "burn" ? burnReports : verifyReports).back(), 0.5F);
        }
    }
}

void SimulatorTest::badParametersFailEverything_data()
{
    QTest::addColumn<QByteArray>("parameters");
    QTest::addColumn<QByteArray>("named");
    const auto row = [](const QByteArray& parameter, const char* reason) {
        QTest::newRow(parameter) << parameter << parameter + ": " + reason;
    };
    row("speed=1", "there is no such parameter");
    row("version", "the value is missing");
    row("flash=", "the value is missing");
    QTest::newRow("comma at the end")
        << QByteArray("pace=1,") << QByteArray("empty parameter: there is no such parameter");
    row("version=12x", "not a number");
    row("version=0x", "not a number");
    row("version=-1", "not a number");
    row("version=0x100000000", "the number is too large");
    row("pace=99999999999999999999", "the number is too large");
    row("pace=18446744073709551615K", "the number is too large");
    row("pace=K", "not a number");
    row("pace=4G", "not a number");
    row("fail=reset", "there is no such operation");
    row("fail=burn@0", "occurrences count from 1");
    row("fail=burn@", "not a number");
    row("fail=burn:", "the text is empty");
    row("skip=0x02000000", "the address is not in the flash, 0x01000000 to 0x01FFFFFF");
    row("board=two", "the only value is none");
    row("flash=a\\", "nothing follows the backslash");
}

void SimulatorTest::badParametersFailEverything()
{
    QFETCH(QByteArray, parameters);
    QFETCH(QByteArray, named);
    simulate(parameters);
    for (const char* operation : {"version", "create", "burn", "verify"}) {
        QCOMPARE(run(operation, path("none")), "BRAN_SIMULATOR: " + named);
    }
    QVERIFY(!createImage());
}

void SimulatorTest::badFlashFileIsRefused()
{
    const QByteArray small = write("small.bin", "abc");
    simulate("flash=" + small);
    QCOMPARE(download(flashBase, "abc", false),
             "flash file " + small + ": holds 3 bytes, should hold 16777216");
    QCOMPARE(contents(small), QByteArray("abc"));
    simulate("flash=" + path("none/flash.bin"));
    QCOMPARE(download(flashBase, "abc", false),
             "flash file " + path("none/flash.bin") +
                 ": cannot be opened: No such file or directory");
}

void SimulatorTest::makersLibraryIsKept_data()
{
    QTest::addColumn<QByteArray>("present");
    QTest::addColumn<bool>("linked");
    QTest::addColumn<bool>("replaced");
    const QByteArray older = "\177ELF" + QByteArray(9, '\0') + "Tovalink simulated board";
    QTest::newRow("nothing lies there") << QByteArray() << false << true;
    QTest::newRow("an older simulated board") << older << false << true;
    QTest::newRow("the maker's library") << QByteArray("\177ELF maker") << false << false;
    QTest::newRow("a link to the maker's library") << QByteArray("maker") << true << false;
    QTest::newRow("a link to a simulated board elsewhere") << older << true << true;
    QTest::newRow("a link that leads nowhere") << QByteArray() << true << false;
}

void SimulatorTest::makersLibraryIsKept()
{
    QFETCH(QByteArray, present);
    QFETCH(bool, linked);
    QFETCH(bool, replaced);
    const QTemporaryDir lib;
    const QString place = lib.filePath("lib.so");
    const QString target = linked ? lib.filePath("elsewhere.so") : place;
    if (!present.isEmpty()) {
        writeFile(target, present);
    }
    QVERIFY(!linked || QFile::link(target, place));
    const QByteArray built = write("built.so", "Tovalink simulated board, built");
    const QString script = QFINDTESTDATA("../simulator/PlaceInLib.cmake");
    QCOMPARE(QProcess::execute("cmake", {"-DFROM=" + built, "-DTO=" + place, "-P", script}), 0);
    QCOMPARE(contents(place), replaced ? contents(built) : present);
    QCOMPARE(QFileInfo(place).isSymLink(), linked && !replaced);
    QCOMPARE(contents(target), replaced && !linked ? contents(built) : present);
}

QTEST_GUILESS_MAIN(SimulatorTest)
#include "tst_simulator.moc"
