#include "ContentView/MainWindow.h"

#include "ContentView/ContentView.h"
#include "support/FakeGhostscript.h"
#include "support/Rendering.h"
#include "support/ScopedVariable.h"
#include "support/SmallPDF.h"
#include "support/TemporaryFolder.h"
#include "support/WindowFixture.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QApplication>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QLineEdit>
#include <QMimeData>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStringList>
#include <QTest>
#include <QUrl>
#include <QVariant>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace Bleedwise {
namespace {

using std::filesystem::path;
using Testing::FakeGhostscript;
using Testing::ScopedVariable;
using Testing::smallPDF;
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
    MainWindowTest() : window(MainWindow::make(engine, view)) {
        window->show();
        EXPECT_TRUE(runUntil([&] { return window->isExposed(); }));
        window->requestActivate();
        EXPECT_TRUE(runUntil([&] { return window->isActive(); }));
        runOnce(); // the focus has left the size fields
    }

    path pdf(const std::string& name) const { return folder.file(name, smallPDF()); }

    /// Queues files, each by itself, so that their order stays and the last one is selected.
    void queue(const std::vector<std::string>& names) {
        for (const auto& name : names)
            view.addPDFs(std::vector{pdf(name)});
        runOnce();
    }

    QStringList names() {
        QStringList result;
        for (const auto& job : view.jobs()->jobs())
            result.append(job.fileName());
        return result;
    }

    QString selectedName() { return view.jobs()->at(view.jobs()->selectedRow()).fileName(); }

    QQuickItem* item(const char* name) {
        auto* found = window->findChild<QQuickItem*>(name);
        EXPECT_NE(found, nullptr) << name;
        return found;
    }

    /// A row of the list, once it is there.
    QQuickItem* row(int number) {
        QQuickItem* found = nullptr;
        EXPECT_TRUE(runUntil([&] {
            QMetaObject::invokeMethod(item("list"), "itemAtIndex", Q_RETURN_ARG(QQuickItem*, found),
                                      Q_ARG(int, number));
            return found != nullptr;
        }));
        return found;
    }

    QQuickItem* inRow(int number, const char* name) {
        return row(number)->findChild<QQuickItem*>(name);
    }

    void click(QQuickItem* target) {
        const auto center = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
        QTest::mouseClick(window.get(), Qt::LeftButton, {}, center.toPoint());
    }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window.get(), key, modifiers);
    }

    QString status() { return item("status")->property("text").toString(); }

    KeptWarnings keptWarnings;
    TemporaryFolder folder;
    TemporaryFolder temporaryFolder;
    ScopedVariable configuration{"XDG_CONFIG_HOME", (folder / "configuration").native()};
    ScopedVariable temporary{"TMPDIR", temporaryFolder.path().native()};
    ScopedVariable bus{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/no/such/bus"};
    /// What the view model finds.
    std::optional<Ghostscript::Installation> ghostscript;
    ContentView view{SettingsStore("test"),
                     {[this] { return ghostscript; }, [] { return Testing::outputProfileURL(); }}};
    QQmlEngine engine;
    std::unique_ptr<QQuickWindow> window;
};

TEST_F(MainWindowTest, IsMadeHidden) {
    EXPECT_FALSE(MainWindow::make(engine, view)->isVisible());
}

TEST_F(MainWindowTest, ClosesWhenNothingIsConverted) {
    window->close();
    EXPECT_TRUE(runUntil([&] { return !window->isVisible(); }));
}

TEST_F(MainWindowTest, CannotBeSmallerThanItsContent) {
    EXPECT_GE(window->minimumWidth(), 720);
    EXPECT_EQ(window->minimumHeight(), 560);
}

TEST_F(MainWindowTest, HasNoFrame) {
    EXPECT_TRUE(window->flags().testFlag(Qt::FramelessWindowHint));
}

TEST_F(MainWindowTest, ShowsEveryStateOfItsViewModelWithoutComplaint) {
    queue({"a 105x148mm+3.pdf", "b.pdf"});
    view.setWidthBinding("abc");
    view.logLines()->append(QStringList{"one", "two"});
    view.setProperty("consoleExpanded", true);
    view.setProperty("showingDetails", true);
    view.setProperty("isTargeted", true);
    window->grabWindow();
    EXPECT_EQ(warnings(), QStringList());
}

