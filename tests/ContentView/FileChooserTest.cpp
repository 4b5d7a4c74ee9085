#include "ContentView/FileChooser.h"

#include "support/SessionBus.h"
#include "support/TemporaryFolder.h"
#include "support/WindowFixture.h"

#include <optional>
#include <string>

#include <QApplication>
#include <QDBusArgument>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QFileDialog>
#include <QLineEdit>
#include <QVariantMap>
#include <QWindow>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::SessionBus;
using Testing::TemporaryFolder;

/// The desktop portal's file dialog.
class FakePortal : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.FileChooser")

public:
    explicit FakePortal(QDBusConnection bus) : bus_(std::move(bus)) {
        bus_.registerObject("/org/freedesktop/portal/desktop", this,
                            QDBusConnection::ExportAllSlots);
        bus_.registerService("org.freedesktop.portal.Desktop");
    }

    /// What the dialog was opened with; null before.
    QVariantMap options;
    bool refuses = false;

    bool isOpen() const { return !request_.isEmpty(); }

    void answer(uint response, const QStringList& uris = {}) {
        auto signal =
            QDBusMessage::createSignal(request_, "org.freedesktop.portal.Request", "Response");
        signal << response << QVariantMap{{"uris", uris}};
        bus_.send(signal);
    }

public slots:
    QDBusObjectPath OpenFile(const QString& /*parentWindow*/, const QString& /*title*/,
                             const QVariantMap& openOptions) {
        if (refuses) {
            sendErrorReply(QDBusError::Failed, "no dialog here");
            return {};
        }
        options = openOptions;
        const auto sender = message().service().mid(1).replace('.', '_');
        request_ = "/org/freedesktop/portal/desktop/request/" + sender + "/" +
                   options.value("handle_token").toString();
        return QDBusObjectPath(request_);
    }

private:
    QDBusConnection bus_;
    QString request_;
};

QFileDialog* openDialog() {
    for (auto* widget : QApplication::topLevelWidgets()) {
        auto* dialog = qobject_cast<QFileDialog*>(widget);
        if (dialog && dialog->isVisible())
            return dialog;
    }
    return nullptr;
}

class FileChooserTest : public Testing::WindowFixture {
protected:
    FileChooserTest() { window.create(); }

    /// Opens a chooser and notes what it says.
    void open(FileChooser& chooser) {
        QObject::connect(&chooser, &FileChooser::chosen,
                         [this](const QList<QUrl>& urls) { chosen = urls; });
        chooser.open(&window);
    }

    SessionBus bus;
    TemporaryFolder folder;
    QWindow window;
    /// Absent until files have been chosen.
    std::optional<QList<QUrl>> chosen;
};

using PortalChooserTest = FileChooserTest;

TEST_F(PortalChooserTest, AsksForSeveralFiles) {
    FakePortal portal(bus.connect());
    FileChooser chooser(bus.connect(), nullptr);
    open(chooser);
    ASSERT_TRUE(runUntil([&] { return portal.isOpen(); }));
    EXPECT_TRUE(portal.options.value("multiple").toBool());
}

TEST_F(PortalChooserTest, StandsInTheWayOfTheWindow) {
    FakePortal portal(bus.connect());
    FileChooser chooser(bus.connect(), nullptr);
    open(chooser);
    ASSERT_TRUE(runUntil([&] { return portal.isOpen(); }));
    EXPECT_TRUE(portal.options.value("modal").toBool());
}

TEST_F(PortalChooserTest, OffersOnlyPDFs) {
    FakePortal portal(bus.connect());
    FileChooser chooser(bus.connect(), nullptr);
    open(chooser);
    ASSERT_TRUE(runUntil([&] { return portal.isOpen(); }));
    const auto filters = portal.options.value("filters").value<QDBusArgument>();
    EXPECT_EQ(filters.currentSignature(), "a(sa(us))");
}

TEST_F(PortalChooserTest, GivesTheChosenFilesInTheirOrder) {
    FakePortal portal(bus.connect());
    FileChooser chooser(bus.connect(), nullptr);
    open(chooser);
    ASSERT_TRUE(runUntil([&] { return portal.isOpen(); }));
    portal.answer(0, {"file:///art/b%20c.pdf", "file:///art/%FF.pdf"});
    ASSERT_TRUE(runUntil([&] { return !chooser.isOpen(); }));
    EXPECT_EQ(chosen, (QList<QUrl>{QUrl("file:///art/b%20c.pdf"), QUrl("file:///art/%FF.pdf")}));
}

