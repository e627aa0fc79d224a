// Measures the product's recording loops beside bare ones, which make the same copies and writes
// and ask a clock after each read, and prints a table. Nothing fails on time.

#include "board/branlib.h"
#include "config/configuration.h"
#include "record/streamingtab.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QPushButton>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace
{

constexpr unsigned int streamReadSize = 32768;
constexpr unsigned int boardBufferReadSize = 512;
constexpr std::size_t ringSize = 8 << 20;
constexpr int runs = 51;
constexpr int shortRuns = 5;
constexpr int shortReads = 1024;

std::uint64_t s_allocations = 0;

/// A moment of this thread: seconds of the processor, in which other programs have no share.
struct Moment {
    double seconds = 0;
    std::uint64_t allocations = 0;

    static Moment now()
    {
        timespec time = {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return {double(time.tv_sec) + double(time.tv_nsec) / 1e9, s_allocations};
    }
};

/// The board's next recording: so many full reads, then it is finished.
int s_readsLeft = 0;
Moment s_firstRead;
Moment s_lastRead;

} // namespace

// A board that is as fast as memory can be copied.

BRAN_ERR_T BRAN_StartRecording(const BRAN_RECORD_CONFIG_T& /*config*/,
                               BRAN_RECORD_CONTEXT_T& /*context*/)
{
    s_firstRead = {};
    return BRAN_SUCCESS;
}

BRAN_ERR_T BRAN_GetRecordData(BRAN_RECORD_CONTEXT_T& /*context*/, char* buffer, unsigned int size,
                              unsigned int& bytesRead)
{
    static const std::array<char, streamReadSize> trace = {};
    if (s_firstRead.seconds == 0) {
        s_firstRead = Moment::now();
    }
    if (s_readsLeft == 0) {
        s_lastRead = Moment::now();
        bytesRead = 0;
        return BRAN_RECORDING_FINISHED;
    }
    --s_readsLeft;
    std::memcpy(buffer, trace.data(), size);
    bytesRead = size;
    return BRAN_SUCCESS;
}

void BRAN_StopRecordingRequest(BRAN_RECORD_CONTEXT_T& /*context*/) {}

const char* BRAN_GetErrorString(BRAN_ERR_T /*error*/)
{
    return "";
}

// All memory comes from here, operator new's and Qt's as well. The names behind are the system's
// own.

extern "C" void* systemMalloc(std::size_t size) __asm__("__libc_malloc");
extern "C" void* systemCalloc(std::size_t count, std::size_t size) __asm__("__libc_calloc");
extern "C" void* systemRealloc(void* block, std::size_t size) __asm__("__libc_realloc");

extern "C" void* malloc(std::size_t size)
{
    ++s_allocations;
    return systemMalloc(size);
}

extern "C" void* calloc(std::size_t nmemb, std::size_t size)
{
    ++s_allocations;
    return systemCalloc(nmemb, size);
}

extern "C" void* realloc(void* ptr, std::size_t size)
{
    ++s_allocations;
    return systemRealloc(ptr, size);
}

namespace
{

/// The product's page, recording into a file of the working directory.
class Page
{
public:
    Page()
    {
        m_window.show();
        m_tab->findChild<QComboBox*>()->setEditText(QStringLiteral("page.prf"));
    }

    void record(const char* mode)
    {
        for (auto* group : m_tab->findChildren<QGroupBox*>()) {
            if (group->title() == QLatin1String(mode)) {
                group->setChecked(true);
            }
        }
        for (auto* button : m_tab->findChildren<QPushButton*>()) {
            if (button->text() == QLatin1String("Start!")) {
                button->click();
            }
        }
    }

private:
    QWidget m_window;
    TOVAStreamingTab* m_tab = new TOVAStreamingTab(&m_window);
};

/// Reads a whole recording: `place` tells where to, `take` what becomes of a read.
template <class Place, class Take>
void readAll(unsigned int size, Place place, Take take)
{
    BRAN_RECORD_CONTEXT_T context = {};
    BRAN_StartRecording({}, context);
    unsigned int bytesRead = 0;
    const auto start = std::chrono::steady_clock::now();
    while (BRAN_GetRecordData(context, place(), size, bytesRead) == BRAN_SUCCESS) {
        take(bytesRead);
        if (std::chrono::steady_clock::now() < start) {
            qFatal("The clock goes back.");
        }
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

void bareOnTheFly()
{
    static std::array<char, streamReadSize> buffer;
    const int file = openBareFile();
    // Behind a header of 8 bytes each write begins and ends inside a page, which takes longer.
    writeBare(file, "DBGP\1\0\2", 8);
    readAll(
        streamReadSize, [] { return buffer.data(); },
        [file](unsigned int count) { writeBare(file, buffer.data(), count); });
    close(file);
}

void bareRing()
{
    static const auto ring = std::make_unique<char[]>(ringSize + streamReadSize);
    std::size_t cursor = 0;
    readAll(
        streamReadSize, [&cursor] { return ring.get() + cursor; },
        [&cursor](unsigned int count) { cursor = (cursor + count) % ringSize; });
    // Saved after the measured time, as the product's is: it takes the ring out of the caches.
    const int file = openBareFile();
    writeBare(file, ring.get(), ringSize);
    close(file);
}

void bareBoardBuffer()
{
    static std::array<char, boardBufferReadSize> buffer;
    readAll(
        boardBufferReadSize, [] { return buffer.data(); }, [](unsigned int /*bytes*/) {});
}

struct Mode {
    const char* name;
    /// Long enough that the start of a recording, with cold caches, does not count.
    int reads;
    void (*bare)();
};

constexpr Mode onTheFly = {"In the file on the fly", 8192, bareOnTheFly};
constexpr Mode ring = {"SW Circular buffer", 32768, bareRing};
constexpr Mode boardBuffer = {"HW Circular buffer", 4096, bareBoardBuffer};

/// What a recording of so many reads takes, from its first read to its last.
template <class Record>
Moment measure(int reads, Record record)
{
    s_readsLeft = reads;
    record();
    if (s_readsLeft != 0) {
        qFatal("Nothing was recorded.");
    }
    return {s_lastRead.seconds - s_firstRead.seconds,
            s_lastRead.allocations - s_firstRead.allocations};
}

/// The median of what `compare` makes of the product's time and the bare one's. They take turns, so
/// that both see the same machine.
template <class Compare>
double median(const Mode& mode, Compare compare)
{
    Page page;
    std::array<double, runs> results = {};
    for (double& result : results) {
        const double own = measure(mode.reads, [&] { page.record(mode.name); }).seconds;
        result = compare(own, measure(mode.reads, mode.bare).seconds);
    }
    std::nth_element(results.begin(), results.begin() + runs / 2, results.end());
    return results[runs / 2];
}

double speed(const Mode& mode)
{
    return median(mode, [](double own, double bare) { return bare / own; });
}

double extraMilliseconds(const Mode& mode)
{
    return median(mode, [](double own, double bare) { return (own - bare) * 1000; });
}

/// The least of a few recordings that are too short for a status, which would allocate.
double allocations(const Mode& mode)
{
    Page page;
    double least = HUGE_VAL;
    for (int run = 0; run < shortRuns; ++run) {
        const Moment taken = measure(shortReads, [&] { page.record(mode.name); });
        least = std::min(least, double(taken.allocations));
    }
    return least;
}

void print(const char* what, double measured, const char* wanted)
{
    std::printf("%-50s %8.3f   wanted %s\n", what, measured, wanted);
}

/// Records go to memory where the system offers that, so that no disk is measured.
QString folderTemplate()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
           QStringLiteral("/tovalink-bench-XXXXXX");
}

} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QTemporaryDir folder(folderTemplate());
    QDir::setCurrent(folder.path());
    qputenv("XDG_RUNTIME_DIR", folder.path().toLocal8Bit());
    const QApplication application(argc, argv);
    // The page would refuse recordings that follow each other so fast.
    TOVAConfiguration::m_isDoubleClickedProtected = false;

    print("On the fly: speed beside a bare loop", speed(onTheFly), ">= 0.95");
    print("Ring: speed beside a bare ring", speed(ring), ">= 0.98");
    print("Board's buffer: own milliseconds for 2 MB", extraMilliseconds(boardBuffer), "< 5");
    print("On the fly: allocations in 1024 reads", allocations(onTheFly), "0");
    print("Ring: allocations in 1024 reads", allocations(ring), "0");
    print("Board's buffer: allocations in 1024 reads", allocations(boardBuffer), "0");
    return 0;
}
