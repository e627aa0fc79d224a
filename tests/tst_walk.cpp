#include "tests/support/window.h"

#include <fcntl.h>
#include <optional>
#include <sys/file.h>
#include <sys/stat.h>

using Read = ScriptedBoard::Read;

namespace
{

constexpr int readSize = 32768;
constexpr int megabyte = 1 << 20;

enum End {
    Finished,
    StopAsked,
    Brutal,
    BrutalAndFailing,
    Unnamed,
    Refused,
    ReadFails,
    ReadIsImpossible,
    StartFails,
};
constexpr int ends = StartFails + 1;

} // namespace

/// Makes recordings that end in all ways in all modes, with random data, one after the other in one
/// window, and compares each with what it must have done and left.
class tst_walk : public QObject
{
    Q_OBJECT

private slots:
    void recordingsLeaveWhatTheyMust()
    {
        const CleanStart start;
        const auto seed = quint32(qEnvironmentVariableIntValue("TOVALINK_SEED"));
        m_random.seed(seed);
        m_random.fillRange(m_noise.data(), qsizetype(m_noise.size()));
        QCOMPARE(mkfifo("pipe", S_IRWXU), 0);
        QVERIFY(writeFile("locked", "another program's"));
        QFile locked("locked");
        QVERIFY(locked.open(QIODevice::ReadOnly));
        QCOMPARE(flock(locked.handle(), LOCK_EX), 0);
        Window window;
        watch(window);
        for (int step = 0; step < 150 && !QTest::currentTestFailed(); ++step) {
            m_mode = QStringList{onTheFly, ring, hardware}.at(step % 3);
            m_end = End(below(ends));
            record(window);
            if (QTest::currentTestFailed()) {
                qWarning() << "seed" << seed << "step" << step << m_mode << "end" << m_end;
            }
        }
    }

private:
    int below(int bound) { return int(m_random.bounded(bound)); }
    bool fails() const { return m_end >= ReadFails; }
    bool isRefusedAtOnce() const { return m_end == Refused && m_mode != ring; }
    bool isSaved() const
    {
        return m_end != Unnamed && m_end != Refused && (m_mode != ring || !fails());
    }

    /// Whoever reads that a recording is over can start the next one: nothing happens in between.
    void watch(Window& window)
    {
        auto* always = new QTimer(&window);
        connect(always, &QTimer::timeout, always, [&window] {
            if (window.status.text().contains("topped ") && window.state() != "Start!") {
                board.note("an event behind the final line");
            }
        });
        always->start(0);
    }

    /// Some MB at most, so that a ring may go round; sometimes it is full to the byte.
    std::deque<Read> randomReads(int ringSize)
    {
        std::deque<Read> reads;
        const auto* noise = reinterpret_cast<const char*>(m_noise.data());
        int total = 0;
        for (int each = below(25); each >= 0; --each) {
            const QByteArray bytes(noise + below(megabyte), below(3) == 0 ? 0 : below(200000));
            total += int(bytes.size());
            reads.push_back({bytes, BRAN_SUCCESS, below(5) * qint64(67)});
        }
        if (below(3) == 0) {
            const int missing = ringSize - total % ringSize + below(3) - 1;
            reads.push_back({QByteArray(noise, missing), BRAN_SUCCESS, 0});
        }
        return reads;
    }

    void record(Window& window)
    {
        const int ringSize = (1 + below(2)) * megabyte;
        std::deque<Read> reads = randomReads(ringSize);
        const auto last =
            m_end == Finished ? reads.size() - 1 : std::size_t(below(int(reads.size())));
        QByteArray trace;
        for (std::size_t each = 0; each <= last; ++each) {
            trace += reads[each].bytes;
        }
        window.get<QLineEdit>("Size").setText(QString::number(ringSize / megabyte));
        window.file.clear();
        window.file.setEditText(m_end == Unnamed   ? QString()
                                : m_end == Refused ? QStringList{".", "pipe", "locked"}.at(below(3))
                                                   : QStringLiteral("a.prf"));
        window.status.clear();
        const QByteArray oldFile = contentOf("a.prf");
        auto& newExl = window.get<QCheckBox>("Use it (Ambrel, Sorvane, ...)");
        const bool wasNewExl = newExl.isChecked();
        board = ScriptedBoard();
        board.now = m_now;
        QFile::remove("tovaconfig.cfg");
        TOVAConfiguration::m_lastPrfFiles.clear();
        TOVAConfiguration::m_isDoubleClickedProtected = m_end != StopAsked;
        prepareEnd(window, newExl, reads, last);
        const QString status = finalStatus(int(trace.size()), ringSize, reads);
        window.record(m_mode, reads);
        m_now = board.now;

        QByteArray file("DBGP\1\0\1\0", 8);
        // The format is that of the moment when the header is written.
        file[6] = wasNewExl != (m_mode == ring) ? 2 : 1;
        file += trace.right(m_mode == ring ? ringSize : int(trace.size()));
        file = !isSaved() ? oldFile : m_end == StartFails ? QByteArray() : file;
        QVERIFY(contentOf("a.prf") == file);
        QCOMPARE(board.journal, journal());
        QCOMPARE(window.status.text(), status);
        QCOMPARE(window.state(), QString("Start!"));
        QCOMPARE(contentOf("tovaconfig.cfg").contains("a.prf"), isSaved());
        QCOMPARE(window.file.count(), int(isSaved()));
        QCOMPARE(contentOf("locked"), QByteArray("another program's"));
    }

