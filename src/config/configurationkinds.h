#pragma once

#include "config/configuration.h"

#include <array>

/// One kind of file that the user picks: its element in the configuration file, and what the store
/// keeps of it.
struct ConfigurationKind {
    const char* element;
    const char* folderElement;
    QStringList& files;
    QString& folder;
};

/// The three kinds, in the order of the configuration file.
inline constexpr std::array<ConfigurationKind, 3> configurationKinds{{
    {"lastlod", "lastlodfolder", TOVAConfiguration::m_lastLodFiles,
     TOVAConfiguration::m_lastLodFolder},
    {"lastcfp", "lastcfpfolder", TOVAConfiguration::m_lastCfpFiles,
     TOVAConfiguration::m_lastCfpFolder},
    {"lastprf", "lastprffolder", TOVAConfiguration::m_lastPrfFiles,
     TOVAConfiguration::m_lastPrfFolder},
}};

/// A relative name: the file is in the folder that the program was started in.
inline constexpr const char* configurationFile = "tovaconfig.cfg";

/// Puts `path` at the front (`prepend`) or the back of the list, once, and keeps the list short.
void addRecentFile(QStringList& files, const QString& path, bool prepend);
