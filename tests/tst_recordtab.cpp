#include "config/configuration.h"
#include "record/hexvalidator.h"
#include "record/sizevalidator.h"
#include "tests/support/modal.h"
#include "tests/support/recordpage.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QtTest>

#include <optional>

using Set = std::function<void(RecordPage&)>;

Q_DECLARE_METATYPE(Set)

class tst_recordtab : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void optionsBecomeTheConfiguration_data();
    void optionsBecomeTheConfiguration();
    void exactlyOneModeIsChecked_data();
    void exactlyOneModeIsChecked();
    void fieldsTakeOnlyNumbers_data();
    void fieldsTakeOnlyNumbers();
    void sizeIsRepaired_data();
    void sizeIsRepaired();
    void choosesAFile_data();
    void choosesAFile();
    void keyboardAloneIsEnough();

private:
    ScriptedBoard& m_board = ScriptedBoard::instance();
    std::optional<WorkingFolder> m_folder;
};

void tst_recordtab::init()
{
    m_folder.emplace();
    m_board.reset();
    TOVAConfiguration::m_lastPrfFiles.clear();
    TOVAConfiguration::m_lastPrfFolder = QString();
    TOVAConfiguration::m_isDoubleClickedProtected = true;
}

void tst_recordtab::optionsBecomeTheConfiguration_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<Set>("set");
    const auto row = [](const char* name, const QByteArray& hex, const Set& set) {
        QTest::newRow(name) << QByteArray::fromHex(hex) << set;
    };
    const auto check = [](const char* text) {
        return [text](RecordPage& page) { withText<QCheckBox>(*page.tab, text)->setChecked(true); };
    };
    // mode | exl, standard, custom, gap | start | end | tag, gap | cpu | masks, gap
    row("as it starts", "01000000 00000000 00000000 00000000 00000000 01000000 00000000",
        [](RecordPage&) {});
    row("reject XCPU", "01000000 00000000 00000000 00000000 00000000 01000000 40400000",
        check("XCPU"));
    row("reject BCPU", "01000000 00000000 00000000 00000000 00000000 00000000 40400000",
        check("BCPU"));
    row("reject both", "01000000 00000000 00000000 00000000 00000000 00000000 00000000",
        [&](RecordPage& page) {
            check("XCPU")(page);
            check("BCPU")(page);
        });
    row("on the fly", "01000000 00000000 00000000 00000000 00000000 01000000 00000000",
        [](RecordPage& page) { page.onTheFly->setChecked(true); });
    row("hardware", "00000000 00000000 00000000 00000000 00000000 01000000 00000000",
        [](RecordPage& page) { page.hardware->setChecked(true); });
    row("EXL range", "01000000 01000000 00100000 FFFFFFFF 00000000 01000000 00000000",
        [](RecordPage& page) {
            page.exl->setChecked(true);
            page.exl->findChildren<QLineEdit*>().at(0)->setText("1000");
            page.exl->findChildren<QLineEdit*>().at(1)->setText("ffffFFFF");
        });
    row("fields count though their box is unchecked",
        "01000000 00000000 00100000 00200000 2B1A0000 01000000 00000000", [&](RecordPage& page) {
            page.exl->findChildren<QLineEdit*>().at(0)->setText("1000");
            page.exl->findChildren<QLineEdit*>().at(1)->setText("2000");
            page.pxts->findChild<QLineEdit*>()->setText("1A2B");
            check("Custom Tag (0x) ")(page);
        });
    row("standard tags", "01000000 00010000 00000000 00000000 00000000 01000000 00000000",
        [](RecordPage& page) { page.pxts->setChecked(true); });
    row("standard and custom tags",
        "01000000 00010100 00000000 00000000 2B1A0000 01000000 00000000", [&](RecordPage& page) {
            page.pxts->setChecked(true);
            check("Custom Tag (0x) ")(page);
            page.pxts->findChild<QLineEdit*>()->setText("1a2b");
        });
}

void tst_recordtab::optionsBecomeTheConfiguration()
{
    QFETCH(Set, set);
    RecordPage page;
    set(page);
    page.startStop->click();
    QTEST(QByteArray(reinterpret_cast<const char*>(&m_board.config), sizeof m_board.config),
          "bytes");
}

