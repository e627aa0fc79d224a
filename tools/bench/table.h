#pragma once

#include <QString>

#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <vector>

/// What a part of the benchmark adds to the table: registers its benchmarks first, and its rows
/// when they have run.
struct Row {
    QString what;
    QString measured;
    QString wanted;
};

/// Shows and keeps the median of each benchmark.
class Medians : public benchmark::ConsoleReporter
{
public:
    Medians() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run>& runs) override;

    /// In seconds; no number where a filter has left the benchmark out.
    [[nodiscard]] double of(const char* benchmark) const;
    /// The time of `one` divided by that of `other`, as text.
    [[nodiscard]] QString ratio(const char* one, const char* other) const;

private:
    std::map<std::string, double> m_seconds;
};

void registerRecording();
std::vector<Row> recordingRows(const Medians& medians);

void registerBurnProgress();
std::vector<Row> burnProgressRows(const Medians& medians);

void registerStart();
std::vector<Row> startRows(const Medians& medians);

void print(const std::vector<Row>& rows);
