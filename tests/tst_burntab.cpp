#include "burn/branneltab.h"
#include "burn/burnprogress.h"
#include "config/configuration.h"
#include "tests/support/find.h"
#include "tests/support/folder.h"
#include "tests/support/modal.h"
#include "tests/support/scriptedboard.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QtTest>

#include <limits>
#include <memory>
#include <optional>

using Store = TOVAConfiguration;

namespace
{

constexpr auto damaged = BRAN_ERR_T(77);

/// The Burn page in a window, with what a user sees and touches of it.
struct Page {
    QWidget window;
    TOVABrannelTab* tab = new TOVABrannelTab(&window);
    QComboBox* lod = tab->findChildren<QComboBox*>().at(0);
    QComboBox* cfp = tab->findChildren<QComboBox*>().at(1);
    QPushButton* burn = withText<QPushButton>(*tab, "&Burn!");
    QPushButton* version = withText<QPushButton>(*tab, "Get Brannel board version");
    QCheckBox* verify = withText<QCheckBox>(*tab, "Verify");
    QCheckBox* fullImage = withText<QCheckBox>(*tab, "Burn full image");
    QProgressBar* bar = tab->findChild<QProgressBar*>();
    QLabel* status = s_label;

    Page()
    {
        window.show();
        QApplication::setActiveWindow(&window);
        auto& board = ScriptedBoard::instance();
        QObject::connect(tab, &TOVABrannelTab::greyParentGUI, [&] { board.note("grey"); });
        QObject::connect(tab, &TOVABrannelTab::ungreyParentGUI, [&] { board.note("ungrey"); });
        board.state = [this] { return state(); };
    }
    ~Page() { ScriptedBoard::instance().state = nullptr; }
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    QLabel* label(const QString& text) const { return withText<QLabel>(*tab, text); }

    /// The status, the bar's value and how many of the five controls can be used.
    QString state() const
    {
        const QList<QWidget*> controls = {verify, fullImage, lod, cfp, burn};
        const auto usable = std::count_if(controls.begin(), controls.end(),
                                          [](QWidget* each) { return each->isEnabled(); });
        return QStringLiteral("%1 %2 %3").arg(status->text()).arg(bar->value()).arg(usable);
    }
};

/// Closes the next message box and notes it.
void noteBox()
{
    whenShown<QMessageBox>([](QMessageBox& box) {
        ScriptedBoard::instance().note(QStringLiteral("box ") + box.windowTitle() + ": " +
                                       box.text());
        QTest::mouseClick(box.button(QMessageBox::Ok), Qt::LeftButton);
    });
}

} // namespace

class tst_burntab : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void burns_data();
    void burns();
    void remembersOnlyWhatWasFilledIn_data();
    void remembersOnlyWhatWasFilledIn();
    void burnsWhatTheCalibrationChanged();
    void progressIsNeverRoundedUp_data();
    void progressIsNeverRoundedUp();
    void eachKeyStartsOneBurn_data();
    void eachKeyStartsOneBurn();
    void showsTheVersion();
    void whatIsTypedIsUsed_data();
    void whatIsTypedIsUsed();
    void choosesAFile_data();
    void choosesAFile();
    void pickedEntryStoresItsFolder();

private:
    ScriptedBoard& m_board = ScriptedBoard::instance();
    std::optional<WorkingFolder> m_folder;
};

void tst_burntab::init()
{
    m_folder.emplace();
    m_board.reset();
    m_board.texts = {{damaged, "it is <b>damaged"}};
    Store::m_lastLodFiles.clear();
    Store::m_lastCfpFiles.clear();
    Store::m_lastLodFolder = QString();
    Store::m_lastCfpFolder = QString();
    s_newBurnProcess = false;
}

