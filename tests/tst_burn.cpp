#include "board/errortext.h"
#include "burn/burnprogress.h"
#include "tests/support/window.h"

#include <limits>
#include <optional>

namespace
{

/// The program's window on the page Burn Flash.
struct BurnWindow : Window {
    QComboBox& lod = get<QComboBox>("Path of the main lod file");
    QComboBox& cfp = get<QComboBox>("Path of the calibration file");
    QCheckBox& verify = get<QCheckBox>("Verify");
    QProgressBar& bar = get<QProgressBar>("Progress");
    QLabel& burnStatus = get<QLabel>("Status of the burn");
    QLabel& versionLabel = get<QLabel>("Version of the board");
    QPushButton& version = get<QPushButton>("Get Brannel board version");

    static QString entriesOf(const QComboBox& combo)
    {
        QStringList entries;
        for (int entry = 0; entry < combo.count(); ++entry) {
            entries += combo.itemText(entry);
        }
        return entries.join(' ');
    }

    explicit BurnWindow(const QString& lodFile = QString()) : Window("Burn Flash")
    {
        lod.setEditText(lodFile);
        board.state = [this] {
            return QStringLiteral("%1 %2 %3").arg(burnStatus.text()).arg(bar.value()).arg(grey());
        };
    }
};

} // namespace

