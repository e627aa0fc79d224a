#pragma once

#include "simulator/board.h"
#include "tests/support/folder.h"
#include "tests/support/table.h"

/// Connects a new simulated board with these parameters.
inline void connectBoard(const QString& parameters)
{
    qputenv("BRAN_SIMULATOR", parameters.toUtf8());
    simulator::forgetBoard();
}

/// What a user reads of a result; nothing of success.
inline QString textOf(BRAN_ERR_T result)
{
    return result == BRAN_SUCCESS ? QString() : BRAN_GetErrorString(result);
}
