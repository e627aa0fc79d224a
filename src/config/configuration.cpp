#include "config/configuration.h"

#include "config/configurationreader.h"

#include <QSaveFile>

#include <algorithm>

QStringList TOVAConfiguration::m_lastLodFiles;
QString TOVAConfiguration::m_lastLodFolder;
QStringList TOVAConfiguration::m_lastCfpFiles;
QString TOVAConfiguration::m_lastCfpFolder;
QStringList TOVAConfiguration::m_lastPrfFiles;
QString TOVAConfiguration::m_lastPrfFolder;
bool TOVAConfiguration::m_isDoubleClickedProtected = true;

namespace
{

constexpr int maxRecentFiles = 5;

QString configurationFile()
{
    return QStringLiteral("tovaconfig.cfg");
}

void addRecent(QStringList& files, const QString& path, bool prepend)
{
    if (path.isEmpty()) {
        return;
    }
    files.removeOne(path);
    files.insert(prepend ? 0 : files.size(), path);
    if (files.size() > maxRecentFiles) {
        files.removeLast();
    }
}

bool isXmlCharacter(char32_t character)
{
    return character == U'\t' || character == U'\n' || character == U'\r' ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) || character >= 0x10000;
}

/// Whether XML can carry the path: one control character would make the rest of the file
/// unreadable.
bool isSaveable(const QString& path)
{
    const auto characters = path.toUcs4();
    return path.isValidUtf16() && std::all_of(characters.begin(), characters.end(), isXmlCharacter);
}

QString element(const QString& name, QString value)
{
    value.replace(QLatin1Char('&'), QStringLiteral("&amp;"));
    value.replace(QLatin1Char('<'), QStringLiteral("&lt;"));
    value.replace(QLatin1Char('"'), QStringLiteral("&quot;"));
    return QLatin1Char('<') + name + QStringLiteral(" path=\"") + value + QStringLiteral("\"/>\n");
}

/// The lines of one kind of file: its folder, then its recent files.
QString elements(const QString& name, const QString& folder, const QStringList& files)
{
    QString lines =
        element(name + QStringLiteral("folder"), isSaveable(folder) ? folder : QString());
    for (const QString& file : files) {
        if (isSaveable(file)) {
            lines += element(name, file);
        }
    }
    return lines;
}

} // namespace

void TOVAConfiguration::addLastLod(const QString& path, bool prepend)
{
    addRecent(m_lastLodFiles, path, prepend);
}

void TOVAConfiguration::addLastCfp(const QString& path, bool prepend)
{
    addRecent(m_lastCfpFiles, path, prepend);
}

void TOVAConfiguration::addLastPrf(const QString& path, bool prepend)
{
    addRecent(m_lastPrfFiles, path, prepend);
}

void TOVAConfiguration::setLastLodFolder(const QString& folder)
{
    m_lastLodFolder = folder;
}

void TOVAConfiguration::setLastCfpFolder(const QString& folder)
{
    m_lastCfpFolder = folder;
}

void TOVAConfiguration::setLastPrfFolder(const QString& folder)
{
    m_lastPrfFolder = folder;
}

QString TOVAConfiguration::getLastLodFolder()
{
    return m_lastLodFolder;
}

QString TOVAConfiguration::getLastCfpFolder()
{
    return m_lastCfpFolder;
}

QString TOVAConfiguration::getLastPrfFolder()
{
    return m_lastPrfFolder;
}

bool TOVAConfiguration::dumpConfig()
{
    const QByteArray text =
        (QStringLiteral("<?xml version='1.0' encoding='UTF-8' ?>\n<tovaconfig>\n") +
         elements(QStringLiteral("lastlod"), m_lastLodFolder, m_lastLodFiles) +
         elements(QStringLiteral("lastcfp"), m_lastCfpFolder, m_lastCfpFiles) +
         elements(QStringLiteral("lastprf"), m_lastPrfFolder, m_lastPrfFiles) +
         QStringLiteral("</tovaconfig>\n"))
            .toUtf8();

    QSaveFile file(configurationFile());
    // A writable file in a folder that is not can only be written in place.
    file.setDirectWriteFallback(true);
    if (!file.open(QIODevice::WriteOnly)) {
        return false;
    }
    // commit() reports success after a short write, and would put half a file in the whole one's
    // place; the buffered bytes are only known to be written once they are flushed.
    const bool isWhole = file.write(text) == text.size() && file.flush();
    if (!isWhole) {
        file.cancelWriting();
    }
    return file.commit() && isWhole;
}

bool TOVAConfiguration::readConfig()
{
    return readConfigurationFile(configurationFile());
}
