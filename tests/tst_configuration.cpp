#include "tests/support/cleanstart.h"
#include "tests/support/limit.h"
#include "tests/support/table.h"

#include <unistd.h>

using Store = TOVAConfiguration;

namespace
{

QByteArray many(const char* piece, int count)
{
    return QByteArray(piece).repeated(count);
}

using RecentFiles = Table<QString, bool, QString>;
using Paths = Table<QString, bool>;
using Texts = Table<QByteArray, bool, QString, QString>;
using Obstacles = Table<bool, bool>;

} // namespace

class tst_configuration : public CleanTest
{
    Q_OBJECT

private slots:
    void recentFilesStayShortAndOrdered_data()
    {
        const RecentFiles files;
        files.row("the file used last comes first", "a b", true, "b a");
        files.row("a file used again moves to the front", "a b a", true, "a b");
        files.row("a sixth file pushes the oldest out", "a b c d e f", true, "f e d c b");
        files.row("an empty name is none", "a ", true, "a");
        files.row("appending keeps the first five", "a b c d e f g", false, "a b c d e");
        files.row("appending again moves to the back", "a b a", false, "b a");
    }
    void recentFilesStayShortAndOrdered()
    {
        const auto [added, prepend, kept] = RecentFiles::fetch();
        for (const QString& path : added.split(' ')) {
            Store::addLastLod(path, prepend);
            Store::addLastCfp(path, prepend);
            Store::addLastPrf(path, prepend);
        }
        for (const auto& files :
             {Store::m_lastLodFiles, Store::m_lastCfpFiles, Store::m_lastPrfFiles}) {
            QCOMPARE(files.join(' '), kept);
        }
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
        const Paths path;
        path.row("markup", "/<b>&amp;</b>]]> \"c\" 'd'.lod", true);
        path.row("letters of any script", "/ß/日本/\xF0\x9F\x98\x80.lod", true);
        path.row("control character", "/a\x01.lod", false);
        path.row("half a character", QString(QChar(0xD800)), false);
        path.row("no character", QString(QChar(0xFFFE)), false);
    }
    void readsWhatItWrote()
    {
        const auto [path, isKept] = Paths::fetch();
        Store::m_lastLodFiles = QStringList{path, "/good.lod"};
        Store::setLastPrfFolder(path);
        QVERIFY(Store::dumpConfig());
        clearStore();
        QVERIFY(Store::readConfig());
        QCOMPARE(Store::m_lastLodFiles, (QStringList{path, "/good.lod"}.mid(isKept ? 0 : 1)));
        QCOMPARE(Store::getLastPrfFolder(), isKept ? path : QString());
    }

    void readsUpToTheFirstError_data()
    {
        const Texts text;
        text.row("any root, any depth, other elements",
                 "<x><y><lastcfp path='a'/></y><z path='b'/><LASTCFP path='c'/></x>", true, "a",
                 "");
        text.row("no path", "<x><lastcfpfolder path='a'/><lastcfpfolder/><lastcfp/></x>", true, "",
                 "");
        text.row("cut off in the middle",
                 "<x><lastcfpfolder path='a'/><lastcfp path='b'/><lastcfp pa", false, "b", "a");
        text.row("empty file", "", false, "", "");
        const QByteArray good = "<x><lastcfp path='good'/>";
        text.row("nested", good + many("<a>", 300000), false, "good", "");
        text.row("huge", good + many("<lastlod path='/more'/>", 5000000), false, "good", "");
        text.row("one long path", good + "<lastlod path='" + many("x", 100000000) + "'/>", false,
                 "good", "");
        QByteArray namespaces;
        for (int each = 0; each < 4000; ++each) {
            namespaces += "xmlns:n" + QByteArray::number(each) + "='n' ";
        }
        text.row("namespaces",
                 "<x " + namespaces + ">" + many("<y/>", 200000) + "<lastcfp path='a'/></x>", true,
                 "a", "");
        text.row("binary", many("\xFF\x01<", 10000), false, "", "");
        text.row("entities",
                 "<!DOCTYPE a [<!ENTITY e '" + many("x", 9000) + "'>]>" + many("&e;", 60000), false,
                 "", "");
        text.row("element declarations", "<!DOCTYPE a [<!ELEMENT a " + many("(", 900000), false, "",
                 "");
    }
    void readsUpToTheFirstError()
    {
        const auto [text, isWellFormed, files, folder] = Texts::fetch();
        QVERIFY(!Store::readConfig());
        QVERIFY(writeFile("tovaconfig.cfg", text));
        QCOMPARE(Store::readConfig(), isWellFormed);
        QCOMPARE(Store::m_lastCfpFiles.join(' '), files);
        QCOMPARE(Store::m_lastCfpFolder, folder);
    }

    void writesAllOrTellsThatItDidNot_data()
    {
        const Obstacles obstacle;
        obstacle.row("full disk, old file kept", true, false);
        obstacle.row("read-only folder, written in place", false, true);
        obstacle.row("read-only folder on a full disk", true, true);
    }
    void writesAllOrTellsThatItDidNot()
    {
        const auto [diskIsFull, folderIsReadOnly] = Obstacles::fetch();
        QVERIFY(writeFile("tovaconfig.cfg", "old"));
        QVERIFY(QFile::setPermissions("tovaconfig.cfg", QFile::Permissions(0x6666)));
        const QFile::Permissions readOnly(0x5555);
        const QFile::Permissions all(0x7777);
        QVERIFY(QFile::setPermissions(QDir::currentPath(), folderIsReadOnly ? readOnly : all));
        Store::addLastLod("/new.lod", true);
        // Permissions do not bind the superuser.
        const bool isRoot = geteuid() == 0;
        QVERIFY(!isRoot || seteuid(65534) == 0);
        bool written = false;
        withLimit(RLIMIT_FSIZE, diskIsFull ? 64 : 1 << 20, [&] { written = Store::dumpConfig(); });
        QVERIFY(!isRoot || seteuid(0) == 0);
        QVERIFY(QFile::setPermissions(QDir::currentPath(), all));
        QCOMPARE(written, !diskIsFull);
        QCOMPARE(contentOf("tovaconfig.cfg").contains("/new.lod"), written);
        QCOMPARE(contentOf("tovaconfig.cfg") == "old", diskIsFull && !folderIsReadOnly);
        QCOMPARE(QDir().entryList(QDir::Files), QStringList{"tovaconfig.cfg"});
    }
};

QTEST_GUILESS_MAIN(tst_configuration)
#include "tst_configuration.moc"
