// Photographs the program's window in each of its states, light and dark:
//   Screenshots FOLDER
// The scale is QT_SCALE_FACTOR. The view model is the program's own, too, but for its Ghostscript,
// which stops at a file for as long as the photograph takes, or fails, as a state needs it. Where
// other files fail than those that a state is to show, there is no picture but an error.

#include "BleedwiseApp/updater/Updater.h"
#include "ContentView/ContentView.h"
#include "ContentView/MainWindow.h"
#include "support/Authority.h"
#include "support/FakeGhostscript.h"
#include "support/HTTPSServer.h"
#include "support/Rendering.h"
#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <QDateTime>
#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QString>
#include <QUrl>
#include <QVariant>
#include <sys/stat.h>

namespace Bleedwise::Testing {
namespace {

constexpr auto usualSize = QSize(820, 620);
constexpr auto smallestSize = QSize(720, 560);
constexpr auto longName = "A very long name from a shared library, with campaign, language and "
                          "revision, approved by everybody 139.7x215.9mm.pdf";

void waitUntil(const std::function<bool()>& done) {
    while (!done())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
}

/// The window once nothing in it changes any more.
QImage settledPicture(QQuickWindow& window) {
    QImage before;
    for (;;) {
        QCoreApplication::processEvents();
        auto picture = window.grabWindow();
        if (picture == before)
            return picture;
        before = std::move(picture);
    }
}

/// Ghostscript as the pictures need it. Its results are the real one's, as all results are looked
/// at.
class PosingGhostscript {
public:
    PosingGhostscript() : barrier_((folder_ / "barrier").native()) {
        if (mkfifo(barrier_.c_str(), S_IRUSR | S_IWUSR) != 0)
            throw std::runtime_error("no named pipe");
        program_.emplace("case \"$*\" in *\"$POSE_WAITS_AT\"*) read -r line < '" + barrier_ +
                         "';; esac\n"
                         "case \"$*\" in *\"$POSE_FAILS_AT\"*)\n"
                         "echo 'GPL Ghostscript 10.00.0 (2022-09-21)'\n"
                         "echo 'Copyright (C) 2022 Artifex Software, Inc.  All rights reserved.'\n"
                         "echo 'Processing pages 1 through 1.'\n"
                         "echo 'Page 1'\n"
                         "echo 'Error: /undefined in --runpdf--'\n"
                         "exit 1;; esac\n"
                         "exec xargs -0 gs <\"${0%/*}/arguments\"\n");
    }

    std::filesystem::path url() const { return program_->url(); }
    /// Lets the file that it waits at go, for as long as the stream is open. Open for both, it
    /// waits for nobody, should the file have failed.
    std::fstream goOn() const {
        std::fstream barrier(barrier_, std::ios::in | std::ios::out);
        barrier << "go on" << std::endl;
        return barrier;
    }

private:
    TemporaryFolder folder_;
    std::string barrier_;
    std::optional<FakeGhostscript> program_;
};

/// An updater of version 1.0 whose server offers 2.0.
class PosingUpdater {
public:
    explicit PosingUpdater(const std::string& downloadFolder)
        : updater_({.feedURL = server_.url("/feed.xml"),
                    .publicKey = QString::fromStdString(signer_.publicKey()),
                    .installedVersion = "1.0",
                    .systemVersion = "6.1.0",
                    .settingsDomain = "screenshots",
                    .downloadFolder = QString::fromStdString(downloadFolder),
                    .network = {.tls = [this] { return authority_.trust(); },
                                .isOnline = [] { return true; }},
                    .now = [] { return QDateTime::currentDateTimeUtc(); },
                    .open = [](const QUrl&, const std::function<void()>&) {}},
                   Updater::Starting::onDemand) {}

    Updater& updater() { return updater_; }

