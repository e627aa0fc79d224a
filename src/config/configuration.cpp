#include "config/configuration.h"

#include "config/configurationkinds.h"

QStringList TOVAConfiguration::m_lastLodFiles;
QString TOVAConfiguration::m_lastLodFolder;
QStringList TOVAConfiguration::m_lastCfpFiles;
QString TOVAConfiguration::m_lastCfpFolder;
QStringList TOVAConfiguration::m_lastPrfFiles;
QString TOVAConfiguration::m_lastPrfFolder;
bool TOVAConfiguration::m_isDoubleClickedProtected = true;

void addRecentFile(QStringList& files, const QString& path, bool prepend)
{
    constexpr int maxRecentFiles = 5;
    if (path.isEmpty()) {
        return;
    }
    files.removeOne(path);
    files.insert(prepend ? 0 : files.size(), path);
    if (files.size() > maxRecentFiles) {
        files.removeLast();
    }
}

void TOVAConfiguration::addLastLod(const QString& path, bool prepend)
{
    addRecentFile(m_lastLodFiles, path, prepend);
}

void TOVAConfiguration::addLastCfp(const QString& path, bool prepend)
{
    addRecentFile(m_lastCfpFiles, path, prepend);
}

void TOVAConfiguration::addLastPrf(const QString& path, bool prepend)
{
    addRecentFile(m_lastPrfFiles, path, prepend);
}
