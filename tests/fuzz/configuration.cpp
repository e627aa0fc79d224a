// Reads any bytes as the file of recent files: what stays of it can be shown and saved.

#include "config/configuration.h"

#include "config/configurationreader.h"
#include "tests/fuzz/require.h"

#include <QSet>

#include <sys/mman.h>
#include <unistd.h>

namespace
{

/// A file in memory, since a disk would slow the search down.
int memoryFile()
{
    static const int descriptor = memfd_create("tovaconfig.cfg", MFD_CLOEXEC);
    return descriptor;
}

void forgetAll()
{
    for (QStringList* files :
         {&TOVAConfiguration::m_lastLodFiles, &TOVAConfiguration::m_lastCfpFiles,
          &TOVAConfiguration::m_lastPrfFiles}) {
        files->clear();
    }
    for (QString* folder :
         {&TOVAConfiguration::m_lastLodFolder, &TOVAConfiguration::m_lastCfpFolder,
          &TOVAConfiguration::m_lastPrfFolder}) {
        folder->clear();
    }
}

void check(const QStringList& files)
{
    constexpr int maxRecentFiles = 5;
    require(files.size() <= maxRecentFiles);
    require(!files.contains(QString()));
    require(QSet<QString>(files.begin(), files.end()).size() == files.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    require(ftruncate(memoryFile(), 0) == 0);
    require(pwrite(memoryFile(), data, size, 0) == ssize_t(size));
    forgetAll();
    readConfigurationFile(QStringLiteral("/proc/self/fd/%1").arg(memoryFile()));
    check(TOVAConfiguration::m_lastLodFiles);
    check(TOVAConfiguration::m_lastCfpFiles);
    check(TOVAConfiguration::m_lastPrfFiles);
    return 0;
}