    /// With a package of some megabytes, which is what the server sends, or the beginning of that.
    void offer(const std::string& sent, const std::string& version = "2.0") {
        const std::string package = wholePackage();
        server_.serve("/bleedwise.deb", {.body = sent,
                                         .claimedLength = static_cast<long>(package.size()),
                                         .stalls = sent.size() < package.size()});
        server_.serve(
            "/feed.xml",
            {.body = "<rss xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">"
                     "<channel><item><sparkle:version>" +
                     version +
                     "</sparkle:version><description>"
                     "&lt;h1&gt;Bleedwise 2.0&lt;/h1&gt;"
                     "&lt;p&gt;The release for whoever prints a lot.&lt;/p&gt;"
                     "&lt;h2&gt;New&lt;/h2&gt;&lt;ul&gt;"
                     "&lt;li&gt;Raster draws several pages at once.&lt;/li&gt;"
                     "&lt;li&gt;Sizes such as 8.5x11in are understood, see "
                     "&lt;a href=\"https://bleedwise.test/sizes\"&gt;all of them&lt;/a&gt;."
                     "&lt;/li&gt;&lt;/ul&gt;&lt;h2&gt;Mended&lt;/h2&gt;&lt;ul&gt;"
                     "&lt;li&gt;Spot colors in soft masks come out as they are.&lt;/li&gt;"
                     "&lt;/ul&gt;</description>"
                     "<enclosure url=\"/bleedwise.deb\" sparkle:os=\"linux\" length=\"" +
                     std::to_string(package.size()) + "\" sparkle:edSignature=\"" +
                     signer_.signature(package) + "\"/></item></channel></rss>"});
    }

    static std::string wholePackage() {
        std::string package;
        package.resize(8'400'000, 'p');
        return package;
    }

    void await(const QString& title) {
        waitUntil([&] { return updater_.title().startsWith(title); });
    }

    /// Goes on with a version that is on offer.
    void install() {
        updater_.checkForUpdates();
        await("A new version");
        updater_.perform("install");
    }

private:
    Authority authority_;
    HTTPSServer server_{authority_.certificate()};
    SigningKey signer_;
    Updater updater_;
};

/// One window with everything around it.
class Scene {
public:
    Scene() : window_(MainWindow::make(engine_, *view_)) {
        if (!window_)
            throw std::runtime_error("no window");
        QQmlComponent theme(&engine_);
        theme.setData(
            "import QtQml; import Bleedwise.Window; QtObject { property var object: Theme }",
            QUrl());
        theme_.reset(theme.create());
        set("reducedMotion", true);
        window_->resize(usualSize);
        window_->show();
        waitUntil([&] { return window_->isExposed(); });
    }

    ContentView& view() { return *view_; }
    QQuickWindow& window() { return *window_; }
    void set(const char* themeProperty, const QVariant& value) {
        theme_->property("object").value<QObject*>()->setProperty(themeProperty, value);
    }

    void queueSamples() {
        std::vector<std::filesystem::path> files;
        for (const auto& sample :
             std::filesystem::directory_iterator(BLEEDWISE_SOURCE_FOLDER "/samples")) {
            if (sample.path().extension() != ".pdf")
                continue;
            files.push_back(folder_ / sample.path().filename());
            std::filesystem::copy_file(sample.path(), files.back());
        }
        files.push_back(folder_ / longName);
        std::filesystem::copy_file(folder_ / "menu 198x210mm.pdf", files.back());
        view().addPDFs(files);
    }

    /// Half a thousand files, and ten thousand lines in the console.
    void queueMany() {
        std::vector<std::filesystem::path> files;
        for (int number = 1; number <= 500; ++number)
            files.push_back(folder_ / ("poster " + std::to_string(number) + " 105x148mm+3.pdf"));
        view().addPDFs(files);
        QStringList lines;
        for (int number = 1; number <= 10000; ++number)
            lines.append(QString("Page %1").arg(number));
        view().logLines()->append(lines);
    }

    /// As in a release that has one.
    PosingUpdater& addUpdater() {
        updater_.emplace((folder_ / "Downloads").native());
        window_->setProperty("updater", QVariant::fromValue<QObject*>(&updater_->updater()));
        return *updater_;
    }

    /// As on a machine without it.
    void hideGhostscript() {
        hasGhostscript_ = false;
        view().appeared();
    }

    /// A button, by the space bar.
    void press(const char* name) {
        auto* button = window_->findChild<QQuickItem*>(name);
        button->forceActiveFocus(Qt::TabFocusReason);
        for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent event(type, Qt::Key_Space, Qt::NoModifier, " ");
            QCoreApplication::sendEvent(window_.get(), &event);
        }
    }

