#include "config/savefile.h"

#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

QByteArray folderOf(const QString& name)
{
    return QFile::encodeName(QFileInfo(name).path());
}

/// Gives the new file the owner, group and mode of the one it replaces. A new file that root
/// creates goes to the owner of the folder, who could not save to a file of root's.
bool inherit(int descriptor, const QString& name)
{
    constexpr mode_t modeBits = 07777;
    struct stat old = {};
    if (stat(QFile::encodeName(name).constData(), &old) == 0) {
        // The mode comes last, since a new owner clears bits of it.
        return fchown(descriptor, old.st_uid, old.st_gid) == 0 &&
               fchmod(descriptor, old.st_mode & modeBits) == 0;
    }
    return geteuid() != 0 || stat(folderOf(name).constData(), &old) != 0 ||
           fchown(descriptor, old.st_uid, old.st_gid) == 0;
}

/// True if the file was replaced, false if writing failed, nothing if the file cannot be replaced.
std::optional<bool> replace(const QString& name, const QByteArray& content)
{
    QSaveFile file(name);
    if (!file.open(QIODevice::WriteOnly)) {
        if (faccessat(AT_FDCWD, folderOf(name).constData(), W_OK, AT_EACCESS) == 0) {
            return false;
        }
        return {};
    }
    // commit() reports success even after a short write, and would replace a whole file with half
    // of one. Only a flush tells whether the buffered bytes are written.
    if (file.write(content) != content.size() || !file.flush()) {
        return false;
    }
    // Only now, because the new file has proved that there is room for writing in place.
    if (!inherit(file.handle(), name)) {
        return {};
    }
    const bool isReplaced = file.commit();
    if (!isReplaced && file.error() == QFileDevice::RenameError) {
        return {};
    }
    return isReplaced;
}

bool writeInPlace(const QString& name, const QByteArray& content)
{
    // A pipe without a reader must not block the program.
    const int descriptor =
        open(QFile::encodeName(name).constData(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    const ssize_t written = write(descriptor, content.constData(), size_t(content.size()));
    // Only a plain file can be truncated.
    const bool isEnded = written >= 0 && (ftruncate(descriptor, written) == 0 || errno == EINVAL);
    return close(descriptor) == 0 && isEnded && written == content.size();
}

} // namespace

bool saveFile(const QString& name, const QByteArray& content)
{
    const QFileInfo old(name);
    if (old.exists() && !old.isFile()) {
        return writeInPlace(name, content);
    }
    // The target of a link is replaced, not the link itself.
    const bool isLink = old.exists() && old.isSymLink();
    const auto isReplaced = replace(isLink ? old.canonicalFilePath() : name, content);
    return isReplaced ? *isReplaced : writeInPlace(name, content);
}
