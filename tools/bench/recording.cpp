#include "board/branlib.h"
#include "config/configuration.h"
#include "record/streamingtab.h"
#include "tools/bench/fastboard.h"
#include "tools/bench/table.h"

#include <QComboBox>
#include <QGroupBox>
#include <QPushButton>

#include <array>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace
{

// Long enough that the start of a recording, with cold caches, does not count.
constexpr std::uint64_t fileReads = 8192;
constexpr std::uint64_t ringReads = 131072;
constexpr unsigned int streamReadSize = 32768;
constexpr std::uint64_t boardBufferReads = 4096;
constexpr unsigned int boardBufferReadSize = 512;
constexpr std::size_t ringSize = 8 << 20;
constexpr int recordings = 51;

template <class Widget>
Widget* child(const QWidget& parent, const char* property, const char* wanted)
{
    for (Widget* each : parent.findChildren<Widget*>()) {
        if (each->property(property) == QLatin1String(wanted)) {
            return each;
        }
    }
    qFatal("There is no \"%s\".", wanted);
}

/// The product's page, recording into a file of the working directory.
class Page
{
public:
    explicit Page(SteadyClock clock = steadyTime)
        : m_tab(new TOVAStreamingTab(&m_window, clock)),
          m_start(child<QPushButton>(m_window, "text", "Start!"))
    {
        // It would refuse recordings that follow each other so fast.
        TOVAConfiguration::m_isDoubleClickedProtected = false;
        m_window.show();
        m_tab->findChild<QComboBox*>()->setEditText(QStringLiteral("page.prf"));
    }

    void record(const char* mode, std::uint64_t reads)
    {
        child<QGroupBox>(*m_tab, "title", mode)->setChecked(true);
        FastBoard::instance().prepare(reads);
        m_start->click();
        if (!FastBoard::instance().isFinished()) {
            qFatal("\"%s\" does not record.", mode);
        }
    }

private:
    QWidget m_window;
    TOVAStreamingTab* m_tab;
    QPushButton* m_start;
};

constexpr auto onTheFly = "In the file on the fly";
constexpr auto ring = "SW Circular buffer";
constexpr auto boardBuffer = "HW Circular buffer";
constexpr auto bareFile = "bare: read, write";
constexpr auto bareRing = "bare: read into a ring";
constexpr auto bareReads = "bare: read";

/// Reads a whole recording: `place` tells where to, `take` what becomes of a read.
template <class Place, class Take>
void readAll(std::uint64_t reads, unsigned int size, Place place, Take take)
{
    BRAN_RECORD_CONTEXT_T context = {};
    FastBoard::instance().prepare(reads);
    BRAN_StartRecording({}, context);
    unsigned int bytesRead = 0;
    while (BRAN_GetRecordData(context, place(), size, bytesRead) == BRAN_SUCCESS) {
        take(bytesRead);
    }
}

int openBareFile()
{
    return open("bare.prf", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

void writeBare(int file, const char* bytes, std::size_t count)
{
    if (write(file, bytes, count) != ssize_t(count)) {
        qFatal("The disk is full.");
    }
}

void recordBare()
{
    static std::array<char, streamReadSize> buffer;
    const int file = openBareFile();
    readAll(
        fileReads, streamReadSize, [] { return buffer.data(); },
        [file](unsigned int count) { writeBare(file, buffer.data(), count); });
    close(file);
}

void fillBareRing()
{
    static const auto bytes = std::make_unique<char[]>(ringSize + streamReadSize);
    std::size_t cursor = 0;
    readAll(
        ringReads, streamReadSize, [&cursor] { return bytes.get() + cursor; },
        [&cursor](unsigned int count) { cursor = (cursor + count) % ringSize; });
    // Saved out of the measured time, as the product's is: it takes the ring out of the caches.
    const int file = openBareFile();
    writeBare(file, bytes.get(), ringSize);
    close(file);
}

void readBare()
{
    static std::array<char, boardBufferReadSize> buffer;
    readAll(
        boardBufferReads, boardBufferReadSize, [] { return buffer.data(); },
        [](unsigned int /*bytes*/) {});
}

template <class Record>
void add(const char* name, Record record)
{
    benchmark::RegisterBenchmark(name,
                                 [record](benchmark::State& state) {
                                     for ([[maybe_unused]] auto _ : state) {
                                         record();
                                         state.SetIterationTime(FastBoard::instance().seconds());
                                     }
                                 })
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->Repetitions(recordings)
        ->ReportAggregatesOnly();
}

/// Counts between the first read and the last; the status, which does allocate, is never due.
QString allocations(const char* mode)
{
    Page page([] { return std::chrono::nanoseconds(); });
    page.record(mode, fileReads);
    return QString::number(FastBoard::instance().allocations());
}

} // namespace

void registerRecording()
{
    const auto page = std::make_shared<Page>();
    add(onTheFly, [page] { page->record(onTheFly, fileReads); });
    add(bareFile, recordBare);
    add(ring, [page] { page->record(ring, ringReads); });
    add(bareRing, fillBareRing);
    add(boardBuffer, [page] { page->record(boardBuffer, boardBufferReads); });
    add(bareReads, readBare);
}

std::vector<Row> recordingRows(const Medians& medians)
{
    constexpr double milliseconds = 1000;
    const double own = (medians.of(boardBuffer) - medians.of(bareReads)) * milliseconds;
    std::vector<Row> rows = {
        {"On the fly: speed beside a bare loop", medians.ratio(bareFile, onTheFly), ">= 0.95"},
        {"Ring: speed beside a bare ring", medians.ratio(bareRing, ring), ">= 0.98"},
        {"Board's buffer: own time for 2 MB", QString::number(own, 'f', 3) + " ms", "< 5 ms"},
    };
    for (const char* mode : {onTheFly, ring, boardBuffer}) {
        rows.push_back({QString("%1: allocations in %2 reads").arg(mode).arg(fileReads),
                        allocations(mode), "0"});
    }
    return rows;
}
