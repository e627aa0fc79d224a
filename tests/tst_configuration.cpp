#include "config/configuration.h"
#include "tests/support/folder.h"

#include <QtTest>

#include <csignal>
#include <optional>
#include <sys/resource.h>
#include <unistd.h>

using Store = TOVAConfiguration;

class tst_configuration : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void recentFilesStayShortAndOrdered_data();
    void recentFilesStayShortAndOrdered();
    void writesTheWholeStore();
    void readsWhatItWrote_data();
    void readsWhatItWrote();
    void readsUpToTheFirstError_data();
    void readsUpToTheFirstError();
    void leavesOutWhatXmlCannotCarry();
    void fullDiskKeepsTheOldFile();
    void writesInPlaceWhereTheFolderIsReadOnly();

private:
    static void clear();
    std::optional<WorkingFolder> m_folder;
};

void tst_configuration::clear()
{
    for (QStringList* files :
         {&Store::m_lastLodFiles, &Store::m_lastCfpFiles, &Store::m_lastPrfFiles}) {
        files->clear();
    }
    for (QString* folder :
         {&Store::m_lastLodFolder, &Store::m_lastCfpFolder, &Store::m_lastPrfFolder}) {
        *folder = QString();
    }
}

void tst_configuration::init()
{
    m_folder.emplace();
    clear();
}

void tst_configuration::recentFilesStayShortAndOrdered_data()
{
    QTest::addColumn<QStringList>("added");
    QTest::addColumn<bool>("prepend");
    QTest::addColumn<QStringList>("kept");

    QTest::newRow("the file used last comes first")
        << QStringList{"a", "b"} << true << QStringList{"b", "a"};
    QTest::newRow("a file used again moves to the front")
        << QStringList{"a", "b", "a"} << true << QStringList{"a", "b"};
    QTest::newRow("a sixth file pushes the oldest out")
        << QStringList{"a", "b", "c", "d", "e", "f"} << true
        << QStringList{"f", "e", "d", "c", "b"};
    QTest::newRow("letter case makes another file")
        << QStringList{"a", "A"} << true << QStringList{"A", "a"};
    QTest::newRow("an empty name is none") << QStringList{"a", ""} << true << QStringList{"a"};
    QTest::newRow("appending keeps the first five")
        << QStringList{"a", "b", "c", "d", "e", "f", "g"} << false
        << QStringList{"a", "b", "c", "d", "e"};
    QTest::newRow("appending again moves to the back")
        << QStringList{"a", "b", "a"} << false << QStringList{"b", "a"};
}

void tst_configuration::recentFilesStayShortAndOrdered()
{
    QFETCH(QStringList, added);
    QFETCH(bool, prepend);
    for (const QString& path : added) {
        Store::addLastLod(path, prepend);
        Store::addLastCfp(path, prepend);
        Store::addLastPrf(path, prepend);
    }
    QTEST(Store::m_lastLodFiles, "kept");
    QTEST(Store::m_lastCfpFiles, "kept");
    QTEST(Store::m_lastPrfFiles, "kept");
}

void tst_configuration::writesTheWholeStore()
{
    Store::m_lastLodFiles = QStringList{"/fw/<b>\"1\" & 'more'>.lod", "/fw/2.lod"};
    Store::m_lastLodFolder = "/fw";
    Store::m_lastCfpFolder = "/cal";
    Store::m_lastPrfFiles = QStringList{QString::fromUtf8("/rec/Ünïcode \xF0\x9F\x98\x80.prf")};
    QVERIFY(Store::dumpConfig());
    QCOMPARE(contentOf("tovaconfig.cfg"),
             QByteArray("<?xml version='1.0' encoding='UTF-8' ?>\n"
                        "<tovaconfig>\n"
                        "<lastlodfolder path=\"/fw\"/>\n"
                        "<lastlod path=\"/fw/&lt;b>&quot;1&quot; &amp; 'more'>.lod\"/>\n"
                        "<lastlod path=\"/fw/2.lod\"/>\n"
                        "<lastcfpfolder path=\"/cal\"/>\n"
                        "<lastprffolder path=\"\"/>\n"
                        "<lastprf path=\"/rec/Ünïcode \xF0\x9F\x98\x80.prf\"/>\n"
                        "</tovaconfig>\n"));
}

void tst_configuration::readsWhatItWrote_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("blanks and quotes") << "/a b/\"c\" 'd'.lod";
    QTest::newRow("markup") << "/<b>&amp;</b>]]>.lod";
    QTest::newRow("letters of any script") << QString::fromUtf8("/ß/日本/\xF0\x9F\x98\x80.lod");
    QTest::newRow("200 characters") << QString(200, QLatin1Char('x'));
}

