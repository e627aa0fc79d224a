#include "tests/support/window.h"

class tst_burn : public WindowTest
{
    Q_OBJECT

private slots:
    void burns()
    {
        const QString created = "create 1000000 at 1000000 full %1 extra 0 | 7 grey; events | "
                                "Creating Image..., 7 grey; fill ";
        const QString damaged = "Tovalink: %1 :\nit is <b>damaged | Creating Image..., 7 grey; "
                                "delete";
        const QString noImage = "; Tovalink: The board library has made no flash image, and gives "
                                "no reason. Nothing was burned. | Creating Image..., 7 grey";
        const QString download = "download 2345a at %1; events | Burning...50, 7 grey; %2 lines "
                                 "100 0 100 0 0 | Burning...0, 7 grey; ";
        const QString verified =
            created.arg(0) + "a.lod; events | Burning..., 7 grey; " +
            download.arg("1100000 flag 0 verify 1").arg(6) +
            "reported | Verifying...99, 7 grey; delete | Verifying...0, 7 grey";
        const QString full = created.arg(1) + "a.lod; fill c.cfp; events | Burning..., 7 grey; " +
                             "events; " + download.arg("1200000 flag 1 verify 0").arg(7) +
                             "reported; delete";
        check("", "c.cfp", "", "", "old.lod old.cfp");
        check("<b>ß.lod", "", "<b>ß.lod", created.arg(0) + "<b>ß.lod; " + damaged.arg("<b>ß.lod"),
              "old.lod old.cfp");
        check("a.lod", "", "create", created.arg(0) + "a.lod" + noImage, "old.lod old.cfp");
        check("a.lod", "c.cfp", "c.cfp",
              created.arg(1) + "a.lod; fill c.cfp; events; " + damaged.arg("c.cfp"),
              "a.lod old.cfp");
        check("a.lod", "", "download", verified + "; Tovalink: it is <b>damaged | Error.0, 7 grey",
              "a.lod old.cfp");
        check("a.lod", "", "", verified, "a.lod old.cfp");
        check("a.lod", "c.cfp", "", full, "a.lod c.cfp");
    }

    /// What is pressed at the start is pressed again during the burn.
    void keysAndLateClicksStartOneBurn()
    {
        for (const char* keys : {"Alt+B", "Ctrl+B, Alt+B", "Ctrl+B"}) {
            Window window("Burn Flash");
            board.onDownload = [&](auto burn, auto) {
                QTest::keySequence(&window, QKeySequence(keys));
                // A key clicks the button as late as 100 ms after it was pressed.
                const QDeadlineTimer clicked(150);
                while (!clicked.hasExpired()) {
                    burn(0.5F);
                }
                // These wait while the end of the download is silent.
                for (QPushButton* each : {&window.burn, &window.reset, &window.version}) {
                    queue(*each, [each] { click(*each); });
                }
            };
            QTest::keySequence(&window, QKeySequence(keys));
            QTRY_VERIFY(window.burnStatus.text() == "Done." && !window.burn.isDown());
            // A key that is held is pressed on and on.
            QTest::simulateEvent(&window, true, Qt::Key_B, Qt::ControlModifier, {}, true);
            QTest::qWait(150);
            click(window.reset);
            // Nothing starts when the window has closed.
            for (QPushButton* each : {&window.burn, &window.startStop, &window.reset}) {
                queue(*each, [each] { each->click(); });
            }
            window.close();
            QCoreApplication::processEvents();
            const QRegularExpression starts("create|version|reset|start");
            QCOMPARE(board.journal.filter(starts).size(), 3);
        }
    }

    void showsTheVersionOrAnyError()
    {
        board.version = 0x1A2B;
        Window window("Burn Flash");
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
              std::pair(QByteArray("x\n").repeated(200), QString("x ").repeated(19) + "x..."),
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
    /// journal, what the board is asked, and the events that are processed before it is asked more;
    /// behind a |, where they change, the status, the bar and what is grey.
    void check(const QString& lod, const QString& cfp, const QString& failing,
               const QString& journal, const QString& recent)
    {
        init();
        TOVAConfiguration::m_lastLodFiles = QStringList{"old.lod", "a.lod"};
        TOVAConfiguration::m_lastCfpFiles = QStringList{"old.cfp"};
        Window window("Burn Flash");
        window.lod.setEditText(lod);
        window.cfp.setEditText(cfp);
        window.answers = QStringList{"OK"};
        const bool isFull = !cfp.isEmpty();
        window.get<QCheckBox>("Burn full image").setChecked(isFull);
        window.get<QCheckBox>("Verify").setChecked(!isFull);
        QByteArray calibrated(0x2345A, 'c');
        board.failing = failing;
        const auto noteEvents = [&] { queue(window, [] { board.note("events"); }); };
        board.onFill = [&](const QString& file, BRAN_FLASH_IMAGE_T& image) {
            image.baseAddress += 0x100000;
            image.endAddress = image.baseAddress + 0x2345A;
            image.data = file == cfp ? calibrated.data() : nullptr;
            image.downloadFlag = file == cfp;
            noteEvents();
        };
        board.onDownload = [&](auto reportBurned, auto reportVerified) {
            noteEvents();
            reportBurned(0.509F);
            // Whatever becomes of the burn, the recent files are on disk by now.
            QString shown = QString::number(contentOf("tovaconfig.cfg").count("<last")) + " lines";
            for (const float part : {1e30F, -7.0F, 1.0F, float(qQNaN()), 0.00999F}) {
                reportBurned(part);
                shown += QString(" %1").arg(window.bar.value());
            }
            board.note(shown);
            reportVerified != nullptr ? reportVerified(0.999F) : void();
            board.note("reported");
        };
        noteEvents();
        click(window.burn);
        QCOMPARE(board.journal.join("; "), journal);
        const QString end = failing.isEmpty() ? "Done." : "Error.";
        QCOMPARE(window.burnStatus.text(), lod.isEmpty() ? "Choose a file!" : end);
        QVERIFY(!window.state().contains("grey"));
        QCOMPARE(window.lod.itemText(0) + ' ' + window.cfp.itemText(0), recent);
        QCOMPARE(window.lod.currentText() + window.cfp.currentText(), lod + cfp);
        QCOMPARE(board.downloaded, journal.contains("flag 1") ? calibrated : QByteArray());
        // The summary is that of the load file.
        QCOMPARE(window.get<QLabel>("Summary of the flash image").text() ==
                     "Last burned image base address: 0x01100000, full size: 0x01000000,  used "
                     "size: 0x0002345A.",
                 recent.startsWith("a.lod"));
        QCOMPARE(nameOf(*window.focusWidget()), QString("Burn!"));
    }
};

QTEST_MAIN(tst_burn)
#include "tst_burn.moc"