TEST_F(MainWindowTest, HasNoFocusInASizeFieldWhenItAppears) {
    EXPECT_EQ(view.focusedField(), std::nullopt);
    EXPECT_FALSE(item("width")->property("editing").toBool());
}

TEST_F(MainWindowTest, ShowsOnlyThePlusButtonWithoutFiles) {
    EXPECT_TRUE(item("plus")->isVisible());
    EXPECT_FALSE(item("files")->isVisible());
}

TEST_F(MainWindowTest, HasThePlusButtonInTheMiddleOfTheFiles) {
    const auto* plus = item("plus");
    const auto* area = plus->parentItem();
    EXPECT_NEAR(plus->x() + plus->width() / 2, area->width() / 2, 1);
    EXPECT_NEAR(plus->y() + plus->height() / 2, area->height() / 2, 1);
}

TEST_F(MainWindowTest, CannotConvertWithoutFiles) {
    EXPECT_FALSE(item("convert")->isEnabled());
}

TEST_F(MainWindowTest, HasNoPlusButtonWithFiles) {
    queue({"a.pdf"});
    EXPECT_FALSE(item("plus")->isVisible());
    EXPECT_TRUE(item("files")->isVisible());
}

TEST_F(MainWindowTest, CannotConvertInNativeModeWithoutGhostscript) {
    queue({"a.pdf"});
    view.setUseGhostscript(true);
    EXPECT_FALSE(item("convert")->isEnabled());
}

TEST_F(MainWindowTest, CanConvertInRasterModeWithoutGhostscript) {
    queue({"a.pdf"});
    view.setUseGhostscript(true);
    auto* picker = item("mode");
    QTest::mouseClick(window.get(), Qt::LeftButton, {},
                      picker->mapToScene(QPointF(picker->width() - 20, 10)).toPoint());
    EXPECT_FALSE(view.useGhostscript());
    EXPECT_TRUE(item("convert")->isEnabled());
}

TEST_F(MainWindowTest, SaysInItsDetailsThatGhostscriptIsMissing) {
    view.setProperty("showingDetails", true);
    EXPECT_EQ(item("ghostscriptState")->property("text"), "Ghostscript not found");
    EXPECT_EQ(item("ghostscriptDetail")->property("text"),
              "Install with Homebrew: brew install ghostscript");
}

TEST_F(MainWindowTest, SaysThatThereAreNoMessagesUntilTheFirst) {
    view.setProperty("consoleExpanded", true);
    EXPECT_TRUE(runUntil([&] { return item("placeholder")->isVisible(); }));
    view.logLines()->append(QString("first"));
    EXPECT_FALSE(item("placeholder")->isVisible());
}

TEST_F(MainWindowTest, OpensItsConsoleByItsButton) {
    click(item("console"));
    EXPECT_TRUE(view.property("consoleExpanded").toBool());
    EXPECT_TRUE(runUntil([&] { return item("log")->isVisible() && item("log")->opacity() == 1; }));
}

TEST_F(MainWindowTest, HasNoDividerBesideTheSelectedRow) {
    queue({"a.pdf", "b.pdf", "c.pdf", "d.pdf"});
    const auto dividers = [&] {
        std::vector<bool> shown;
        for (int number = 0; number < 4; ++number)
            shown.push_back(inRow(number, "divider")->property("color").value<QColor>().alpha() >
                            0);
        return shown;
    };
    EXPECT_EQ(dividers(), (std::vector{true, true, false, false}));
    view.selectJob(view.jobs()->at(1).id);
    EXPECT_EQ(dividers(), (std::vector{false, false, true, false}));
}

TEST_F(MainWindowTest, ShortensALongNameInTheMiddle) {
    queue({std::string(200, 'a') + ".pdf"});
    const auto* name = inRow(0, "name");
    EXPECT_TRUE(runUntil([&] { return name->property("truncated").toBool(); }));
    EXPECT_EQ(name->property("elide").toInt(), Qt::ElideMiddle);
}

TEST_F(MainWindowTest, MarksASizeThatIsNoLongerTheFiles) {
    queue({"a 105x148mm+3.pdf"});
    view.setWidthBinding("107");
    EXPECT_TRUE(inRow(0, "width")->property("edited").toBool());
    EXPECT_FALSE(inRow(0, "height")->property("edited").toBool());
}