void tst_burntab::burns_data()
{
    QTest::addColumn<QString>("lod");
    QTest::addColumn<QString>("cfp");
    QTest::addColumn<QString>("failing");
    QTest::addColumn<bool>("verify");
    QTest::addColumn<QStringList>("journal");
    QTest::addColumn<QString>("end");

    const QString create = "create 1000000 at 1000000 full 0 extra 0 |  -1 0";
    const QString burnAndVerify = "download 400 at 1000000 flag 0 verify 1 | Burning... -1 0";

    QTest::newRow("no load file") << ""
                                  << "c.cfp"
                                  << "" << true
                                  << QStringList{"grey |  -1 0", "ungrey | Choose a file! -1 0"}
                                  << "Choose a file! -1 5";
    QTest::newRow("load file cannot be filled in")
        << "<b>a ß.lod"
        << "c.cfp"
        << "<b>a ß.lod" << true
        << QStringList{"grey |  -1 0",
                       create,
                       "fill <b>a ß.lod | Creating Image... -1 0",
                       "box Tovalink: <b>a ß.lod :\nit is <b>damaged | Creating Image... -1 0",
                       "delete | Creating Image... -1 0",
                       "ungrey | Error. -1 0"}
        << "Error. -1 5";
    QTest::newRow("calibration file cannot be filled in")
        << "a.lod"
        << "c.cfp"
        << "c.cfp" << true
        << QStringList{"grey |  -1 0",
                       create,
                       "fill a.lod | Creating Image... -1 0",
                       "fill c.cfp | Creating Image... -1 0",
                       "box Tovalink: c.cfp :\nit is <b>damaged | Creating Image... -1 0",
                       "delete | Creating Image... -1 0",
                       "ungrey | Error. -1 0"}
        << "Error. -1 5";
    QTest::newRow("download fails") << "a.lod"
                                    << ""
                                    << "download" << true
                                    << QStringList{"grey |  -1 0",
                                                   create,
                                                   "fill a.lod | Creating Image... -1 0",
                                                   burnAndVerify,
                                                   "burnt | Burning... 50 0",
                                                   "verified | Verifying... 99 0",
                                                   "delete | Verifying... 0 0",
                                                   "box Tovalink: it is <b>damaged | Error. 0 0",
                                                   "ungrey | Error. 0 0"}
                                    << "Error. 0 5";
    QTest::newRow("load file alone") << "a.lod"
                                     << ""
                                     << "" << true
                                     << QStringList{"grey |  -1 0",
                                                    create,
                                                    "fill a.lod | Creating Image... -1 0",
                                                    burnAndVerify,
                                                    "burnt | Burning... 50 0",
                                                    "verified | Verifying... 99 0",
                                                    "delete | Verifying... 0 0",
                                                    "ungrey | Done. 0 0"}
                                     << "Done. 0 5";
    QTest::newRow("both files, unverified")
        << "a.lod"
        << "c.cfp"
        << "" << false
        << QStringList{"grey |  -1 0",
                       create,
                       "fill a.lod | Creating Image... -1 0",
                       "fill c.cfp | Creating Image... -1 0",
                       "download 400 at 1000000 flag 0 verify 0 | Burning... -1 0",
                       "burnt | Burning... 50 0",
                       "delete | Burning... 0 0",
                       "ungrey | Done. 0 0"}
        << "Done. 0 5";
}

void tst_burntab::burns()
{
    QFETCH(QString, lod);
    QFETCH(QString, cfp);
    QFETCH(QString, failing);
    m_board.fillResults = {{failing, damaged}};
    m_board.onFill = [](const QString&, BRAN_FLASH_IMAGE_T& image) {
        image.endAddress = image.baseAddress + 0x400;
    };
    m_board.onDownload = [this](auto burn, auto verify) {
        burn(0.509F);
        m_board.note("burnt");
        if (verify != nullptr) {
            verify(0.999F);
            m_board.note("verified");
        }
    };
    m_board.downloadResult = failing == "download" ? damaged : BRAN_SUCCESS;

    Page page;
    page.lod->setEditText(lod);
    page.cfp->setEditText(cfp);
    QFETCH(bool, verify);
    page.verify->setChecked(verify);
    if (!failing.isEmpty()) {
        noteBox();
    }
    QTest::mouseClick(page.burn, Qt::LeftButton);
    QTEST(m_board.journal, "journal");
    QTEST(page.state(), "end");
}

void tst_burntab::remembersOnlyWhatWasFilledIn_data()
{
    QTest::addColumn<QString>("failing");
    QTest::addColumn<QStringList>("lods");
    QTest::addColumn<QStringList>("cfps");
    QTest::newRow("nothing") << "a.lod" << QStringList{"old.lod"} << QStringList();
    QTest::newRow("the load file") << "c.cfp" << QStringList{"a.lod", "old.lod"} << QStringList();
    QTest::newRow("both, though the burn fails")
        << "download" << QStringList{"a.lod", "old.lod"} << QStringList{"c.cfp"};
}

