#pragma once

#include <QString>
#include <QStringList>

/// What the program remembers between runs, in "tovaconfig.cfg" in the working directory: for each
/// kind of file the five files used last, most recent first, and the folder used last. A list holds
/// no empty entry and none twice.
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

    /// Whether a second click on Start/Stop within a second is ignored. Not saved.
    static bool m_isDoubleClickedProtected;

    /// Puts `path` at the front (`prepend`) or the back of its list; an entry equal to it moves
    /// there.
    static void addLastLod(const QString& path, bool prepend);
    static void addLastCfp(const QString& path, bool prepend);
    static void addLastPrf(const QString& path, bool prepend);

    static void setLastLodFolder(const QString& folder) { m_lastLodFolder = folder; }
    static void setLastCfpFolder(const QString& folder) { m_lastCfpFolder = folder; }
    static void setLastPrfFolder(const QString& folder) { m_lastPrfFolder = folder; }
    static QString getLastLodFolder() { return m_lastLodFolder; }
    static QString getLastCfpFolder() { return m_lastCfpFolder; }
    static QString getLastPrfFolder() { return m_lastPrfFolder; }

    /// Writes the whole store to the file. If that fails the result is false, and the file on disk
    /// stays as it was, except where it can only be written in place.
    static bool dumpConfig();

    /// Adds what the file holds to the store; true if all of it was well-formed. What stands before
    /// an error is taken.
    static bool readConfig();
};