TEST_F(PortalChooserTest, SaysNothingWhenItIsCancelled) {
    FakePortal portal(bus.connect());
    FileChooser chooser(bus.connect(), nullptr);
    open(chooser);
    ASSERT_TRUE(runUntil([&] { return portal.isOpen(); }));
    portal.answer(1);
    ASSERT_TRUE(runUntil([&] { return !chooser.isOpen(); }));
    EXPECT_FALSE(chosen);
}

TEST_F(PortalChooserTest, OpensAFreshDialogForEachUse) {
    FakePortal portal(bus.connect());
    FileChooser chooser(bus.connect(), nullptr);
    open(chooser);
    ASSERT_TRUE(runUntil([&] { return portal.isOpen(); }));
    const auto first = portal.options.value("handle_token");
    portal.answer(1);
    ASSERT_TRUE(runUntil([&] { return !chooser.isOpen(); }));
    chooser.open(&window);
    EXPECT_TRUE(runUntil([&] { return portal.options.value("handle_token") != first; }));
}

TEST_F(PortalChooserTest, IsReplacedByQtsDialogWhenItRefuses) {
    FakePortal portal(bus.connect());
    portal.refuses = true;
    FileChooser chooser(bus.connect(), nullptr);
    open(chooser);
    EXPECT_TRUE(runUntil([] { return openDialog() != nullptr; }));
}

TEST_F(FileChooserTest, OpensQtsDialogWithoutAPortal) {
    FileChooser chooser(bus.connect(), nullptr);
    open(chooser);
    EXPECT_TRUE(runUntil([] { return openDialog() != nullptr; }));
}

class QtChooserTest : public FileChooserTest {
protected:
    /// Confirms the dialog with this text in its line for names.
    void enter(const QString& names) {
        auto* dialog = openDialog();
        ASSERT_NE(dialog, nullptr);
        dialog->findChild<QLineEdit*>("fileNameEdit")->setText(names);
        QMetaObject::invokeMethod(dialog, "accept");
    }

    FileChooser chooser{SessionBus::missing(), nullptr};
};

TEST_F(QtChooserTest, GivesTheChosenFiles) {
    const auto one = QString::fromStdString(folder.file("a 1.pdf", "").native());
    const auto other = QString::fromStdString(folder.file("b.PDF", "").native());
    open(chooser);
    enter(QString("\"%1\" \"%2\"").arg(one, other));
    EXPECT_EQ(chosen, (QList<QUrl>{QUrl::fromLocalFile(one), QUrl::fromLocalFile(other)}));
}

TEST_F(QtChooserTest, SaysNothingWhenItIsCancelled) {
    open(chooser);
    ASSERT_NE(openDialog(), nullptr);
    openDialog()->reject();
    EXPECT_FALSE(chosen);
    EXPECT_FALSE(chooser.isOpen());
}

TEST_F(QtChooserTest, OffersOnlyPDFs) {
    open(chooser);
    ASSERT_NE(openDialog(), nullptr);
    EXPECT_EQ(openDialog()->nameFilters(), QStringList("PDF files (*.pdf *.PDF *.Pdf)"));
}

TEST_F(QtChooserTest, LetsNoFolderBeChosen) {
    open(chooser);
    ASSERT_NE(openDialog(), nullptr);
    EXPECT_EQ(openDialog()->fileMode(), QFileDialog::ExistingFiles);
}

TEST_F(QtChooserTest, StandsAboveTheWindowAndInItsWay) {
    open(chooser);
    ASSERT_NE(openDialog(), nullptr);
    EXPECT_EQ(openDialog()->windowHandle()->transientParent(), &window);
    EXPECT_NE(openDialog()->windowModality(), Qt::NonModal);
}

TEST_F(QtChooserTest, IsOpenOnce) {
    open(chooser);
    auto* first = openDialog();
    chooser.open(&window);
    EXPECT_EQ(openDialog(), first);
}

TEST_F(QtChooserTest, IsDarkInADarkWindow) {
    chooser.setProperty("dark", true);
    open(chooser);
    ASSERT_NE(openDialog(), nullptr);
    EXPECT_LT(openDialog()->palette().color(QPalette::Window).lightness(), 128);
}

} // namespace
} // namespace Bleedwise

#include "FileChooserTest.moc"
