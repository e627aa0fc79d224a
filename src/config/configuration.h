#pragma once

#include <QString>
#include <QStringList>

/// What the program remembers between runs, in "tovaconfig.cfg" in the working directory: for each
/// kind of file the five files used last, most recent first, and the folder used last. A list has
/// no empty entry and no duplicate.
class TOVAConfiguration
{
public:
    TOVAConfiguration() = delete;

    static QStringList m_lastLodFiles;
    static QString m_lastLodFolder;
    static QStringList m_lastCfpFiles;
    static QString m_lastCfpFolder;
    static QStringList m_lastPrfFiles;
    static QString m_lastPrfFolder;

    /// Whether "Start!" and "Stop!" are protected against double clicks. Not saved.
    static bool m_isDoubleClickedProtected;

    /// Puts `path` at the front (`prepend`) or the back of its list; an equal entry moves there.
    static void addLastLod(const QString& path, bool prepend);
    static void addLastCfp(const QString& path, bool prepend);
    static void addLastPrf(const QString& path, bool prepend);

    static void setLastLodFolder(const QString& folder) { m_lastLodFolder = folder; }
    static void setLastCfpFolder(const QString& folder) { m_lastCfpFolder = folder; }
    static void setLastPrfFolder(const QString& folder) { m_lastPrfFolder = folder; }
    static QString getLastLodFolder() { return m_lastLodFolder; }
    static QString getLastCfpFolder() { return m_lastCfpFolder; }
    static QString getLastPrfFolder() { return m_lastPrfFolder; }

    /// Writes the whole store to the file. False if that fails; the file on disk then stays as it
    /// was, unless it can only be written in place.
    static bool dumpConfig();

    /// Adds the content of the file to the store, up to the first error; true if there is no error.
    static bool readConfig();
};
