#include "tests/support/cleanstart.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <QRandomGenerator>

#include <optional>

using Read = ScriptedBoard::Read;

namespace
{

enum class End { Finished, StartFails, ReadFails, Brutal, StopAsked };

/// What the user must find after a recording.
struct Outcome {
    QByteArray file;
    QString status;
};

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
        columns<quint32>("seed");
        for (const quint32 seed : {1U, 2U, 3U}) {
            row(QStringLiteral("seed %1").arg(seed), seed);
        }
    }
    void recordingsLeaveWhatTheyMust()
    {
        QFETCH(quint32, seed);
        m_random.seed(seed);
        RecordPage page;
        Outcome expected;
        for (int step = 0; step < 150; ++step) {
            expected = record(page, expected);
            const QByteArray place =
                QStringLiteral("seed %1, step %2").arg(seed).arg(step).toUtf8();
            QVERIFY2(contentOf("a.prf") == expected.file, place);
            QVERIFY2(page.status->text().startsWith(expected.status),
                     place + page.status->text().toUtf8());
            QVERIFY2(page.state() == "Start!, 10 groups", place + page.state().toUtf8());
            QVERIFY2(board.journal.count("grey") == board.journal.count("ungrey"), place);
        }
    }

private:
    int below(int bound) { return int(m_random.bounded(bound)); }

    /// Some hundred KB that differ from one recording to the next.
    std::deque<Read> randomReads()
    {
        std::deque<Read> reads;
        for (int each = below(25); each >= 0; --each) {
            QByteArray bytes(below(3) == 0 ? 0 : below(200000), '\0');
            std::generate(bytes.begin(), bytes.end(), [this] { return char(m_random.generate()); });
            reads.push_back({bytes, BRAN_SUCCESS, below(5) * qint64(67)});
        }
        return reads;
    }

    /// Makes one recording and tells what it must leave where the last one has left `before`.
    Outcome record(RecordPage& page, const Outcome& before)
    {
        const QString mode = QStringList{onTheFly, ring, hardware}.at(below(3));
        const auto end = End(below(5));
        const int megabytes = 1 + below(2);
        std::deque<Read> reads = randomReads();
        const auto last = std::size_t(below(int(reads.size())));
        const QByteArray header =
            QByteArray("DBGP\1\0", 6) + (page.newExl->isChecked() ? '\2' : '\1') + '\0';

        page.group(mode)->setChecked(true);
        page.size->setText(QString::number(megabytes));
        TOVAConfiguration::m_isDoubleClickedProtected = end != End::StopAsked && below(2) == 0;
        board.journal.clear();
        board.state = nullptr;
        board.failing = end == End::StartFails ? "start" : "";
        board.now += 1000;
        bool stopped = false;
        switch (end) {
        case End::Finished:
            reads.back().result = BRAN_RECORDING_FINISHED;
            break;
        case End::StartFails:
            answerBox();
            break;
        case End::ReadFails:
            reads.resize(last + 1);
            reads.push_back({"lost", ScriptedBoard::failure});
            answerBox();
            break;
        case End::Brutal:
            reads[last].meanwhile = [&] { page.tab->brutalStop(); };
            break;
        case End::StopAsked:
            reads[last].lasts = 201;
            reads[last].meanwhile = [&] {
                QMetaObject::invokeMethod(page.startStop, "click", Qt::QueuedConnection);
            };
            board.onStop = [&] {
                stopped = true;
                board.reads.resize(std::min<std::size_t>(board.reads.size(), 1));
            };
            break;
        }
        page.record(reads);
        page.newExl->setChecked(below(2) == 0);

        const std::size_t delivered = end == End::Brutal                   ? last + 1
                                      : end == End::ReadFails              ? reads.size() - 1
                                      : stopped && last + 2 < reads.size() ? last + 2
                                                                           : reads.size();
        QByteArray trace;
        for (std::size_t each = 0; each < delivered; ++each) {
            trace += reads[each].bytes;
        }
        // The trigger takes the stop away; until then it must have been sent.
        const bool mayStop =
            end == End::StopAsked && (mode != hardware || traceBefore(reads, last));
        if (stopped != mayStop) {
            return {"the stop was not asked for as it must be", {}};
        }
        return outcome(mode, end, header, trace, megabytes << 20, before.file);
    }

    /// Whether nothing has been delivered when the read `last` returns.
    static bool traceBefore(const std::deque<Read>& reads, std::size_t last)
    {
        return std::all_of(reads.begin(), reads.begin() + int(last) + 1,
                           [](const Read& each) { return each.bytes.isEmpty(); });
    }

    static Outcome outcome(const QString& mode, End end, const QByteArray& header,
                           const QByteArray& trace, int ringSize, const QByteArray& oldFile)
    {
        const QString word = end == End::Brutal ? "Brutally" : "Nicely";
        const bool isRing = mode == ring;
        if (end == End::StartFails) {
            return {isRing ? oldFile : QByteArray(), "Stopped on error."};
        }
        if (!isRing) {
            return {header + trace, QStringLiteral("Recorded %1 bytes. (Stopped %2!)")
                                        .arg(trace.size())
                                        .arg(end == End::ReadFails ? "on error" : word)};
        }
        if (end == End::ReadFails) {
            return {oldFile, QStringLiteral("Read %1 bytes. Cursor at %2. Read count : ")
                                 .arg(trace.size())
                                 .arg(trace.size() % ringSize)};
        }
        const bool isFull = trace.size() >= ringSize;
        return {header + trace.right(ringSize),
                isFull ? QStringLiteral("Dumped last full buffer. (Stopped %1, saved).").arg(word)
                       : QStringLiteral("Dumped %1 bytes, buffer not full. (Stopped %2, saved).")
                             .arg(trace.size())
                             .arg(word)};
    }

    QRandomGenerator m_random;
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_randomwalk)
#include "tst_randomwalk.moc"
