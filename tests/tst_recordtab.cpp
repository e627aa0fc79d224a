#include "tests/support/cleanstart.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

namespace
{

using Options = Table<QString>;

} // namespace

class tst_recordtab : public CleanTest
{
    Q_OBJECT

private slots:
    void optionsBecomeTheConfiguration_data()
    {
        // mode | exl, standard, custom, gap | start | end | tag, gap | cpu | masks, gap
        const Options configuration;
        for (const char* row :
             {"01000000 00000000 00000000 00000000 00000000 01000000 00000000: ",
              "01000000 00000000 00000000 00000000 00000000 01000000 40400000: XCPU",
              "01000000 00000000 00000000 00000000 00000000 00000000 40400000: BCPU",
              "01000000 00000000 00000000 00000000 00000000 00000000 00000000: XCPU, BCPU",
              "01000000 00000000 00000000 00000000 00000000 01000000 00000000: "
              "In the file on the fly",
              "00000000 00000000 00000000 00000000 00000000 01000000 00000000: HW Circular buffer",
              "01000000 01000000 00100000 FFFFFFFF 00000000 01000000 00000000: "
              "EXL Trigger, start=1000, end=ffffFFFF",
              "01000000 00000000 00100000 00200000 2B1A0000 01000000 00000000: "
              "start=1000, end=2000, tag=1A2B, Custom Tag (0x) ",
              "01000000 00010000 00000000 00000000 00000000 01000000 00000000: PXTS Trigger",
              "01000000 00010100 00000000 00000000 2B1A0000 01000000 00000000: "
              "PXTS Trigger, Custom Tag (0x) , tag=1a2b"}) {
            configuration.row(row, row);
        }
    }
    void optionsBecomeTheConfiguration()
    {
        const auto [row] = Options::fetch();
        const RecordPage page;
        const QHash<QString, QLineEdit*> edits{
            {"start", page.start}, {"end", page.end}, {"tag", page.tag}};
        for (const QString& option : row.section(": ", 1).split(", ", Qt::SkipEmptyParts)) {
            if (QLineEdit* edit = edits.value(option.section('=', 0, 0))) {
                edit->setText(option.section('=', 1));
            } else if (QGroupBox* group = page.group(option)) {
                group->setChecked(true);
            } else {
                page.find<QCheckBox>(option)->setChecked(true);
            }
        }
        click(page.startStop);
        const QByteArray seen(reinterpret_cast<const char*>(&board.config), sizeof board.config);
        QCOMPARE(seen, QByteArray::fromHex(row.section(": ", 0, 0).toLatin1()));
    }

    void exactlyOneModeIsChecked()
    {
        const RecordPage page;
        QString checked = ring;
        // The first one is unchecked, in vain.
        for (const QString& toggled : {ring, hardware, onTheFly, ring}) {
            for (const QString& mode : {onTheFly, ring, hardware}) {
                QCOMPARE(page.group(mode)->isChecked(), mode == checked);
                QCOMPARE(page.group(mode)->findChild<QLabel*>()->isEnabled(), mode == checked);
            }
            QTest::keyClick(page.group(toggled), Qt::Key_Space);
            checked = toggled;
        }
    }

    void fieldsTakeOnlyNumbers()
    {
        const RecordPage page;
        page.group("EXL Trigger")->setChecked(true);
        page.group("PXTS Trigger")->setChecked(true);
        // What is typed, and what is left in the addresses, the tag and the size.
        for (const auto& [typed, left] :
             {std::pair("12345678", "12345678 12345678 1234 12"),
              std::pair("fFg FxFFFFFFF", "fFFFFFFF fFFFFFFF fFFF "),
              std::pair("065", "065 065 065 6"), std::pair("64", "64 64 64 64"),
              std::pair("66", "66 66 66 6"), std::pair("-+1", "1 1 1 1")}) {
            QStringList seen;
            for (QLineEdit* edit : {page.start, page.end, page.tag, page.size}) {
                edit->clear();
                QTest::keyClicks(edit, typed);
                QTest::keyClick(edit, Qt::Key_Return);
                seen += edit->text();
            }
            QCOMPARE(seen.join(' '), QString(left));
        }
    }
};

QTEST_MAIN(tst_recordtab)
#include "tst_recordtab.moc"
