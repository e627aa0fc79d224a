#include "tests/support/window.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Store = TOVAConfiguration;

namespace
{

/// The kinds of files: suffix, name, and what the store remembers of them.
const std::array<std::tuple<QString, QString, const ConfigurationKind&>, 3> kinds{{
    {"lod", "main lod file", configurationKinds[0]},
    {"cfp", "calibration file", configurationKinds[1]},
    {"prf", "record file", configurationKinds[2]},
}};

/// What the clipboard or a drag carries: files where that is URLs, otherwise text.
QMimeData* dataOf(const QString& text)
{
    auto* data = new QMimeData;
    const bool isFiles = text.contains("://");
    isFiles ? data->setUrls(QUrl::fromStringList(text.split(' '))) : data->setText(text);
    return data;
}

/// Drags `text` over `target`, and drops it where that is taken, to be moved or copied as the
/// target likes: true if it has been copied.
bool drop(QWidget& target, const QString& text)
{
    const std::unique_ptr<QMimeData> data(dataOf(text));
    QDragEnterEvent enter({}, Qt::MoveAction | Qt::CopyAction, data.get(), Qt::LeftButton, {});
    QDropEvent dropped({}, enter.possibleActions(), data.get(), Qt::LeftButton, {});
    dropped.setDropAction(Qt::MoveAction);
    return QCoreApplication::sendEvent(&target, &enter) && enter.isAccepted() &&
           QCoreApplication::sendEvent(&target, &dropped) && dropped.dropAction() == Qt::CopyAction;
}

} // namespace