void tst_burntab::remembersOnlyWhatWasFilledIn()
{
    QFETCH(QString, failing);
    Store::m_lastLodFiles = QStringList{"old.lod"};
    m_board.fillResults = {{failing, damaged}};
    m_board.downloadResult = damaged;
    m_board.onDownload = [](auto, auto) {
        // Whatever becomes of the burn, the list is on disk by now.
        QVERIFY(contentOf("tovaconfig.cfg").contains("<lastcfp path=\"c.cfp\"/>"));
    };
    Page page;
    page.lod->setEditText("a.lod");
    page.cfp->setEditText("c.cfp");
    noteBox();
    QTest::mouseClick(page.burn, Qt::LeftButton);
    QTEST(Store::m_lastLodFiles, "lods");
    QTEST(Store::m_lastCfpFiles, "cfps");
    QCOMPARE(page.lod->count(), Store::m_lastLodFiles.size());
    QCOMPARE(page.lod->currentText(), QString("a.lod"));
    QCOMPARE(page.cfp->currentText(), QString("c.cfp"));
}

void tst_burntab::burnsWhatTheCalibrationChanged()
{
    QByteArray loaded(0x2345A, 'l');
    QByteArray calibrated(0x24000, 'c');
    m_board.onFill = [&](const QString& file, BRAN_FLASH_IMAGE_T& image) {
        QByteArray& bytes = file == "a.lod" ? loaded : calibrated;
        image.baseAddress += 0x100000;
        image.endAddress = image.baseAddress + std::uint32_t(bytes.size());
        image.data = bytes.data();
        image.downloadFlag = file == "c.cfp";
    };
    Page page;
    page.lod->setEditText("a.lod");
    page.cfp->setEditText("c.cfp");
    page.fullImage->setChecked(true);
    QTest::mouseClick(page.burn, Qt::LeftButton);
    QVERIFY(m_board.journal.at(1).startsWith("create 1000000 at 1000000 full 1 extra 0"));
    QVERIFY(m_board.journal.at(4).startsWith("download 24000 at 1200000 flag 1 verify 1"));
    QCOMPARE(m_board.downloaded, calibrated);
    QVERIFY(page.label("Last burned image base address: 0x01100000, full size: 0x01000000,  "
                       "used size: 0x0002345A.") != nullptr);
}

void tst_burntab::progressIsNeverRoundedUp_data()
{
    QTest::addColumn<float>("fraction");
    QTest::addColumn<int>("shown");
    QTest::newRow("nothing") << 0.0F << 0;
    QTest::newRow("almost one per cent") << 0.00999F << 0;
    QTest::newRow("almost all") << 0.9999F << 99;
    QTest::newRow("all") << 1.0F << 100;
    QTest::newRow("less than nothing") << -7.0F << 0;
    QTest::newRow("more than all") << 1e30F << 100;
    QTest::newRow("no number") << std::numeric_limits<float>::quiet_NaN() << 0;
}

void tst_burntab::progressIsNeverRoundedUp()
{
    const Page page;
    QFETCH(float, fraction);
    burnProgress(0.5F);
    burnProgress(fraction);
    QTEST(page.bar->value(), "shown");
    verifyProgress(0.5F);
    verifyProgress(fraction);
    QTEST(page.bar->value(), "shown");
}

void tst_burntab::eachKeyStartsOneBurn_data()
{
    QTest::addColumn<int>("modifier");
    QTest::newRow("Ctrl+B") << int(Qt::ControlModifier);
    QTest::newRow("Alt+B") << int(Qt::AltModifier);
}

void tst_burntab::eachKeyStartsOneBurn()
{
    Page page;
    QVERIFY(QTest::qWaitForWindowActive(&page.window));
    page.lod->setEditText("a.lod");
    QFETCH(int, modifier);
    const auto press = [&] {
        QTest::keyClick(&page.window, Qt::Key_B, Qt::KeyboardModifiers(modifier));
    };
    m_board.onDownload = [&](auto burn, auto) {
        press();
        QTest::mouseClick(page.version, Qt::LeftButton);
        burn(0.5F);
    };
    press();
    QTRY_COMPARE(page.status->text(), QString("Done."));
    QCOMPARE(m_board.journal.filter("create").size(), 1);
    QCOMPARE(m_board.journal.filter("version").size(), 1);
    QVERIFY(page.burn->isEnabled());
}