TEST_F(MainWindowTest, SelectsAClickedRow) {
    queue({"a.pdf", "b.pdf"});
    click(row(0));
    EXPECT_EQ(selectedName(), "a.pdf");
}

TEST_F(MainWindowTest, RemovesARowByItsButton) {
    queue({"a.pdf", "b.pdf"});
    click(inRow(0, "remove"));
    EXPECT_EQ(names(), QStringList("b.pdf"));
}

// Keys.

TEST_F(MainWindowTest, WritesTypedSizesToTheSelectedFile) {
    queue({"a 105x148mm+3.pdf"});
    auto* field = item("width")->findChild<QQuickItem*>("field");
    field->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_9);
    press(Qt::Key_8);
    EXPECT_EQ(view.jobs()->at(0).widthMM, "98");
}

TEST_F(MainWindowTest, KnowsWhichFieldIsBeingTypedIn) {
    item("height")->findChild<QQuickItem*>("field")->forceActiveFocus(Qt::TabFocusReason);
    EXPECT_EQ(view.focusedField(), DimensionField::Value::Height);
}

TEST_F(MainWindowTest, TakesTheFocusFromAFieldByReturnAndConvertsNothing) {
    queue({"a.pdf"});
    item("width")->findChild<QQuickItem*>("field")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    EXPECT_EQ(view.focusedField(), std::nullopt);
    EXPECT_FALSE(item("width")->property("editing").toBool());
    EXPECT_FALSE(view.isConverting());
}

TEST_F(MainWindowTest, MovesTheSelectionByKeys) {
    queue({"a.pdf", "b.pdf", "c.pdf"});
    press(Qt::Key_Up);
    EXPECT_EQ(selectedName(), "b.pdf");
    press(Qt::Key_Down);
    EXPECT_EQ(selectedName(), "c.pdf");
    press(Qt::Key_Down);
    EXPECT_EQ(selectedName(), "c.pdf");
}

TEST_F(MainWindowTest, RemovesTheSelectedRowByDelete) {
    queue({"a.pdf", "b.pdf"});
    press(Qt::Key_Delete);
    EXPECT_EQ(names(), QStringList("a.pdf"));
}

TEST_F(MainWindowTest, KeepsTheRowWhenDeleteIsPressedInAField) {
    queue({"a.pdf"});
    item("width")->findChild<QQuickItem*>("field")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Delete);
    EXPECT_EQ(names(), QStringList("a.pdf"));
}

TEST_F(MainWindowTest, GoesThroughAllControlsByTab) {
    ghostscript = Ghostscript::Installation{"/usr/bin/gs"};
    queue({"a.pdf"});
    std::vector<std::string> visited;
    for (int presses = 0; presses < 14; ++presses) {
        press(Qt::Key_Tab);
        auto* focused = window->activeFocusItem();
        auto name = focused->objectName();
        if (name == "field")
            name = focused->parentItem()->objectName();
        visited.push_back(name.isEmpty() ? focused->property("text").toString().toStdString()
                                         : name.toStdString());
    }
    EXPECT_EQ(visited,
              (std::vector<std::string>{"files", "remove", "width", "height", "bleed", "convert",
                                        "includesBleed", "Raster", "console", "details",
                                        "applicationMenu", "minimize", "maximize", "close"}));
}

TEST_F(MainWindowTest, OpensItsMenuAtTheFirstEntryByAKey) {
    item("applicationMenu")->forceActiveFocus(Qt::TabFocusReason);
    press(Qt::Key_Return);
    const auto* menu = window->findChild<QObject*>("menu");
    EXPECT_EQ(menu->property("currentIndex"), 0);
}

TEST_F(MainWindowTest, OpensItsMenuAtNoEntryByAClick) {
    click(item("applicationMenu"));
    const auto* menu = window->findChild<QObject*>("menu");
    ASSERT_TRUE(menu->property("visible").toBool());
    EXPECT_EQ(menu->property("currentIndex"), -1);
}

// What the updater says.