void tst_configuration::readsWhatItWrote()
{
    QFETCH(QString, path);
    Store::addLastLod(path, true);
    Store::setLastPrfFolder(path);
    QVERIFY(Store::dumpConfig());
    clear();
    QVERIFY(Store::readConfig());
    QCOMPARE(Store::m_lastLodFiles, QStringList{path});
    QCOMPARE(Store::getLastPrfFolder(), path);
    QVERIFY(Store::getLastCfpFolder().isEmpty());
}

void tst_configuration::readsUpToTheFirstError_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("wellFormed");
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<QString>("folder");

    QTest::newRow("any root, any depth, other elements")
        << QByteArray("<x><y><lastcfp path='a'/></y><z path='b'/><LASTCFP path='c'/></x>") << true
        << QStringList{"a"} << QString();
    QTest::newRow("the last folder wins")
        << QByteArray("<x><lastcfpfolder path='a'/><lastcfpfolder path='b'/></x>") << true
        << QStringList() << QString("b");
    QTest::newRow("no path") << QByteArray(
                                    "<x><lastcfpfolder path='a'/><lastcfpfolder/><lastcfp/></x>")
                             << true << QStringList() << QString();
    QTest::newRow("cut off in the middle")
        << QByteArray("<x><lastcfpfolder path='a'/><lastcfp path='b'/><lastcfp pa") << false
        << QStringList{"b"} << QString("a");
    QTest::newRow("empty file") << QByteArray() << false << QStringList() << QString();
}

void tst_configuration::readsUpToTheFirstError()
{
    QFETCH(QByteArray, text);
    QVERIFY(!Store::readConfig());
    QVERIFY(writeFile("tovaconfig.cfg", text));
    QTEST(Store::readConfig(), "wellFormed");
    QTEST(Store::m_lastCfpFiles, "files");
    QTEST(Store::m_lastCfpFolder, "folder");
    QVERIFY(Store::m_lastLodFiles.isEmpty() && Store::m_lastPrfFiles.isEmpty());
}

void tst_configuration::leavesOutWhatXmlCannotCarry()
{
    const QStringList unsaveable = {QStringLiteral("/a\x01.lod"), QString(QChar(0xD800)),
                                    QString(QChar(0xFFFE))};
    Store::m_lastLodFiles = unsaveable + QStringList{"/good.lod"};
    Store::m_lastLodFolder = unsaveable.front();
    QVERIFY(Store::dumpConfig());
    QCOMPARE(Store::m_lastLodFiles.size(), 4);
    clear();
    QVERIFY(Store::readConfig());
    QCOMPARE(Store::m_lastLodFiles, QStringList{"/good.lod"});
}

void tst_configuration::fullDiskKeepsTheOldFile()
{
    Store::addLastLod("/old.lod", true);
    QVERIFY(Store::dumpConfig());
    const QByteArray old = contentOf("tovaconfig.cfg");

    // A limit on the file size fails a write as a full disk does: short at first, then not at all.
    rlimit limit{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit full{64, limit.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
    Store::addLastLod("/new.lod", true);
    const bool written = Store::dumpConfig();
    setrlimit(RLIMIT_FSIZE, &limit);
    QVERIFY(std::signal(SIGXFSZ, previousHandler) != SIG_ERR);

    QVERIFY(!written);
    QCOMPARE(contentOf("tovaconfig.cfg"), old);
    QCOMPARE(QDir().entryList(QDir::Files), QStringList{"tovaconfig.cfg"});
}

void tst_configuration::writesInPlaceWhereTheFolderIsReadOnly()
{
    QVERIFY(writeFile("tovaconfig.cfg", "old"));
    QVERIFY(QFile::setPermissions("tovaconfig.cfg", QFile::Permissions(0x6666)));
    QVERIFY(QFile::setPermissions(m_folder->path(), QFile::Permissions(0x5555)));
    // Permissions do not bind the superuser.
    const bool isRoot = geteuid() == 0;
    const uid_t nobody = 65534;
    if (isRoot) {
        QCOMPARE(seteuid(nobody), 0);
    }
    Store::addLastLod("/new.lod", true);
    const bool written = Store::dumpConfig();
    if (isRoot) {
        QCOMPARE(seteuid(0), 0);
    }
    QVERIFY(QFile::setPermissions(m_folder->path(), QFile::Permissions(0x7777)));
    QVERIFY(written);
    QVERIFY(contentOf("tovaconfig.cfg").contains("/new.lod"));
}

QTEST_GUILESS_MAIN(tst_configuration)
#include "tst_configuration.moc"