void tst_burntab::showsTheVersion()
{
    m_board.version = 0x1A2B;
    const Page page;
    QTest::mouseClick(page.version, Qt::LeftButton);
    QLabel* label = page.label("0x    1a2b");
    QVERIFY(label != nullptr);
    m_board.versionResult = damaged;
    QTest::mouseClick(page.version, Qt::LeftButton);
    QCOMPARE(label->text(), QString("Error while getting the version : it is <b>damaged"));
    QCOMPARE(label->textFormat(), Qt::PlainText);
}

void tst_burntab::whatIsTypedIsUsed_data()
{
    QTest::addColumn<QString>("typed");
    QTest::newRow("start of an entry") << "/tmp/ab";
    QTest::newRow("other letter case") << "/tmp/big.lod";
    QTest::newRow("an entry itself") << "/tmp/Big.lod";
    QTest::newRow("blanks, quotes and 200 characters")
        << "/tmp/a b \"c\" '<b>'" + QString(200, QLatin1Char('x'));
}

void tst_burntab::whatIsTypedIsUsed()
{
    QFETCH(QString, typed);
    Store::m_lastLodFiles = QStringList{"/tmp/Big.lod", "/tmp/abc.lod"};
    const Page page;
    QVERIFY(page.lod->currentText().isEmpty());
    QTest::keyClicks(page.lod->lineEdit(), typed);
    QTest::keyClick(page.lod->lineEdit(), Qt::Key_Return);
    QTest::keyClick(page.lod->lineEdit(), Qt::Key_Tab);
    QTest::mouseClick(page.burn, Qt::LeftButton);
    QCOMPARE(m_board.journal.filter("fill ").size(), 1);
    QVERIFY(m_board.journal.filter("fill ").front().startsWith("fill " + typed + " |"));
    QCOMPARE(page.lod->currentText(), typed);
}

void tst_burntab::choosesAFile_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<int>("entry");
    QTest::newRow("a new file") << "new ü.lod"
                                << "new ü.lod" << -1;
    QTest::newRow("a recent file") << "old.lod"
                                   << "old.lod" << 1;
    QTest::newRow("other suffix") << "x.LOD"
                                  << "x.LOD.lod" << -1;
    QTest::newRow("cancelled") << ""
                               << "" << -1;
}

void tst_burntab::choosesAFile()
{
    QFETCH(QString, file);
    QFETCH(QString, shown);
    QFETCH(int, entry);
    const QString folder = m_folder->path() + "/";
    Store::m_lastLodFiles = QStringList{"first.lod", folder + "old.lod"};
    Store::m_lastLodFolder = m_folder->path();
    const Page page;
    QString opened;
    whenShown<QFileDialog>([&](QFileDialog& dialog) {
        opened = dialog.directory().path();
        if (file.isEmpty()) {
            dialog.reject();
            return;
        }
        writeFile(folder + file, "x");
        dialog.findChild<QLineEdit*>("fileNameEdit")->setText(folder + file);
        QTest::keyClick(&dialog, Qt::Key_Return);
    });
    QTest::mouseClick(withText<QPushButton>(*page.tab, "..."), Qt::LeftButton);
    QCOMPARE(opened, m_folder->path());
    QCOMPARE(page.lod->currentText(), shown.isEmpty() ? QString() : folder + shown);
    QCOMPARE(page.lod->currentIndex(), entry);
    QCOMPARE(QFile::exists("tovaconfig.cfg"), !file.isEmpty());
    QCOMPARE(Store::m_lastLodFiles.size(), 2);
}

void tst_burntab::pickedEntryStoresItsFolder()
{
    Store::m_lastCfpFiles = QStringList{"/one/a.cfp", "/two/b.cfp"};
    const Page page;
    page.cfp->setFocus();
    QTest::keyClick(page.cfp, Qt::Key_Down);
    QCOMPARE(page.cfp->currentText(), QString("/one/a.cfp"));
    QTest::keyClick(page.cfp, Qt::Key_Down);
    QCOMPARE(Store::getLastCfpFolder(), QString("/two"));
    QVERIFY(contentOf("tovaconfig.cfg").contains("<lastcfpfolder path=\"/two\"/>"));
    QCOMPARE(Store::m_lastCfpFiles.front(), QString("/one/a.cfp"));
}

QTEST_MAIN(tst_burntab)
#include "tst_burntab.moc"