class tst_store : public WindowTest
{
    Q_OBJECT

private slots:
    void nextStartOffersWhatWasSaved()
    {
        QString found = "<x>";
        QString saved = "<?xml version='1.0' encoding='UTF-8' ?>\n<tovaconfig>\n";
        for (const auto& [suffix, name, stored] : kinds) {
            const QString two =
                QString("<last%1 path=\"/1/&lt;b>&quot;1&quot; &amp; 'more'>]]>\"/>\n"
                        "<last%1 path=\"/2/ß日本\xF0\x9F\x98\x80\"/>\n")
                    .arg(suffix);
            saved += QString("<last%1folder path=\"/2\"/>\n%2").arg(suffix, two);
            // Each file is offered once, and five in all.
            found += QString("<last%1 path=''/>%2%2<last%1 path='3'/><last%1 path='4'/>"
                             "<last%1 path='/2/5'/><last%1 path='6'/>")
                         .arg(suffix, two);
        }
        saved += "</tovaconfig>\n";
        QVERIFY(writeFile("tovaconfig.cfg", (found + "</x>").toUtf8()));
        for (const auto& [suffix, name, stored] : kinds) {
            forgetFiles();
            Window window(suffix == "prf" ? "Record" : "Burn Flash");
            auto& combo = window.get<QComboBox>("Path of the " + name);
            for (const QString& file : stored.files) {
                QTest::keyClick(&combo, Qt::Key_Down);
                QCOMPARE(combo.currentText(), file);
            }
        }
        // These come first, and push the last three of the five out.
        for (const QChar notSaved : {QChar(1), QChar(0xD800), QChar(0xFFFE)}) {
            Store::addLastLod(notSaved, true);
            Store::addLastCfp(notSaved, true);
            Store::addLastPrf(notSaved, true);
        }
        QVERIFY(Store::dumpConfig());
        QCOMPARE(QString::fromUtf8(contentOf("tovaconfig.cfg")), saved);
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
            forgetFiles();
            QVERIFY(writeFile("tovaconfig.cfg", text));
            QVERIFY2(Store::readConfig() == isWellFormed, text.left(80));
            QCOMPARE(Store::m_lastCfpFiles, QStringList("good"));
        }
    }

    /// A file in a read-only folder is written in place.
    void writesAllOrTellsThatItDidNot()
    {
        // Permissions do not bind root.
        const uid_t user = geteuid();
        constexpr uid_t nobody = 65534;
        QVERIFY(user != 0 || (::chown(".", nobody, nobody) == 0 && seteuid(nobody) == 0));
        const auto userAgain = qScopeGuard([user] { return seteuid(user); });
        Store::addLastLod("/new.lod", true);
        for (const auto& [folderMode, diskIsFull, left] :
             {std::tuple(0777, true, "old"), std::tuple(0777, false, "</tovaconfig>\n"),
              std::tuple(0555, true, "<lastlodfol"), std::tuple(0555, false, "</tovaconfig>\n")}) {
            QVERIFY(writeFile("tovaconfig.cfg", "old") && ::chmod("tovaconfig.cfg", 0646) == 0);
            QCOMPARE(::chmod(".", folderMode), 0);
            withLimit(RLIMIT_FSIZE, diskIsFull ? 64 : 1 << 20,
                      [&, full = diskIsFull] { QCOMPARE(Store::dumpConfig(), !full); });
            QCOMPARE(::chmod(".", 0777), 0);
            QVERIFY2(contentOf("tovaconfig.cfg").endsWith(left), left);
            QVERIFY(QFile::permissions("tovaconfig.cfg").testFlag(QFile::WriteOther));
            QCOMPARE(QDir().entryList(QDir::Files), QStringList("tovaconfig.cfg"));
        }
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

    void chosenOrDroppedOneIsShown()
    {
        const QString here = QDir::currentPath() + "/";
        for (const auto& [suffix, name, stored] : kinds) {
            stored.files = QStringList{here + "OLD." + suffix, here + "old." + suffix};
            Window window(suffix == "prf" ? "Record" : "Burn Flash");
            auto& combo = window.get<QComboBox>("Path of the " + name);
            for (const auto& [edit, file, appended] :
                 {std::tuple("", "X." + suffix.toUpper(), "." + suffix),
                  std::tuple("/usr/x", "run.2." + suffix, QString()),
                  std::tuple("/usr/x", "old." + suffix, QString())}) {
                QVERIFY(suffix == "prf" || writeFile(file, "what is opened exists"));
                stored.folder = "/tmp";
                combo.setEditText(edit);
                window.answers = QStringList{here + file};
                click(window.get<QPushButton>("Browse for the " + name));
                QCOMPARE(window.openedIn, QString(edit == QString() ? "/tmp" : "/usr"));
                QCOMPARE(combo.currentText(), here + file + appended);
                QCOMPARE(combo.currentIndex(), file.startsWith("old") ? 1 : -1);
                QCOMPARE(stored.folder + "/", here);
                QVERIFY(QFile::remove("tovaconfig.cfg"));
            }
            window.answers = QStringList{""};
            click(window.get<QPushButton>("Browse for the " + name));
            QWidget& target = *window.tabs.currentWidget();
            for (const char* refused :
                 {"file:///a.txt", "file:///a.%1 file:///b.%1", "ftp://host/a.%1"}) {
                QVERIFY(!drop(target, QString(refused).replace("%1", suffix)));
            }
            QCOMPARE(combo.currentText(), stored.files[1]);
            QVERIFY(drop(target, "file:///a." + suffix.toUpper()));
            QCOMPARE(combo.currentText(), "/a." + suffix.toUpper());
            // Nothing changes what a burn or a recording has begun with.
            combo.parentWidget()->parentWidget()->setEnabled(false);
            QVERIFY(!drop(target, "file:///a." + suffix));
        }
    }

    void recordFileIsReplacedOnlyIfTheUserSaysSo()
    {
        const QString here = QDir::currentPath() + "/";
        const QString exists = here + "run.2.prf already exists.\nDo you want to replace it?";
        const QString isFolder = "Cannot record into " + here + "f.prf, because it is a folder.";
        QVERIFY(writeFile("run.2.prf", "a night's work") && QDir().mkdir("f.prf"));
        for (const auto& [typed, answer, box] :
             {std::tuple("run.2", "Yes", exists), std::tuple("run.2", "No", exists),
              std::tuple("run.2", "Return", exists), std::tuple("f", "OK", isFolder)}) {
            Window window;
            window.file.clearEditText();
            window.answers = QStringList{here + typed, answer, ""};
            click(window.get<QPushButton>("Browse for the record file"));
            QCOMPARE(board.journal.join("; "), "Tovalink: " + box);
            QCOMPARE(window.file.currentText(), answer[0] == 'Y' ? here + "run.2.prf" : "");
        }
    }

    /// What is typed into a field, or pasted and then dropped there, and what is left of that.
    void fieldsTakeWhatWasMeant()
    {
        Store::m_lastPrfFiles = QStringList{"/tmp/Big.prf"};
        const char* const path = "Path of the record file";
        const char* const address = "End Address (0x)";
        for (const auto& [field, isTyped, text, left] :
             {std::tuple(path, true, "/tmp/B\r", "/tmp/B"),
              std::tuple(path, true, "/tmp/big.prf\r", "/tmp/big.prf"),
              std::tuple("Start Address (0x)", true, "-+fFg xFFFFFFF", "fFFFFFFF"),
              std::tuple("Custom tag in hexadecimal", true, "-+fFg xFFFFFFF", "fFFF"),
              std::tuple("Size", true, "-+f0065", "6"), std::tuple("Size", true, "64", "64"),
              std::tuple(path, false, "file:///fw/my%20file.prf", "/fw/my file.prf"),
              std::tuple(path, false, "file:///1 file:///2", ""),
              std::tuple(path, false, "a.prf\r\n", "a.prf"),
              std::tuple(address, false, " 0x01002fff\n", "01002fff"),
              std::tuple(address, false, "000000000ff", "000000ff"),
              std::tuple(address, false, "main+4", ""), std::tuple("Size", false, "65", "")}) {
            Window window;
            window.get<QGroupBox>("EXL Trigger").setChecked(true);
            window.get<QGroupBox>("PXTS Trigger").setChecked(true);
            auto& edit = window.get<QLineEdit>(field);
            edit.clear();
            if (isTyped) {
                QTest::keyClicks(&edit, text);
            } else {
                QGuiApplication::clipboard()->setMimeData(dataOf(text));
                QTest::keySequence(&edit, QKeySequence::Paste);
                QCOMPARE(edit.text(), QString(left));
                // A refusal says what the field takes.
                QCOMPARE(QToolTip::isVisible(), edit.text().isEmpty());
                drop(edit, text);
            }
            QCOMPARE(edit.text(), QString(left));
            QToolTip::hideText();
            // The wheel is for what scrolls.
            QWheelEvent wheel({}, {}, {}, {0, -120}, {}, {}, Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(&window.file, &wheel);
            QVERIFY(!wheel.isAccepted());
        }
    }
};

QTEST_MAIN(tst_store)
#include "tst_store.moc"
