#include "tests/support/window.h"

#include <QRandomGenerator>

#include <sys/file.h>
#include <sys/stat.h>

using Read = ScriptedBoard::Read;

namespace
{

constexpr int readSize = 32768;
constexpr int megabyte = 1 << 20;

enum End { Finished, StopAsked, Brutal, BrutalFailing, Unnamed, Refused, Fails, Lies, StartFails };

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
        std::generate(m_noise.begin(), m_noise.end(), [this] { return char(m_random()); });
        QCOMPARE(mkfifo("pipe", S_IRWXU), 0);
        QVERIFY(writeFile("locked", "another program's"));
        QFile locked("locked");
        QVERIFY(locked.open(QIODevice::ReadOnly));
        QCOMPARE(flock(locked.handle(), LOCK_EX), 0);
        Window window;
        watch(window);
        for (int step = 0; step < 150 && !QTest::currentTestFailed(); ++step) {
            m_mode = QStringList{onTheFly, ring, hardware}.at(step % 3);
            m_end = End(below(StartFails + 1));
            record(window);
            if (QTest::currentTestFailed()) {
                qWarning() << "seed" << seed << "step" << step << m_mode << "end" << m_end;
            }
        }
    }

private:
    int below(int bound) { return int(m_random() % unsigned(bound)); }
    bool isRing() const { return m_mode == ring; }
    bool isBrutal() const { return m_end == Brutal || m_end == BrutalFailing; }
    bool fails() const { return m_end >= Fails; }
    bool isSaved() const { return m_end != Unnamed && m_end != Refused && !(isRing() && fails()); }

    /// Whoever reads that a recording is over can start the next one: nothing happens in between.
    void watch(Window& window)
    {
        board.state = nullptr;
        auto* always = new QTimer(&window);
        connect(always, &QTimer::timeout, always, [&window] {
            if (window.status.text().contains("topped ") && window.state() != "Start!") {
                board.note("an event behind the final line");
            }
        });
        always->start(0);
    }

    void record(Window& window)
    {
        auto& size = window.get<QLineEdit>("Size");
        size.setText(QStringList{"", "1", "2"}.at(below(3)));
        m_ringSize = std::max(size.text().toInt(), 1) * megabyte;
        const QString refusing = QStringList{".", "pipe", "locked"}.at(below(3));
        window.file.clear();
        window.file.setEditText(m_end == Unnamed ? "" : m_end == Refused ? refusing : "a.prf");
        window.status.clear();
        const QByteArray oldFile = contentOf("a.prf");
        auto& newExl = window.get<QCheckBox>("Use it (Ambrel, Sorvane, ...)");
        // The format is that of the moment when the header is written.
        const char format = newExl.isChecked() != isRing() ? 2 : 1;
        board.journal.clear();
        board.failing = m_end == StartFails ? "start" : "";
        TOVAConfiguration::m_lastPrfFiles.clear();
        TOVAConfiguration::m_isDoubleClickedProtected = m_end != StopAsked;
        if (m_end == Refused || fails()) {
            window.answer(m_end == Refused && isRing() ? "Cancel" : "OK");
        }
        window.record(m_mode, randomReads(window, newExl));

        const QByteArray kept = isRing() ? m_trace.right(m_ringSize) : m_trace;
        const QByteArray file = QByteArray("DBGP\1\0", 6) + format + '\0' + kept;
        QVERIFY(contentOf("a.prf") == (!isSaved()            ? oldFile
                                       : m_end == StartFails ? QByteArray()
                                                             : file));
        QCOMPARE(board.journal, journal());
        QCOMPARE(window.status.text(), status());
        QCOMPARE(window.state(), QString("Start!"));
        QCOMPARE(window.file.count(), int(isSaved()));
        QCOMPARE(contentOf("locked"), QByteArray("another program's"));
    }

    /// Some MB at most, so that a ring may go round; sometimes it is full to the byte.
    std::deque<Read> randomReads(Window& window, QCheckBox& newExl)
    {
        // Whether this click asks for a stop depends on the protection.
        const auto clickBoth = [&] {
            newExl.click();
            queue(window, [&window] { click(window.startStop); });
        };
        std::deque<Read> reads{{"", BRAN_SUCCESS, 201, clickBoth}};
        m_trace.clear();
        m_calls = 1;
        for (int left = below(25); left >= 0; --left) {
            const int missing = m_ringSize - int(m_trace.size()) % m_ringSize + below(3) - 1;
            const int some = below(3) == 0 ? 0 : below(200000);
            const int count = left == 0 && below(3) == 0 ? missing : some;
            reads.push_back(
                {m_noise.mid(below(megabyte), count), BRAN_SUCCESS, below(5) * qint64(67)});
            m_trace += reads.back().bytes;
            m_calls += (std::max(count, 1) + readSize - 1) / readSize;
        }
        if (m_end == Fails || m_end == Lies) {
            reads.push_back({"lost"});
            reads.back().claims = m_end == Lies || below(2) == 0 ? 4000000000U : 0;
            ++m_calls;
        }
        const bool goesOn = isBrutal() || (m_end == Lies && below(2) == 0);
        const bool isFailure = m_end == Fails || m_end == BrutalFailing;
        reads.back().result = isFailure ? ScriptedBoard::failure
                              : goesOn  ? BRAN_SUCCESS
                                        : BRAN_RECORDING_FINISHED;
        // What is asked for in the last read comes too late.
        reads.back().meanwhile = [this, &window] {
            isBrutal() ? window.recordPage.brutalStop() : void();
            queue(window, [&window] {
                click(window.startStop);
                window.recordPage.brutalStop();
            });
        };
        reads.push_back({"never read"});
        return reads;
    }

    QStringList journal() const
    {
        const QString refused = "Cannot open file for writing.%1File may be in read-only mode, or "
                                "it is already opened by another application";
        const QString box = m_end == Refused ? isRing() ? "TOVAlink: " + refused.arg('\n') + ".\n"
                                                        : "Tovalink: " + refused.arg(' ')
                            : m_end == Lies
                                ? "Tovalink: The board library reported 4000000000 bytes, which is "
                                  "more than it was asked for. They were not recorded."
                            : fails() ? "Tovalink: it is <b>damaged"
                                      : "";
        const bool isBegun = m_end != Unnamed && (m_end != Refused || isRing());
        QStringList journal{isBegun ? "start" : "", m_end == StopAsked ? "stop" : "", box};
        journal.removeAll("");
        return journal;
    }

    QString format() const
    {
        if (m_end == Unnamed || m_end == StartFails) {
            return m_end == Unnamed ? "You'd better chose a filename before recording!"
                                    : "Stopped on error.";
        }
        if (m_end == Refused) {
            return isRing() ? "(Stopped %1, user has chosen not to save)." : "";
        }
        if (!isRing()) {
            return "Recorded %2 bytes. (Stopped %1!)";
        }
        return fails() ? "Read %2 bytes. Cursor at %3. Read count : %4 (Stopped %1!)"
               : m_trace.size() < m_ringSize
                   ? "Dumped %2 bytes, buffer not full. (Stopped %1, saved)."
                   : "Dumped last full buffer. (Stopped %1, saved).";
    }

    QString status() const
    {
        return format()
            .replace("%1", fails()      ? "on error"
                           : isBrutal() ? "Brutally"
                                        : "Nicely")
            .replace("%2", QString::number(m_trace.size()))
            .replace("%3", QString::number(m_trace.size() % m_ringSize))
            .replace("%4", QString::number(m_calls));
    }

    QRandomGenerator m_random;
    QByteArray m_noise = QByteArray(4 * megabyte, '\0');
    QByteArray m_trace;
    QString m_mode;
    End m_end = Finished;
    int m_ringSize = 0;
    int m_calls = 0;
};

QTEST_MAIN(tst_walk)
#include "tst_walk.moc"
