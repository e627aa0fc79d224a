#include "tests/support/cleanstart.h"
#include "tests/support/recordpage.h"
#include "tests/support/table.h"

#include <optional>

namespace
{

using Options = Table<QString>;
using Inputs = Table<QString, QString>;

} // namespace

class tst_recordtab : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

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

    void fieldsTakeOnlyNumbers_data()
    {
        // What is left in the addresses, the tag and the size.
        const Inputs typed;
        typed.row("digits", "12345678", "12345678 12345678 1234 12");
        typed.row("letters", "fFg FxFFFFFFF", "fFFFFFFF fFFFFFFF fFFF ");
        typed.row("a leading zero", "065", "065 065 065 6");
        typed.row("the largest size", "64", "64 64 64 64");
        typed.row("above the largest size", "66", "66 66 66 6");
        typed.row("signs", "-+1", "1 1 1 1");
    }
    void fieldsTakeOnlyNumbers()
    {
        const auto [typed, left] = Inputs::fetch();
        const RecordPage page;
        page.group("EXL Trigger")->setChecked(true);
        page.group("PXTS Trigger")->setChecked(true);
        page.size->clear();
        QStringList seen;
        for (QLineEdit* edit : {page.start, page.end, page.tag, page.size}) {
            QTest::keyClicks(edit, typed);
            QTest::keyClick(edit, Qt::Key_Return);
            seen += edit->text();
        }
        QCOMPARE(seen.join(' '), left);
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_recordtab)
#include "tst_recordtab.moc"
