#pragma once

#include "board/branlib.h"

#include <QByteArray>
#include <QHash>
#include <QList>
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

    /// One answer to a read of the trace.
    struct Read {
        QByteArray bytes = {};
        BRAN_ERR_T result = BRAN_SUCCESS;
        /// Milliseconds that pass on the scripted clock.
        qint64 lasts = 0;
        /// What happens meanwhile, before the read returns.
        std::function<void()> meanwhile = {};
        /// The number of bytes that it tells, where that is a lie.
        unsigned int claims = 0;
    };

    /// The answers in their order; a recording is finished when there is none left.
    QList<Read> reads;
    BRAN_ERR_T startResult = BRAN_SUCCESS;
    BRAN_RECORD_CONFIG_T config = {};
    std::function<void()> onStop;

    /// A clock that only the scripted reads advance.
    static qint64 milliseconds();
    qint64 now = 0;

    QHash<BRAN_ERR_T, QByteArray> texts;
};
