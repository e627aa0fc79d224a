#include "tests/support/simulatedboard.h"

#include <QProcess>
#include <QRegularExpression>

namespace
{

constexpr int readSize = 512;
constexpr int frameSize = 24;
constexpr int readsBeforeStop = 10;
constexpr int readsBeforeGivingUp = 20000;
const QString finished = "the recording has finished";

/// Options are "ring", "xcpu" or "bcpu", "standard", "tag TAG" and "exl START END".
BRAN_RECORD_CONFIG_T configuration(const QString& options)
{
    const QStringList words = options.split(' ');
    const auto number = [&](const char* word, int place) {
        return words.value(words.indexOf(word) + place).toUInt(nullptr, 16);
    };
    BRAN_RECORD_CONFIG_T config = {};
    config.recordMode = words.contains("ring") ? 0 : 1;
    config.exlTrigger = words.contains("exl");
    config.exlStartAddress = number("exl", 1);
    config.exlEndAddress = number("exl", 2);
    config.pxtsStandardTrigger = words.contains("standard");
    config.pxtsCustomTagTrigger = words.contains("tag");
    config.pxtsCustomTag = static_cast<std::uint16_t>(number("tag", 1));
    config.cpuFilterSelect = words.contains("xcpu") ? 0 : 1;
    config.cpuFilterMask1 = config.cpuFilterMask2 = options.contains("cpu") ? 0x40 : 0;
    return config;
}

/// A recording that is asked to stop after some reads, and read to its end.
struct Recording {
    explicit Recording(const QString& options = QString())
        : result(BRAN_StartRecording(configuration(options), context))
    {
    }

    Recording& read(int size = readSize)
    {
        QByteArray buffer(size, '\0');
        result = BRAN_GetRecordData(context, buffer.data(), unsigned(size), bytesRead);
        if (result == BRAN_SUCCESS || result == BRAN_RECORDING_FINISHED) {
            trace += buffer.left(int(bytesRead));
        }
        return *this;
    }

    Recording& readToTheEnd(int stopAfter = readsBeforeStop)
    {
        for (int reads = 0; result == BRAN_SUCCESS && reads < readsBeforeGivingUp; ++reads) {
            if (reads == stopAfter) {
                BRAN_StopRecordingRequest(context);
            }
            read();
        }
        return *this;
    }

    QByteArray file() const { return QByteArray("DBGP\1\0\2\0", 8) + trace; }

    BRAN_RECORD_CONTEXT_T context = {};
    BRAN_ERR_T result;
    unsigned bytesRead = 0;
    QByteArray trace;
};

/// What checkrecord prints about a record file; the option may be "--strict".
QString check(const QByteArray& file, const QStringList& option = {})
{
    writeFile("a.prf", file);
    QProcess checker;
    checker.start(CHECKRECORD, option + QStringList{"a.prf"});
    checker.waitForFinished();
    const QString line = checker.readAllStandardOutput().trimmed().mid(7);
    return checker.exitCode() == int(line.startsWith("offset")) ? line : "wrong exit code";
}

using Options = Table<QString, QString>;
using Parameters = Table<QString, QString, int, int, QString>;
using Damages = Table<int, int, QByteArray, QString, bool>;

} // namespace

class tst_simulatedtrace : public QObject
{
    Q_OBJECT

private slots:
    void init() { connectBoard("rate=0,trigger=20"); }

    void optionsDecideWhatIsRecorded_data()
    {
        const Options options;
        const QString stream = "5136 trace bytes, 214 frames, ";
        const QString fullRing = "2097144 trace bytes, 87381 frames, ";
        const QString nothing = "0 trace bytes, 0 frames, ";
        options.row("", "", stream + "XCPU 0..106, BCPU 0..106, ");
        options.row("xcpu", "xcpu", stream + "XCPU 0..213, ");
        options.row("an address", "exl 1000010 1000010", stream + "XCPU 4..110, BCPU 4..110, ");
        options.row("a standard tag", "standard",
                    stream + "XCPU 65535..65641, BCPU 65535..65641, ");
        options.row("a tag", "bcpu tag 1A03", stream + "BCPU 63..276, ");
        options.row("the first to fire", "standard tag 1A02 exl 1000400 1000400",
                    stream + "XCPU 31..137, BCPU 31..137, ");
        options.row("a tag that never comes", "tag 1A33", nothing);
        options.row("ring, early trigger", "ring tag 1A03",
                    "3048 trace bytes, 127 frames, XCPU 0..63, BCPU 0..62, ");
        options.row("ring, late trigger", "ring standard",
                    fullRing + "XCPU 21845..65535, BCPU 21845..65534, ");
    }
    void optionsDecideWhatIsRecorded()
    {
        const auto [options, recorded] = Options::fetch();
        const Recording recording = Recording(options).readToTheEnd();
        QCOMPARE(textOf(recording.result), finished);
        QCOMPARE(check(recording.file(), {"--strict"}), recorded + "whole");
        if (options == "bcpu tag 1A03") {
            QCOMPARE(recording.trace.left(frameSize).toHex(),
                     QByteArray("a7b501023f000000f003000000000000031a000001b22d20"));
        }
    }

