#include "tests/support/window.h"

#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

using Store = TOVAConfiguration;

namespace
{

/// A kind of file, with what the store remembers of it and where it is chosen.
struct Kind {
    QString suffix;
    QStringList& files;
    QString& folder;
    QString page;
    QString name;
};

const std::array<Kind, 3>& kinds()
{
    static const std::array<Kind, 3> all{{
        {"lod", Store::m_lastLodFiles, Store::m_lastLodFolder, "Burn Flash", "main lod file"},
        {"cfp", Store::m_lastCfpFiles, Store::m_lastCfpFolder, "Burn Flash", "calibration file"},
        {"prf", Store::m_lastPrfFiles, Store::m_lastPrfFolder, "Record", "record file"},
    }};
    return all;
}

QMimeData* dataOf(const QString& text)
{
    auto* data = new QMimeData;
    if (text.contains("://")) {
        data->setUrls(QUrl::fromStringList(text.split(' ')));
    } else {
        data->setText(text);
    }
    return data;
}

/// Drags `text` over `target`, with the leave to move it; drops a copy where that is taken.
bool drop(QWidget& target, const QString& text)
{
    const std::unique_ptr<QMimeData> data(dataOf(text));
    const Qt::DropActions offered = Qt::MoveAction | Qt::CopyAction;
    QDragEnterEvent enter({}, offered, data.get(), Qt::LeftButton, {});
    QDropEvent dropped({}, offered, data.get(), Qt::LeftButton, {});
    QCoreApplication::sendEvent(&target, &enter);
    return enter.isAccepted() && QCoreApplication::sendEvent(&target, &dropped) &&
           dropped.dropAction() == Qt::CopyAction;
}

} // namespace