void tst_recordtab::exactlyOneModeIsChecked_data()
{
    QTest::addColumn<QStringList>("toggled");
    QTest::addColumn<QString>("checked");
    QTest::newRow("at start") << QStringList() << "SW Circular buffer";
    QTest::newRow("another") << QStringList{"HW Circular buffer", "In the file on the fly"}
                             << "In the file on the fly";
    QTest::newRow("the same again")
        << QStringList{"HW Circular buffer", "HW Circular buffer"} << "HW Circular buffer";
}

void tst_recordtab::exactlyOneModeIsChecked()
{
    const RecordPage page;
    QFETCH(QStringList, toggled);
    for (const QString& title : toggled) {
        page.group(title)->setFocus();
        QTest::keyClick(page.group(title), Qt::Key_Space);
    }
    QStringList checked;
    for (QGroupBox* mode : {page.onTheFly, page.software, page.hardware}) {
        if (mode->isChecked()) {
            checked += mode->title();
        }
        QCOMPARE(mode->findChild<QLabel*>()->isEnabled(), mode->isChecked());
    }
    QTEST(checked.join(' '), "checked");
}

void tst_recordtab::fieldsTakeOnlyNumbers_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("tag");
    QTest::addColumn<QString>("size");
    QTest::newRow("digits") << "12345678"
                            << "12345678"
                            << "1234"
                            << "12";
    QTest::newRow("letters") << "fFg FxFFFFFFF"
                             << "fFFFFFFF"
                             << "fFFF"
                             << "";
    QTest::newRow("a leading zero") << "065"
                                    << "065"
                                    << "065"
                                    << "6";
    QTest::newRow("the largest size") << "64"
                                      << "64"
                                      << "64"
                                      << "64";
    QTest::newRow("above the largest size") << "66"
                                            << "66"
                                            << "66"
                                            << "6";
    QTest::newRow("signs") << "-+1"
                           << "1"
                           << "1"
                           << "1";
}

void tst_recordtab::fieldsTakeOnlyNumbers()
{
    const RecordPage page;
    page.exl->setChecked(true);
    page.pxts->setChecked(true);
    page.size->clear();
    QFETCH(QString, typed);
    const auto type = [&](QLineEdit* edit) {
        QTest::keyClicks(edit, typed);
        QTest::keyClick(edit, Qt::Key_Return);
        return edit->text();
    };
    QTEST(type(page.exl->findChildren<QLineEdit*>().at(0)), "address");
    QTEST(type(page.exl->findChildren<QLineEdit*>().at(1)), "address");
    QTEST(type(page.pxts->findChild<QLineEdit*>()), "tag");
    QTEST(type(page.size), "size");

    QTest::keyClick(page.size, Qt::Key_Home);
    page.size->setText("8");
    page.size->setCursorPosition(0);
    QTest::keyClick(page.size, Qt::Key_0);
    QCOMPARE(page.size->text(), QString("08"));
}

void tst_recordtab::sizeIsRepaired_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("repaired");
    QTest::newRow("digits stay") << "a1b2"
                                 << "12";
    QTest::newRow("none left") << "abc"
                               << "1";
    QTest::newRow("nothing") << ""
                             << "1";
    QTest::newRow("zeros") << "000"
                           << "1";
    QTest::newRow("more than 32 bits") << "99999999999"
                                       << "1";
    QTest::newRow("a size") << "8"
                            << "8";
}

void tst_recordtab::sizeIsRepaired()
{
    QFETCH(QString, text);
    TOVASizeValidator(nullptr, nullptr).fixup(text);
    QTEST(text, "repaired");
    int pos = 0;
    QVERIFY(TOVASizeValidator(nullptr, nullptr).validate(text, pos) == QValidator::Invalid);
    text = "B";
    QCOMPARE(TOVAHexValidator(nullptr, nullptr).validate(text, pos), QValidator::Invalid);
    text = "a";
    QCOMPARE(TOVAHexValidator(nullptr, nullptr).validate(text, pos), QValidator::Intermediate);
}

