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
const std::array<Kind, 3> kinds{{
    {"lod", Store::m_lastLodFiles, Store::m_lastLodFolder, "Burn Flash", "main lod file"},
    {"cfp", Store::m_lastCfpFiles, Store::m_lastCfpFolder, "Burn Flash", "calibration file"},
    {"prf", Store::m_lastPrfFiles, Store::m_lastPrfFolder, "Record", "record file"},
}};

/// The program's window with the page open on which that kind of file is chosen.
struct ChoiceWindow : Window {
    QComboBox& combo;
    QPushButton& browse;

    explicit ChoiceWindow(const Kind& kind)
        : Window(kind.page),
          combo(get<QComboBox>("Path of the " + kind.name)),
          browse(get<QPushButton>("Browse for the " + kind.name))
    {
        combo.setFocus();
    }
};

QMimeData* dataOf(const QString& text)
{
    auto* data = new QMimeData;
    if (text.contains("://") && !text.startsWith("text ")) {
        data->setUrls(QUrl::fromStringList(text.split(' ')));
    } else {
        data->setText(QString(text).remove("text "));
    }
    return data;
}

/// Drags `text` over `target`, which has the leave to move it, and drops it where it is taken;
/// whether it is.
bool drop(QWidget& target, const QString& text)
{
    const std::unique_ptr<QMimeData> data(dataOf(text));
    const QPoint at = target.rect().center();
    const Qt::DropActions offered = Qt::MoveAction | Qt::CopyAction;
    QDragEnterEvent enter(at, offered, data.get(), Qt::LeftButton, Qt::NoModifier);
    QDragMoveEvent move(at, offered, data.get(), Qt::LeftButton, Qt::NoModifier);
    QDropEvent dropped(at, offered, data.get(), Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&target, &enter);
    QCoreApplication::sendEvent(&target, &move);
    if (!enter.isAccepted() || !move.isAccepted()) {
        return false;
    }
    QCoreApplication::sendEvent(&target, &dropped);
    return dropped.isAccepted() && dropped.dropAction() == Qt::CopyAction;
}

void paste(QLineEdit& edit, const QString& text)
{
    QGuiApplication::clipboard()->setMimeData(dataOf(text));
    QTest::keySequence(&edit, QKeySequence::Paste);
}

QByteArray many(const char* piece, int count)
{
    return QByteArray(piece).repeated(count);
}

} // namespace

