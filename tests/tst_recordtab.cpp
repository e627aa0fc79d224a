#include "tests/support/cleanstart.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <optional>

class tst_recordtab : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

    void optionsBecomeTheConfiguration_data()
    {
        columns<QStringList, QByteArray>("options", "configuration");
        const auto add = [](const char* options, const char* hex) {
            row(options, QString(options).split(", ", Qt::SkipEmptyParts),
                QByteArray::fromHex(hex));
        };
        // mode | exl, standard, custom, gap | start | end | tag, gap | cpu | masks, gap
        add("", "01000000 00000000 00000000 00000000 00000000 01000000 00000000");
        add("XCPU", "01000000 00000000 00000000 00000000 00000000 01000000 40400000");
        add("BCPU", "01000000 00000000 00000000 00000000 00000000 00000000 40400000");
        add("XCPU, BCPU", "01000000 00000000 00000000 00000000 00000000 00000000 00000000");
        add("In the file on the fly",
            "01000000 00000000 00000000 00000000 00000000 01000000 00000000");
        add("HW Circular buffer", "00000000 00000000 00000000 00000000 00000000 01000000 00000000");
        add("EXL Trigger, start=1000, end=ffffFFFF",
            "01000000 01000000 00100000 FFFFFFFF 00000000 01000000 00000000");
        add("start=1000, end=2000, tag=1A2B, Custom Tag (0x) ",
            "01000000 00000000 00100000 00200000 2B1A0000 01000000 00000000");
        add("PXTS Trigger", "01000000 00010000 00000000 00000000 00000000 01000000 00000000");
        add("PXTS Trigger, Custom Tag (0x) , tag=1a2b",
            "01000000 00010100 00000000 00000000 2B1A0000 01000000 00000000");
    }
    void optionsBecomeTheConfiguration()
    {
        QFETCH(QStringList, options);
        const RecordPage page;
        const QHash<QString, QLineEdit*> edits{
            {"start", page.start}, {"end", page.end}, {"tag", page.tag}};
        for (const QString& option : options) {
            if (QLineEdit* edit = edits.value(option.section('=', 0, 0))) {
                edit->setText(option.section('=', 1));
            } else if (QGroupBox* group = page.group(option)) {
                group->setChecked(true);
            } else {
                page.find<QCheckBox>(option)->setChecked(true);
            }
        }
        click(page.startStop);
        QTEST(QByteArray(reinterpret_cast<const char*>(&board.config), sizeof board.config),
              "configuration");
    }

    void exactlyOneModeIsChecked_data()
    {
        columns<QStringList, QString>("toggled", "checked");
        row("at start", QStringList(), ring);
        row("another", QStringList{hardware, onTheFly}, onTheFly);
        row("the same again", QStringList{hardware, hardware}, hardware);
    }
    void exactlyOneModeIsChecked()
    {
        QFETCH(QStringList, toggled);
        const RecordPage page;
        for (const QString& mode : toggled) {
            QTest::keyClick(page.group(mode), Qt::Key_Space);
        }
        QStringList checked;
        for (const QString& mode : {onTheFly, ring, hardware}) {
            checked += page.group(mode)->isChecked() ? QStringList{mode} : QStringList();
            QCOMPARE(page.group(mode)->findChild<QLabel*>()->isEnabled(), checked.contains(mode));
        }
        QTEST(checked.join(", "), "checked");
    }

    void fieldsTakeOnlyNumbers_data()
    {
        columns<QString, QString, QString, QString>("typed", "address", "tag", "size");
        row("digits", "12345678", "12345678", "1234", "12");
        row("letters", "fFg FxFFFFFFF", "fFFFFFFF", "fFFF", "");
        row("a leading zero", "065", "065", "065", "6");
        row("the largest size", "64", "64", "64", "64");
        row("above the largest size", "66", "66", "66", "6");
        row("signs", "-+1", "1", "1", "1");
    }
    void fieldsTakeOnlyNumbers()
    {
        QFETCH(QString, typed);
        const RecordPage page;
        page.group("EXL Trigger")->setChecked(true);
        page.group("PXTS Trigger")->setChecked(true);
        page.size->clear();
        for (QLineEdit* edit : {page.start, page.end, page.tag, page.size}) {
            QTest::keyClicks(edit, typed);
            QTest::keyClick(edit, Qt::Key_Return);
        }
        QTEST(page.start->text(), "address");
        QTEST(page.end->text(), "address");
        QTEST(page.tag->text(), "tag");
        QTEST(page.size->text(), "size");
    }

    void keyboardReachesEverything()
    {
        RecordPage page;
        QVERIFY(QTest::qWaitForWindowActive(&page.window));
        page.group("EXL Trigger")->setChecked(true);
        page.group("PXTS Trigger")->setChecked(true);
        page.file->setFocus();
        QList<const QWidget*> onTheWay;
        do {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            onTheWay += QApplication::focusWidget();
        } while (onTheWay.size() < 50 && onTheWay.constLast() != page.file);
        for (const auto* box : page.tab->findChildren<QCheckBox*>()) {
            QVERIFY2(onTheWay.contains(box), qPrintable(box->text()));
        }
        for (const auto* group : page.tab->findChildren<QGroupBox*>()) {
            QVERIFY2(!group->isCheckable() || onTheWay.contains(group), qPrintable(group->title()));
        }
        for (const QWidget* each : std::initializer_list<QWidget*>{page.startStop, page.start,
                                                                   page.end, page.tag, page.size}) {
            QVERIFY2(onTheWay.contains(each), each->metaObject()->className());
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_recordtab)
#include "tst_recordtab.moc"
