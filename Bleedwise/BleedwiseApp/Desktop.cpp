#include "BleedwiseApp/TerminationSignals.h"
#include "BleedwiseApp/WaylandSeat.h"
#include "BleedwiseApp/updater/InformationDictionary.h"
#include "ContentView/ContentView.h"
#include "ContentView/MainWindow.h"
#include "PrintPrep/platform/LocalizedError.h"
#include "PrintPrep/platform/SilencedStreams.h"

#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>

#include <QApplication>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QString>
#include <QtGlobal>

namespace Bleedwise {
namespace {

// Qt aborts, with lines of advice and a core dump, when it finds no display. Here that is a failure
// like others: one line and status 1.

/// While the display is opened: the libraries below Qt have their say on standard error, too.
std::optional<SilencedStreams>& silencedStreams() {
    static std::optional<SilencedStreams> streams;
    return streams;
}

QString& lastWarning() {
    static QString warning;
    return warning;
}

[[noreturn]] void failToOpen(const QString& reason) {
    silencedStreams().reset();
    std::cerr << "ERROR: The window cannot be opened: "
              << reason.trimmed().section(u'\n', 0, 0).toStdString() << std::endl;
    std::_Exit(EXIT_FAILURE); // perhaps in the midst of Qt, whose objects cannot be taken down
}

void receiveMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
    if (type == QtWarningMsg || type == QtCriticalMsg)
        lastWarning() = message;
    else if (type == QtFatalMsg) // by itself only advice
        failToOpen(lastWarning().isEmpty() ? message : lastWarning());
}

/// Qt 6.4 takes it for granted that a Wayland session has a seat, and dies on asking the missing
/// one for its input method. With an input method of its own Qt does not ask.
void avoidMissingInputMethod() {
    constexpr const char* choice = "QT_IM_MODULE";
    if (!qEnvironmentVariableIsSet(choice) && WaylandSeat::isMissing())
        qputenv(choice, "compose");
}

std::unique_ptr<QApplication> openDisplay(int& argc, char** argv) {
    silencedStreams().emplace();
    avoidMissingInputMethod();
    const QtMessageHandler previous = qInstallMessageHandler(receiveMessage);
    auto application = std::make_unique<QApplication>(argc, argv);
    qInstallMessageHandler(previous);
    silencedStreams().reset();
    return application;
}

/// What the updater has to say waits for the end of a batch.
void tellAboutBatches(QObject* updater, const ContentView& viewModel) {
    if (!updater)
        return;
    QObject::connect(&viewModel, &ContentView::isConvertingChanged, updater, [updater, &viewModel] {
        updater->setProperty("batchIsRunning", viewModel.isConverting());
    });
}

int run(int argc, char** argv, QObject* updater) {
    QCoreApplication::setApplicationName(QStringLiteral("Bleedwise"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BLEEDWISE_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("app.bleedwise.Bleedwise"));
    const std::unique_ptr<QApplication> application = openDisplay(argc, argv);
    const TerminationSignals terminationSignals;

    ContentView viewModel;
    tellAboutBatches(updater, viewModel);
    QQmlEngine engine;
    const std::unique_ptr<QQuickWindow> window = MainWindow::make(engine, viewModel, updater);
    if (!window) // Qt has told the details
        failToOpen(QStringLiteral("a part of Qt Quick is missing"));
    QObject::connect(
        window.get(), &QQuickWindow::sceneGraphError,
        [](QQuickWindow::SceneGraphError, const QString& reason) { failToOpen(reason); });
    window->show();
    return QApplication::exec();
}

} // namespace
} // namespace Bleedwise

// What `DesktopModule::load()` looks for. The executable's C++ runtime is another one, so no
// exception may leave.

extern "C" [[gnu::visibility("default")]] int runBleedwiseDesktop(int argc, char** argv,
                                                                  QObject* updater) noexcept {
    try {
        return Bleedwise::run(argc, argv, updater);
    } catch (const Bleedwise::LocalizedError& error) {
        Bleedwise::failToOpen(QString::fromStdString(error.errorDescription()));
    }
}

extern "C" [[gnu::visibility("default")]] bool bleedwiseSparkleConfigurationIsReady() noexcept {
    return Bleedwise::InformationDictionary::ofMainBundle().sparkleConfigurationIsReady();
}
