#include "burn/burnprogress.h"

#include "tools/bench/table.h"

#include <QCoreApplication>
#include <QEvent>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

#include <memory>

namespace
{

constexpr int repetitions = 21;
constexpr int steps = 100;
constexpr auto callback = "burn progress, each per cent";
constexpr auto bareCallback = "bare: set a bar, one event pass";
constexpr auto unchanged = "burn progress, same per cent";
constexpr auto bareUnchanged = "bare: set the same, one event pass";

/// The bar and the label of the page Burn Flash, in a window of their own.
class Window
{
public:
    Window()
    {
        auto* layout = new QVBoxLayout(&m_window);
        layout->addWidget(label);
        layout->addWidget(bar);
        m_window.show();
        QCoreApplication::processEvents();
    }

    QLabel* label = new QLabel;
    QProgressBar* bar = new QProgressBar;

private:
    QWidget m_window;
};

class PaintCounter : public QObject
{
public:
    int paints = 0;

protected:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override
    {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

template <class Show>
void add(const char* name, Show show)
{
    benchmark::RegisterBenchmark(name,
                                 [show](benchmark::State& state) {
                                     int step = 0;
                                     for ([[maybe_unused]] auto _ : state) {
                                         show(step = (step + 1) % steps);
                                     }
                                 })
        ->Unit(benchmark::kMicrosecond)
        ->MinTime(0.05)
        ->Repetitions(repetitions)
        ->ReportAggregatesOnly();
}

void use(const Window& window)
{
    s_progress = window.bar;
    s_label = window.label;
}

/// How often anything is painted while a thousand reports stay at one per cent.
int paintsWithoutChange()
{
    const Window window;
    use(window);
    burnProgress(0.5F);
    PaintCounter counter;
    qApp->installEventFilter(&counter);
    constexpr int reports = 1000;
    for (int report = 0; report < reports; ++report) {
        burnProgress(0.5F + 0.009F * float(report) / reports);
    }
    return counter.paints;
}

} // namespace

void registerBurnProgress()
{
    const auto window = std::make_shared<Window>();
    use(*window);
    add(callback, [](int step) { burnProgress(float(step) / steps); });
    add(unchanged, [](int /*step*/) { burnProgress(0.5F); });
    const auto set = [window](int percent) {
        window->bar->setValue(percent);
        QCoreApplication::processEvents();
    };
    add(bareCallback, set);
    add(bareUnchanged, [set](int /*step*/) { set(steps / 2); });
}

std::vector<Row> burnProgressRows(const Medians& medians)
{
    return {
        {"Burn progress: time beside a bare bar", medians.ratio(callback, bareCallback), "<= 1.10"},
        {"Burn progress, same per cent: time beside a bare bar",
         medians.ratio(unchanged, bareUnchanged), "<= 1.10"},
        {"Burn progress, same per cent: repaints in 1000 reports",
         QString::number(paintsWithoutChange()), "0"},
    };
}
