#include "tools/bench/table.h"

#include <array>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr int starts = 51;

/// The program and an empty window on one platform of Qt's.
struct Pair {
    const char* platform;
    const char* program;
    const char* emptyWindow;
};

constexpr Pair offscreen = {"offscreen", "start offscreen: Tovalink",
                            "start offscreen: empty window"};
constexpr Pair onDisplay = {"xcb", "start on X11: Tovalink", "start on X11: empty window"};

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY");
}

/// Starts a program and waits until it has painted its window, which ends it.
void start(const char* path)
{
    // A copy, since the interface takes no constant text.
    std::string name = path;
    const std::array<char*, 2> arguments = {name.data(), nullptr};
    pid_t child = 0;
    int status = -1;
    if (posix_spawn(&child, path, nullptr, nullptr, arguments.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        qFatal("%s has not painted its window.", path);
    }
}

void add(const char* name, const char* path, const char* platform)
{
    benchmark::RegisterBenchmark(name,
                                 [path, platform](benchmark::State& state) {
                                     qputenv("LD_PRELOAD", FIRST_PAINT);
                                     qputenv("QT_QPA_PLATFORM", platform);
                                     for ([[maybe_unused]] auto _ : state) {
                                         start(path);
                                     }
                                     qunsetenv("LD_PRELOAD");
                                 })
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->Repetitions(starts)
        ->ReportAggregatesOnly();
}

void add(const Pair& pair)
{
    add(pair.program, TOVALINK, pair.platform);
    add(pair.emptyWindow, EMPTY_WINDOW, pair.platform);
}

Row row(const QString& what, const Medians& medians, const Pair& pair)
{
    return {what, medians.ratio(pair.program, pair.emptyWindow), "<= 1.15"};
}

} // namespace

void registerStart()
{
    add(offscreen);
    if (hasDisplay()) {
        add(onDisplay);
    }
}

std::vector<Row> startRows(const Medians& medians)
{
    std::vector<Row> rows = {
        row("Start offscreen: time beside an empty window", medians, offscreen)};
    if (hasDisplay()) {
        rows.push_back(row("Start on X11: time beside an empty window", medians, onDisplay));
    }
    return rows;
}
