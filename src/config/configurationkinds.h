#pragma once

#include "config/configuration.h"

#include <QLatin1String>

#include <array>

/// One kind of file that the user picks: its element in the configuration file, and what the store
/// keeps of it.
struct ConfigurationKind {
    QLatin1String element;
    QLatin1String folderElement;
    QStringList& files;
    QString& folder;
};

/// The three kinds, in the order of the configuration file.
inline const std::array<ConfigurationKind, 3> configurationKinds{{
    {QLatin1String("lastlod"), QLatin1String("lastlodfolder"), TOVAConfiguration::m_lastLodFiles,
     TOVAConfiguration::m_lastLodFolder},
    {QLatin1String("lastcfp"), QLatin1String("lastcfpfolder"), TOVAConfiguration::m_lastCfpFiles,
     TOVAConfiguration::m_lastCfpFolder},
    {QLatin1String("lastprf"), QLatin1String("lastprffolder"), TOVAConfiguration::m_lastPrfFiles,
     TOVAConfiguration::m_lastPrfFolder},
}};

/// The name is relative: the file lies in the folder that the program was started in.
inline const QLatin1String configurationFile("tovaconfig.cfg");

/// Puts `path` at the front (`prepend`) or the back of the list, once, and keeps the list short.
void addRecentFile(QStringList& files, const QString& path, bool prepend);
