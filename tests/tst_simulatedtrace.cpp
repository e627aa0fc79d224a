#include "simulator/board.h"
#include "simulator/exports.h"
#include "simulator/recordcheck.h"
#include "tests/support/folder.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QtTest>

#include <cstring>

namespace
{

constexpr int readSize = 512;
constexpr int frameSize = 24;
constexpr int readsBeforeStop = 10;
constexpr int readsBeforeGivingUp = 20000;
const QByteArray finished = "the recording has finished";

void simulate(const QByteArray& parameters)
{
    qputenv("BRAN_SIMULATOR", parameters);
    simulator::forgetBoard();
}

// Options are "xcpu" or "bcpu", "standard", "tag TAG" and "exl START END".
BRAN_RECORD_CONFIG_T configuration(const QByteArray& options)
{
    const QList<QByteArray> words = options.split(' ');
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

// A recording that is asked to stop after a few reads, and read to its end.
struct Recording {
    explicit Recording(const QByteArray& options = {})
    {
        std::memset(&context, 0xA5, sizeof context);
        result = BRAN_StartRecording(configuration(options), context);
    }
    void read(int size = readSize)
    {
        QByteArray buffer(size, '\0');
        result = BRAN_GetRecordData(context, buffer.data(), unsigned(size), bytesRead);
        if (result == BRAN_SUCCESS || result == BRAN_RECORDING_FINISHED) {
            trace += buffer.left(int(bytesRead));
        }
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
    QByteArray end() const
    {
        return result == BRAN_SUCCESS ? "goes on" : BRAN_GetErrorString(result);
    }
    QByteArray file() const { return QByteArray("DBGP\1\0\2\0", 8) + trace; }

    BRAN_RECORD_CONTEXT_T context = {};
    BRAN_ERR_T result = BRAN_SUCCESS;
    unsigned bytesRead = 0;
    QByteArray trace;
};

QByteArray check(const QByteArray& file, bool isStrict)
{
    const WorkingFolder folder;
    writeFile("a.prf", file);
    try {
        return simulator::checkRecord("a.prf", isStrict).c_str();
    } catch (const std::runtime_error& fault) {
        return fault.what();
    }
}

} // namespace

class SimulatedTraceTest : public QObject
{
    Q_OBJECT

private slots:
    void configurationDecidesWhatIsRecorded_data();
    void configurationDecidesWhatIsRecorded();
    void frameIsLaidOutAsDocumented();
    void streamIsPaced();
    void ringIsPaced_data();
    void ringIsPaced();
    void overrunIsSeenAndCounted();
    void faultsStrike_data();
    void faultsStrike();
    void onlyTheRunningRecordingIsRead();
    void checkerFindsFaults_data();
    void checkerFindsFaults();
};

void SimulatedTraceTest::configurationDecidesWhatIsRecorded_data()
{
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<QByteArray>("recorded");
    const auto row = [](const char* name, const char* options, const QByteArray& recorded) {
        QTest::newRow(name) << QByteArray(options) << recorded;
    };
    const QByteArray stream = "5136 trace bytes, 214 frames, ";
    const QByteArray fullRing = "2097144 trace bytes, 87381 frames, ";
    const QByteArray nothing = "0 trace bytes, 0 frames, ";
    row("neither filter nor trigger", "", stream + "XCPU 0..106, BCPU 0..106, ");
    row("only the XCPU", "xcpu", stream + "XCPU 0..213, ");
    row("only the BCPU", "bcpu", stream + "BCPU 0..213, ");
    row("the first address fires", "exl 1000010 1000013", stream + "XCPU 4..110, BCPU 4..110, ");
    row("the last address fires", "exl 1800025 1800028", stream + "XCPU 11..117, BCPU 10..116, ");
    row("no entry has the address", "exl 100001C 100001F", nothing);
    row("a rejected processor does not fire", "bcpu exl 1000000 10FFFFF", nothing);
    row("a standard tag", "standard", stream + "XCPU 65535..65641, BCPU 65535..65641, ");
    row("a custom tag", "bcpu tag 1A03", stream + "BCPU 63..276, ");
    row("a tag that never comes", "tag 1A33", nothing);
    row("the first of several triggers fires", "standard exl 1000400 1000400 tag 1A02",
        stream + "XCPU 31..137, BCPU 31..137, ");
    row("the ring triggers by itself", "ring", fullRing + "XCPU 0..43690, BCPU 0..43689, ");
    row("the ring of one processor", "ring bcpu", fullRing + "BCPU 0..87380, ");
    row("the ring has hardly begun to fill", "ring tag 1A03",
        "3048 trace bytes, 127 frames, XCPU 0..63, BCPU 0..62, ");
    row("the ring has gone round", "ring standard",
        fullRing + "XCPU 21845..65535, BCPU 21845..65534, ");
    row("the ring's trigger never comes", "ring tag 1A33", nothing);
}

void SimulatedTraceTest::configurationDecidesWhatIsRecorded()
{
    QFETCH(QByteArray, options);
    QFETCH(QByteArray, recorded);
    simulate("rate=0,trigger=20");
    const Recording recording = Recording(options).readToTheEnd();
    QCOMPARE(recording.end(), finished);
    QCOMPARE(check(recording.file(), true), recorded + "whole");
}

void SimulatedTraceTest::frameIsLaidOutAsDocumented()
{
    simulate("rate=0");
    QCOMPARE(Recording("bcpu tag 1A03").readToTheEnd().trace.left(frameSize).toHex(),
             QByteArray("a7b501023f000000f003000000000000031a000001b22d20"));
}

void SimulatedTraceTest::streamIsPaced()
{
    const WorkingFolder folder;
    simulate("rate=4M,report=counts");
    const auto due = [](const QElapsedTimer& since) {
        return double(since.nsecsElapsed()) * 0.004194304;
    };
    QElapsedTimer outer;
    QElapsedTimer inner;
    outer.start();
    Recording recording("tag 1A00"); // fires with the 15th frame
    inner.start();
    int reads = 0;
    for (; inner.elapsed() < 60; ++reads) {
        recording.read(32768);
    }
    const double least = due(inner) - 15 * frameSize;
    BRAN_StopRecordingRequest(recording.context);
    const double most = due(outer);
    QTest::qSleep(5);
    const int bytes = recording.readToTheEnd().trace.size();
    QVERIFY2(bytes > least && bytes <= most, qPrintable(QString::number(bytes)));
    QVERIFY2(reads < 20, "waiting is busy");
    const QByteArray count = QByteArray::number(bytes);
    QCOMPARE(contentOf("counts"), "generated " + count + " delivered " + count + " lost 0\n");
}

void SimulatedTraceTest::ringIsPaced_data()
{
    QTest::addColumn<QByteArray>("parameters");
    QTest::addColumn<QByteArray>("options");
    QTest::addColumn<int>("triggerMs");
    QTest::addColumn<int>("deliveryMs");
    QTest::addColumn<int>("bytes");
    const QByteArray unarmed = "rate=20M,trigger=30";
    QTest::newRow("by itself") << unarmed << QByteArray("ring") << 30 << 30 << 629136;
    QTest::newRow("by a tag") << QByteArray("rate=80M") << QByteArray("ring standard") << 37 << 25
                              << 2097144;
}

// The stop comes after the trigger, and must not cut the ring short.
void SimulatedTraceTest::ringIsPaced()
{
    QFETCH(QByteArray, parameters);
    QFETCH(QByteArray, options);
    QFETCH(int, triggerMs);
    QFETCH(int, deliveryMs);
    simulate(parameters);
    QElapsedTimer timer;
    timer.start();
    Recording recording(options);
    int reads = 0;
    for (; recording.trace.isEmpty() && reads < 100; ++reads) {
        recording.read();
    }
    const qint64 firstByteMs = timer.elapsed();
    QCOMPARE(recording.readToTheEnd().end(), finished);
    QVERIFY2(timer.elapsed() >= triggerMs + deliveryMs - 2 && firstByteMs >= triggerMs - 1,
             qPrintable(QString::number(firstByteMs)));
    QVERIFY2(reads <= 6, "waiting is busy");
    QTEST(recording.trace.size(), "bytes");
}

void SimulatedTraceTest::overrunIsSeenAndCounted()
{
    const WorkingFolder folder;
    simulate("rate=20M,buffer=1M,stall=2:100,report=counts");
    Recording recording;
    recording.read(100);
    recording.read(1);
    QCOMPARE(recording.trace.size(), 101);
    const int delivered = recording.readToTheEnd(0).trace.size();
    QVERIFY2(qAbs(delivered - 0x100000 - 120) <= frameSize, qPrintable(QString::number(delivered)));

    const QString seen = check(recording.file(), true);
    const auto gap =
        QRegularExpression("^offset 128: .CPU frame (\\d+) comes instead of ([23])$").match(seen);
    QVERIFY2(gap.hasMatch(), qPrintable(seen));
    const int lost = (gap.captured(1).toInt() - gap.captured(2).toInt()) * 2 * frameSize;
    const auto counts = QRegularExpression("^generated (\\d+) delivered (\\d+) lost (\\d+)\n$")
                            .match(contentOf("counts"));
    QVERIFY(lost > 200000 && qAbs(counts.captured(3).toInt() - lost) <= frameSize);
    QCOMPARE(counts.captured(2).toInt(), delivered);
    QCOMPARE(counts.captured(1).toInt(), delivered + counts.captured(3).toInt());
}

void SimulatedTraceTest::faultsStrike_data()
{
    QTest::addColumn<QByteArray>("parameters");
    QTest::addColumn<QByteArray>("end");
    QTest::addColumn<int>("bytes");
    QTest::addColumn<int>("bytesInHand"); // what the last read said
    QTest::addColumn<QByteArray>("nextEnd");
    const auto row = [](const char* name, const char* parameters, const QByteArray& end, int bytes,
                        int bytesInHand, const QByteArray& nextEnd) {
        QTest::newRow(name) << QByteArray(parameters) << end << bytes << bytesInHand << nextEnd;
    };
    row("start fails once", "fail=start@1:no link", "no link", 0, 0, finished);
    row("the third read fails", "fail=read@3:cable", "cable", 1024, 0, finished);
    row("bytes in hand", "fail=read@3:cable,failbytes=99", "cable", 1024, 99, finished);
    row("never more bytes than asked for", "fail=read@1:a,failbytes=1K", "a", 0, 512, finished);
    row("the board disappears within a read", "unplug=1000", "the board was unplugged", 1000, 0,
        "no board is connected");
    row("the recording ends by itself", "finish=1000", finished, 1000, 488, finished);
    row("stop is ignored", "stop=ignored", "goes on", readsBeforeGivingUp * readSize, readSize,
        "goes on");
    const QByteArray wrong = "BRAN_SIMULATOR: stall=2: the time is missing";
    row("a parameter is wrong", "stall=2", wrong, 0, 0, wrong);
}

void SimulatedTraceTest::faultsStrike()
{
    QFETCH(QByteArray, parameters);
    QFETCH(QByteArray, nextEnd);
    simulate("rate=0," + parameters);
    const Recording first = Recording().readToTheEnd();
    QTEST(first.end(), "end");
    QTEST(first.trace.size(), "bytes");
    QTEST(int(first.bytesRead), "bytesInHand");
    Recording ended = first;
    ended.read();
    QCOMPARE(ended.trace.size() > first.trace.size(), first.end() == "goes on");
    QCOMPARE(Recording().readToTheEnd().end(), nextEnd);
    unsigned version = 0;
    const BRAN_ERR_T result = BRAN_GetVersion(&version);
    QCOMPARE(result == BRAN_SUCCESS, nextEnd == finished || nextEnd == "goes on");
}

void SimulatedTraceTest::onlyTheRunningRecordingIsRead()
{
    const QByteArray noRecording = "no recording runs in this context";
    simulate("rate=0,fail=start@1,fail=start@5:no link");
    Recording neverStarted;
    neverStarted.read();
    QCOMPARE(neverStarted.end(), noRecording);
    Recording dropped;
    Recording running;
    QCOMPARE(dropped.readToTheEnd().end(), noRecording);
    QVERIFY(BRAN_GetRecordData(running.context, nullptr, 1, running.bytesRead) != BRAN_SUCCESS);
    QCOMPARE(BRAN_GetRecordData(running.context, nullptr, 0, running.bytesRead), BRAN_SUCCESS);
    QCOMPARE(running.readToTheEnd().end(), finished);
    QCOMPARE(running.trace.size(), 5136);
    Recording replaced;
    const Recording failed;
    QCOMPARE(failed.end(), QByteArray("no link"));
    QCOMPARE(replaced.readToTheEnd().end(), noRecording);
}

void SimulatedTraceTest::checkerFindsFaults_data()
{
    QTest::addColumn<int>("place"); // where `removed` bytes of a sound file are replaced
    QTest::addColumn<int>("removed");
    QTest::addColumn<QByteArray>("inserted");
    QTest::addColumn<QByteArray>("found");
    const auto row = [](const char* name, int place, int removed, const QByteArray& inserted,
                        const char* found) {
        QTest::newRow(name) << place << removed << inserted << QByteArray(found);
    };
    simulate("rate=0");
    const QByteArray file = Recording().readToTheEnd().file();
    const auto flip = [&](const char* name, int place, const char* found) {
        row(name, place, 1, QByteArray(1, char(file[place] ^ 0x10)), found);
    };
    flip("a number's bit has flipped", 252, "offset 248: the frame's check value is wrong");
    flip("a check value's bit has flipped", 271, "offset 248: the frame's check value is wrong");
    flip("a mark's bit has flipped", 248, "offset 248: no frame begins here");
    flip("the first frame is wrong", 28, "offset 8: ");
    flip("the last frame is wrong", 5143, "offset 5120: the frame's check value is wrong");
    flip("the header is wrong", 5, "offset 0: no header");
    flip("the EXL format is wrong", 6, "offset 0: no header");
    row("a byte is missing", 258, 1, "", "offset 248: the frame's check value is wrong");
    row("a frame is twice there", 248, 0, file.mid(224, 24), "offset 248: BCPU frame 4 comes");
    row("a frame is missing", 248, 24, "", "offset 272: XCPU frame 6 comes instead of 5");
    row("frames are swapped", 248, 48, file.mid(272, 24) + file.mid(248, 24),
        "offset 272: the frame is older");
    row("something else follows", 5144, 0, "x", "offset 5144: what remains");
    row("only zeros", 8, 5136, QByteArray(999, '\0'), "offset 8: ");
    row("nothing but a header", 8, 5136, "", "0 trace bytes, 0 frames, whole");
    row("the first frame lacks a byte", 8, 1, "", "1..106, BCPU 0..106, 23 bytes of an unfinished");
    row("the first frame has a byte", 8, 23, "", "1..106, BCPU 0..106, 1 bytes of an unfinished");
    row("the last frame lacks a byte", 5143, 1, "", "106, BCPU 0..105, 23 bytes of an unfinished");
}

void SimulatedTraceTest::checkerFindsFaults()
{
    QFETCH(int, place);
    QFETCH(int, removed);
    QFETCH(QByteArray, inserted);
    QFETCH(QByteArray, found);
    simulate("rate=0");
    QByteArray file = Recording().readToTheEnd().file();
    file.replace(place, removed, inserted);
    const QByteArray seen = check(file, false);
    QVERIFY2(seen.contains(found), seen);
    const bool isRefused = found.startsWith("offset") || found.contains("unfinished");
    QCOMPARE(check(file, true).startsWith("offset"), isRefused);
}

QTEST_GUILESS_MAIN(SimulatedTraceTest)
#include "tst_simulatedtrace.moc"