class tst_store : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

    void recentFilesStayShortAndOrdered()
    {
        for (const QString& path : QString("a b a c d e f ").split(' ')) {
            Store::addLastLod(path, true);
            Store::addLastCfp(path, false);
            Store::addLastPrf(path, true);
        }
        QCOMPARE(Store::m_lastLodFiles.join(' '), QString("f e d c a"));
        QCOMPARE(Store::m_lastCfpFiles.join(' '), QString("b a c d e"));
        QCOMPARE(Store::m_lastPrfFiles.join(' '), QString("f e d c a"));
    }

    void nextStartOffersWhatWasSaved()
    {
        const QByteArray saved = "<?xml version='1.0' encoding='UTF-8' ?>\n"
                                 "<tovaconfig>\n"
                                 "<lastlodfolder path=\"/2\"/>\n"
                                 "<lastlod path=\"/1/&lt;b>&quot;1&quot; &amp; 'more'>]]>.lod\"/>\n"
                                 "<lastlod path=\"/2/ß日本\xF0\x9F\x98\x80.lod\"/>\n"
                                 "<lastcfpfolder path=\"/3\"/>\n"
                                 "<lastcfp path=\"/3/x\"/>\n"
                                 "<lastprffolder path=\"/4\"/>\n"
                                 "<lastprf path=\"/4/x\"/>\n"
                                 "</tovaconfig>\n";
        QVERIFY(writeFile("tovaconfig.cfg", QByteArray(saved).replace("folder", "other")));
        for (const Kind& kind : kinds()) {
            CleanStart::forget();
            Window window(kind.page);
            auto& combo = window.get<QComboBox>("Path of the " + kind.name);
            QCOMPARE(combo.currentText(), QString());
            for (const QString& file : kind.files) {
                QTest::keyClick(&combo, Qt::Key_Down);
                QCOMPARE(combo.currentText(), file);
            }
        }
        for (const QChar notSaved : {QChar(1), QChar(0xD800), QChar(0xFFFE)}) {
            Store::addLastLod(notSaved, false);
        }
        QVERIFY(Store::dumpConfig());
        QCOMPARE(contentOf("tovaconfig.cfg"), saved);
    }

    void readsUpToTheFirstError()
    {
        const QByteArray good = "<x><lastcfp path='good'/><lastcfp/>";
        for (const auto& [text, isWellFormed] :
             {std::pair(good + "<y><z path='a'/><LASTCFP path='b'/></y></x>", true),
              std::pair(good + "<lastcfp pa", false),
              // Without its limits the reader would crash, or be busy for hours.
              std::pair(good + QByteArray("<a>").repeated(300000), false),
              std::pair(good + QByteArray(1 << 20, ' ') + "</x>", false)}) {
            CleanStart::forget();
            QVERIFY(writeFile("tovaconfig.cfg", text));
            QVERIFY2(Store::readConfig() == isWellFormed, text.left(80));
            QCOMPARE(Store::m_lastCfpFiles, QStringList("good"));
        }
    }

    void writesAllOrTellsThatItDidNot_data()
    {
        QTest::addColumn<bool>("diskIsFull");
        QTest::addColumn<bool>("folderIsReadOnly");
        QTest::newRow("replaced") << false << false;
        QTest::newRow("full disk, old file kept") << true << false;
        QTest::newRow("read-only folder, written in place") << false << true;
        QTest::newRow("read-only folder on a full disk") << true << true;
    }
    void writesAllOrTellsThatItDidNot()
    {
        QFETCH(bool, diskIsFull);
        QFETCH(bool, folderIsReadOnly);
        // Permissions do not bind root.
        const uid_t user = geteuid();
        constexpr uid_t nobody = 65534;
        QVERIFY(user != 0 || (::chown(".", nobody, nobody) == 0 && seteuid(nobody) == 0));
        const auto userAgain = qScopeGuard([user] { return seteuid(user); });
        QVERIFY(writeFile("tovaconfig.cfg", "old") && ::chmod("tovaconfig.cfg", 0646) == 0);
        QCOMPARE(::chmod(".", folderIsReadOnly ? 0555 : 0777), 0);
        Store::addLastLod("/new.lod", true);
        withLimit(RLIMIT_FSIZE, diskIsFull ? 64 : 1 << 20,
                  [&] { QCOMPARE(Store::dumpConfig(), !diskIsFull); });
        QCOMPARE(::chmod(".", 0777), 0);
        const QByteArray content = contentOf("tovaconfig.cfg");
        QCOMPARE(content.contains("/new.lod"), !diskIsFull);
        QCOMPARE(content == "old", diskIsFull && !folderIsReadOnly);
        QVERIFY(QFile::permissions("tovaconfig.cfg").testFlag(QFile::WriteOther));
        QCOMPARE(QDir().entryList(QDir::Files), QStringList("tovaconfig.cfg"));
    }

    void pipeAsStoreHoldsNothingUp()
    {
        QCOMPARE(mkfifo("tovaconfig.cfg", S_IRWXU), 0);
        QVERIFY(!Store::readConfig());
        QVERIFY(!Store::dumpConfig());
        const int reader = ::open("tovaconfig.cfg", O_RDONLY | O_NONBLOCK);
        QVERIFY(Store::dumpConfig());
        ::close(reader);
    }

    void whatIsTypedStays()
    {
        Store::m_lastPrfFiles = QStringList{"/tmp/Big.prf"};
        Window window;
        for (const QString typed : {"/tmp/B", "/tmp/big.prf"}) {
            window.file.clearEditText();
            QTest::keyClicks(&window.file, typed + '\r');
            QCOMPARE(window.file.currentText(), typed);
        }
        // The wheel is for what scrolls.
        QWheelEvent wheel({}, {}, {}, {0, -120}, {}, {}, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&window.file, &wheel);
        QVERIFY(!wheel.isAccepted());
    }

    void chosenOneIsShown()
    {
        const QString here = QDir::currentPath() + "/";
        for (const auto& [suffix, files, folder, page, name] : kinds()) {
            files = QStringList{here + "OLD." + suffix, here + "old." + suffix};
            Window window(page);
            auto& combo = window.get<QComboBox>("Path of the " + name);
            auto& browse = window.get<QPushButton>("Browse for the " + name);
            for (const auto& [edit, file, appended] :
                 {std::tuple("", "X." + suffix.toUpper(), "." + suffix),
                  std::tuple("/usr/x", "run.2." + suffix, QString()),
                  std::tuple("", "old." + suffix, QString()),
                  std::tuple("/usr/x", "old." + suffix, QString())}) {
                QVERIFY(suffix == "prf" || writeFile(file, "what is opened exists"));
                folder = "/tmp";
                combo.setEditText(edit);
                QString opened;
                window.choose(here + file, &opened);
                click(browse);
                QCOMPARE(opened, QString(edit == QString() ? "/tmp" : "/usr"));
                QCOMPARE(combo.currentText(), here + file + appended);
                QCOMPARE(combo.currentIndex(), file.startsWith("old") ? 1 : -1);
                QCOMPARE(folder + "/", here);
                QVERIFY(QFile::remove("tovaconfig.cfg"));
            }
            window.choose("");
            click(browse);
            QCOMPARE(combo.currentText(), files[1]);
        }
    }

    void recordFileIsReplacedOnlyIfTheUserSaysSo()
    {
        const QString exists = "Tovalink: %1 already exists.\nDo you want to replace it?";
        const QString isFolder = "Tovalink: Cannot record into %1, because it is a folder.";
        const QString here = QDir::currentPath() + "/";
        QVERIFY(writeFile("run.2.prf", "a night's work") && QDir().mkdir("folder.prf"));
        for (const QString answer : {"Yes", "No", "Return", "OK"}) {
            const QString typed = here + (answer == "OK" ? "folder" : "run.2");
            Window window;
            board = ScriptedBoard();
            window.choose(typed);
            window.whenShown<QMessageBox>([&](QMessageBox&) {
                window.answer(answer);
                window.choose("");
            });
            click(window.get<QPushButton>("Browse for the record file"));
            QCOMPARE(board.journal.join(' '),
                     (answer == "OK" ? isFolder : exists).arg(typed + ".prf"));
            QCOMPARE(window.file.currentText(), answer == "Yes" ? typed + ".prf" : "");
        }
    }

    void fieldsTakeOnlyNumbers()
    {
        Window window;
        window.get<QGroupBox>("EXL Trigger").setChecked(true);
        window.get<QGroupBox>("PXTS Trigger").setChecked(true);
        // What is typed, letter for letter, and what is left of that.
        for (const auto& [field, typed, left] :
             {std::tuple("Start Address (0x)", "-+fFg xFFFFFFF", "fFFFFFFF"),
              std::tuple("End Address (0x)", "-+fFg xFFFFFFF", "fFFFFFFF"),
              std::tuple("Custom tag in hexadecimal", "-+fFg xFFFFFFF", "fFFF"),
              std::tuple("Size", "-+f0065", "6"), std::tuple("Size", "64", "64")}) {
            auto& edit = window.get<QLineEdit>(field);
            edit.clear();
            QTest::keyClicks(&edit, typed);
            QCOMPARE(edit.text(), QString(left));
        }
    }

    void whatArrivesIsWhatWasMeant()
    {
        const QString path = "Path of the record file";
        const QString address = "End Address (0x)";
        // What is pasted, and then dropped, and what is in the field after each.
        for (const auto& [field, text, left] :
             {std::tuple(path, "file:///fw/my%20file.prf", "/fw/my file.prf"),
              std::tuple(path, "file:///1 file:///2", ""), std::tuple(path, "a.prf\r\n", "a.prf"),
              std::tuple(address, " 0x01002fff\n", "01002fff"),
              std::tuple(address, "000000000ff", "000000ff"), std::tuple(address, "main+4", ""),
              std::tuple(QString("Size"), "65", "")}) {
            Window window;
            window.get<QGroupBox>("EXL Trigger").setChecked(true);
            auto& edit = window.get<QLineEdit>(field);
            edit.clear();
            QGuiApplication::clipboard()->setMimeData(dataOf(text));
            QTest::keySequence(&edit, QKeySequence::Paste);
            QCOMPARE(edit.text(), QString(left));
            // A refusal says what the field takes.
            QCOMPARE(QToolTip::isVisible(), edit.text().isEmpty());
            drop(edit, text);
            QCOMPARE(edit.text(), QString(left));
            QToolTip::hideText();
        }
    }

    void fileDroppedOnAPage()
    {
        for (const auto& [suffix, files, folder, page, name] : kinds()) {
            Window window(page);
            QWidget& target = *window.tabs.currentWidget();
            auto& combo = window.get<QComboBox>("Path of the " + name);
            for (const char* refused :
                 {"file:///a.txt", "file:///a.%1 file:///b.%1", "ftp://host/a.%1"}) {
                QVERIFY(!drop(target, QString(refused).replace("%1", suffix)));
            }
            QVERIFY(drop(target, "file:///a." + suffix.toUpper()));
            QCOMPARE(combo.currentText(), "/a." + suffix.toUpper());
            // Nothing changes what a burn or a recording has begun with.
            combo.parentWidget()->parentWidget()->setEnabled(false);
            QVERIFY(!drop(target, "file:///a." + suffix));
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_store)
#include "tst_store.moc"
