#pragma once

#include "board/branlib.h"

#include <QByteArray>
#include <QHash>
#include <QStringList>

#include <functional>

/// Stands in for the board library in tests: answers as the test has set it up and keeps a journal
/// of the calls.
class ScriptedBoard
{
public:
    static ScriptedBoard& instance();

    /// Forgets the journal and every setting.
    void reset();

    /// Adds a line, followed by what `state` tells of the window at that moment.
    void note(const QString& entry);

    QStringList journal;
    std::function<QString()> state;

    BRAN_ERR_T versionResult = BRAN_SUCCESS;
    unsigned int version = 0;

    /// The result of filling a file, 0 where none is set, and what a successful fill does.
    QHash<QString, BRAN_ERR_T> fillResults;
    std::function<void(const QString& file, BRAN_FLASH_IMAGE_T& image)> onFill;

    /// What a download does between its call and its return, and its result.
    using Progress = void (*)(float);
    std::function<void(Progress burn, Progress verify)> onDownload;
    BRAN_ERR_T downloadResult = BRAN_SUCCESS;
    QByteArray downloaded;

    QHash<BRAN_ERR_T, QByteArray> texts;
};