    void showAbout() {
        QMetaObject::invokeMethod(window_->findChild<QObject*>("strip"), "aboutRequested");
    }

    void select(int row) { view().selectJob(view().jobs()->at(row).id); }

    /// A whole run, in which Ghostscript fails at the files whose names hold `failing`.
    void convert(const std::string& failing = "none of them") {
        ScopedVariable fails("POSE_FAILS_AT", failing);
        ScopedVariable waits("POSE_WAITS_AT", "none of them");
        view().setUseGhostscript(true);
        view().convert();
        waitUntil([&] { return !view().isConverting(); });
        requireCompleted([&](const ConversionJob& job) {
            return !job.fileName().contains(QString::fromStdString(failing)) && !isMistyped(job);
        });
    }

    /// Has the picture taken in the midst of a run, at the file of this name.
    void whileConverting(const std::string& name, const std::function<void()>& takePicture) {
        ScopedVariable fails("POSE_FAILS_AT", "none of them");
        ScopedVariable waits("POSE_WAITS_AT", name);
        view().setUseGhostscript(true);
        view().convert();
        waitUntil([&] {
            const auto& jobs = view().jobs()->jobs();
            return !view().isConverting() ||
                   std::any_of(jobs.begin(), jobs.end(), [&](const auto& job) {
                       return job.state == ConversionJob::State::Converting &&
                              job.fileName().contains(QString::fromStdString(name));
                   });
        });
        takePicture();
        const auto barrier = ghostscript_.goOn();
        waitUntil([&] { return !view().isConverting(); });
        requireCompleted([](const ConversionJob&) { return true; });
    }

private:
    static bool isMistyped(const ConversionJob& job) {
        bool isNumber = false;
        job.widthMM.toDouble(&isNumber);
        return !isNumber;
    }

    /// Throws unless these files, and no others, have been converted.
    void requireCompleted(const std::function<bool(const ConversionJob&)>& isToComplete) {
        for (const auto& job : view().jobs()->jobs()) {
            if ((job.state == ConversionJob::State::Completed) == isToComplete(job))
                continue;
            throw std::runtime_error(job.fileName().toStdString() +
                                     (isToComplete(job) ? ": " : " is to fail, but does not ") +
                                     job.errorMessage.value_or(QString()).toStdString());
        }
    }

    std::optional<Ghostscript::Installation> installation() const {
        if (!hasGhostscript_)
            return std::nullopt;
        return Ghostscript::Installation{ghostscript_.url()};
    }

