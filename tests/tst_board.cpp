#include "board/flashimage.h"
#include "simulator/board.h"
#include "tests/support/folder.h"

#include <QtTest>

#include <iostream>
#include <sstream>

/// What is done, and what the answer to it holds. Each operation is a function of the test. %1 is
/// the folder of this file, and most load files are those that the fuzzer begins with.
const QString session = R"(
plug board=none => no board; burn none.lod => no board is connected 0; plug fail=reset => not valid;
plug pace= => "pace=" is not valid; plug pace=1K => not valid; plug fail=burn@0 => not valid;
plug version=0x100000000 => not valid; plug skip=0x02000000 => not valid; plug stop=x => not valid;
plug speed=1 => no parameter "speed"; plug fail=version => fail: version 0; plug version=0x47 => 47;

sh cd '%1' && cp fuzz/seeds/loadfile/* ../simulator/place-in-lib $OLDPWD;
sh printf cal >a.cal && truncate -s64K 64K.cal && printf ':01000100619D\n:0200000061623B' >onto.lod;
sh printf :0100000041B >cut.lod && printf ':0200000401FFFA\n:01FFFF0061A0\n:00000001FF' >top.lod;
burn none.lod => No such file; burn . => not a regular; burn segments.lod => 10010-10014 61626364;
burn no-end.lod => no end record; burn carriage-returns.lod => 0-2 6162; burn empty.lod => empty;
burn any-order.lod => 100-204 ff6c617465 the image does not fit; burn no-data.lod => no data;
burn cut.lod => line 1: the record is cut; burn behind-the-end.lod => line 3: the end record;
burn wrong-checksum.lod => line 1: the checksum is wrong; burn two-banks.lod 64K.cal => too large;
burn too-far-apart.lod => line 3: the data spans; burn overlap.lod => line 2: the data overlaps;
burn onto.lod => line 2: the data overlaps; burn one-record.lod a.cal => 1000000-1010003 ffff63616c;
burn full one-record.lod 64K.cal => 1000000-1020000 0000; burn full top.lod => 1ffffff-201ffff ffff;
plug fail=fill@1:bad,fail=fill@3:b\,c,fail=create@2:no; burn a.cal => bad; burn a.cal => no 0-0;
burn a.cal => b,c; plug flash=a.cal => 10203; burn top.lod => a.cal: does not hold 16777216 bytes;
plug flash=a\,b,pace=2; burn top.lod => 1ffffff-2000000 61 no error 2 1;
plug flash=a\,b,fail=burn@2,fail=verify@2:v; burn two-banks.lod => 100fff0-1010002 6261626364;
burn two-banks.lod => fail: burn 0.5; burn two-banks.lod => v 1.5; sh tr -d '\377' <a,b => babcda;
plug skip=0x01011FFF; burn one-record.lod 64K.cal => 0x01011000 1.53; burn top.lod => no error 2;

plug rate=0; record only 0 => 5136 trace bytes, whole 0 the recording has finished 01000354;
record address 1000010 => finished 018001b8; record tag 1A03 only 1 => finished 01800450;
record tag 1A33 => 0 trace bytes; record ring tag 1A03 => 3048 trace bytes, whole 0;
record ring standard => 2097144 trace bytes, whole 0; sh md5sum a => 7b060b;
record lost 2 => no header of a record file 1; record lost F8 => offset 248: the sync word;
record lost FF => offset 248: the checksum is wrong 1; record lost 8 => 5135 trace bytes, whole 1;
record lost 1417 => 5135 trace bytes, whole 1; record lost 1400 => what remains is no whole frame 1;
plug rate=0,fail=start@1:busy,fail=read@3:torn,failbytes=99,unplug=1210; record => whole 0 busy;
record => 1123 trace bytes, whole 1 torn; record => 1210 trace bytes, whole 1 the board was;
record => no board; plug rate=20971520,trigger=30; record ring => 629136 trace bytes, whole 0;
plug rate=0,stop=ignored,finish=6000; record tag 1A03 => 6000 trace bytes, whole 0 the recording;
plug rate=10000000000000,buffer=1048576,report=counts; record => offset 536: the sequence number;
sh read _ made _ kept _ lost <counts && echo $((made-kept-lost)) $((kept/1000000)) => 0 1;

sh ln -s old link && echo maker >maker && ./place-in-lib top.lod maker => left alone;
sh echo Tovalink simulated board >our && sed s/$/2/ our >old && ./place-in-lib our new;
sh ./place-in-lib our link && tail -qc4 maker link old new => ker ard rd2 ard)";

class tst_board : public QObject
{
    Q_OBJECT

    /// The operation and its arguments. A number, in hex, follows its name.
    QStringList words;
    bool has(const char* word) { return words.contains(word); }
    unsigned hex(const char* name) { return words.value(words.indexOf(name) + 1).toUInt({}, 16); }

    static QString shell(const QString& command)
    {
        QProcess::execute("sh", {"-c", '(' + command + ") >answer"});
        return QString(contentOf("answer")).simplified();
    }
    Q_INVOKABLE QString sh() { return shell(words.mid(1).join(' ')); }

    /// plug PARAMETERS: connects another board. Shows its version.
    Q_INVOKABLE QString plug()
    {
        qputenv("BRAN_SIMULATOR", words[1].toLatin1());
        simulator::forgetBoard();
        unsigned version = 0;
        const QString result = BRAN_GetErrorString(BRAN_GetVersion(&version));
        return result + ' ' + QString::number(version, 16);
    }

    /// burn [full] FILE...: fills an image and burns it. Shows what became of the files, the
    /// image's address and end, its last five bytes, what became of the burn, how far it came (up
    /// to 1 the burn and up to 2 the verify), and 1 if it took a second and reported more often
    /// than at its 200 steps.
    Q_INVOKABLE QString burn()
    {
        const FlashImage owned(BRAN_CreateFlashImage(0x20000, 0x1000000, has("full"), false));
        QString answer;
        for (const QString& file : words.filter(".")) {
            unsigned size = 0;
            answer += BRAN_GetErrorString(BRAN_FillFlashImage(qPrintable(file), owned.get(), size));
        }
        const BRAN_FLASH_IMAGE_T image = owned ? *owned : BRAN_FLASH_IMAGE_T{};
        QByteArray data(image.data, int(image.endAddress - image.baseAddress));
        static QVector<float> done;
        done = {0};
        const QDeadlineTimer time(999);
        const BRAN_ERR_T result = BRAN_DownloadFlash(
            image.baseAddress, data.data(), unsigned(data.size()), false, true,
            [](float burned) { done << burned; }, [](float read) { done << 1 + read; });
        return answer + QString::asprintf(" %x-%x %s %s %g %d", image.baseAddress, image.endAddress,
                                          data.right(5).toHex().data(), BRAN_GetErrorString(result),
                                          done.last(), int(time.hasExpired() && done.size() > 201));
    }

    /// record [ring] [address NUMBER] [standard] [tag NUMBER] [only PROCESSOR] [lost OFFSET]: asks
    /// for a stop after ten reads, then loses a byte of the file. Shows what checkrecord says, its
    /// result if strict, how the recording ended, and the address or tag in the last frame.
    Q_INVOKABLE QString record()
    {
        const quint8 filter = has("only") ? 0x40 : 0;
        BRAN_RECORD_CONTEXT_T context = {};
        BRAN_ERR_T result = BRAN_StartRecording(
            {has("ring") ? 0U : 1U, has("address"), has("standard"), has("tag"), hex("address"),
             hex("address"), quint16(hex("tag")), hex("only"), filter, filter},
            context);
        QByteArray recorded("DBGP\1\0\2\0", 8);
        for (int reads = 1; result == BRAN_SUCCESS && reads < 9999; ++reads) {
            char buffer[512];
            unsigned size = 0;
            result = BRAN_GetRecordData(context, buffer, sizeof buffer, size);
            recorded.append(buffer, int(size));
            reads == 10 ? BRAN_StopRecordingRequest(context) : void();
        }
        writeFile("a", recorded.remove(int(hex("lost")), has("lost") ? 1 : 0));
        return shell(QString("%1 a; %1 --strict a >b; echo $? %2 $(tail -c8 a | od -An -tx4 -N4)")
                         .arg(CHECKRECORD, BRAN_GetErrorString(result)));
    }

private slots:
    void answersAsItShould()
    {
        const QTemporaryDir folder;
        QDir::setCurrent(folder.path());
        std::ostringstream said;
        const auto usual =
            qScopeGuard([buffer = std::cerr.rdbuf(said.rdbuf())] { std::cerr.rdbuf(buffer); });
        for (const QString& step : session.arg(QFINDTESTDATA("support/..")).split(';')) {
            words = step.section("=>", 0, 0).simplified().split(' ');
            QString answer;
            QMetaObject::invokeMethod(this, words[0].toLatin1(), Q_RETURN_ARG(QString, answer));
            QVERIFY2(answer.contains(step.section("=>", 1).trimmed()), qPrintable(step + answer));
        }
        // A version that is read must not be taken for a real board's, so the board says once what
        // it is.
        QCOMPARE(said.str().data(), "This is the Tovalink simulated board; no hardware is used.\n");
    }
};

QTEST_GUILESS_MAIN(tst_board)
#include "tst_board.moc"
