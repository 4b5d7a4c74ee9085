// Measures for how long the window stands still while a batch runs:
//
//   batch-latency LABEL GHOSTSCRIPT|raster PDF ...
//
// Queues the PDFs, each once more for each time that it is named, spoils the height of the one in
// the middle, converts them and prints the longest time by which a timer of one millisecond was
// late, on the thread that the window draws on. Fails when that is longer than a person notices.

#include "ContentView/ContentView.h"
#include "PrintPrep/ProfileResolver.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <vector>

#include <QCoreApplication>
#include <QTimer>

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::chrono::milliseconds interval(1);
constexpr std::chrono::milliseconds limit(50);

/// How long this thread has been ready to run while no processor ran it. Zero where the kernel does
/// not keep account of that.
Milliseconds waitedForProcessor() {
    std::ifstream account("/proc/thread-self/schedstat");
    double ran = 0;
    double waited = 0;
    account >> ran >> waited;
    return std::chrono::duration<double, std::nano>(waited);
}

struct Latency {
    Milliseconds whole = Milliseconds::zero();
    Milliseconds own = Milliseconds::zero();
};

/// Notes how late a timer is.
class LatencyProbe {
public:
    LatencyProbe() {
        QObject::connect(&timer_, &QTimer::timeout, [this] { tick(); });
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.start(interval);
    }

    /// The longest of each kind.
    const Latency& longest() const { return longest_; }

private:
    void tick() {
        const Clock::time_point now = Clock::now();
        const Milliseconds waited = waitedForProcessor();
        const Milliseconds late = now - last_ - interval;
        longest_.whole = std::max(longest_.whole, late);
        longest_.own = std::max(longest_.own, late - (waited - lastWaited_));
        last_ = now;
        lastWaited_ = waited;
    }

    QTimer timer_;
    Clock::time_point last_ = Clock::now();
    Milliseconds lastWaited_ = waitedForProcessor();
    Latency longest_;
};

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc < 4) {
        std::fprintf(stderr, "usage: batch-latency LABEL GHOSTSCRIPT|raster PDF ...\n");
        return EXIT_FAILURE;
    }
    const std::filesystem::path ghostscript = argv[2];
    std::vector<std::filesystem::path> inputURLs;
    for (int index = 3; index < argc; ++index)
        inputURLs.push_back(std::filesystem::absolute(argv[index]));

    using namespace Bleedwise;
    ContentView view(SettingsStore("benchmark"),
                     {[&] { return std::optional(Ghostscript::Installation{ghostscript}); },
                      ProfileResolver::fogra39URL});
    view.setUseGhostscript(ghostscript != "raster");
    view.appeared();
    view.addPDFs(inputURLs);
    view.setSelectedJobID(view.jobs()->at(view.jobCount() / 2).id);
    view.updateSelectedJob(DimensionField::Value::Height, QStringLiteral("tall"));

    const Clock::time_point start = Clock::now();
    const LatencyProbe probe;
    QObject::connect(&view, &ContentView::isConvertingChanged, [&] {
        if (!view.isConverting())
            QCoreApplication::quit();
    });
    QMetaObject::invokeMethod(&view, &ContentView::convert, Qt::QueuedConnection);
    QCoreApplication::exec();

    std::printf(
        "%-44s %6.2f ms at most (%.2f ms with waiting for a processor), %d jobs, %d console "
        "lines, %.1f s\n",
        argv[1], probe.longest().own.count(), probe.longest().whole.count(), view.jobCount(),
        view.logLines()->count(), std::chrono::duration<double>(Clock::now() - start).count());
    return probe.longest().own <= limit ? EXIT_SUCCESS : EXIT_FAILURE;
}
