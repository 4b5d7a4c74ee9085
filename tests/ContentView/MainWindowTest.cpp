#include "ContentView/MainWindow.h"

#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"
#include "support/WindowFixture.h"

#include "ContentView/ContentView.h"

#include <memory>
#include <optional>

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStringList>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::ScopedVariable;
using Testing::TemporaryFolder;

QStringList& warnings() {
    static QStringList list;
    return list;
}

void keepWarning(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type != QtDebugMsg && type != QtInfoMsg)
        warnings().append(text);
}

/// Keeps the warnings that Qt prints, as long as it lives.
class KeptWarnings {
public:
    KeptWarnings() : previous_(qInstallMessageHandler(keepWarning)) { warnings().clear(); }
    KeptWarnings(const KeptWarnings&) = delete;
    KeptWarnings& operator=(const KeptWarnings&) = delete;
    ~KeptWarnings() { qInstallMessageHandler(previous_); }

private:
    QtMessageHandler previous_;
};

/// The window with a view model of the program's own kind.
class MainWindowTest : public Testing::WindowFixture {
protected:
    MainWindowTest() : window(MainWindow::make(engine, view)) {}

    void show() {
        window->show();
        ASSERT_TRUE(runUntil([&] { return window->isExposed(); }));
    }

    QQuickItem* item(const char* name) { return window->findChild<QQuickItem*>(name); }

    KeptWarnings keptWarnings;
    TemporaryFolder folder;
    ScopedVariable configuration{"XDG_CONFIG_HOME", folder.path().native()};
    ContentView view{SettingsStore("test"),
                     {[] { return std::nullopt; }, [] { return std::nullopt; }}};
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
};

TEST_F(MainWindowTest, IsMadeHidden) {
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(MainWindowTest, CannotBeSmallerThanItsContent) {
    EXPECT_GE(window->minimumWidth(), 720);
    EXPECT_EQ(window->minimumHeight(), 560);
}

TEST_F(MainWindowTest, HasNoFrame) {
    EXPECT_TRUE(window->flags().testFlag(Qt::FramelessWindowHint));
}

TEST_F(MainWindowTest, ShowsEveryStateOfItsViewModelWithoutComplaint) {
    show();
    view.addPDFs(std::vector<std::filesystem::path>{"/art/a 105x148mm+3.pdf", "/art/b.pdf"});
    view.setWidthBinding("abc");
    view.logLines()->append(QStringList{"one", "two"});
    view.setProperty("consoleExpanded", true);
    view.setProperty("showingDetails", true);
    view.setProperty("isTargeted", true);
    view.convert();
    window->grabWindow();
    EXPECT_EQ(warnings(), QStringList());
}

TEST_F(MainWindowTest, HasNoFocusInASizeFieldWhenItAppears) {
    show();
    runOnce();
    EXPECT_EQ(view.focusedField(), std::nullopt);
}

TEST_F(MainWindowTest, WritesTypedSizesToTheViewModel) {
    show();
    item("width")->findChild<QQuickItem*>("field")->setProperty("text", "123");
    EXPECT_EQ(view.widthBinding(), "123");
}

TEST_F(MainWindowTest, ClosesWhenNothingIsConverted) {
    show();
    window->close();
    EXPECT_TRUE(runUntil([&] { return !window->isVisible(); }));
}

} // namespace
} // namespace Bleedwise
