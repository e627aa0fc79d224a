#include "burn/branneltab.h"
#include "burn/burnprogress.h"
#include "tests/support/cleanstart.h"
#include "tests/support/modal.h"
#include "tests/support/page.h"
#include "tests/support/table.h"

#include <QCheckBox>
#include <QLabel>
#include <QProgressBar>

#include <limits>

namespace
{

/// The Burn page with what a user sees and touches of it.
struct BurnPage : Page<TOVABrannelTab> {
    QComboBox* lod = tab->findChildren<QComboBox*>().at(0);
    QComboBox* cfp = tab->findChildren<QComboBox*>().at(1);
    QPushButton* burn = find<QPushButton>("&Burn!");
    QPushButton* version = find<QPushButton>("Get Brannel board version");
    QCheckBox* verify = find<QCheckBox>("Verify");
    QCheckBox* fullImage = find<QCheckBox>("Burn full image");
    QProgressBar* bar = tab->findChild<QProgressBar*>();
    QLabel* status = s_label;

    explicit BurnPage(const QString& lodFile = QString(), const QString& cfpFile = QString())
    {
        lod->setEditText(lodFile);
        cfp->setEditText(cfpFile);
        board.state = [this] { return state(); };
    }

    /// The status, the bar's value and how many of the five controls can be used.
    QString state() const
    {
        const QList<QWidget*> controls{verify, fullImage, lod, cfp, burn};
        const auto usable = std::count_if(controls.begin(), controls.end(),
                                          [](QWidget* each) { return each->isEnabled(); });
        return QStringLiteral("%1 %2 %3").arg(status->text()).arg(bar->value()).arg(usable);
    }

    /// Has a step noted that is painted before the next call of the board.
    void noteEvents() const
    {
        QMetaObject::invokeMethod(
            tab, [] { board.note("events"); }, Qt::QueuedConnection);
    }
};

using Burns = Table<QString, QString, QString, bool, QString>;
using Keys = Table<QString>;

} // namespace

class tst_burntab : public CleanTest
{
    Q_OBJECT

private slots:
    void burns_data()
    {
        // The load file, the calibration file, what fails, whether it is a verified burn or else
        // that of a full image, and the journal. In that, behind a |, stand the status, the bar and
        // how many controls can be used, where they change; at its end the recent files.
        const Burns burn;
        const QString begun =
            "grey |  -1 0; create 1000000 at 1000000 full %1 extra 0; events | Creating Image... "
            "-1 0; ";
        const QString verified =
            begun.arg(0) + "fill a.lod; events | Burning... -1 0; download 2345a at 1100000 flag 0 "
                           "verify 1; burnt, 2 files saved | Burning... 50 0; verified | "
                           "Verifying... 99 0; delete | Verifying... 0 0; ";
        const QString failed = " :\nit is <b>damaged; delete; ungrey | Error. -1 0; ";
        burn.row("no load file", "", "c.cfp", "", true,
                 "grey |  -1 0; ungrey | Choose a file! -1 0; old.lod | Choose a file! -1 5");
        burn.row("load file cannot be filled in", "<b>ß.lod", "c.cfp", "<b>ß.lod", true,
                 begun.arg(0) + "fill <b>ß.lod; Tovalink: <b>ß.lod" + failed +
                     "old.lod | Error. -1 5");
        burn.row("no image is made, without a reason", "a.lod", "", "create", true,
                 begun.arg(0) + "fill a.lod; Tovalink: The board library has made no flash image, "
                                "and gives no reason. Nothing was burned.; ungrey | Error. -1 0; "
                                "old.lod | Error. -1 5");
        burn.row("calibration file cannot be filled in", "a.lod", "c.cfp", "c.cfp", true,
                 begun.arg(0) + "fill a.lod; fill c.cfp; Tovalink: c.cfp" + failed +
                     "a.lod old.lod | Error. -1 5");
        burn.row("download fails", "a.lod", "", "download", true,
                 verified +
                     "Tovalink: it is <b>damaged | Error. 0 0; ungrey; a.lod old.lod | Error. 0 5");
        burn.row("load file alone", "a.lod", "", "", true,
                 verified + "ungrey | Done. 0 0; a.lod old.lod | Done. 0 5");
        burn.row("both files, unverified", "a.lod", "c.cfp", "", false,
                 begun.arg(1) +
                     "fill a.lod; fill c.cfp; events | Burning... -1 0; download 24000 at 1200000 "
                     "flag 1 verify 0; burnt, 3 files saved | Burning... 50 0; delete | Burning... "
                     "0 0; ungrey | Done. 0 0; a.lod old.lod c.cfp | Done. 0 5");
    }
    void burns()
    {
        const auto [lod, cfp, failing, isVerified, journal] = Burns::fetch();
        TOVAConfiguration::m_lastLodFiles = QStringList{"old.lod"};
        const BurnPage page(lod, cfp);
        page.verify->setChecked(isVerified);
        page.fullImage->setChecked(!isVerified);
        if (!failing.isEmpty()) {
            answerBox();
        }
        QByteArray calibrated(0x24000, 'c');
        board.failing = failing;
        board.onFill = [&, lod = lod, cfp = cfp](const QString& file, BRAN_FLASH_IMAGE_T& image) {
            image.baseAddress += 0x100000;
            image.endAddress = image.baseAddress + 0x2345A;
            if (file == cfp) {
                image.endAddress = image.baseAddress + unsigned(calibrated.size());
                image.data = calibrated.data();
                image.downloadFlag = true;
            }
            if (cfp.isEmpty() || file == cfp) {
                page.noteEvents();
            }
        };
        board.onDownload = [](auto burn, auto reportVerified) {
            burn(0.509F);
            // Whatever becomes of the burn, the recent files are on disk by now.
            const auto saved = contentOf("tovaconfig.cfg").count("<last") - 3;
            board.note(QStringLiteral("burnt, %1 files saved").arg(saved));
            if (reportVerified != nullptr) {
                reportVerified(0.999F);
                board.note("verified");
            }
        };
        page.noteEvents();
        click(page.burn);
        QCOMPARE(page.window.focusWidget(), page.burn);
        QStringList recent;
        for (const QComboBox* combo : {page.lod, page.cfp}) {
            for (int entry = 0; entry < combo->count(); ++entry) {
                recent += combo->itemText(entry);
            }
        }
        board.note(recent.join(' '));
        QCOMPARE(board.journal, lines(journal));
        QCOMPARE(page.lod->currentText() + page.cfp->currentText(), lod + cfp);
        QCOMPARE(board.downloaded, isVerified ? QByteArray() : calibrated);
        // The summary is that of the load file.
        const auto* summary = page.find<QLabel>("Last burned image base address: 0x01100000, full "
                                                "size: 0x01000000,  used size: 0x0002345A.");
        QCOMPARE(summary != nullptr, journal.contains("fill a.lod") && failing != "create");
    }

