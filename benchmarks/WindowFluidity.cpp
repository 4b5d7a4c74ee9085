// Says how long the window keeps a person waiting at most: while 500 rows and 10,000 console lines
// scroll by, and while those lines arrive at once. Needs a display. The exit status is 1 when a
// frame takes longer than a person would let pass.

#include "ContentView/ContentView.h"
#include "ContentView/MainWindow.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QString>
#include <QStringList>

namespace {

constexpr int rows = 500;
constexpr int lines = 10'000;
constexpr int frames = 300;
constexpr double longestFrameInMilliseconds = 50;

/// Handles events until `done` holds; gives the longest turn of the event loop in milliseconds.
double longestTurn(const std::function<bool()>& done) {
    double longest = 0;
    while (!done()) {
        QElapsedTimer turn;
        turn.start();
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        longest = std::max(longest, static_cast<double>(turn.nsecsElapsed()) / 1e6);
    }
    return longest;
}

/// Scrolls from the start of a view to its end; gives the time of each frame in milliseconds.
std::vector<double> scroll(QQuickWindow& window, QQuickItem& view) {
    std::vector<double> times;
    const auto start = view.property("originY").toDouble();
    const auto distance = view.property("contentHeight").toDouble() - view.height();
    for (int frame = -1; frame < frames; ++frame) { // the first one goes to the start
        bool swapped = false;
        const auto connection = QObject::connect(
            &window, &QQuickWindow::frameSwapped, &window, [&] { swapped = true; },
            Qt::QueuedConnection);
        QElapsedTimer timer;
        timer.start();
        view.setProperty("contentY", start + distance * std::max(frame, 0) / frames);
        window.update();
        while (!swapped)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        // Outside QCoreApplication::exec() nobody else deletes the rows that have gone.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (frame >= 0)
            times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        QObject::disconnect(connection);
    }
    return times;
}

/// Prints the times of frames; whether none took too long.
bool report(const std::string& what, std::vector<double> times) {
    std::sort(times.begin(), times.end());
    std::cout << what << ": median " << times[times.size() / 2] << " ms, longest " << times.back()
              << " ms" << std::endl;
    if (times.back() <= longestFrameInMilliseconds)
        return true;
    std::cout << what << ": above the limit of " << longestFrameInMilliseconds << " ms"
              << std::endl;
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    Bleedwise::ContentView view(Bleedwise::SettingsStore("bleedwise-benchmark"),
                                {[] { return std::nullopt; }, [] { return std::nullopt; }});
    QQmlEngine engine;
    const auto window = Bleedwise::MainWindow::make(engine, view);
    if (!window)
        return EXIT_FAILURE;
    window->show();
    longestTurn([&] { return window->isExposed(); });

    std::vector<std::filesystem::path> files;
    for (int row = 0; row < rows; ++row)
        files.push_back("/artwork/poster " + std::to_string(row) + " 105x148mm+3.pdf");
    view.addPDFs(files);
    auto* list = window->findChild<QQuickItem*>("list");
    if (!list)
        return EXIT_FAILURE;
    longestTurn([&] { return list->property("count").toInt() == rows; });
    bool isFluid =
        report("scrolling " + std::to_string(rows) + " rows, a frame", scroll(*window, *list));

    view.setProperty("consoleExpanded", true);
    auto* log = window->findChild<QQuickItem*>("view");
    if (!log)
        return EXIT_FAILURE;
    QStringList text;
    for (int line = 0; line < lines; ++line)
        text.append(
            QString("[%1/%2] Processing pages 1 through 1 of a poster").arg(line).arg(lines));
    view.logLines()->append(text);
    const auto turn = longestTurn([&] {
        return log->property("contentY").toDouble() > 0 && log->property("atYEnd").toBool();
    });
    std::cout << lines << " console lines at once: longest turn of the event loop " << turn << " ms"
              << std::endl;
    isFluid &= report("scrolling " + std::to_string(lines) + " console lines, a frame",
                      scroll(*window, *log));
    return isFluid ? EXIT_SUCCESS : EXIT_FAILURE;
}