class tst_burn : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

    void burns_data()
    {
        // A verified burn, or else that of a full image; what the board is asked and what is shown,
        // and behind a |, where they change, the status, the bar and what is grey.
        addColumns<QString, QString, QString, bool, QString, QString>(
            "lod", "cfp", "failing", "isVerified", "journal", "recent");
        const QString create = "create 1000000 at 1000000 full %1 extra 0 |  -1 burning; events | "
                               "Creating Image... -1 burning; fill ";
        const QString begun = create.arg(0);
        const QString box = "; Tovalink: %1 | Creating Image... -1 burning";
        const QString damaged = box.arg("%1 :\nit is <b>damaged") + "; delete";
        const QString verified =
            begun +
            "a.lod; events | Burning... -1 burning; download 2345a at 1100000 flag 0 verify "
            "1; burned, 3 files saved | Burning... 50 burning; verified | Verifying... 99 "
            "burning; delete | Verifying... 0 burning";
        const QString unverified =
            create.arg(1) + "a.lod; fill c.cfp; events | Burning... -1 burning; download 24000 at "
                            "1200000 flag 1 verify 0; burned, 4 files saved | Burning... 50 "
                            "burning; delete | Burning... 0 burning";
        const QString noImage = "The board library has made no flash image, and gives no reason. "
                                "Nothing was burned.";
        const QString old = "old.lod, old.cfp";
        const QString added = "a.lod old.lod, old.cfp";
        QTest::newRow("no load file") << ""
                                      << "c.cfp"
                                      << "" << true << "" << old;
        QTest::newRow("load file cannot be filled in")
            << "<b>ß.lod"
            << "c.cfp"
            << "<b>ß.lod" << true << begun + "<b>ß.lod" + damaged.arg("<b>ß.lod") << old;
        QTest::newRow("no image is made, without a reason")
            << "a.lod"
            << ""
            << "create" << true << begun + "a.lod" + box.arg(noImage) << old;
        QTest::newRow("calibration file cannot be filled in")
            << "a.lod"
            << "c.cfp"
            << "c.cfp" << true << begun + "a.lod; fill c.cfp" + damaged.arg("c.cfp") << added;
        QTest::newRow("download fails")
            << "a.lod"
            << ""
            << "download" << true << verified + "; Tovalink: it is <b>damaged | Error. 0 burning"
            << added;
        QTest::newRow("load file alone") << "a.lod"
                                         << ""
                                         << "" << true << verified << added;
        QTest::newRow("both files, unverified")
            << "a.lod"
            << "c.cfp"
            << "" << false << unverified << "a.lod old.lod, c.cfp old.cfp";
    }
    void burns()
    {
        QFETCH(QString, lod);
        QFETCH(QString, cfp);
        QFETCH(QString, failing);
        QFETCH(bool, isVerified);
        QFETCH(QString, journal);
        TOVAConfiguration::m_lastLodFiles = QStringList{"old.lod"};
        TOVAConfiguration::m_lastCfpFiles = QStringList{"old.cfp"};
        BurnWindow window(lod);
        window.cfp.setEditText(cfp);
        QVERIFY(window.verify.isChecked());
        window.verify.setChecked(isVerified);
        window.get<QCheckBox>("Burn full image").setChecked(!isVerified);
        window.answer();
        QByteArray calibrated(0x24000, 'c');
        board.failing = failing;
        // What is noted so is painted before the next call of the board.
        const auto noteEvents = [&] { queue(window, [] { board.note("events"); }); };
        board.onFill = [&](const QString& file, BRAN_FLASH_IMAGE_T& image) {
            image.baseAddress += 0x100000;
            image.endAddress = image.baseAddress + 0x2345A;
            if (file == cfp) {
                image.endAddress = image.baseAddress + unsigned(calibrated.size());
                image.data = calibrated.data();
                image.downloadFlag = true;
            }
            if (cfp.isEmpty() || file == cfp) {
                noteEvents();
            }
        };
        board.onDownload = [](auto burn, auto reportVerified) {
            burn(0.509F);
            // Whatever becomes of the burn, the recent files are on disk by now.
            const auto saved = contentOf("tovaconfig.cfg").count("<last") - 3;
            board.note(QStringLiteral("burned, %1 files saved").arg(saved));
            if (reportVerified != nullptr) {
                reportVerified(0.999F);
                board.note("verified");
            }
        };
        if (!lod.isEmpty()) {
            noteEvents();
        }
        click(window.burn);
        QCOMPARE(board.journal.join("; "), journal);
        const QString status = failing.isEmpty() ? "Done." : "Error.";
        QCOMPARE(window.burnStatus.text(), lod.isEmpty() ? "Choose a file!" : status);
        QCOMPARE(window.grey(), QString());
        QTEST(window.entriesOf(window.lod) + ", " + window.entriesOf(window.cfp), "recent");
        QCOMPARE(window.lod.currentText() + window.cfp.currentText(), lod + cfp);
        QCOMPARE(board.downloaded, isVerified ? QByteArray() : calibrated);
        // The summary is that of the load file.
        const QString summary = window.get<QLabel>("Summary of the flash image").text();
        QCOMPARE(summary == "Last burned image base address: 0x01100000, full size: 0x01000000,  "
                            "used size: 0x0002345A.",
                 journal.contains("fill a.lod") && failing != "create");
        QCOMPARE(nameOf(*window.focusWidget()), QString("Burn!"));
    }

    void progressIsNeverRoundedUp()
    {
        BurnWindow window;
        const float noNumber = std::numeric_limits<float>::quiet_NaN();
        for (const auto& [fraction, shown] :
             {std::pair(0.0F, 0), std::pair(0.00999F, 0), std::pair(0.9999F, 99),
              std::pair(1.0F, 100), std::pair(-7.0F, 0), std::pair(1e30F, 100),
              std::pair(noNumber, 0)}) {
            for (const auto& report : {burnProgress, verifyProgress}) {
                report(0.5F);
                report(fraction);
                QCOMPARE(window.bar.value(), shown);
            }
        }
        window.burnStatus.setText("nothing has been burned since");
        verifyProgress(0.5F);
        QCOMPARE(window.burnStatus.text(), QString("nothing has been burned since"));
    }

    void clicksAndKeys_data()
    {
        addColumns<QString>("pressed");
        for (const char* each :
             {"Ctrl+B", "Alt+B", "Ctrl+B Alt+B", "Ctrl+B click", "held Ctrl+B"}) {
            QTest::newRow(each) << each;
        }
    }
    /// What is pressed at the start is pressed again during the burn.
    void clicksAndKeys()
    {
        QFETCH(QString, pressed);
        BurnWindow window("a.lod");
        const auto press = [&] {
            for (const QString& each : pressed.split(' ')) {
                if (each == "click") {
                    click(window.burn);
                } else if (each != "held") {
                    QTest::keySequence(&window, QKeySequence(each));
                }
            }
        };
        board.onDownload = [&](auto burn, auto) {
            press();
            // A key clicks the button as late as 100 ms after it was pressed.
            QElapsedTimer timer;
            for (timer.start(); timer.elapsed() < 150; burn(0.5F)) {
            }
            // These wait while the end of the download is silent.
            for (QPushButton* each : {&window.burn, &window.reset, &window.version}) {
                queue(*each, [each] { click(*each); });
            }
        };
        press();
        if (pressed.startsWith("held")) {
            QTRY_COMPARE(window.burnStatus.text(), QString("Done."));
            const bool isRepeated = true;
            QTest::simulateEvent(&window, true, Qt::Key_B, Qt::ControlModifier, {}, isRepeated);
        }
        QTRY_VERIFY(window.burnStatus.text() == "Done." && !window.burn.isDown());
        QCoreApplication::processEvents();
        QCOMPARE(board.journal.filter("create").size(), 1);
        QCOMPARE(board.journal.filter("version").size(), 1);
        QCOMPARE(board.journal.filter("reset").size(), 0);
    }

    void nothingStartsWhenTheWindowHasClosed()
    {
        BurnWindow window("a.lod");
        window.file.setEditText("a.prf");
        for (QPushButton* each : {&window.burn, &window.startStop, &window.reset}) {
            queue(*each, [each] { each->click(); });
        }
        window.close();
        QCoreApplication::processEvents();
        QCOMPARE(board.journal, QStringList());
    }

    void showsTheVersion()
    {
        board.version = 0x1A2B;
        BurnWindow window;
        click(window.version);
        QCOMPARE(window.versionLabel.text(), QString("0x    1a2b"));
        const int width = window.minimumSizeHint().width();
        board.failing = "version";
        board.failureText += "\n" + QByteArray(900, '.');
        click(window.version);
        QCoreApplication::processEvents();
        QCOMPARE(window.versionLabel.text(), QString("Error while getting the version : " +
                                                     board.failureText.replace('\n', ' ')));
        QCOMPARE(window.versionLabel.textFormat(), Qt::PlainText);
        QCOMPARE(window.minimumSizeHint().width(), width);
    }

    void anyErrorTextCanBeShown()
    {
        const QString noReason = "The board library gives no reason for its error 77.";
        for (const auto& [text, shown] :
             {std::pair(QByteArray(), noReason), std::pair(QByteArray(""), noReason),
              std::pair(QByteArray("\xFC\x80<b>"), QString::fromLatin1("\xFC\x80<b>")),
              std::pair(QByteArray("x\n").repeated(200),
                        QString("x\n").repeated(20).chopped(1) + "..."),
              std::pair(QByteArray(1 << 20, 'x'), QString(1000, 'x') + "...")}) {
            board.failureText = text;
            QCOMPARE(boardErrorText(ScriptedBoard::failure), shown);
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_burn)
#include "tst_burn.moc"
