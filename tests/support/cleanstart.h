#pragma once

#include "config/configuration.h"
#include "tests/support/folder.h"
#include "tests/support/scriptedboard.h"

#include <QObject>

#include <optional>

/// Makes the program forget what it remembers between runs.
inline void clearStore()
{
    using Store = TOVAConfiguration;
    Store::m_lastLodFiles = Store::m_lastCfpFiles = Store::m_lastPrfFiles = QStringList();
    Store::m_lastLodFolder = Store::m_lastCfpFolder = Store::m_lastPrfFolder = QString();
    Store::m_isDoubleClickedProtected = true;
}

/// A test whose functions each begin as a newly installed program does: in an empty working
/// directory, with nothing left over from another test.
class CleanTest : public QObject
{
    Q_OBJECT

protected slots:
    void init()
    {
        m_folder.emplace();
        clearStore();
        board = ScriptedBoard();
    }

private:
    std::optional<WorkingFolder> m_folder;
};
