// Measures the product's own code beside bare loops of the same copies and writes, and prints both
// and their ratios. Nothing fails on time.

#include "tools/bench/table.h"
#include "shell/startup.h"

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>

namespace
{

/// Records go to memory where the system offers that, so that no disk is measured.
QString folderTemplate()
{
    const QString memory = QStringLiteral("/dev/shm");
    const bool isThere = QFileInfo(memory).isWritable();
    return (isThere ? memory : QDir::tempPath()) + QStringLiteral("/tovalink-bench-XXXXXX");
}

void append(std::vector<Row>& rows, const std::vector<Row>& more)
{
    rows.insert(rows.end(), more.begin(), more.end());
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_LOGGING_RULES", "default.warning=false");
    const QTemporaryDir folder(folderTemplate());
    qputenv("XDG_RUNTIME_DIR", folder.path().toLocal8Bit());
    QDir::setCurrent(folder.path());
    const QApplication application(argc, argv);
    QApplication::setStyle(createStyle());

    // A loop and its bare twin take turns, so that both see the same machine.
    std::vector<char*> arguments(argv, argv + argc);
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    arguments.insert(arguments.begin() + 1, interleaved.data());
    int count = int(arguments.size());
    benchmark::Initialize(&count, arguments.data());

    registerRecording();
    registerBurnProgress();
    registerStart();
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);

    std::vector<Row> rows = recordingRows(medians);
    append(rows, burnProgressRows(medians));
    append(rows, startRows(medians));
    print(rows);
    // They own widgets, which must not outlive the application.
    benchmark::ClearRegisteredBenchmarks();
    benchmark::Shutdown();
    return 0;
}