/// The window with a posing updater, which has something to say that nobody asked for.
class WindowWithUpdater : public MainWindowTest {
public:
    ~WindowWithUpdater() override { window.reset(); }

protected:
    WindowWithUpdater() {
        QQmlComponent component(&engine);
        component.setData(R"(
            import QtQml
            QtObject {
                property bool showing: false
                property bool askedFor: false
                property string title: "A new version of Bleedwise is available"
                property string message
                property string notes
                property var actions: [{ name: "install", text: "Install", prominent: true }]
                property bool busy: false
                property real progress
                property string progressText
                signal panelChanged
                function dismiss() { showing = false }
            })",
                          QUrl());
        updater.reset(component.create());
        EXPECT_NE(updater, nullptr) << component.errorString().toStdString();
        window->setProperty("updater", QVariant::fromValue(updater.get()));
    }

    bool isShowing() const { return updater->property("showing").toBool(); }
    QObject* panel() { return window->findChild<QObject*>("updatePanel"); }

    void say() {
        updater->setProperty("showing", true);
        EXPECT_TRUE(runUntil([this] { return panel() && panel()->property("opened").toBool(); }));
    }

    std::unique_ptr<QObject> updater;
};

TEST_F(WindowWithUpdater, LeavesTheFocusWhereItIs) {
    item("console")->forceActiveFocus(Qt::TabFocusReason);
    const QQuickItem* before = window->activeFocusItem();
    say();
    EXPECT_EQ(window->activeFocusItem(), before);
}

TEST_F(WindowWithUpdater, HoldsItsPanelUntilTheAboutDialogIsClosed) {
    QMetaObject::invokeMethod(item("strip"), "aboutRequested");
    EXPECT_TRUE(runUntil([this] { return window->activeFocusItem()->objectName() == "close"; }));
    updater->setProperty("showing", true);
    EXPECT_EQ(panel(), nullptr);
    press(Qt::Key_Escape);
    EXPECT_TRUE(runUntil([this] { return panel() != nullptr; }));
    EXPECT_TRUE(isShowing());
}

TEST_F(WindowWithUpdater, PutsItsPanelAwayByEscapeWhereverTheFocusIs) {
    for (const char* name : {"applicationMenu", "console", "bleed"}) {
        say();
        item(name)->forceActiveFocus(Qt::TabFocusReason);
        press(Qt::Key_Escape);
        EXPECT_FALSE(isShowing()) << name;
    }
}

// Files that come in.

QFileDialog* openDialog() {
    for (auto* widget : QApplication::topLevelWidgets()) {
        auto* dialog = qobject_cast<QFileDialog*>(widget);
        if (dialog && dialog->isVisible())
            return dialog;
    }
    return nullptr;
}

class IntakeTest : public MainWindowTest {
protected:
    /// A drag of files from elsewhere that enters the window. Whether the window would take it.
    bool drag(const std::vector<path>& files) {
        QList<QUrl> urls;
        for (const auto& file : files)
            urls.append(QUrl::fromLocalFile(QString::fromStdString(file.native())));
        mime.setUrls(urls);
        QDragEnterEvent enter(place, Qt::CopyAction, &mime, Qt::LeftButton, {});
        QCoreApplication::sendEvent(window.get(), &enter);
        return enter.isAccepted();
    }

    /// Whether the window took the drop.
    bool drop(const std::vector<path>& files) {
        drag(files);
        QDropEvent event(place, Qt::CopyAction, &mime, Qt::LeftButton, {});
        event.setAccepted(false);
        QCoreApplication::sendEvent(window.get(), &event);
        return event.isAccepted();
    }

    /// Confirms the open dialog with these files.
    void choose(const std::vector<path>& files) {
        ASSERT_TRUE(runUntil([] { return openDialog() != nullptr; }));
        QString text;
        for (const auto& file : files)
            text += "\"" + QString::fromStdString(file.native()) + "\" ";
        openDialog()->findChild<QLineEdit*>("fileNameEdit")->setText(text);
        QMetaObject::invokeMethod(openDialog(), "accept");
    }

    const QPoint place{300, 200};
    QMimeData mime;
};

TEST_F(IntakeTest, ShowsThatFilesCanBeDropped) {
    EXPECT_TRUE(drag({pdf("a.pdf")}));
    EXPECT_TRUE(view.property("isTargeted").toBool());
    EXPECT_TRUE(item("dropHighlight")->property("shown").toBool());
}

