#include "shell/mainwindow.h"
#include "tests/support/cleanstart.h"
#include "tests/support/modal.h"
#include "tests/support/page.h"
#include "tests/support/table.h"

#include <QTabWidget>

#include <array>

using Store = TOVAConfiguration;

namespace
{

/// A kind of file, with what the store remembers of it.
struct Kind {
    QString suffix;
    QStringList& files;
    QString& folder;
};

/// The program's window with the page open on which that kind of file is chosen.
struct ChoiceWindow : TOVAMainWindow {
    QTabWidget* tabs = findChild<QTabWidget*>();
    QComboBox* combo;

    explicit ChoiceWindow(int kind)
        : combo(tabs->widget(kind / 2)->findChildren<QComboBox*>().at(kind % 2))
    {
        tabs->setCurrentIndex(kind / 2);
        show();
        QApplication::setActiveWindow(this);
        combo->setFocus();
    }

    void openDialog() const { click(combo->parent()->findChild<QPushButton*>()); }
};

using Chosen = Table<QString, int, QString, QString>;
using Existing = Table<QString, QString, QString>;

} // namespace

class tst_recentfiles : public CleanTest
{
    Q_OBJECT

private slots:
    void pickedOneStoresItsFolder()
    {
        QVERIFY(writeFile("tovaconfig.cfg", "<x><lastlod path='/1/x'/><lastlod path='/2/x'/>"
                                            "<lastcfp path='/3/x'/><lastcfp path='/4/x'/>"
                                            "<lastprf path='/5/x'/><lastprf path='/6/x'/></x>"));
        for (int kind = 0; kind < int(m_kinds.size()); ++kind) {
            const ChoiceWindow window(kind);
            QCOMPARE(window.combo->currentText(), QString());
            const QStringList files = m_kinds.at(kind).files;
            for (const QString& file : files) {
                QTest::keyClick(window.combo, Qt::Key_Down);
                QCOMPARE(window.combo->currentText(), file);
            }
            QCOMPARE(m_kinds.at(kind).files, files);
            clearStore();
        }
        // Each window has read what was written with the one before.
        QVERIFY(TOVAConfiguration::readConfig());
        QCOMPARE(m_kinds[0].folder + m_kinds[1].folder + m_kinds[2].folder, QString("/2/4/6"));
    }

    void whatIsTypedStays()
    {
        Store::m_lastLodFiles = QStringList{"/tmp/Big.lod", "/tmp/abc.lod"};
        ChoiceWindow window(0);
        QVERIFY(QTest::qWaitForWindowActive(&window));
        // Completion works only in the field that has the focus.
        QVERIFY(window.combo->lineEdit()->hasFocus());
        for (const QString typed : {"/tmp/ab", "/tmp/big.lod", "/tmp/Big.lod", "a \"c\" '<b>'"}) {
            for (const Qt::Key last : {Qt::Key_Return, Qt::Key_Tab}) {
                window.combo->lineEdit()->clear();
                QTest::keyClicks(window.combo->lineEdit(), typed);
                QTest::keyClick(window.combo->lineEdit(), last);
                QCOMPARE(window.combo->currentText(), typed);
            }
        }
        click(withText<QPushButton>(window, "&Burn!"));
        QCOMPARE(board.journal.filter("fill "), QStringList{"fill a \"c\" '<b>'"});
    }

    void chosenOneIsShown_data()
    {
        // What stands in the field, the entry that is current, the file chosen, and what is shown.
        const Chosen chosen;
        chosen.row("a new one", "", -1, "new ü.suffix", "new ü.suffix");
        chosen.row("a recent one", "", -1, "old.suffix", "old.suffix");
        chosen.row("a recent one, current already", "/usr/x", 1, "old.suffix", "old.suffix");
        chosen.row("other suffix", "", -1, "x.SUFFIX", "x.SUFFIX.suffix");
        chosen.row("a dot in the name", "/usr/x", -1, "run.2", "run.2.suffix");
        chosen.row("cancelled", "/usr/x", -1, "", "");
    }
    void chosenOneIsShown()
    {
        const QString here = QDir::currentPath() + "/";
        for (int kind = 0; kind < int(m_kinds.size()); ++kind) {
            auto [edit, entry, file, shown] = Chosen::fetch();
            const auto& [suffix, files, folder] = m_kinds.at(kind);
            if (file == "run.2" && suffix != "prf") {
                continue; // the dialog that opens a file does not offer it
            }
            for (QString* name : {&file, &shown}) {
                name->replace("suffix", suffix).replace("SUFFIX", suffix.toUpper());
            }
            files = QStringList{here + "OLD." + suffix, here + "old." + suffix};
            const QString last = here + "last " + suffix;
            QVERIFY(QDir().mkdir(last));
            folder = last;
            const ChoiceWindow window(kind);
            window.combo->setCurrentIndex(entry);
            window.combo->setEditText(edit);
            const bool isChosen = !file.isEmpty();
            QVERIFY(suffix == "prf" || !isChosen || writeFile(file, "what is opened exists"));
            QString opened;
            chooseInDialog(isChosen ? here + file : "", &opened);
            window.openDialog();
            QCOMPARE(opened, edit.isEmpty() ? last : QString("/usr"));
            QCOMPARE(window.combo->currentText(), isChosen ? here + shown : edit);
            QCOMPARE(window.combo->currentIndex(), shown.startsWith("old") ? 1 : entry);
            QCOMPARE(folder, isChosen ? QDir::currentPath() : last);
            QCOMPARE(QFile::remove("tovaconfig.cfg"), isChosen);
            QCOMPARE(files.size(), 2);
        }
    }

    void recordFileIsReplacedOnlyIfTheUserSaysSo_data()
    {
        const Existing existing;
        existing.row("another name", "a", "a", "");
        existing.row("replaced", "a", "a.prf", "Yes");
        existing.row("kept, then cancelled", "run.2", "run.2.prf", "No");
    }
    void recordFileIsReplacedOnlyIfTheUserSaysSo()
    {
        const auto [typed, existing, answer] = Existing::fetch();
        const QString here = QDir::currentPath() + "/";
        QVERIFY(writeFile(existing, "a night's work"));
        const ChoiceWindow window(2);
        chooseInDialog(here + typed);
        if (!answer.isEmpty()) {
            whenShown<QMessageBox>([answer = answer](QMessageBox&) {
                if (answer == "No") {
                    chooseInDialog("");
                }
                answerBox(answer);
            });
        }
        window.openDialog();
        const QString question =
            "Tovalink: " + here + existing + " already exists.\nDo you want to replace it?";
        QCOMPARE(board.journal, answer.isEmpty() ? QStringList() : QStringList{question});
        QCOMPARE(window.combo->currentText(), answer == "No" ? QString() : here + typed + ".prf");
    }

private:
    const std::array<Kind, 3> m_kinds{
        Kind{"lod", Store::m_lastLodFiles, Store::m_lastLodFolder},
        Kind{"cfp", Store::m_lastCfpFiles, Store::m_lastCfpFolder},
        Kind{"prf", Store::m_lastPrfFiles, Store::m_lastPrfFolder},
    };
};

QTEST_MAIN(tst_recentfiles)
#include "tst_recentfiles.moc"
