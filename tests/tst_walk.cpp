#include "tests/support/window.h"

#include <sys/file.h>
#include <sys/stat.h>

/// Makes recordings that end in all ways in all modes, with random data, one after the other in one
/// window, and compares each with what it must have done and left.
class tst_walk : public WindowTest
{
    Q_OBJECT

private slots:
    void recordingsLeaveWhatTheyMust()
    {
        QCOMPARE(mkfifo("pipe", S_IRWXU), 0);
        QFile locked("locked");
        QVERIFY(locked.open(QIODevice::WriteOnly) && flock(locked.handle(), LOCK_EX) == 0);
        QVERIFY(writeFile("locked", "another program's"));
        QTimer always;
        // Whoever reads that a recording is over can start the next one at once.
        always.callOnTimeout([this] {
            if (m_window.status.text().contains("topped ") && !m_window.state().isEmpty()) {
                board.note("an event behind the final line");
            }
        });
        always.start(0);
        for (int step = 0; step < 150; ++step) {
            m_mode = QStringList{onTheFly, ring, hardware}.at(step % 3);
            m_end = End(below(Refused + 1));
            record();
            const auto where = QString("step %1, %2, end %3").arg(step).arg(m_mode).arg(m_end);
            QVERIFY2(!QTest::currentTestFailed(), qPrintable(where));
        }
    }

private:
    /// The first three are good ends, the next three failures, and the last two have no file.
    enum End { Finished, StopAsked, Brutal, Fails, Lies, StartFails, Unnamed, Refused };

    int below(int bound) { return int(m_random() % unsigned(bound)); }
    bool isRing() const { return m_mode == ring; }

    void record()
    {
        const QString size = QStringList{"", "1", "2"}.at(below(3));
        m_window.get<QLineEdit>("Size").setText(size);
        m_ringSize = std::max(size.toInt(), 1) * megabyte;
        const QString refusing = QStringList{".", "pipe", "locked"}.at(below(3));
        m_window.file.clear();
        m_window.file.setEditText(m_end == Unnamed ? "" : m_end == Refused ? refusing : "a.prf");
        m_window.status.clear();
        m_window.answers = QStringList("Esc");
        TOVAConfiguration::m_isDoubleClickedProtected = m_end != StopAsked;
        board = ScriptedBoard();
        board.failing = m_end == StartFails ? "start" : "";
        m_window.record(m_mode, randomReads());

        // A ring that has failed is not saved.
        const bool isSaved = m_end <= (isRing() ? Brutal : StartFails);
        if (isSaved) {
            // The first read has changed the format. Only a ring writes its header after that.
            const char format = m_newExl.isChecked() == isRing() ? 2 : 1;
            const QByteArray kept = isRing() ? m_trace.right(m_ringSize) : m_trace;
            const QByteArray whole = QByteArray("DBGP\1\0", 6) + format + '\0' + kept;
            m_file = m_end == StartFails ? QByteArray() : whole;
        }
        QVERIFY(contentOf("a.prf") == m_file);
        QCOMPARE(contentOf("locked"), QByteArray("another program's"));
        QCOMPARE(m_window.file.count(), int(isSaved));
        QCOMPARE(board.journal << m_window.status.text() << m_window.state(), told() << "");
    }

    /// Some MB at most, so that a ring may go round; often it is full to the byte, or nearly.
    std::deque<Read> randomReads()
    {
        const int length = below(3) > 0 ? m_ringSize + below(3) - 1 : below(3 * megabyte);
        m_trace = m_noise.mid(below(megabyte), length);
        // Whether this click asks for a stop depends on the protection.
        const auto clickBoth = [this] {
            m_newExl.click();
            queue(m_window, [this] { click(m_window.startStop); });
        };
        std::deque<Read> reads{{"", BRAN_SUCCESS, due, clickBoth}};
        QByteArray rest = m_trace;
        for (int left = below(25); left >= 0; --left) {
            const int count = left == 0 ? length : std::max(below(300000) - 100000, 0);
            reads.push_back({rest.left(count), BRAN_SUCCESS, below(5) * qint64(67)});
            rest.remove(0, count);
        }
        if (m_end == Fails || m_end == Lies) {
            reads.push_back({"lost"});
            reads.back().claims = m_end == Lies || below(2) == 0 ? 4000000000U : 0;
        }
        // A brutal stop may come with any of these, and a lie with each success.
        const std::array results{BRAN_RECORDING_FINISHED, BRAN_SUCCESS, ScriptedBoard::failure};
        const int kinds = m_end == Brutal ? 3 : m_end == Lies ? 2 : 1;
        reads.back().result = m_end == Fails ? ScriptedBoard::failure : results.at(below(kinds));
        reads.back().meanwhile = [this] {
            m_end == Brutal ? m_window.recordPage.brutalStop() : void();
            // What waits behind the last read comes too late.
            queue(m_window, [this] {
                click(m_window.startStop);
                m_window.recordPage.brutalStop();
            });
        };
        reads.push_back({"never read"});
        return reads;
    }

    /// What the board is asked for, the boxes, and the final line.
    QStringList told() const
    {
        const QString lie = "Tovalink: The board library reported 4000000000 bytes, which is more "
                            "than it was asked for. They were not recorded.";
        const QString refused = "link: Cannot open file for writing.%1File may be in read-only "
                                "mode, or it is already opened by another application";
        const QMap<End, QStringList> ends{
            {Finished, {"start", finalLine("Nicely")}},
            {StopAsked, {"start", "stop", finalLine("Nicely")}},
            {Brutal, {"start", finalLine("Brutally")}},
            {Fails, {"start", "Tovalink: " + board.failureText, finalLine("on error")}},
            {Lies, {"start", lie, finalLine("on error")}},
            {StartFails, {"start", "Tovalink: " + board.failureText, "Stopped on error."}},
            {Unnamed, {"You'd better chose a filename before recording!"}},
            {Refused, isRing() ? QStringList{"start", "TOVA" + refused.arg('\n') + ".\n",
                                             "(Stopped Nicely, user has chosen not to save)."}
                               : QStringList{"Tova" + refused.arg(' '), ""}}};
        return ends[m_end];
    }

    QString finalLine(const QString& how) const
    {
        const QString bytes = QString::number(m_trace.size());
        if (!isRing()) {
            return "Recorded " + bytes + " bytes. (Stopped " + how + "!)";
        }
        if (m_end >= Fails) {
            return QString("Read %1 bytes. Cursor at %2. Read count : %3 (Stopped on error!)")
                .arg(bytes, QString::number(m_trace.size() % m_ringSize),
                     QString::number(board.fullReads));
        }
        const bool isFull = m_trace.size() >= m_ringSize;
        return "Dumped " + (isFull ? "last full buffer" : bytes + " bytes, buffer not full") +
               ". (Stopped " + how + ", saved).";
    }

    Window m_window;
    QCheckBox& m_newExl = m_window.get<QCheckBox>("Use it (Ambrel, Sorvane, ...)");
    QRandomGenerator m_random{quint32(qEnvironmentVariableIntValue("TOVALINK_SEED"))};
    QByteArray m_noise = trace(4 * megabyte);
    QByteArray m_trace;
    QByteArray m_file;
    QString m_mode;
    End m_end = Finished;
    int m_ringSize = 0;
};

QTEST_MAIN(tst_walk)
#include "tst_walk.moc"
