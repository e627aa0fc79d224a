#include "tests/support/cleanstart.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <QRandomGenerator>

#include <numeric>

using Read = ScriptedBoard::Read;

namespace
{

enum End { Finished, StopAsked, Brutal, BrutalAndFailing, ReadFails, ReadIsImpossible, StartFails };
constexpr int ends = StartFails + 1;

using Seeds = Table<quint32>;

} // namespace

/// Makes recordings that end in all ways in all modes, with random data, one after the other on one
/// page, and compares each with what it must have done and left.
class tst_randomwalk : public CleanTest
{
    Q_OBJECT

private slots:
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
        connect(page.tab, &TOVAStreamingTab::ungreyParentGUI,
                [] { board.note(QStringLiteral("%1 bytes").arg(QFileInfo("a.prf").size())); });
        for (int step = 0; step < 100 && !QTest::currentTestFailed(); ++step) {
            m_mode = QStringList{onTheFly, ring, hardware}.at(step % 3);
            m_end = End(below(ends));
            record(page);
            if (QTest::currentTestFailed()) {
                qWarning() << "step" << step << m_mode << "end" << m_end;
            }
        }
    }

private:
    int below(int bound) { return int(m_random.bounded(bound)); }
    bool fails() const { return m_end >= ReadFails; }
    bool isSaved() const { return m_mode != ring || !fails(); }

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

    void record(RecordPage& page)
    {
        std::deque<Read> reads = randomReads();
        const auto last = std::size_t(below(int(reads.size())));
        QByteArray trace;
        for (std::size_t each = 0; each < (m_end == Finished ? reads.size() : last + 1); ++each) {
            trace += reads[each].bytes;
        }
        const int megabytes = 1 + below(2);
        page.group(m_mode)->setChecked(true);
        page.size->setText(QString::number(megabytes));
        page.file->clear();
        page.file->setEditText("a.prf");
        page.status->clear();
        const QByteArray oldFile = contentOf("a.prf");
        const bool wasNewExl = page.newExl->isChecked();
        board = ScriptedBoard();
        board.now = m_now;
        QFile::remove("tovaconfig.cfg");
        TOVAConfiguration::m_lastPrfFiles.clear();
        TOVAConfiguration::m_isDoubleClickedProtected = m_end != StopAsked;
        prepareEnd(page, reads, last);
        const QString status = finalStatus(trace.size(), megabytes << 20, reads);
        board.state = [&] { return page.status->text() == status ? "final" : ""; };
        page.record(reads);
        if (TOVAConfiguration::m_isDoubleClickedProtected) {
            QTest::mouseDClick(page.startStop, Qt::LeftButton);
            QTest::mouseRelease(page.startStop, Qt::LeftButton);
        }
        m_now = board.now;

        QByteArray file("DBGP\1\0\1\0", 8);
        file[6] = wasNewExl != (m_mode == ring) ? 2 : 1;
        file += trace.right(m_mode == ring ? megabytes << 20 : trace.size());
        file = !isSaved() ? oldFile : m_end == StartFails ? QByteArray() : file;
        QVERIFY(contentOf("a.prf") == file);
        QCOMPARE(board.journal, journal() << QStringLiteral("%1 bytes").arg(file.size()));
        QCOMPARE(page.status->text(), status);
        QCOMPARE(page.state(), QString("Start!, 10 groups"));
        QCOMPARE(contentOf("tovaconfig.cfg").contains("a.prf"), isSaved());
        QCOMPARE(page.file->count(), int(isSaved()));
    }

    /// Makes the recording end behind the read `last`.
    void prepareEnd(RecordPage& page, std::deque<Read>& reads, std::size_t last)
    {
        if (m_end == Finished) {
            reads.back().result = BRAN_RECORDING_FINISHED;
        } else if (m_end == Brutal || m_end == BrutalAndFailing) {
            reads[last].meanwhile = [&] { page.tab->brutalStop(); };
            reads[last].result = m_end == Brutal ? BRAN_SUCCESS : ScriptedBoard::failure;
        } else if (m_end == StartFails) {
            board.failing = "start";
        } else {
            reads.resize(last + 1);
        }
        if (m_end == ReadFails) {
            reads.push_back({"lost", ScriptedBoard::failure});
        } else if (m_end == ReadIsImpossible) {
            reads.push_back({"lost", below(2) == 0 ? BRAN_SUCCESS : BRAN_RECORDING_FINISHED});
            reads.back().claims = 4000000000U;
        }
        if (fails()) {
            answerBox();
        }
        // A ring's header is written at its end. The hardware trigger takes the stop away.
        reads.push_front({"", BRAN_SUCCESS, m_end == StopAsked ? 201 : 0, [this, &page] {
                              const QByteArray saved = contentOf("tovaconfig.cfg");
                              board.note(saved.contains("a.prf") ? "remembered" : "not remembered");
                              page.newExl->click();
                              if (m_end == StopAsked) {
                                  QMetaObject::invokeMethod(page.startStop, "click",
                                                            Qt::QueuedConnection);
                              }
                          }});
    }

    QStringList journal() const
    {
        QStringList journal{"grey", "start"};
        if (m_end != StartFails) {
            journal += m_mode == ring ? "not remembered" : "remembered";
        }
        if (m_end == StopAsked) {
            journal += "stop";
        } else if (m_end == ReadIsImpossible) {
            journal += "Tovalink: The board library reported 4000000000 bytes, which is more than "
                       "it was asked for. They were not recorded.";
        } else if (fails()) {
            journal += "Tovalink: it is <b>damaged";
        }
        const bool isEarly = m_mode == hardware && fails() && m_end != StartFails;
        return journal << (isEarly ? "ungrey" : "ungrey | final");
    }

    QString finalStatus(int bytes, int ringSize, const std::deque<Read>& reads) const
    {
        const bool isBrutal = m_end == Brutal || m_end == BrutalAndFailing;
        const QString stop = fails() ? "on error" : isBrutal ? "Brutally" : "Nicely";
        if (m_end == StartFails) {
            return "Stopped on error.";
        }
        if (m_mode != ring) {
            return QStringLiteral("Recorded %1 bytes. (Stopped %2!)")
                .arg(QString::number(bytes), stop);
        }
        if (fails()) {
            const int calls =
                std::accumulate(reads.begin(), reads.end(), 0, [](int sum, const Read& read) {
                    constexpr int readSize = 32768;
                    return sum + std::max((int(read.bytes.size()) + readSize - 1) / readSize, 1);
                });
            return QStringLiteral(
                       "Read %1 bytes. Cursor at %2. Read count : %3 (Stopped on error!)")
                .arg(bytes)
                .arg(bytes % ringSize)
                .arg(calls);
        }
        const QString filled = bytes < ringSize
                                   ? QStringLiteral("Dumped %1 bytes, buffer not full.").arg(bytes)
                                   : "Dumped last full buffer.";
        return filled + " (Stopped " + stop + ", saved).";
    }

    QRandomGenerator m_random;
    std::vector<quint32> m_noise = std::vector<quint32>(1 << 19);
    QString m_mode;
    End m_end = Finished;
    qint64 m_now = 0;
};

QTEST_MAIN(tst_randomwalk)
#include "tst_randomwalk.moc"