void tst_recordtab::choosesAFile_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("existing");
    QTest::addColumn<QStringList>("questions");
    QTest::addColumn<QString>("chosen");
    const QStringList none;
    QTest::newRow("suffix added") << "a"
                                  << "" << none << "a.prf";
    QTest::newRow("suffix there") << "a.prf"
                                  << "" << none << "a.prf";
    QTest::newRow("other suffix") << "a.PRF"
                                  << "" << none << "a.PRF.prf";
    QTest::newRow("a dot in the name") << "run.2"
                                       << "" << none << "run.2.prf";
    QTest::newRow("cancelled") << ""
                               << "" << none << "";
    QTest::newRow("file of the typed name is not touched") << "a"
                                                           << "a" << none << "a.prf";
    QTest::newRow("existing file, replaced")
        << "a"
        << "a.prf" << QStringList{"%1/a.prf already exists.\nDo you want to replace it? Yes"}
        << "a.prf";
    QTest::newRow("existing file, kept, then cancelled")
        << "run.2"
        << "run.2.prf" << QStringList{"%1/run.2.prf already exists.\nDo you want to replace it? No"}
        << "";
}

void tst_recordtab::choosesAFile()
{
    QFETCH(QString, typed);
    QFETCH(QString, existing);
    QFETCH(QStringList, questions);
    QFETCH(QString, chosen);
    const QString folder = m_folder->path();
    if (!existing.isEmpty()) {
        QVERIFY(writeFile(existing, "a night's work"));
    }
    const RecordPage page;
    page.file->setEditText("");
    TOVAConfiguration::m_lastPrfFolder = folder;
    QStringList asked;
    const auto cancel = [] {
        whenShown<QFileDialog>([](QFileDialog& dialog) { dialog.reject(); });
    };
    whenShown<QFileDialog>([&](QFileDialog& dialog) {
        if (typed.isEmpty()) {
            dialog.reject();
            return;
        }
        whenShown<QMessageBox>([&](QMessageBox& box) {
            const bool replace = !chosen.isEmpty();
            asked += box.text() + (replace ? " Yes" : " No");
            if (!replace) {
                cancel();
            }
            box.button(replace ? QMessageBox::Yes : QMessageBox::No)->click();
        });
        dialog.findChild<QLineEdit*>("fileNameEdit")->setText(folder + "/" + typed);
        QTest::keyClick(&dialog, Qt::Key_Return);
    });
    QTest::mouseClick(withText<QPushButton>(*page.tab, "..."), Qt::LeftButton);
    QCOMPARE(asked, questions.replaceInStrings("%1", folder));
    QCOMPARE(page.file->currentText(), chosen.isEmpty() ? QString() : folder + "/" + chosen);
    QCOMPARE(contentOf("tovaconfig.cfg").contains("<lastprffolder path=\"" + folder.toUtf8()),
             !chosen.isEmpty());
    QVERIFY(TOVAConfiguration::m_lastPrfFiles.isEmpty());
}

void tst_recordtab::keyboardAloneIsEnough()
{
    RecordPage page;
    QVERIFY(QTest::qWaitForWindowActive(&page.window));
    page.exl->setChecked(true);
    page.pxts->setChecked(true);
    page.file->setFocus();
    // Once around: every option and the button are on the way.
    QList<QWidget*> onTheWay;
    do {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        onTheWay += QApplication::focusWidget();
    } while (onTheWay.size() < 50 && onTheWay.constLast() != page.file);
    QList<QWidget*> needed = {page.startStop, page.exl,      page.pxts,   page.onTheFly,
                              page.software,  page.hardware, page.newExl, page.size};
    for (auto* box : page.tab->findChildren<QCheckBox*>()) {
        needed += box;
    }
    for (auto* edit : page.exl->findChildren<QLineEdit*>()) {
        needed += edit;
    }
    for (QWidget* each : qAsConst(needed)) {
        QVERIFY2(onTheWay.contains(each), each->metaObject()->className());
    }
}

QTEST_MAIN(tst_recordtab)
#include "tst_recordtab.moc"
