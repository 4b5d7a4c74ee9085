#include "ContentView/FileManager.h"

#include "support/SessionBus.h"
#include "support/WindowFixture.h"

#include <string>

#include <QDBusConnection>
#include <QDesktopServices>
#include <QObject>
#include <QStringList>
#include <QUrl>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::SessionBus;

/// A file manager on the bus.
class FakeFileManager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    explicit FakeFileManager(QDBusConnection bus) {
        bus.registerObject("/org/freedesktop/FileManager1", this, QDBusConnection::ExportAllSlots);
        bus.registerService("org.freedesktop.FileManager1");
    }

    QStringList shownItems;

public slots:
    void ShowItems(const QStringList& uris, const QString& /*startupID*/) { shownItems += uris; }
};

/// What opens folders on a desktop without such a file manager.
class FolderOpener : public QObject {
    Q_OBJECT

public:
    FolderOpener() { QDesktopServices::setUrlHandler("file", this, "open"); }
    ~FolderOpener() override { QDesktopServices::unsetUrlHandler("file"); }

    QList<QUrl> openedURLs;

public slots:
    void open(const QUrl& url) { openedURLs.append(url); }
};

class FileManagerTest : public Testing::WindowFixture {
protected:
    SessionBus bus;
    FolderOpener opener;
};

TEST_F(FileManagerTest, IsAskedToShowTheFileInItsFolder) {
    FakeFileManager manager(bus.connect());
    FileManager::reveal("/home/anna/poster.pdf", bus.connect());
    ASSERT_TRUE(runUntil([&] { return !manager.shownItems.isEmpty(); }));
    EXPECT_EQ(manager.shownItems, QStringList("file:///home/anna/poster.pdf"));
}

TEST_F(FileManagerTest, GetsEveryByteOfTheName) {
    FakeFileManager manager(bus.connect());
    FileManager::reveal("/home/anna/50 % \"#?\xFF.pdf", bus.connect());
    ASSERT_TRUE(runUntil([&] { return !manager.shownItems.isEmpty(); }));
    EXPECT_EQ(manager.shownItems, QStringList("file:///home/anna/50%20%25%20%22%23%3F%FF.pdf"));
}

TEST_F(FileManagerTest, LeavesTheFolderClosedWhenItShowsTheFile) {
    FakeFileManager manager(bus.connect());
    FileManager::reveal("/home/anna/poster.pdf", bus.connect());
    ASSERT_TRUE(runUntil([&] { return !manager.shownItems.isEmpty(); }));
    runOnce();
    EXPECT_TRUE(opener.openedURLs.isEmpty());
}

TEST_F(FileManagerTest, IsReplacedByOpeningTheFolderWhereThereIsNone) {
    FileManager::reveal("/home/anna/my art/poster.pdf", bus.connect());
    ASSERT_TRUE(runUntil([&] { return !opener.openedURLs.isEmpty(); }));
    EXPECT_EQ(opener.openedURLs, QList{QUrl("file:///home/anna/my%20art")});
}

TEST_F(FileManagerTest, IsReplacedByOpeningTheFolderWhereThereIsNoBus) {
    FileManager::reveal("/home/anna/poster.pdf", SessionBus::missing());
    ASSERT_TRUE(runUntil([&] { return !opener.openedURLs.isEmpty(); }));
    EXPECT_EQ(opener.openedURLs, QList{QUrl("file:///home/anna")});
}

} // namespace
} // namespace Bleedwise

#include "FileManagerTest.moc"
