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
    QProgressBar& bar = get<QProgressBar>("Progress");
    QLabel& burnStatus = get<QLabel>("Status of the burn");
    QPushButton& version = get<QPushButton>("Get Brannel board version");

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

    void burns()
    {
        const QString create = "create 1000000 at 1000000 full %1 extra 0 |  -1 burning; events | "
                               "Creating Image... -1 burning; fill ";
        const QString damaged = "; Tovalink: %1 :\nit is <b>damaged | Creating Image... -1 burning"
                                "; delete";
        const QString noImage = "; Tovalink: The board library has made no flash image, and gives "
                                "no reason. Nothing was burned. | Creating Image... -1 burning";
        const QString verified =
            create.arg(0) + "a.lod; events | Burning... -1 burning; download 2345a at 1100000 flag "
                            "0 verify 1; burned, 3 files saved | Burning... 50 burning; verified "
                            "| Verifying... 99 burning; delete | Verifying... 0 burning";
        const QString full = create.arg(1) +
                             "a.lod; fill c.cfp; events | Burning... -1 burning; download 24000 at "
                             "1200000 flag 1 verify 0; burned, 4 files saved | Burning... 50 "
                             "burning; delete | Burning... 0 burning";
        check("", "c.cfp", "", "", "old.lod old.cfp");
        check("<b>ß.lod", "", "<b>ß.lod", create.arg(0) + "<b>ß.lod" + damaged.arg("<b>ß.lod"),
              "old.lod old.cfp");
        check("a.lod", "", "create", create.arg(0) + "a.lod" + noImage, "old.lod old.cfp");
        check("a.lod", "c.cfp", "c.cfp", create.arg(1) + "a.lod; fill c.cfp" + damaged.arg("c.cfp"),
              "a.lod old.cfp");
        check("a.lod", "", "download", verified + "; Tovalink: it is <b>damaged | Error. 0 burning",
              "a.lod old.cfp");
        check("a.lod", "", "", verified, "a.lod old.cfp");
        check("a.lod", "c.cfp", "", full, "a.lod c.cfp");
    }

    void progressIsNeverRoundedUp()
    {
        BurnWindow window;
        const float noNumber = std::numeric_limits<float>::quiet_NaN();
        for (const auto& [fraction, shown] :
             {std::pair(0.00999F, 0), std::pair(0.9999F, 99), std::pair(1.0F, 100),
              std::pair(-7.0F, 0), std::pair(1e30F, 100), std::pair(noNumber, 0)}) {
            for (const auto& report : {burnProgress, verifyProgress}) {
                report(0.5F);
                report(fraction);
                QCOMPARE(window.bar.value(), shown);
            }
        }
    }

    /// What is pressed at the start is pressed again during the burn.
    void keysStartOneBurn()
    {
        for (const QString keys : {"Alt+B", "Ctrl+B Alt+B", "Ctrl+B"}) {
            BurnWindow window("a.lod");
            const auto press = [&] {
                for (const QString& each : keys.split(' ')) {
                    QTest::keySequence(&window, QKeySequence(each));
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
            QTRY_VERIFY(window.burnStatus.text() == "Done." && !window.burn.isDown());
            // A key that is held is pressed on and on.
            const bool isRepeated = true;
            QTest::simulateEvent(&window, true, Qt::Key_B, Qt::ControlModifier, {}, isRepeated);
            QTest::qWait(keys == "Ctrl+B" ? 150 : 0);
            QCOMPARE(board.journal.filter("create").size(), 1);
            QCOMPARE(board.journal.filter("version").size(), 1);
            QCOMPARE(board.journal.filter("reset").size(), 0);
        }
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

    void showsTheVersionOrAnyError()
    {
        board.version = 0x1A2B;
        BurnWindow window;
        auto& label = window.get<QLabel>("Version of the board");
        click(window.version);
        QCOMPARE(label.text(), QString("0x    1a2b"));
        QCOMPARE(label.textFormat(), Qt::PlainText);
        const int width = window.minimumSizeHint().width();
        board.failing = "version";
        const QString noReason = "The board library gives no reason for its error 77.";
        for (const auto& [text, shown] :
             {std::pair(QByteArray(), noReason), std::pair(QByteArray(""), noReason),
              std::pair(QByteArray("\xFC\x80<b>"), QString::fromLatin1("\xFC\x80<b>")),
              std::pair(QByteArray("x\n").repeated(200),
                        QString("x ").repeated(20).chopped(1) + "..."),
              std::pair(QByteArray(1 << 20, 'x'), QString(1000, 'x') + "...")}) {
            board.failureText = text;
            click(window.version);
            QCOMPARE(label.text(), "Error while getting the version : " + shown);
            QCoreApplication::processEvents();
            QCOMPARE(window.minimumSizeHint().width(), width);
        }
    }

private:
    /// A burn, verified where there is no calibration file, and else that of a full image. In the
    /// journal, what the board is asked and what is shown; behind a |, where they change, the
    /// status, the bar and what is grey.
    static void check(const QString& lod, const QString& cfp, const QString& failing,
                      const QString& journal, const QString& recent)
    {
        const CleanStart start;
        TOVAConfiguration::m_lastLodFiles = QStringList{"old.lod"};
        TOVAConfiguration::m_lastCfpFiles = QStringList{"old.cfp"};
        BurnWindow window(lod);
        window.cfp.setEditText(cfp);
        const bool isFull = !cfp.isEmpty();
        window.get<QCheckBox>("Burn full image").setChecked(isFull);
        auto& verify = window.get<QCheckBox>("Verify");
        QVERIFY(verify.isChecked());
        verify.setChecked(!isFull);
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
            if (!isFull || file == cfp) {
                noteEvents();
            }
        };
        board.onDownload = [](auto reportBurned, auto reportVerified) {
            reportBurned(0.509F);
            // Whatever becomes of the burn, the recent files are on disk by now.
            const auto saved = contentOf("tovaconfig.cfg").count("<last") - 3;
            board.note(QStringLiteral("burned, %1 files saved").arg(saved));
            if (reportVerified != nullptr) {
                reportVerified(0.999F);
                board.note("verified");
            }
        };
        lod.isEmpty() ? void() : noteEvents();
        click(window.burn);
        QCOMPARE(board.journal.join("; "), journal);
        QCOMPARE(window.burnStatus.text(), QString(lod.isEmpty()       ? "Choose a file!"
                                                   : failing.isEmpty() ? "Done."
                                                                       : "Error."));
        QCOMPARE(window.grey(), QString());
        QCOMPARE(window.lod.itemText(0) + ' ' + window.cfp.itemText(0), recent);
        QCOMPARE(window.lod.currentText() + window.cfp.currentText(), lod + cfp);
        QCOMPARE(board.downloaded, journal.contains("24000") ? calibrated : QByteArray());
        // The summary is that of the load file.
        QCOMPARE(window.get<QLabel>("Summary of the flash image").text() ==
                     "Last burned image base address: 0x01100000, full size: 0x01000000,  used "
                     "size: 0x0002345A.",
                 recent.startsWith("a.lod"));
        QCOMPARE(nameOf(*window.focusWidget()), QString("Burn!"));
    }

    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_burn)
#include "tst_burn.moc"