    void parametersSteerTheBoard_data()
    {
        // How a recording ends, its bytes, what its last read told, and how the next one ends.
        const Parameters of;
        const QString goesOn;
        of.row("rate and trigger", "rate=20M,trigger=30", finished, 629136, 400, finished);
        of.row("start fails", "fail=start@1:no link", "no link", 0, 0, finished);
        of.row("read fails", "fail=read@3:cable", "cable", 1024, 0, finished);
        of.row("failbytes", "fail=read@3:cable,failbytes=99", "cable", 1024, 99, finished);
        of.row("unplug", "unplug=1000", "the board was unplugged", 1000, 0,
               "no board is connected");
        of.row("finish", "finish=1000", finished, 1000, 488, finished);
        of.row("stop", "stop=ignored", goesOn, readsBeforeGivingUp * readSize, readSize, goesOn);
    }
    void parametersSteerTheBoard()
    {
        const auto [parameters, end, bytes, bytesInHand, nextEnd] = Parameters::fetch();
        connectBoard("rate=0," + parameters);
        // The board's own buffer is whole when it has triggered: no stop cuts it short.
        const QString options = parameters.contains("trigger") ? "ring" : "";
        const Recording first = Recording(options).readToTheEnd();
        QCOMPARE(textOf(first.result), end);
        QCOMPARE(first.trace.size(), bytes);
        QCOMPARE(int(first.bytesRead), bytesInHand);
        QCOMPARE(textOf(Recording(options).readToTheEnd().result), nextEnd);
    }

    void overrunIsSeenAndReported()
    {
        connectBoard("rate=20M,buffer=1M,stall=2:100,report=counts");
        Recording recording;
        recording.read(100).read(1);
        const int delivered = recording.readToTheEnd(0).trace.size();
        QVERIFY(qAbs(delivered - 0x100000 - 120) <= frameSize);
        const QString seen = check(recording.file());
        const auto gap =
            QRegularExpression("^offset 128: .CPU frame (\\d+) comes instead of ([23])$")
                .match(seen);
        QVERIFY2(gap.hasMatch(), qPrintable(seen));
        const int lost = (gap.captured(1).toInt() - gap.captured(2).toInt()) * 2 * frameSize;
        const QStringList counts = QString(contentOf("counts")).split(' ');
        QVERIFY(lost > 200000 && qAbs(counts.value(5).toInt() - lost) <= frameSize);
        QCOMPARE(counts.value(3).toInt(), delivered);
        QCOMPARE(counts.value(1).toInt(), delivered + counts.value(5).toInt());
    }

    void checkerFindsDamages_data()
    {
        // Frames begin at 224, 248 and 272: XCPU 4, BCPU 4 (with address) and XCPU 5.
        const Damages file;
        const QString wrongCheck = "offset 248: the frame's check value is wrong";
        file.row("header", 6, 1, "x", "offset 0: no header of a record file", true);
        file.row("mark", 248, 1, "x", "offset 248: no frame begins here", true);
        file.row("content", 255, 1, "x", wrongCheck, true);
        file.row("frame lost", 248, 24, "", "offset 272: XCPU frame 6 comes instead of 5", true);
        file.row("rest", 5144, 0, "x", "offset 5144: what remains is no whole frame", true);
        file.row("cut first frame", 8, 1, "",
                 "5135 trace bytes, 213 frames, XCPU 1..106, BCPU 0..106, 23 bytes of an "
                 "unfinished frame first, whole",
                 true);
        file.row("cut last frame", 5143, 1, "",
                 "5135 trace bytes, 213 frames, XCPU 0..106, BCPU 0..105, 23 bytes of an "
                 "unfinished frame last, whole",
                 true);
        file.row("nothing", 8, 5136, "", "0 trace bytes, 0 frames, whole", false);
    }
    void checkerFindsDamages()
    {
        const auto [place, removed, inserted, found, isFault] = Damages::fetch();
        const QByteArray file = Recording().readToTheEnd().file();
        const QByteArray damaged = QByteArray(file).replace(place, removed, inserted);
        QCOMPARE(check(damaged), found);
        QCOMPARE(check(damaged, {"--strict"}).startsWith("offset"), isFault);
    }

private:
    WorkingFolder m_folder;
};

QTEST_GUILESS_MAIN(tst_simulatedtrace)
#include "tst_simulatedtrace.moc"
