#include "tools/bench/table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

void Medians::ReportRuns(const std::vector<Run>& runs)
{
    const auto median = std::find_if(runs.begin(), runs.end(),
                                     [](const Run& run) { return run.aggregate_name == "median"; });
    m_seconds[median->run_name.function_name] =
        median->GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(median->time_unit);
    ConsoleReporter::ReportRuns({*median});
}

double Medians::of(const char* benchmark) const
{
    const auto found = m_seconds.find(benchmark);
    return found != m_seconds.end() ? found->second : std::nan("");
}

QString Medians::ratio(const char* one, const char* other) const
{
    return QString::number(of(one) / of(other), 'f', 3);
}

void print(const std::vector<Row>& rows)
{
    std::puts("");
    for (const Row& row : rows) {
        std::printf("%-62s %10s   wanted %s\n", qUtf8Printable(row.what),
                    qUtf8Printable(row.measured), qUtf8Printable(row.wanted));
    }
}