class tst_store : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

    void recentFilesStayShortAndOrdered_data()
    {
        addColumns<QString, bool, QString>("added", "prepend", "kept");
        QTest::newRow("the file used last comes first") << "a b" << true << "b a";
        QTest::newRow("a file used again moves to the front") << "a b a" << true << "a b";
        QTest::newRow("a sixth file pushes the oldest out") << "a b c d e f" << true << "f e d c b";
        QTest::newRow("an empty name is none") << "a " << true << "a";
        QTest::newRow("appending keeps the first five") << "a b c d e f g" << false << "a b c d e";
        QTest::newRow("appending again moves to the back") << "a b a" << false << "b a";
    }
    void recentFilesStayShortAndOrdered()
    {
        QFETCH(QString, added);
        QFETCH(bool, prepend);
        for (const QString& path : added.split(' ')) {
            Store::addLastLod(path, prepend);
            Store::addLastCfp(path, prepend);
            Store::addLastPrf(path, prepend);
        }
        for (const Kind& kind : kinds) {
            QTEST(kind.files.join(' '), "kept");
        }
    }

    void readsWhatItWrites()
    {
        const QStringList saved{"/fw/<b>\"1\" & 'more'>]]>.lod", "/fw/ß日本\xF0\x9F\x98\x80.lod"};
        const QStringList notSaved{"/a\x01.lod", QString(QChar(0xD800)), QString(QChar(0xFFFE))};
        Store::m_lastLodFiles = notSaved + saved;
        Store::m_lastLodFolder = "/fw";
        Store::m_lastCfpFolder = notSaved[0];
        Store::m_lastPrfFiles = QStringList{"/rec/1.prf"};
        Store::m_lastPrfFolder = "/rec";
        QVERIFY(Store::dumpConfig());
        QCOMPARE(contentOf("tovaconfig.cfg"),
                 QByteArray("<?xml version='1.0' encoding='UTF-8' ?>\n"
                            "<tovaconfig>\n"
                            "<lastlodfolder path=\"/fw\"/>\n"
                            "<lastlod path=\"/fw/&lt;b>&quot;1&quot; &amp; 'more'>]]>.lod\"/>\n"
                            "<lastlod path=\"/fw/ß日本\xF0\x9F\x98\x80.lod\"/>\n"
                            "<lastcfpfolder path=\"\"/>\n"
                            "<lastprffolder path=\"/rec\"/>\n"
                            "<lastprf path=\"/rec/1.prf\"/>\n"
                            "</tovaconfig>\n"));
        CleanStart::forget();
        QVERIFY(Store::readConfig());
        QCOMPARE(Store::m_lastLodFiles, saved);
        QCOMPARE(Store::getLastLodFolder() + Store::getLastCfpFolder() + Store::getLastPrfFolder(),
                 QString("/fw/rec"));
    }

    void readsUpToTheFirstError_data()
    {
        addColumns<QByteArray, bool, QString>("text", "isWellFormed", "kept");
        const QByteArray good = "<x><lastcfp path='good'/>";
        QTest::newRow("any root, any depth, other elements")
            << QByteArray("<x><y><lastcfp path='a'/></y><z path='b'/><LASTCFP path='c'/></x>")
            << true << "a";
        QTest::newRow("no path") << QByteArray("<x><lastcfp/><lastcfp path=''/></x>") << true << "";
        QTest::newRow("cut off in the middle") << good + "<lastcfp pa" << false << "good";
        QTest::newRow("empty") << QByteArray() << false << "";
        // Without its limits the reader would be a crash, out of memory, or busy for hours.
        QTest::newRow("nested") << good + many("<a>", 300000) << false << "good";
        QTest::newRow("huge") << good + many("<lastlod path='/x'/>", 1000000) << false << "good";
        QTest::newRow("entities") << "<!DOCTYPE a [<!ENTITY e '" + many("x", 9000) + "'>]>" +
                                         many("&e;", 60000)
                                  << false << "";
        QTest::newRow("declarations")
            << "<!DOCTYPE a [<!ELEMENT a " + many("(", 900000) << false << "";
        QByteArray names;
        for (int each = 0; each < 4000; ++each) {
            names += "xmlns:n" + QByteArray::number(each) + "='n' ";
        }
        QTest::newRow("namespaces")
            << "<x " + names + ">" + many("<y/>", 200000) + "<lastcfp path='a'/></x>" << true
            << "a";
    }
    void readsUpToTheFirstError()
    {
        QFETCH(QByteArray, text);
        QVERIFY(!Store::readConfig());
        QVERIFY(writeFile("tovaconfig.cfg", text));
        QTEST(Store::readConfig(), "isWellFormed");
        QTEST(Store::m_lastCfpFiles.join(' '), "kept");
    }

    void writesAllOrTellsThatItDidNot_data()
    {
        addColumns<bool, bool>("diskIsFull", "folderIsReadOnly");
        QTest::newRow("replaced") << false << false;
        QTest::newRow("full disk, old file kept") << true << false;
        QTest::newRow("read-only folder, written in place") << false << true;
        QTest::newRow("read-only folder on a full disk") << true << true;
    }
    void writesAllOrTellsThatItDidNot()
    {
        QFETCH(bool, diskIsFull);
        QFETCH(bool, folderIsReadOnly);
        constexpr uid_t user = 65534;
        const bool isRoot = geteuid() == 0;
        // Root does not take the file away from its user; and permissions do not bind root.
        QVERIFY(writeFile("tovaconfig.cfg", "old") && ::chmod("tovaconfig.cfg", 0646) == 0);
        QVERIFY(!isRoot || ::chown("tovaconfig.cfg", user, user) == 0);
        QVERIFY(::chmod(".", folderIsReadOnly ? 0555 : 0777) == 0);
        QVERIFY(!isRoot || !folderIsReadOnly || seteuid(user) == 0);
        Store::addLastLod("/new.lod", true);
        bool isWritten = false;
        withLimit(RLIMIT_FSIZE, diskIsFull ? 64 : 1 << 20,
                  [&] { isWritten = Store::dumpConfig(); });
        QVERIFY(!isRoot || seteuid(0) == 0);
        QVERIFY(::chmod(".", 0777) == 0);
        QCOMPARE(isWritten, !diskIsFull);
        const QByteArray content = contentOf("tovaconfig.cfg");
        QCOMPARE(content.contains("/new.lod"), isWritten);
        QCOMPARE(content == "old", diskIsFull && !folderIsReadOnly);
        struct stat status = {};
        QCOMPARE(::stat("tovaconfig.cfg", &status), 0);
        QCOMPARE(status.st_mode & 0777, mode_t(0646));
        QVERIFY(!isRoot || status.st_uid == user);
        QCOMPARE(QDir().entryList(QDir::Files), QStringList("tovaconfig.cfg"));
    }

    void pipeAsStoreHoldsNothingUp()
    {
        QCOMPARE(mkfifo("tovaconfig.cfg", S_IRWXU), 0);
        const Window window;
        QVERIFY(!Store::dumpConfig());
        const int reader = ::open("tovaconfig.cfg", O_RDONLY | O_NONBLOCK);
        QVERIFY(Store::dumpConfig());
        std::array<char, 6> begin{};
        QCOMPARE(::read(reader, begin.data(), 5), ssize_t(5));
        QCOMPARE(begin.data(), "<?xml");
        ::close(reader);
    }

    void pickedOneStoresItsFolder()
    {
        QVERIFY(writeFile("tovaconfig.cfg", "<x><lastlod path='/1/x'/><lastlod path='/2/x'/>"
                                            "<lastcfp path='/3/x'/><lastcfp path='/4/x'/>"
                                            "<lastprf path='/5/x'/><lastprf path='/6/x'/></x>"));
        for (const Kind& kind : kinds) {
            const ChoiceWindow window(kind);
            QCOMPARE(window.combo.currentText(), QString());
            const QStringList files = kind.files;
            for (const QString& file : files) {
                QTest::keyClick(&window.combo, Qt::Key_Down);
                QCOMPARE(window.combo.currentText(), file);
            }
            QCOMPARE(kind.files, files);
            CleanStart::forget();
        }
        // Each window has read what was written with the one before.
        QVERIFY(Store::readConfig());
        QCOMPARE(kinds[0].folder + kinds[1].folder + kinds[2].folder, QString("/2/4/6"));
    }

    void whatIsTypedStays()
    {
        Store::m_lastLodFiles = QStringList{"/tmp/Big.lod", "/tmp/abc.lod"};
        ChoiceWindow window(kinds[0]);
        QLineEdit& edit = *window.combo.lineEdit();
        for (const QString typed : {"/tmp/ab", "/tmp/big.lod", "/tmp/Big.lod", "a \"c\" '<b>'"}) {
            for (const Qt::Key last : {Qt::Key_Return, Qt::Key_Tab}) {
                edit.setFocus();
                edit.clear();
                QTest::keyClicks(&edit, typed);
                // A popup would swallow the next click.
                QVERIFY(QApplication::activePopupWidget() == nullptr);
                QTest::keyClick(&edit, last);
                QCOMPARE(window.combo.currentText(), typed);
            }
        }
        // The wheel is for what scrolls.
        QWheelEvent wheel(QPointF(5, 5), window.combo.mapToGlobal(QPointF(5, 5).toPoint()), {},
                          {0, -120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&window.combo, &wheel);
        QVERIFY(!wheel.isAccepted());
        click(window.burn);
        QCOMPARE(board.journal.filter("fill "), QStringList{"fill a \"c\" '<b>'"});
    }

    void chosenOneIsShown_data()
    {
        addColumns<QString, int, QString, QString>("edit", "entry", "file", "shown");
        QTest::newRow("a new one") << "" << -1 << "new ü.suffix"
                                   << "new ü.suffix";
        QTest::newRow("a recent one") << "" << -1 << "old.suffix"
                                      << "old.suffix";
        QTest::newRow("a recent one, current already") << "/usr/x" << 1 << "old.suffix"
                                                       << "old.suffix";
        QTest::newRow("other suffix") << "" << -1 << "x.SUFFIX"
                                      << "x.SUFFIX.suffix";
        QTest::newRow("a dot in the name") << "/usr/x" << -1 << "run.2.suffix"
                                           << "run.2.suffix";
        QTest::newRow("cancelled") << "/usr/x" << -1 << ""
                                   << "";
    }
    void chosenOneIsShown()
    {
        const QString here = QDir::currentPath() + "/";
        for (const auto& [suffix, files, folder, page, title] : kinds) {
            QFETCH(QString, edit);
            QFETCH(int, entry);
            QFETCH(QString, file);
            QFETCH(QString, shown);
            for (QString* name : {&file, &shown}) {
                name->replace("suffix", suffix).replace("SUFFIX", suffix.toUpper());
            }
            files = QStringList{here + "OLD." + suffix, here + "old." + suffix};
            const QString last = here + "last " + suffix;
            QVERIFY(QDir().mkdir(last));
            folder = last;
            ChoiceWindow window({suffix, files, folder, page, title});
            window.combo.setCurrentIndex(entry);
            window.combo.setEditText(edit);
            const bool isChosen = !file.isEmpty();
            QVERIFY(suffix == "prf" || !isChosen || writeFile(file, "what is opened exists"));
            QString opened;
            window.choose(isChosen ? here + file : "", &opened);
            click(window.browse);
            QCOMPARE(opened, edit.isEmpty() ? last : QString("/usr"));
            QCOMPARE(window.combo.currentText(), isChosen ? here + shown : edit);
            QCOMPARE(window.combo.currentIndex(), shown.startsWith("old") ? 1 : entry);
            QCOMPARE(folder, isChosen ? QDir::currentPath() : last);
            QCOMPARE(QFile::remove("tovaconfig.cfg"), isChosen);
            QCOMPARE(files.size(), 2);
        }
    }

    void recordFileIsReplacedOnlyIfTheUserSaysSo_data()
    {
        addColumns<QString, QString, QString, QString>("typed", "existing", "answer", "question");
        const QString exists = "%1 already exists.\nDo you want to replace it?";
        QTest::newRow("another name") << "a"
                                      << "a"
                                      << ""
                                      << "";
        QTest::newRow("replaced") << "a"
                                  << "a.prf"
                                  << "Yes" << exists;
        QTest::newRow("kept") << "run.2"
                              << "run.2.prf"
                              << "No" << exists;
        QTest::newRow("kept by the key Return") << "a.prf"
                                                << "a.prf"
                                                << "Return" << exists;
        QTest::newRow("a folder") << "a"
                                  << "a.prf/"
                                  << "OK"
                                  << "Cannot record into %1, because it is a folder.";
    }
    void recordFileIsReplacedOnlyIfTheUserSaysSo()
    {
        QFETCH(QString, typed);
        QFETCH(QString, existing);
        QFETCH(QString, answer);
        QFETCH(QString, question);
        const QString here = QDir::currentPath() + "/";
        const QString name = QString(existing).remove('/');
        QVERIFY(existing == name ? writeFile(name, "a night's work") : QDir().mkdir(name));
        ChoiceWindow window(kinds[2]);
        board.state = nullptr;
        window.choose(here + typed);
        window.whenShown<QMessageBox>([&](QMessageBox&) {
            window.answer(answer);
            if (answer != "Yes") {
                window.choose("");
            }
        });
        click(window.browse);
        QCOMPARE(board.journal.join(' '),
                 question.isEmpty() ? QString() : "Tovalink: " + question.arg(here + name));
        QCOMPARE(window.combo.currentText(),
                 answer.isEmpty() || answer == "Yes" ? here + typed + ".prf" : QString());
    }

    void fieldsTakeOnlyNumbers()
    {
        Window window;
        window.get<QGroupBox>("EXL Trigger").setChecked(true);
        window.get<QGroupBox>("PXTS Trigger").setChecked(true);
        // What is typed, letter for letter, and what is left in the addresses, the tag and the
        // size.
        for (const auto& [typed, left] :
             {std::pair("12345678", "12345678 12345678 1234 12 "),
              std::pair("fFg FxFFFFFFF", "fFFFFFFF fFFFFFFF fFFF  "),
              std::pair("065", "065 065 065 6 "), std::pair("64", "64 64 64 64 "),
              std::pair("66", "66 66 66 6 "), std::pair("-+1", "1 1 1 1 "),
              std::pair("0x01002000", "00100200 00100200 001002 10 ")}) {
            QString seen;
            for (const char* name :
                 {"Start Address (0x)", "End Address (0x)", "Custom tag in hexadecimal", "Size"}) {
                auto& edit = window.get<QLineEdit>(name);
                edit.clear();
                QTest::keyClicks(&edit, typed);
                QTest::keyClick(&edit, Qt::Key_Return);
                seen += edit.text() + ' ';
            }
            QCOMPARE(seen, QString(left));
        }
    }

    void whatArrivesIsWhatWasMeant_data()
    {
        // What is then in the field, which has held "1", after a paste and after a drop.
        addColumns<QString, QString, QString, QString>("field", "text", "pasted", "dropped");
        const QString path = "Path of the record file";
        QTest::newRow("a file") << path << "file:///fw/my%20file.prf"
                                << "/fw/my file.prf"
                                << "/fw/my file.prf";
        QTest::newRow("several files") << path << "file:///1 file:///2"
                                       << "1"
                                       << "1";
        QTest::newRow("not on this computer") << path << "http://host/a.prf"
                                              << "1"
                                              << "1";
        QTest::newRow("text with a line end") << path << "text a.prf\r\n"
                                              << "1a.prf"
                                              << "a.prf";
        const QString address = "End Address (0x)";
        QTest::newRow("an address") << address << "0x01002000"
                                    << "01002000"
                                    << "01002000";
        QTest::newRow("a long address") << address << " 0000000001002fff\n"
                                        << "01002fff"
                                        << "01002fff";
        QTest::newRow("no address") << address << "main+4"
                                    << "1"
                                    << "1";
        QTest::newRow("a size") << "Size"
                                << "0x10"
                                << "1"
                                << "1";
    }
    void whatArrivesIsWhatWasMeant()
    {
        QFETCH(QString, field);
        QFETCH(QString, text);
        Window window;
        window.get<QGroupBox>("EXL Trigger").setChecked(true);
        auto& edit = window.get<QLineEdit>(field);
        QFETCH(QString, pasted);
        QFETCH(QString, dropped);
        edit.setText("1");
        paste(edit, text);
        QCOMPARE(edit.text(), pasted);
        // A refusal says what the field takes.
        QCOMPARE(QToolTip::isVisible(), pasted == "1");
        QToolTip::hideText();
        edit.setText("1");
        drop(edit, text);
        QCOMPARE(edit.text(), dropped);
    }

    void fileDroppedOnAPage_data()
    {
        addColumns<QString, QString>("file", "field");
        QTest::newRow("load file") << "file:///a.lod"
                                   << "main lod file";
        QTest::newRow("calibration file") << "file:///a.CFP"
                                          << "calibration file";
        QTest::newRow("record file") << "file:///a.prf"
                                     << "record file";
        QTest::newRow("other suffix") << "file:///a.txt"
                                      << "";
        QTest::newRow("several") << "file:///a.lod file:///b.lod"
                                 << "";
        QTest::newRow("of another computer") << "ftp://host/a.lod"
                                             << "";
    }
    void fileDroppedOnAPage()
    {
        QFETCH(QString, file);
        QFETCH(QString, field);
        for (const Kind& kind : kinds) {
            ChoiceWindow window(kind);
            QWidget& page = *window.tabs.currentWidget();
            const bool isTaken =
                kind.page == (field == "record file" ? "Record" : "Burn Flash") && !field.isEmpty();
            QCOMPARE(drop(page, file), isTaken);
            QCOMPARE(window.combo.currentText(),
                     kind.name == field ? QUrl(file).path() : QString());
            // Nothing changes what a burn or a recording has begun with.
            window.combo.parentWidget()->parentWidget()->setEnabled(false);
            QCOMPARE(drop(page, file), isTaken && kind.name != field);
        }
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_MAIN(tst_store)
#include "tst_store.moc"
