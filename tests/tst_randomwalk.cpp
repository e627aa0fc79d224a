#include "tests/support/cleanstart.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <QRandomGenerator>

#include <optional>

using Read = ScriptedBoard::Read;

namespace
{

enum class End { Finished, StopAsked, Brutal, ReadFails, StartFails };

/// What the user must find after a recording.
struct Outcome {
    QByteArray file;
    QString status;
};

using Seeds = Table<quint32>;

} // namespace

/// Makes recordings of all modes at random, one after the other on one page, and compares each with
/// what it must have left.
class tst_randomwalk : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

    void recordingsLeaveWhatTheyMust_data()
    {
        const Seeds seeds;
        for (const quint32 seed : {1U, 2U, 3U}) {
            seeds.row(QStringLiteral("seed %1").arg(seed), seed);
        }
    }
    void recordingsLeaveWhatTheyMust()
    {
        const auto [seed] = Seeds::fetch();
        m_random.seed(seed);
        m_random.fillRange(m_noise.data(), qsizetype(m_noise.size()));
        RecordPage page;
        Outcome expected;
        for (int step = 0; step < 150; ++step) {
            board.journal.clear();
            expected = record(page, expected.file);
            const QByteArray place = QStringLiteral("step %1, ").arg(step).toUtf8();
            QVERIFY2(contentOf("a.prf") == expected.file, place);
            QVERIFY2(page.status->text().startsWith(expected.status),
                     place + page.status->text().toUtf8());
            QVERIFY2(page.state() == "Start!, 10 groups", place + page.state().toUtf8());
            QVERIFY2(board.journal.count("grey") == board.journal.count("ungrey"), place);
        }
    }

private:
    int below(int bound) { return int(m_random.bounded(bound)); }

    /// Some MB at most, so that a ring may go round.
    std::deque<Read> randomReads()
    {
        std::deque<Read> reads;
        for (int each = below(25); each >= 0; --each) {
            const auto* bytes = reinterpret_cast<const char*>(m_noise.data()) + below(1 << 20);
            reads.push_back({QByteArray(bytes, below(3) == 0 ? 0 : below(200000)), BRAN_SUCCESS,
                             below(5) * qint64(67)});
        }
        return reads;
    }

    /// Makes one recording and tells what it must leave, `oldFile` being what is there.
    Outcome record(RecordPage& page, const QByteArray& oldFile)
    {
        const QString mode = QStringList{onTheFly, ring, hardware}.at(below(3));
        const int megabytes = 1 + below(2);
        const auto end = End(below(5));
        std::deque<Read> reads = randomReads();
        const auto last = std::size_t(below(int(reads.size())));
        std::size_t delivered = last + 1;
        board.onStop = [] {};
        switch (end) {
        case End::Finished:
            delivered = reads.size();
            reads.back().result = BRAN_RECORDING_FINISHED;
            break;
        case End::StopAsked:
            // Before the first bytes: the hardware trigger takes the stop away.
            reads.push_front({"", BRAN_SUCCESS, 201, [&] {
                                  QMetaObject::invokeMethod(page.startStop, "click",
                                                            Qt::QueuedConnection);
                              }});
            board.onStop = [last] { board.reads.resize(last); };
            break;
        case End::Brutal:
            reads[last].meanwhile = [&] { page.tab->brutalStop(); };
            break;
        case End::ReadFails:
            reads.resize(last + 1);
            reads.push_back({"lost", ScriptedBoard::failure});
            answerBox();
            break;
        case End::StartFails:
            answerBox();
            break;
        }
        board.failing = end == End::StartFails ? "start" : "";
        QByteArray file("DBGP\1\0\1\0", 8);
        file[6] = page.newExl->isChecked() ? 2 : 1;
        QByteArray trace;
        for (std::size_t each = 0; each < delivered; ++each) {
            trace += reads[each].bytes;
        }
        page.group(mode)->setChecked(true);
        page.size->setText(QString::number(megabytes));
        TOVAConfiguration::m_isDoubleClickedProtected = end != End::StopAsked && below(2) == 0;
        page.record(reads);
        page.newExl->setChecked(below(2) == 0);
        return mode == ring ? afterRing(end, file, trace, megabytes << 20, oldFile)
                            : afterStream(end, file, trace);
    }

    static QString stopWord(End end)
    {
        return end == End::ReadFails ? "on error" : end == End::Brutal ? "Brutally" : "Nicely";
    }

    static Outcome afterStream(End end, const QByteArray& header, const QByteArray& trace)
    {
        if (end == End::StartFails) {
            return {"", "Stopped on error."};
        }
        return {header + trace, QStringLiteral("Recorded %1 bytes. (Stopped %2!)")
                                    .arg(QString::number(trace.size()), stopWord(end))};
    }

    static Outcome afterRing(End end, const QByteArray& header, const QByteArray& trace, int size,
                             const QByteArray& oldFile)
    {
        if (end == End::StartFails) {
            return {oldFile, "Stopped on error."};
        }
        if (end == End::ReadFails) {
            return {oldFile, QStringLiteral("Read %1 bytes. Cursor at %2. Read count : ")
                                 .arg(trace.size())
                                 .arg(trace.size() % size)};
        }
        const QString filled =
            trace.size() < size
                ? QStringLiteral("Dumped %1 bytes, buffer not full.").arg(trace.size())
                : "Dumped last full buffer.";
        return {header + trace.right(size), filled + " (Stopped " + stopWord(end) + ", saved)."};
    }

    QRandomGenerator m_random;
    std::vector<quint32> m_noise = std::vector<quint32>(1 << 19);
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_randomwalk)
#include "tst_randomwalk.moc"
