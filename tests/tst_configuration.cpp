#include "tests/support/cleanstart.h"
#include "tests/support/fulldisk.h"
#include "tests/support/table.h"

#include <optional>
#include <unistd.h>

using Store = TOVAConfiguration;

class tst_configuration : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_start.emplace(); }

    void recentFilesStayShortAndOrdered_data()
    {
        columns<QString, bool, QString>("added", "prepend", "kept");
        row("the file used last comes first", "a b", true, "b a");
        row("a file used again moves to the front", "a b a", true, "a b");
        row("a sixth file pushes the oldest out", "a b c d e f", true, "f e d c b");
        row("letter case makes another file", "a A", true, "A a");
        row("an empty name is none", "a ", true, "a");
        row("appending keeps the first five", "a b c d e f g", false, "a b c d e");
        row("appending again moves to the back", "a b a", false, "b a");
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
        QTEST(Store::m_lastLodFiles.join(' '), "kept");
        QTEST(Store::m_lastCfpFiles.join(' '), "kept");
        QTEST(Store::m_lastPrfFiles.join(' '), "kept");
    }

    void writesTheWholeStore()
    {
        Store::m_lastLodFiles = QStringList{"/fw/<b>\"1\" & 'more'>.lod", "/fw/2.lod"};
        Store::m_lastLodFolder = "/fw";
        Store::m_lastCfpFolder = "/cal";
        Store::m_lastPrfFiles = QStringList{"/rec/Ünïcode \xF0\x9F\x98\x80.prf"};
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

    void readsWhatItWrote_data()
    {
        columns<QString, bool>("path", "kept");
        row("blanks and quotes", "/a b/\"c\" 'd'.lod", true);
        row("markup", "/<b>&amp;</b>]]>.lod", true);
        row("letters of any script", "/ß/日本/\xF0\x9F\x98\x80.lod", true);
        row("200 characters", QString(200, 'x'), true);
        row("control character", "/a\x01.lod", false);
        row("half a character", QString(QChar(0xD800)), false);
        row("no character", QString(QChar(0xFFFE)), false);
    }
    void readsWhatItWrote()
    {
        QFETCH(QString, path);
        QFETCH(bool, kept);
        Store::m_lastLodFiles = QStringList{path, "/good.lod"};
        Store::setLastPrfFolder(path);
        QVERIFY(Store::dumpConfig());
        QCOMPARE(Store::m_lastLodFiles.front(), path);
        clearStore();
        QVERIFY(Store::readConfig());
        QCOMPARE(Store::m_lastLodFiles.mid(kept ? 1 : 0), QStringList{"/good.lod"});
        QCOMPARE(Store::m_lastLodFiles.contains(path), kept);
        QCOMPARE(Store::getLastPrfFolder(), kept ? path : QString());
        QCOMPARE(Store::getLastCfpFolder(), QString());
    }

    void readsUpToTheFirstError_data()
    {
        columns<QByteArray, bool, QString, QString>("text", "wellFormed", "files", "folder");
        row("any root, any depth, other elements",
            QByteArray("<x><y><lastcfp path='a'/></y><z path='b'/><LASTCFP path='c'/></x>"), true,
            "a", "");
        row("the last folder wins",
            QByteArray("<x><lastcfpfolder path='a'/><lastcfpfolder path='b'/></x>"), true, "", "b");
        row("no path", QByteArray("<x><lastcfpfolder path='a'/><lastcfpfolder/><lastcfp/></x>"),
            true, "", "");
        row("cut off in the middle",
            QByteArray("<x><lastcfpfolder path='a'/><lastcfp path='b'/><lastcfp pa"), false, "b",
            "a");
        row("empty file", QByteArray(), false, "", "");
    }
    void readsUpToTheFirstError()
    {
        QFETCH(QByteArray, text);
        QVERIFY(!Store::readConfig());
        QVERIFY(writeFile("tovaconfig.cfg", text));
        QTEST(Store::readConfig(), "wellFormed");
        QTEST(Store::m_lastCfpFiles.join(' '), "files");
        QTEST(Store::m_lastCfpFolder, "folder");
        QVERIFY(Store::m_lastLodFiles.isEmpty() && Store::m_lastPrfFiles.isEmpty());
    }

    void writesAllOrTellsThatItDidNot_data()
    {
        columns<bool, bool>("diskIsFull", "folderIsReadOnly");
        row("full disk, old file kept", true, false);
        row("read-only folder, written in place", false, true);
        row("read-only folder on a full disk", true, true);
    }
    void writesAllOrTellsThatItDidNot()
    {
        QFETCH(bool, diskIsFull);
        QFETCH(bool, folderIsReadOnly);
        QVERIFY(writeFile("tovaconfig.cfg", "old"));
        QVERIFY(QFile::setPermissions("tovaconfig.cfg", QFile::Permissions(0x6666)));
        const int folderPermissions = folderIsReadOnly ? 0x5555 : 0x7777;
        QVERIFY(QFile::setPermissions(m_start->path(), QFile::Permissions(folderPermissions)));
        Store::addLastLod("/new.lod", true);
        // Permissions do not bind the superuser.
        const bool isRoot = geteuid() == 0;
        QVERIFY(!isRoot || seteuid(65534) == 0);
        std::optional<FullDisk> disk;
        if (diskIsFull) {
            disk.emplace(64);
        }
        const bool written = Store::dumpConfig();
        disk.reset();
        QVERIFY(!isRoot || seteuid(0) == 0);
        QVERIFY(QFile::setPermissions(m_start->path(), QFile::Permissions(0x7777)));
        QCOMPARE(written, !diskIsFull);
        QCOMPARE(contentOf("tovaconfig.cfg").contains("/new.lod"), written);
        QCOMPARE(contentOf("tovaconfig.cfg") == "old", diskIsFull && !folderIsReadOnly);
        QCOMPARE(QDir().entryList(QDir::Files), QStringList{"tovaconfig.cfg"});
    }

private:
    std::optional<CleanStart> m_start;
};

QTEST_GUILESS_MAIN(tst_configuration)
#include "tst_configuration.moc"