    TemporaryFolder folder_;
    TemporaryFolder temporaryDirectory_{folder_.path()};
    ScopedVariable configuration_{"XDG_CONFIG_HOME", (folder_ / "configuration").native()};
    ScopedVariable temporary_{"TMPDIR", temporaryDirectory_.path().native()};
    PosingGhostscript ghostscript_;
    bool hasGhostscript_ = true;
    std::optional<PosingUpdater> updater_;
    std::unique_ptr<ContentView> view_ = std::make_unique<ContentView>(
        SettingsStore("screenshots"), ContentView::Discovery{[this] { return installation(); },
                                                             [] { return outputProfileURL(); }});
    QQmlEngine engine_;
    std::unique_ptr<QQuickWindow> window_;
    /// Holds the theme as its property "object".
    std::unique_ptr<QObject> theme_;
};

struct State {
    std::string name;
    std::function<void(Scene&, const std::function<void()>& takePicture)> pose;
};

std::vector<State> states() {
    return {
        {"empty", [](Scene&, const auto& takePicture) { takePicture(); }},
        {"targeted",
         [](Scene& scene, const auto& takePicture) {
             scene.view().setProperty("isTargeted", true);
             takePicture();
         }},
        {"queued",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.select(6);
             scene.view().setWidthBinding("107");
             takePicture();
         }},
        {"converting",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.whileConverting("business card", takePicture);
         }},
        {"completed",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.convert();
             takePicture();
         }},
        {"failed",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.select(2);
             scene.view().setWidthBinding("8o");
             scene.convert("flyer");
             takePicture();
         }},
        {"console",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.convert();
             scene.view().setProperty("consoleExpanded", true);
             takePicture();
         }},
        {"details",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.view().setProperty("showingDetails", true);
             takePicture();
         }},
        {"missing",
         [](Scene& scene, const auto& takePicture) {
             scene.hideGhostscript();
             scene.queueSamples();
             scene.view().setUseGhostscript(true);
             scene.view().setProperty("showingDetails", true);
             takePicture();
         }},
        {"menu",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.press("applicationMenu");
             takePicture();
         }},
        {"many",
         [](Scene& scene, const auto& takePicture) {
             scene.queueMany();
             scene.select(250);
             scene.view().setProperty("consoleExpanded", true);
             takePicture();
         }},
        {"stopping",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.whileConverting("business card", [&] {
                 scene.view().requestClose();
                 takePicture();
                 scene.view().continueBatch();
             });
         }},
        {"update-menu",
         [](Scene& scene, const auto& takePicture) {
             scene.addUpdater();
             scene.press("applicationMenu");
             takePicture();
         }},
        {"update-question",
         [](Scene& scene, const auto& takePicture) {
             auto& updater = scene.addUpdater().updater();
             updater.start();
             updater.start();
             takePicture();
         }},
        {"about",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             scene.showAbout();
             takePicture();
         }},
        {"update-none",
         [](Scene& scene, const auto& takePicture) {
             auto& updater = scene.addUpdater();
             updater.offer(PosingUpdater::wholePackage(), "1.0");
             updater.updater().checkForUpdates();
             updater.await("You’re up to date");
             takePicture();
         }},
        {"update-available",
         [](Scene& scene, const auto& takePicture) {
             scene.queueSamples();
             auto& updater = scene.addUpdater();
             updater.offer(PosingUpdater::wholePackage());
             updater.updater().checkForUpdates();
             updater.await("A new version");
             takePicture();
         }},
        {"update-downloading",
         [](Scene& scene, const auto& takePicture) {
             auto& updater = scene.addUpdater();
             const std::string part = PosingUpdater::wholePackage().substr(0, 3'000'000);
             updater.offer(part);
             updater.install();
             waitUntil([&] { return updater.updater().progressText().startsWith("3.0 MB"); });
             takePicture();
         }},
        {"update-ready",
         [](Scene& scene, const auto& takePicture) {
             auto& updater = scene.addUpdater();
             updater.offer(PosingUpdater::wholePackage());
             updater.install();
             updater.await("Version 2.0 is ready");
             takePicture();
         }},
        {"update-failed",
         [](Scene& scene, const auto& takePicture) {
             auto& updater = scene.addUpdater();
             std::string forgery = PosingUpdater::wholePackage();
             forgery.back() = 'f';
             updater.offer(forgery);
             updater.install();
             updater.await("The update cannot");
             takePicture();
         }},
        {"smallest",
         [](Scene& scene, const auto& takePicture) {
             scene.window().resize(smallestSize);
             scene.queueSamples();
             scene.convert("flyer");
             scene.view().setProperty("consoleExpanded", true);
             takePicture();
         }},
    };
}

void photograph(const State& state, const std::filesystem::path& folder) {
    Scene scene;
    state.pose(scene, [&] {
        for (const bool dark : {false, true}) {
            scene.set("dark", dark);
            const auto scale = QString::number(scene.window().effectiveDevicePixelRatio() * 100);
            const auto name = state.name + (dark ? "-dark-" : "-light-") + scale.toStdString();
            const auto file = folder / (name + ".png");
            if (!settledPicture(scene.window()).save(QString::fromStdString(file.native())))
                throw std::runtime_error("cannot write " + file.native());
            std::cout << file.native() << std::endl;
        }
    });
}

} // namespace
} // namespace Bleedwise::Testing

int main(int argc, char** argv) {
    using namespace Bleedwise::Testing;
    const QGuiApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(BLEEDWISE_VERSION);
    if (argc != 2) {
        std::cerr << "usage: Screenshots FOLDER" << std::endl;
        return EXIT_FAILURE;
    }
    try {
        const std::filesystem::path folder = argv[1];
        std::filesystem::create_directories(folder);
        for (const auto& state : states())
            photograph(state, folder);
    } catch (const std::exception& error) {
        std::cerr << "ERROR: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
