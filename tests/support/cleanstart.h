#pragma once

#include "config/configuration.h"
#include "tests/support/folder.h"
#include "tests/support/scriptedboard.h"

/// Makes the program forget what it remembers between runs.
inline void clearStore()
{
    using Store = TOVAConfiguration;
    Store::m_lastLodFiles = Store::m_lastCfpFiles = Store::m_lastPrfFiles = QStringList();
    Store::m_lastLodFolder = Store::m_lastCfpFolder = Store::m_lastPrfFolder = QString();
    Store::m_isDoubleClickedProtected = true;
}

/// The world as a newly installed program finds it: an empty working directory, and nothing left
/// over from another test.
struct CleanStart : WorkingFolder {
    CleanStart()
    {
        clearStore();
        board = ScriptedBoard();
    }
};
