#include "board/flashimage.h"
#include "simulator/board.h"
#include "tests/support/folder.h"

#include <QtTest>

#include <functional>
#include <iostream>
#include <map>
#include <sstream>

namespace
{

/// The operation that is done: its name and its arguments, numbers in hex.
QStringList words;
const auto number = [](int index) { return words.value(index).toUInt(nullptr, 16); };
double progress = 0;
int reports = 0;

QString shell(const QString& command)
{
    QProcess::execute("sh", {"-c", '(' + command + ") >answer"});
    return QString(contentOf("answer")).simplified();
}

/// plug PARAMETERS: connects another board. Shows its version.
QString plug()
{
    qputenv("BRAN_SIMULATOR", words[1].toLatin1());
    simulator::forgetBoard();
    unsigned version = 0;
    const BRAN_ERR_T result = BRAN_GetVersion(&version);
    return QString::asprintf("%x %s", version, BRAN_GetErrorString(result));
}

/// load TEXT [full|used FILE]: fills an image. In the text a slash ends a line, @ and $ are a byte
/// at the flash's address and at 0, ~ is the end. Shows the image's address and size, its last
/// bytes and one more, and where the calibration is.
QString load()
{
    QByteArray text = words.value(1).toLatin1();
    text.replace('@', ":020000040100F9/:01000000619E/").replace('$', ":0100000041BE/");
    writeFile("content", text.replace('~', ":00000001FF/").replace("/", "\r\n"));
    const bool isFull = words.contains("full");
    const FlashImage image(BRAN_CreateFlashImage(0x1000000, 0x1000000, isFull, false));
    for (const QString& file : QStringList("content") + words.mid(3)) {
        unsigned size = 0;
        const BRAN_ERR_T result = BRAN_FillFlashImage(qPrintable(file), image.get(), size);
        if (result != BRAN_SUCCESS) {
            return BRAN_GetErrorString(result);
        }
    }
    const unsigned used = image->endAddress - image->baseAddress;
    const QByteArray bytes(image->data, int(used + 1));
    return QString::asprintf("%x+%x %s %d", image->baseAddress, used, bytes.right(6).toHex().data(),
                             int(bytes.indexOf("cal")));
}

/// burn ADDRESS SIZE: shows how far that came, up to 1 the burn and up to 2 the verify, and whether
/// more reports than there are steps have filled a second.
QString burn()
{
    QByteArray data(int(number(2)), 'd');
    progress = reports = 0;
    const QDeadlineTimer second(999);
    const BRAN_ERR_T result = BRAN_DownloadFlash(
        number(1), data.data(), number(2), false, true,
        [](float fraction) { progress = fraction, ++reports; },
        [](float fraction) { progress = 1 + fraction; });
    const bool isPaced = second.hasExpired() && reports > 100;
    return QString::asprintf("%s %g %d", BRAN_GetErrorString(result), progress, isPaced ? 1 : 0);
}

/// record MODE [by address|by standard tag|by tag|address|tag|processor|filter]: records until the
/// end and asks for a stop after ten reads. Shows hash and size of the record file.
QString record()
{
    BRAN_RECORD_CONTEXT_T context = {};
    BRAN_ERR_T result = BRAN_StartRecording(
        {number(1), number(2) != 0, number(3) != 0, number(4) != 0, number(5), number(5),
         quint16(number(6)), number(7), quint8(number(8)), quint8(number(8))},
        context);
    QByteArray recorded("DBGP\1\0\2\0", 8);
    for (int reads = 1; result == BRAN_SUCCESS && reads < 9999; ++reads) {
        char buffer[512];
        unsigned size = 0;
        result = BRAN_GetRecordData(context, buffer, sizeof buffer, size);
        recorded.append(buffer, int(size));
        if (reads == 10) {
            BRAN_StopRecordingRequest(context);
        }
    }
    writeFile("a.prf", recorded);
    return shell("md5sum a.prf | head -c 6; stat -c ' %s' a.prf") + ' ' +
           BRAN_GetErrorString(result);
}

/// check OFFSET REMOVED INSERTED: replaces bytes of the record file. Shows what checkrecord says of
/// that, and its result if strict.
QString check()
{
    const QByteArray inserted = words.value(3).toLatin1();
    writeFile("b.prf", contentOf("a.prf").replace(int(number(1)), int(number(2)), inserted));
    return shell(CHECKRECORD " b.prf; " CHECKRECORD " --strict b.prf >strict; echo $?");
}

const std::map<QString, std::function<QString()>> operations = {
    {"plug", plug},     {"load", load},   {"burn", burn},
    {"record", record}, {"check", check}, {"sh", [] { return shell(words.mid(1).join(' ')); }}};

/// What is done, and what the answer to it holds.
constexpr const char* session = R"(
sh printf cal >cal && truncate -s 16646145 large && mkfifo fifo && echo maker >maker =>
sh echo built Tovalink simulated board >built && sed s/built/older/ built >older =>
sh ln -s older link && $PLACE built maker && $PLACE built new && $PLACE built link => left alone
sh cut -c-5 maker new link older => maker built built older
plug version=1,version=0x4711 => 4711 no error; plug fail=version => told to fail: version
plug board=none => 0 no board; burn 1000000 1 => no board is connected 0
plug pace= => BRAN_SIMULATOR: the value in "pace=" is not valid; plug speed=1 => parameter "speed"
plug pace=1K => not valid; plug version=0x100000000 => not valid; plug fail=reset => not valid
plug fail=burn@0 => not valid; plug skip=0x02000000 => not valid; plug stop=now => not valid
plug flash=content => 10203; load $~ => 0+1; burn 1000000 1 => content: does not hold 16777216
plug flash=a\,b =>; burn 1012345 1 =>; plug flash=a\,b =>; burn 1FFFFFF 1 => no error 2
sh tr -d '\377' <a,b => dd; plug pace=4 =>; burn 1000000 2 => no error 2 1
plug fail=fill@1:a,fail=fill@3:b\,c,fail=create@2:d =>; load $~ => a; load ~ => d; load ~ => b,c
plug fail=burn@2,fail=verify@2:v =>; burn 1000000 c8 => no error 2; burn 1000000 c8 => burn 0.5
burn 1000000 c8 => v 1.5; burn 1FFFF39 c8 => not fit; burn 1FFFF38 c8 => no error 2
plug skip=0x01002FFF =>; burn 1001F9C c8 => at 0x01002000 1.5; burn 1002F9C c8 => at 0x01002F9C 1
burn 1003000 c8 => no error 2
load :020000021234B6//:01000600ab4e/:01000400619A/:01000300629A/~ => 12343+4 6261ffab
load $:0100010041BE => line 2: the checksum; load :0100000041B => line 1: the record is cut
load $ => no end; load ~ => no data; load => empty
load ~$ => line 2: the end record stands before; load $@~ => line 3: the data spans
load $$ => overlaps; load :01000100619D/:0200000061623B => line 2: the data overlaps
load $~ used none => cannot be opened: No such file; load $~ used fifo => not a regular
load @:01FFFF007A87/~ used cal => 1000000+10003 ff7a63616cff 65536
load @:020000040101F8/:010000007A85/~ used large => too large
load @~ full cal => +1000000 ffffffffff00 65536
plug rate=0 =>; record 1 => 5140dc 5144 the recording; record 1 0 0 0 0 0 0 40 => 2d1a4f
record 1 1 0 0 1000010 => 91ef3e; record 1 0 1 => 3ac69c; record 1 0 0 1 0 1A03 1 40 => 854844
record 1 0 0 1 0 1A33 => be3414 8; record 0 0 1 => 7b060b; record 0 0 0 1 0 1A03 => 338a91 3056
plug rate=20971520,trigger=30 =>; record 0 => c4a951 629144
plug rate=0,fail=start@1:cut =>; record 1 => be3414 8 cut; record 1 => 5140dc
plug rate=0,fail=read@3:cut,failbytes=99 =>; record 1 => 5261a1 1131 cut; record 1 => 5140dc
plug rate=0,unplug=1000 =>; record 1 => 2f2602 1008 the board was unplugged; record 1 => be3414
plug rate=0,finish=1000 =>; record 1 => 2f2602 1008 the recording; record 1 => 2f2602
plug rate=0,stop=ignored =>; record 1 => 01c7db 5118984
plug rate=0 =>; record 1 =>; check => 5136 trace bytes, whole 0; check 2 1 x => 0: no header of a
check F8 1 x => offset 248: the sync word; check FF 1 x => 248: the checksum is wrong 1
check 8 1 => whole 1; check 1417 1 => 5135 trace bytes, whole 1; check 1418 0 x => no whole frame 1
plug rate=10000000000000,buffer=1048576,report=counts =>; record 1 1 0 0 1000010 => finished
check => offset 536: the sequence number is not the next one 1
sh awk -v size=$(stat -c %s a.prf) '{print size-$4, $2-$4-$6, int(size/1e6)}' counts => 8 0 1
)";

} // namespace

class tst_board : public QObject
{
    Q_OBJECT

private slots:
    void answersAsItShould()
    {
        const QTemporaryDir folder;
        QDir::setCurrent(folder.path());
        qputenv("PLACE", QFINDTESTDATA("../simulator/place-in-lib").toLocal8Bit());
        // A version that is read must not be taken for a real board's, so the board says once what
        // it is.
        std::ostringstream heard;
        auto* const usual = std::cerr.rdbuf(heard.rdbuf());
        BRAN_ResetTarget();
        QStringList wrong;
        for (const QString& step : QString(session).trimmed().replace('\n', ';').split(';')) {
            const QString operation = step.section("=>", 0, 0).trimmed();
            words = operation.split(' ');
            const QString answer = operations.at(words[0])();
            if (!answer.contains(step.section("=>", 1).trimmed())) {
                wrong << operation + ": " + answer;
            }
        }
        std::cerr.rdbuf(usual);
        QCOMPARE(wrong.join('\n'), QString());
        QCOMPARE(QString::fromStdString(heard.str()).count('\n'), 1);
    }
};

QTEST_GUILESS_MAIN(tst_board)
#include "tst_board.moc"