    /// Makes the recording end behind the read `last`.
    void prepareEnd(Window& window, QCheckBox& newExl, std::deque<Read>& reads, std::size_t last)
    {
        if (m_end == Finished) {
            reads.back().result = BRAN_RECORDING_FINISHED;
        } else if (m_end == Brutal || m_end == BrutalAndFailing) {
            reads[last].meanwhile = [&] { window.recordPage.brutalStop(); };
            reads[last].result = m_end == Brutal ? BRAN_SUCCESS : ScriptedBoard::failure;
        } else {
            reads.resize(last + 1);
        }
        if (m_end == StartFails) {
            board.failing = "start";
        } else if (m_end == ReadFails) {
            reads.push_back({"lost", ScriptedBoard::failure});
            reads.back().claims = below(2) * 4000000000U;
        } else if (m_end == ReadIsImpossible) {
            reads.push_back({"lost", below(2) == 0 ? BRAN_SUCCESS : BRAN_RECORDING_FINISHED});
            reads.back().claims = 4000000000U;
        }
        if (m_end == Refused || fails()) {
            window.answer(m_end == Refused && m_mode == ring ? "Cancel" : "OK");
        }
        // A click that is made in the last read asks for nothing any more.
        reads.back().meanwhile = [&window, before = reads.back().meanwhile] {
            before ? before() : void();
            queue(window, [&] { click(window.startStop); });
        };
        // A ring's header is written at its end. The hardware trigger takes the stop away.
        reads.push_front({"", BRAN_SUCCESS, m_end == StopAsked ? 201 : 0, [this, &window, &newExl] {
                              const QByteArray saved = contentOf("tovaconfig.cfg");
                              board.note(saved.contains("a.prf") ? "remembered" : "not remembered");
                              newExl.click();
                              if (m_end == StopAsked) {
                                  queue(window, [&] { click(window.startStop); });
                              }
                          }});
    }

    QStringList journal() const
    {
        const QString box = m_mode == ring && m_end == Refused
                                ? "TOVAlink: Cannot open file for writing.\nFile may be in "
                                  "read-only mode, or it is already opened by another "
                                  "application.\n"
                            : m_end == Refused
                                ? "Tovalink: Cannot open file for writing. File may be in "
                                  "read-only mode, or it is already opened by another application"
                            : m_end == ReadIsImpossible
                                ? "Tovalink: The board library reported 4000000000 bytes, which is "
                                  "more than it was asked for. They were not recorded."
                                : "Tovalink: it is <b>damaged";
        const bool isTried = m_end != Unnamed && !isRefusedAtOnce();
        QStringList journal{isTried ? "start" : "",
                            !isTried || m_end == StartFails ? ""
                            : m_mode == ring                ? "not remembered"
                                                            : "remembered",
                            m_end == StopAsked ? "stop" : "",
                            m_end == Refused || fails() ? box : ""};
        journal.removeAll("");
        return journal;
    }

    QString finalStatus(int bytes, int ringSize, const std::deque<Read>& reads) const
    {
        const bool isBrutal = m_end == Brutal || m_end == BrutalAndFailing;
        const QString stop = fails() ? "on error" : isBrutal ? "Brutally" : "Nicely";
        if (m_end == Unnamed || m_end == StartFails || isRefusedAtOnce()) {
            return m_end == Unnamed      ? "You'd better chose a filename before recording!"
                   : m_end == StartFails ? "Stopped on error."
                                         : "";
        }
        if (m_mode != ring) {
            return QStringLiteral("Recorded %1 bytes. (Stopped %2!)")
                .arg(QString::number(bytes), stop);
        }
        if (fails()) {
            int calls = 0;
            for (const Read& read : reads) {
                calls += std::max((int(read.bytes.size()) + readSize - 1) / readSize, 1);
            }
            return QString("Read %1 bytes. Cursor at %2. Read count : %3 (Stopped on error!)")
                .arg(bytes)
                .arg(bytes % ringSize)
                .arg(calls);
        }
        const QString format = m_end == Refused ? "(Stopped %2, user has chosen not to save)."
                               : bytes < ringSize
                                   ? "Dumped %1 bytes, buffer not full. (Stopped %2, saved)."
                                   : "Dumped last full buffer. (Stopped %2, saved).";
        return QString(format).replace("%1", QString::number(bytes)).replace("%2", stop);
    }

    QRandomGenerator m_random;
    std::vector<quint32> m_noise = std::vector<quint32>(1 << 19);
    QString m_mode;
    End m_end = Finished;
    qint64 m_now = 0;
};

QTEST_MAIN(tst_walk)
#include "tst_walk.moc"