TEST_F(IntakeTest, ShowsNothingMoreWhenTheDragLeaves) {
    drag({pdf("a.pdf")});
    QDragLeaveEvent leave;
    QCoreApplication::sendEvent(window.get(), &leave);
    EXPECT_FALSE(view.property("isTargeted").toBool());
}

TEST_F(IntakeTest, TakesNoDragWithoutFiles) {
    mime.setText("file:///home/anna/a.pdf");
    QDragEnterEvent enter(place, Qt::CopyAction, &mime, Qt::LeftButton, {});
    QCoreApplication::sendEvent(window.get(), &enter);
    EXPECT_FALSE(view.property("isTargeted").toBool());
}

TEST_F(IntakeTest, AddsAllDroppedFilesAndSelectsTheLast) {
    EXPECT_TRUE(drop({pdf("c.pdf"), pdf("a.pdf"), pdf("b.pdf")}));
    ASSERT_TRUE(runUntil([&] { return view.jobCount() == 3; }));
    EXPECT_EQ(names(), QStringList({"c.pdf", "a.pdf", "b.pdf"}));
    EXPECT_EQ(selectedName(), "b.pdf");
}

TEST_F(IntakeTest, AddsADroppedFileWhoseExtensionIsUpperCase) {
    drop({pdf("a.PDF")});
    EXPECT_TRUE(runUntil([&] { return names() == QStringList("a.PDF"); }));
}

TEST_F(IntakeTest, PassesOverDroppedFilesThatAreNoPDFs) {
    drop({folder.file("notes.txt", "")});
    runOnce();
    EXPECT_EQ(view.jobCount(), 0);
    EXPECT_EQ(status(), "");
}

TEST_F(IntakeTest, PassesOverDroppedFolders) {
    drop({folder.path()});
    runOnce();
    EXPECT_EQ(view.jobCount(), 0);
    EXPECT_EQ(status(), "");
}

TEST_F(IntakeTest, SaysThatADroppedFileIsListedAlready) {
    queue({"a.pdf"});
    drop({folder / "a.pdf"});
    EXPECT_TRUE(runUntil([&] { return status() == "Those PDFs are already in the list."; }));
    EXPECT_EQ(view.jobCount(), 1);
}

TEST_F(IntakeTest, OpensTheChooserByThePlusButton) {
    click(item("plus"));
    EXPECT_TRUE(runUntil([] { return openDialog() != nullptr; }));
}

TEST_F(IntakeTest, OpensTheChooserByKeys) {
    press(Qt::Key_O, Qt::ControlModifier);
    EXPECT_TRUE(runUntil([] { return openDialog() != nullptr; }));
}

TEST_F(IntakeTest, AddsChosenFilesSortedByName) {
    click(item("plus"));
    choose({pdf("b.pdf"), pdf("a.pdf")});
    EXPECT_EQ(names(), QStringList({"a.pdf", "b.pdf"}));
    EXPECT_EQ(selectedName(), "a.pdf");
}

TEST_F(IntakeTest, ChangesNothingWhenTheChooserIsCancelled) {
    queue({"a.pdf"});
    view.addPDFs(std::vector{folder / "a.pdf"});
    press(Qt::Key_O, Qt::ControlModifier);
    ASSERT_TRUE(runUntil([] { return openDialog() != nullptr; }));
    openDialog()->reject();
    EXPECT_EQ(names(), QStringList("a.pdf"));
    EXPECT_EQ(status(), "Those PDFs are already in the list.");
}

// A run.

class RunTest : public IntakeTest {
protected:
    RunTest() : barrier_((folder / "barrier").native()) {
        EXPECT_EQ(mkfifo(barrier_.c_str(), S_IRUSR | S_IWUSR), 0);
        // Stops at b.pdf until the test lets it go on, and fails at bad.pdf.
        program_.emplace("case \"$*\" in */b.pdf*) read -r line < '" + barrier_ +
                         "';; */bad.pdf*) exit 1;; esac");
        ghostscript = Ghostscript::Installation{program_->url()};
        view.appeared();
        view.setUseGhostscript(true);
        runOnce();
    }

    void startAndStopAtTheSecond() {
        queue({"a.pdf", "b.pdf", "c.pdf", "d.pdf", "e.pdf"});
        click(item("convert"));
        ASSERT_TRUE(runUntil([&] { return view.currentJobNumber() == 2; }));
    }