    void progressIsNeverRoundedUp()
    {
        const BurnPage page;
        const float noNumber = std::numeric_limits<float>::quiet_NaN();
        for (const auto& [fraction, shown] :
             {std::pair(0.0F, 0), std::pair(0.00999F, 0), std::pair(0.9999F, 99),
              std::pair(1.0F, 100), std::pair(-7.0F, 0), std::pair(1e30F, 100),
              std::pair(noNumber, 0)}) {
            for (const auto& report : {burnProgress, verifyProgress}) {
                report(0.5F);
                report(fraction);
                QCOMPARE(page.bar->value(), shown);
            }
        }
        page.status->setText("nothing has been burnt since");
        verifyProgress(0.5F);
        QCOMPARE(page.status->text(), QString("nothing has been burnt since"));
    }

    void keysStartOneBurn_data()
    {
        const Keys keys;
        for (const char* each : {"Ctrl+B", "Alt+B", "Ctrl+B Alt+B", "Ctrl+B click"}) {
            keys.row(each, each);
        }
    }
    void keysStartOneBurn()
    {
        const QString keys = std::get<0>(Keys::fetch());
        BurnPage page("a.lod");
        QVERIFY(QTest::qWaitForWindowActive(&page.window));
        const auto press = [&] {
            for (const QString& key : keys.split(' ')) {
                key == "click" ? click(page.burn)
                               : QTest::keySequence(&page.window, QKeySequence(key));
            }
        };
        board.onDownload = [&](auto burn, auto) {
            press();
            click(page.version);
            // A key clicks the button as late as 100 ms after it was pressed.
            for (int report = 0; report < 150; ++report) {
                QTest::qSleep(1);
                burn(0.5F);
            }
        };
        press();
        QTRY_COMPARE(page.status->text(), QString("Done."));
        QCOMPARE(board.journal.filter("create").size(), 1);
        QCOMPARE(board.journal.filter("version").size(), 1);
    }

    void showsTheVersion()
    {
        board.version = 0x1A2B;
        const BurnPage page;
        click(page.version);
        auto* label = page.find<QLabel>("0x    1a2b");
        QVERIFY(label != nullptr);
        const int width = page.tab->minimumSizeHint().width();
        board.failing = "version";
        board.failureText += QByteArray(900, '.');
        click(page.version);
        QApplication::processEvents();
        QCOMPARE(label->text(), "Error while getting the version : " + board.failureText);
        QCOMPARE(label->textFormat(), Qt::PlainText);
        QCOMPARE(page.tab->minimumSizeHint().width(), width);
    }
};

QTEST_MAIN(tst_burntab)
#include "tst_burntab.moc"
