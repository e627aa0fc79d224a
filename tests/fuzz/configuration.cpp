// Reads any bytes as the file of recent files: what stays of it can be shown and saved.

#include "config/configurationkinds.h"
#include "config/configurationreader.h"

#include <QSet>

#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A file in memory, since a disk would slow the search down.
    const int file = memfd_create("tovaconfig.cfg", MFD_CLOEXEC);
    bool isSound = write(file, data, size) == ssize_t(size);
    readConfigurationFile(QStringLiteral("/proc/self/fd/%1").arg(file));
    close(file);
    for (const ConfigurationKind& kind : configurationKinds) {
        const QSet<QString> different(kind.files.begin(), kind.files.end());
        isSound = isSound && different.size() == kind.files.size() && different.size() <= 5 &&
                  !different.contains(QString());
        kind.files.clear();
    }
    if (!isSound) {
        std::abort();
    }
    return 0;
}