    void letGoOn() {
        std::ofstream(barrier_) << "go on\n";
        EXPECT_TRUE(runUntil([&] { return !view.isConverting(); }));
    }

    /// A whole run.
    void convert() {
        click(item("convert"));
        EXPECT_TRUE(runUntil([&] { return !view.isConverting(); }));
    }

private:
    std::string barrier_;
    std::optional<FakeGhostscript> program_;
};

TEST_F(RunTest, SaysWhichFileIsConverted) {
    startAndStopAtTheSecond();
    EXPECT_EQ(status(), "Converting 2 of 5");
    letGoOn();
}

TEST_F(RunTest, DisablesRemovingAndConverting) {
    startAndStopAtTheSecond();
    EXPECT_FALSE(inRow(0, "remove")->isEnabled());
    EXPECT_FALSE(item("convert")->isEnabled());
    EXPECT_FALSE(item("plus")->isEnabled());
    letGoOn();
    EXPECT_TRUE(inRow(0, "remove")->isEnabled());
    EXPECT_TRUE(item("convert")->isEnabled());
}

TEST_F(RunTest, RefusesDroppedFiles) {
    startAndStopAtTheSecond();
    EXPECT_FALSE(drop({pdf("f.pdf")}));
    EXPECT_FALSE(view.property("isTargeted").toBool());
    letGoOn();
    runOnce();
    EXPECT_EQ(view.jobCount(), 5);
}

TEST_F(RunTest, LeavesTheListAloneUnderTheKeys) {
    startAndStopAtTheSecond();
    press(Qt::Key_Up);
    press(Qt::Key_Delete);
    press(Qt::Key_O, Qt::ControlModifier);
    runOnce();
    EXPECT_EQ(view.jobCount(), 5);
    EXPECT_EQ(selectedName(), "e.pdf");
    EXPECT_EQ(openDialog(), nullptr);
    letGoOn();
}

TEST_F(RunTest, LeavesTheSelectionAloneUnderAClick) {
    startAndStopAtTheSecond();
    click(row(0));
    EXPECT_EQ(selectedName(), "e.pdf");
    letGoOn();
}

TEST_F(RunTest, AsksBeforeTheWindowCloses) {
    startAndStopAtTheSecond();
    window->close();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(view.showingStopQuestion());
    view.continueBatch();
    letGoOn();
}

TEST_F(RunTest, GoesOnWhenTheQuestionIsDismissed) {
    startAndStopAtTheSecond();
    window->close();
    runOnce();
    press(Qt::Key_Escape);
    EXPECT_TRUE(runUntil([&] { return !view.showingStopQuestion(); }));
    EXPECT_TRUE(view.isConverting());
    letGoOn();
    EXPECT_EQ(status(), "Completed");
}

TEST_F(RunTest, GoesOnByDefaultWhenAsked) {
    startAndStopAtTheSecond();
    window->close();
    runOnce();
    press(Qt::Key_Return);
    EXPECT_TRUE(runUntil([&] { return !view.showingStopQuestion(); }));
    EXPECT_TRUE(view.isConverting());
    letGoOn();
}

TEST_F(RunTest, StopsAndClosesWhenTheUserSaysSo) {
    startAndStopAtTheSecond();
    window->close();
    runOnce();
    click(item("stop"));
    EXPECT_TRUE(runUntil([&] { return !window->isVisible(); }));
    EXPECT_FALSE(view.isConverting());
}

TEST_F(RunTest, SaysThatAllFilesAreCompleted) {
    queue({"a.pdf", "c.pdf"});
    convert();
    EXPECT_EQ(status(), "Completed");
    EXPECT_TRUE(inRow(0, "reveal")->isVisible());
}

TEST_F(RunTest, SaysThatAFileNeedsAttention) {
    queue({"a.pdf", "bad.pdf"});
    convert();
    EXPECT_EQ(status(), "Some files need attention");
    EXPECT_TRUE(inRow(1, "error")->isVisible());
    EXPECT_FALSE(inRow(1, "summary")->isVisible());
}

TEST_F(RunTest, ClosesTheWindowAtOnceAfterARun) {
    queue({"a.pdf"});
    convert();
    window->close();
    EXPECT_TRUE(runUntil([&] { return !window->isVisible(); }));
}

} // namespace
} // namespace Bleedwise
