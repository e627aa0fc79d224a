#include "simulator/board.h"
#include "tests/support/folder.h"

#include <QElapsedTimer>
#include <QProcess>
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
    QProcess checker;
    checker.start(CHECKRECORD, isStrict ? QStringList{"--strict", "a.prf"} : QStringList{"a.prf"});
    const bool hasEnded = checker.waitForFinished();
    const QByteArray line = checker.readAllStandardOutput().trimmed().mid(7);
    return hasEnded && checker.exitCode() == (line.startsWith("offset") ? 1 : 0)
               ? line
               : "wrong exit code: " + line;
}

} // namespace

class SimulatedTraceTest : public QObject
{
    Q_OBJECT

private slots:
    void configurationDecidesWhatIsRecorded();
    void frameIsLaidOutAsDocumented();
    void streamIsPaced();
    void ringIsPaced();
    void overrunIsSeenAndCounted();
    void faultsStrike();
    void onlyTheRunningRecordingIsRead();
    void checkerFindsFaults();
};

void SimulatedTraceTest::configurationDecidesWhatIsRecorded()
{
    const QByteArray stream = "5136 trace bytes, 214 frames, ";
    const QByteArray fullRing = "2097144 trace bytes, 87381 frames, ";
    const QByteArray nothing = "0 trace bytes, 0 frames, ";
    const std::vector<std::pair<QByteArray, QByteArray>> cases = {
        {"", stream + "XCPU 0..106, BCPU 0..106, "},
        {"xcpu", stream + "XCPU 0..213, "},
        {"bcpu", stream + "BCPU 0..213, "},
        {"exl 1000010 1000013", stream + "XCPU 4..110, BCPU 4..110, "},
        {"exl 1800025 1800028", stream + "XCPU 11..117, BCPU 10..116, "},
        {"exl 100001C 100001F", nothing}, // there is a PXTS entry instead
        {"bcpu exl 1000000 10FFFFF", nothing},
        {"standard", stream + "XCPU 65535..65641, BCPU 65535..65641, "},
        {"bcpu tag 1A03", stream + "BCPU 63..276, "},
        {"tag 1A33", nothing},
        {"standard exl 1000400 1000400 tag 1A02", stream + "XCPU 31..137, BCPU 31..137, "},
        {"ring", fullRing + "XCPU 0..43690, BCPU 0..43689, "},
        {"ring bcpu", fullRing + "BCPU 0..87380, "},
        {"ring tag 1A03", "3048 trace bytes, 127 frames, XCPU 0..63, BCPU 0..62, "},
        {"ring standard", fullRing + "XCPU 21845..65535, BCPU 21845..65534, "},
        {"ring tag 1A33", nothing},
    };
    for (const auto& [options, recorded] : cases) {
        simulate("rate=0,trigger=20");
        const Recording recording = Recording(options).readToTheEnd();
        QCOMPARE(options + ": " + recording.end(), options + ": " + finished);
        QCOMPARE(check(recording.file(), true), recorded + "whole");
    }
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

// The stop comes after the trigger, and must not cut the ring short.
void SimulatedTraceTest::ringIsPaced()
{
    struct Case {
        const char* parameters;
        const char* options;
        int triggerMs;
        int deliveryMs;
        int bytes;
    };
    for (const Case& ring : {Case{"rate=20M,trigger=30", "ring", 30, 30, 629136},
                             Case{"rate=80M", "ring standard", 37, 25, 2097144}}) {
        simulate(ring.parameters);
        QElapsedTimer timer;
        timer.start();
        Recording recording(ring.options);
        int reads = 0;
        for (; recording.trace.isEmpty() && reads < 100; ++reads) {
            recording.read();
        }
        const qint64 firstByteMs = timer.elapsed();
        QCOMPARE(recording.readToTheEnd().end(), finished);
        QVERIFY2(timer.elapsed() >= ring.triggerMs + ring.deliveryMs - 2 &&
                     firstByteMs >= ring.triggerMs - 1,
                 qPrintable(QString::number(firstByteMs)));
        QVERIFY2(reads <= 6, "waiting is busy");
        QCOMPARE(recording.trace.size(), ring.bytes);
    }
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

void SimulatedTraceTest::faultsStrike()
{
    struct Case {
        QByteArray parameters;
        QByteArray end;
        int bytes;
        int bytesInHand; // what the last read said
        QByteArray nextEnd;
    };
    const QByteArray wrong = "BRAN_SIMULATOR: stall=2: the time is missing";
    const std::vector<Case> cases = {
        {"fail=start@1:no link", "no link", 0, 0, finished},
        {"fail=read@3:cable", "cable", 1024, 0, finished},
        {"fail=read@3:cable,failbytes=99", "cable", 1024, 99, finished},
        {"fail=read@1:a,failbytes=1K", "a", 0, 512, finished},
        {"unplug=1000", "the board was unplugged", 1000, 0, "no board is connected"},
        {"finish=1000", finished, 1000, 488, finished},
        {"stop=ignored", "goes on", readsBeforeGivingUp * readSize, readSize, "goes on"},
        {"stall=2", wrong, 0, 0, wrong},
    };
    for (const Case& fault : cases) {
        simulate("rate=0," + fault.parameters);
        const Recording first = Recording().readToTheEnd();
        QCOMPARE(first.end(), fault.end);
        QCOMPARE(first.trace.size(), fault.bytes);
        QCOMPARE(int(first.bytesRead), fault.bytesInHand);
        Recording ended = first;
        ended.read();
        QCOMPARE(ended.trace.size() > first.trace.size(), first.end() == "goes on");
        QCOMPARE(Recording().readToTheEnd().end(), fault.nextEnd);
        unsigned version = 0;
        QCOMPARE(BRAN_GetVersion(&version) == BRAN_SUCCESS,
                 fault.nextEnd == finished || fault.nextEnd == "goes on");
    }
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
    QCOMPARE(running.readToTheEnd().end(), finished);
    QCOMPARE(running.trace.size(), 5136);
    Recording replaced;
    const Recording failed;
    QCOMPARE(failed.end(), QByteArray("no link"));
    QCOMPARE(replaced.readToTheEnd().end(), noRecording);
}

void SimulatedTraceTest::checkerFindsFaults()
{
    simulate("rate=0");
    const QByteArray file = Recording().readToTheEnd().file();
    const auto flipped = [&](int place) { return QByteArray(1, char(file[place] ^ 0x10)); };
    struct Case {
        int place; // where `removed` bytes of the sound file are replaced
        int removed;
        QByteArray inserted;
        QByteArray found;
    };
    const std::vector<Case> cases = {
        {252, 1, flipped(252), "offset 248: the frame's check value is wrong"},
        {271, 1, flipped(271), "offset 248: the frame's check value is wrong"},
        {248, 1, flipped(248), "offset 248: no frame begins here"},
        {28, 1, flipped(28), "offset 8: "},
        {5143, 1, flipped(5143), "offset 5120: the frame's check value is wrong"},
        {5, 1, flipped(5), "offset 0: no header"},
        {6, 1, flipped(6), "offset 0: no header"},
        {258, 1, "", "offset 248: the frame's check value is wrong"},
        {248, 0, file.mid(224, 24), "offset 248: BCPU frame 4 comes"},
        {248, 24, "", "offset 272: XCPU frame 6 comes instead of 5"},
        {248, 48, file.mid(272, 24) + file.mid(248, 24), "offset 272: the frame is older"},
        {5144, 0, "x", "offset 5144: what remains"},
        {8, 5136, QByteArray(999, '\0'), "offset 8: "},
        {8, 5136, "", "0 trace bytes, 0 frames, whole"},
        {8, 1, "", "1..106, BCPU 0..106, 23 bytes of an unfinished"},
        {8, 23, "", "1..106, BCPU 0..106, 1 bytes of an unfinished"},
        {5143, 1, "", "106, BCPU 0..105, 23 bytes of an unfinished"},
    };
    for (const auto& [place, removed, inserted, found] : cases) {
        const QByteArray changed = QByteArray(file).replace(place, removed, inserted);
        const QByteArray seen = check(changed, false);
        QVERIFY2(seen.contains(found), seen + " instead of " + found);
        const bool isRefused = found.startsWith("offset") || found.contains("unfinished");
        QCOMPARE(check(changed, true).startsWith("offset"), isRefused);
    }
}

QTEST_GUILESS_MAIN(SimulatedTraceTest)
#include "tst_simulatedtrace.moc"
