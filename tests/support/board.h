#pragma once

#include "board/branlib.h"

#include <QByteArray>
#include <QStringList>

#include <deque>
#include <functional>
#include <utility>

/// Stands in for the board library in tests: answers as the test has set it up and keeps a journal
/// of the calls.
struct ScriptedBoard {
    /// Adds a line, and behind a | what `state` tells of the window, where that has changed.
    void note(const QString& entry)
    {
        const QString before = std::exchange(noted, state ? state() : QString());
        journal += noted == before ? entry : entry + " | " + noted;
    }
    /// Notes a call of the board and tells the result of the operation.
    BRAN_ERR_T call(const QString& operation, const QString& entry)
    {
        note(entry);
        return operation == failing ? failure : BRAN_SUCCESS;
    }
    QStringList journal;
    std::function<QString()> state;
    QString noted;

    /// The operation that fails: "version", "create", "download", "start" or the name of a file to
    /// fill in.
    QString failing;
    static constexpr auto failure = BRAN_ERR_T(77);
    QByteArray failureText = "it is <b>damaged";

    unsigned int version = 0;
    std::function<void(const QString& file, BRAN_FLASH_IMAGE_T& image)> onFill = [](auto&...) {};

    /// What a download does between its call and its return.
    using Progress = void (*)(float);
    std::function<void(Progress burn, Progress verify)> onDownload = [](auto...) {};
    QByteArray downloaded;

    /// A part of the trace, delivered in as many reads as it takes. The last of them comes with
    /// `result`, after `lasts` milliseconds of the scripted clock and what happens `meanwhile`.
    struct Read {
        QByteArray bytes = {};
        BRAN_ERR_T result = BRAN_SUCCESS;
        qint64 lasts = 0;
        std::function<void()> meanwhile = [] {};
        /// The number of bytes that it tells, where that is a lie.
        unsigned int claims = 0;
    };

    /// The trace; the recording is finished when there is none left.
    std::deque<Read> reads;
    /// How much of the first of them has been delivered.
    unsigned int delivered = 0;
    /// How often 32768 bytes of it have been asked for.
    int fullReads = 0;
    BRAN_RECORD_CONFIG_T config = {};

    /// The scripted clock, in milliseconds.
    qint64 now = 0;
    /// Whether a synchronisation with the disk succeeds, as asked for each.
    std::function<bool()> onSync = [] { return true; };
};

inline ScriptedBoard board;
