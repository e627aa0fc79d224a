#include "burn/branneltab.h"
#include "config/configuration.h"
#include "record/streamingtab.h"
#include "shell/mainwindow.h"
#include "tests/support/find.h"
#include "tests/support/folder.h"
#include "tests/support/modal.h"
#include "tests/support/scriptedboard.h"

#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QtTest>

#include <optional>

class tst_mainwindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void workingPageGreysTheRest();
    void resetCallsTheBoard();
    void optionFollowsTheMenu();
    void burnOutlivesTheWindow_data();
    void burnOutlivesTheWindow();
    void closingEndsARecording_data();
    void closingEndsARecording();

private:
    ScriptedBoard& m_board = ScriptedBoard::instance();
    std::optional<WorkingFolder> m_folder;
};

void tst_mainwindow::init()
{
    m_folder.emplace();
    m_board.reset();
}

void tst_mainwindow::workingPageGreysTheRest()
{
    TOVAMainWindow window;
    auto* tabs = window.findChild<QTabWidget*>();
    auto* burn = window.findChild<TOVABrannelTab*>();
    auto* record = window.findChild<TOVAStreamingTab*>();
    QCOMPARE(tabs->tabText(tabs->indexOf(burn)), QString("Burn Flash"));
    QCOMPARE(tabs->tabText(tabs->indexOf(record)), QString("Record"));
    QCOMPARE(tabs->currentWidget(), burn);
    const auto enabled = [&] {
        return QList<bool>{withText<QPushButton>(window, "Reset")->isEnabled(), burn->isEnabled(),
                           record->isEnabled(), window.findChild<QMenu*>()->isEnabled()};
    };
    // Nothing counts: one end undoes two beginnings.
    emit burn->greyParentGUI();
    emit burn->greyParentGUI();
    QCOMPARE(enabled(), (QList<bool>{false, true, false, true}));
    emit burn->ungreyParentGUI();
    QCOMPARE(enabled(), (QList<bool>{true, true, true, true}));
    emit record->greyParentGUI();
    QCOMPARE(enabled(), (QList<bool>{false, false, true, true}));
    emit record->ungreyParentGUI();
    QCOMPARE(enabled(), (QList<bool>{true, true, true, true}));
}

void tst_mainwindow::resetCallsTheBoard()
{
    TOVAMainWindow window;
    window.show();
    QTest::mouseClick(withText<QPushButton>(window, "Reset"), Qt::LeftButton);
    QCOMPARE(m_board.journal, QStringList{"reset"});
}

void tst_mainwindow::optionFollowsTheMenu()
{
    const TOVAMainWindow window;
    QAction* protect = window.findChild<QMenu*>()->actions().constFirst();
    QVERIFY(protect->isChecked() && TOVAConfiguration::m_isDoubleClickedProtected);
    protect->trigger();
    QVERIFY(!TOVAConfiguration::m_isDoubleClickedProtected);
    protect->trigger();
    QVERIFY(TOVAConfiguration::m_isDoubleClickedProtected);
}

void tst_mainwindow::burnOutlivesTheWindow_data()
{
    QTest::addColumn<bool>("fails");
    QTest::newRow("succeeds") << false;
    QTest::newRow("fails, and its error is still seen") << true;
}

void tst_mainwindow::burnOutlivesTheWindow()
{
    QFETCH(bool, fails);
    std::optional<TOVAMainWindow> window(std::in_place);
    window->show();
    window->findChild<TOVABrannelTab*>()->findChild<QComboBox*>()->setEditText("a.lod");
    int reports = 0;
    m_board.downloadResult = fails ? BRAN_ERR_T(5) : BRAN_SUCCESS;
    m_board.onDownload = [&](auto burn, auto) {
        burn(0.1F);
        window->close();
        for (; reports < 20; ++reports) {
            burn(0.5F);
        }
    };
    bool seen = false;
    if (fails) {
        whenShown<QMessageBox>([&](QMessageBox& box) {
            seen = true;
            // A box that the application's end would close by itself is gone by then.
            QTimer::singleShot(20, &box, &QMessageBox::accept);
        });
    }
    QTimer::singleShot(0, withText<QPushButton>(*window, "&Burn!"), &QPushButton::click);
    QCOMPARE(QApplication::exec(), 0);
    QCOMPARE(reports, 20);
    QCOMPARE(seen, fails);
    QCOMPARE(m_board.journal.constLast(), QString("delete"));
    window.reset();
}

void tst_mainwindow::closingEndsARecording_data()
{
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("file");
    QTest::newRow("on the fly") << "In the file on the fly"
                                << "a.prf";
    QTest::newRow("hardware") << "HW Circular buffer"
                              << "a.prf";
    QTest::newRow("ring") << "SW Circular buffer"
                          << "a.prf";
    QTest::newRow("ring, and the user is still asked about its file") << "SW Circular buffer"
                                                                      << "no/such/folder.prf";
}

void tst_mainwindow::closingEndsARecording()
{
    QFETCH(QString, mode);
    QFETCH(QString, file);
    TOVAMainWindow window;
    window.show();
    auto* record = window.findChild<TOVAStreamingTab*>();
    withText<QGroupBox>(*record, mode)->setChecked(true);
    record->findChild<QComboBox*>()->setEditText(file);
    m_board.reads = {{"one"}, {"two", BRAN_SUCCESS, 0, [&] { window.close(); }}, {"three"}};
    const bool asked = file != "a.prf";
    bool answered = false;
    if (asked) {
        whenShown<QMessageBox>([&](QMessageBox& box) {
            record->findChild<QComboBox*>()->setEditText("a.prf");
            // A box that the application's end would close by itself is gone by then.
            QTimer::singleShot(20, &box, [&] {
                answered = true;
                whenShown<QFileDialog>([](QFileDialog& dialog) { dialog.reject(); });
                withText<QPushButton>(box, "Chose again")->click();
            });
        });
    }
    QTimer::singleShot(0, withText<QPushButton>(*record, "Start!"), &QPushButton::click);
    QCOMPARE(QApplication::exec(), 0);
    QCOMPARE(answered, asked);
    QCOMPARE(contentOf("a.prf").mid(8), QByteArray("onetwo"));
    QCOMPARE(m_board.reads.size(), 1);
}

QTEST_MAIN(tst_mainwindow)
#include "tst_mainwindow.moc"
