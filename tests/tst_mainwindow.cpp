#include "burn/branneltab.h"
#include "record/streamingtab.h"
#include "shell/mainwindow.h"
#include "shell/sessionend.h"
#include "shell/startup.h"
#include "tests/support/cleanstart.h"
#include "tests/support/modal.h"
#include "tests/support/page.h"
#include "tests/support/table.h"

#include <QMenu>
#include <QStyle>

#include <memory>
#include <optional>

namespace
{

/// Runs the program until it ends by itself; `button` is the first that the user clicks.
int run(const QWidget& page, const QString& button)
{
    QTimer::singleShot(0, withText<QPushButton>(page, button), &QPushButton::click);
    return QApplication::exec();
}

/// Answers the next box after a while: one that the program's end closes is gone by then.
template <class Answer>
void answerLate(Answer answer)
{
    whenShown<QMessageBox>([answer](QMessageBox& box) { QTimer::singleShot(20, &box, answer); });
}

using Recordings = Table<QString, QString, bool>;

} // namespace

class tst_mainwindow : public CleanTest
{
    Q_OBJECT

private slots:
    void init()
    {
        CleanTest::init();
        m_window.emplace();
        m_session.emplace(*m_window);
        m_window->show();
        m_burn = m_window->findChild<TOVABrannelTab*>();
        m_record = m_window->findChild<TOVAStreamingTab*>();
    }

    void drawsInPlastiqueWhereItExists()
    {
        const std::unique_ptr<QStyle> style(createStyle());
        QVERIFY(style->inherits(QT_VERSION_MAJOR < 6 ? "QPlastiqueStyle" : "QFusionStyle"));
    }

    void workingPageGreysTheRest()
    {
        const auto enabled = [&] {
            return QList<bool>{withText<QPushButton>(*m_window, "Reset")->isEnabled(),
                               m_burn->isEnabled(), m_record->isEnabled(),
                               m_window->findChild<QMenu*>()->isEnabled()};
        };
        // Nothing counts: one end undoes two beginnings.
        emit m_burn->greyParentGUI();
        emit m_burn->greyParentGUI();
        QCOMPARE(enabled(), (QList<bool>{false, true, false, true}));
        emit m_burn->ungreyParentGUI();
        QCOMPARE(enabled(), (QList<bool>{true, true, true, true}));
        emit m_record->greyParentGUI();
        QCOMPARE(enabled(), (QList<bool>{false, false, true, true}));
        emit m_record->ungreyParentGUI();
        QCOMPARE(enabled(), (QList<bool>{true, true, true, true}));
    }

    void buttonAndMenuWork()
    {
        click(withText<QPushButton>(*m_window, "Reset"));
        QCOMPARE(board.journal, QStringList{"reset"});
        QAction* protect = m_window->findChild<QMenu*>()->actions().constFirst();
        for (const bool on : {true, false, true}) {
            QCOMPARE(protect->isChecked(), on);
            QCOMPARE(TOVAConfiguration::m_isDoubleClickedProtected, on);
            protect->trigger();
        }
    }

    void burnOutlivesTheWindow()
    {
        m_burn->findChild<QComboBox*>()->setEditText("a.lod");
        board.failing = "download";
        board.onDownload = [&](auto burn, auto) {
            burn(0.1F);
            m_window->close();
            for (int report = 0; report < 20; ++report) {
                burn(0.5F);
            }
            board.note("burnt");
        };
        answerLate([] { answerBox(); });
        QCOMPARE(run(*m_burn, "&Burn!"), 0);
        QCOMPARE(board.journal.mid(board.journal.indexOf("burnt")),
                 lines("burnt; delete; Tovalink: it is <b>damaged"));
    }

    void closingEndsARecording_data()
    {
        const Recordings recording;
        for (const bool byQuit : {false, true}) {
            const QString how = byQuit ? ": the session ends" : ": the window is closed";
            recording.row("on the fly" + how, "In the file on the fly", "a.prf", byQuit);
            recording.row("hardware" + how, "HW Circular buffer", "a.prf", byQuit);
            recording.row("ring" + how, "SW Circular buffer", "a.prf", byQuit);
            recording.row("ring, with questions" + how, "SW Circular buffer", ".", byQuit);
        }
    }
    void closingEndsARecording()
    {
        const auto [mode, file, byQuit] = Recordings::fetch();
        withText<QGroupBox>(*m_record, mode)->setChecked(true);
        m_record->findChild<QComboBox*>()->setEditText(file);
        const auto end = [this, quits = byQuit] {
            if (quits) {
                QEvent quit(QEvent::Quit);
                QApplication::sendEvent(qApp, &quit);
            } else {
                m_window->close();
            }
        };
        const auto close = [end] {
            end();
            QApplication::processEvents();
        };
        board.reads = {{"one"}, {"two", BRAN_SUCCESS, 0, close}, {"three"}};
        if (file == ".") {
            answerLate([end] {
                end();
                chooseInDialog(QDir::currentPath() + "/a.prf");
                answerBox("Chose again");
            });
        }
        QCOMPARE(run(*m_record, "Start!"), 0);
        QCOMPARE(contentOf("a.prf").mid(8), QByteArray("onetwo"));
        QCOMPARE(board.reads.size(), 1U);
    }

private:
    std::optional<TOVAMainWindow> m_window;
    std::optional<SessionEnd> m_session;
    TOVABrannelTab* m_burn = nullptr;
    TOVAStreamingTab* m_record = nullptr;
};

QTEST_MAIN(tst_mainwindow)
#include "tst_mainwindow.moc"
