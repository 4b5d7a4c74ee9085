#include "BleedwiseApp/updater/Updater.h"

#include "ContentView/SettingsStore.h"
#include "support/Authority.h"
#include "support/EventLoop.h"
#include "support/HTTPSServer.h"
#include "support/ScopedVariable.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QDateTime>
#include <QStringList>
#include <QVariantMap>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::contents;
using Testing::entryCount;

const QString checkingTitle = "Checking for updates…";
const QString availableTitle = "A new version of Bleedwise is available";
const QString upToDateTitle = "You’re up to date";
const QString failedTitle = "The check for updates failed";
const QString permissionTitle = "Check for updates automatically?";
const QString readyTitle = "Version 2.0 is ready";
const QString cannotInstallTitle = "The update cannot be installed";
constexpr qint64 dayInSeconds = 86'400;

/// An updater of version 1.0 with a server of its own, which offers 2.0.
class UpdaterTest : public testing::Test {
protected:
    UpdaterTest() {
        offer("2.0");
        server.serve("/bleedwise.deb", {.body = package});
        makeUpdater();
    }

    void makeUpdater() {
        updater = std::make_unique<Updater>(
            Updater::Surroundings{.feedURL = server.url("/feed.xml"),
                                  .publicKey = QString::fromStdString(signer.publicKey()),
                                  .installedVersion = "1.0",
                                  .systemVersion = "6.1.0",
                                  .settingsDomain = "test",
                                  .downloadFolder = QString::fromStdString(downloads.native()),
                                  .network = {.tls = [this] { return authority.trust(); },
                                              .isOnline = [] { return true; }},
                                  .now = [this] { return now; },
                                  .open =
                                      [this](const QUrl& url, const std::function<void()>& failed) {
                                          opened.push_back(url);
                                          if (!canOpen)
                                              QMetaObject::invokeMethod(
                                                  &receiver, [failed] { failed(); },
                                                  Qt::QueuedConnection);
                                      }},
            Updater::Starting::onDemand);
    }

    /// A start of the program.
    void startProgram() {
        makeUpdater();
        updater->start();
    }

    void offer(const std::string& version, const std::string& parts = "") {
        signature = signer.signature(package);
        serveFeed("<item><sparkle:version>" + version + "</sparkle:version>" + parts +
                  "<enclosure url=\"/bleedwise.deb\" sparkle:os=\"linux\" length=\"" +
                  std::to_string(package.size()) + "\" sparkle:edSignature=\"" + signature +
                  "\"/></item>");
    }

    void serveFeed(const std::string& items) {
        server.serve("/feed.xml",
                     {.body = "<rss xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/"
                              "sparkle\"><channel>" +
                              items + "</channel></rss>"});
    }

    void expectTitle(const QString& title) {
        EXPECT_TRUE(loop.runUntil([&] { return updater->title() == title; }))
            << updater->title().toStdString() << ": " << updater->message().toStdString();
    }

    void check(const QString& title) {
        updater->checkForUpdates();
        expectTitle(title);
    }

    void agreeToChecks() { SettingsStore("test").setBoolean("SUEnableAutomaticChecks", true); }

    /// A check by itself that ends, with a panel or without one.
    void checkByItself() {
        agreeToChecks();
        startProgram();
        ASSERT_TRUE(loop.runUntil([this] { return server.requests().size() == 1; }));
        settle();
    }

    /// Has everything that is under way end: then a check is a new one.
    void settle() {
        const std::size_t before = server.requests().size();
        server.serve("/settled", {.body = ""});
        QNetworkAccessManager network;
        bool ended = false;
        const SecureDownload last(
            network, {.tls = [this] { return authority.trust(); }, .isOnline = [] { return true; }},
            {server.url("/settled"), "server", 1, std::chrono::minutes(1)},
            {[](QByteArrayView) { return true; }, [&](const QString&) { ended = true; }});
        ASSERT_TRUE(loop.runUntil([&] { return ended && server.requests().size() > before; }));
        loop.runOnce();
    }

    QStringList actionTexts() const {
        QStringList texts;
        for (const QVariant& action : updater->actions())
            texts.append(action.toMap().value("text").toString());
        return texts;
    }

    SettingsStore settings() const { return SettingsStore("test"); }

    Testing::EventLoop loop;
    const Testing::TemporaryFolder folder;
    Testing::ScopedVariable configuration{"XDG_CONFIG_HOME", (folder / "configuration").native()};
    Testing::Authority authority;
    Testing::HTTPSServer server{authority.certificate()};
    const Testing::SigningKey signer;
    std::string signature;
    const std::string package = std::string(300'000, 'p');
    const std::filesystem::path downloads = folder / "Downloads";
    QDateTime now = QDateTime::fromString("2026-03-01T12:00:00Z", Qt::ISODate);
    bool canOpen = true;
    std::vector<QUrl> opened;
    QObject receiver;
    std::unique_ptr<Updater> updater;
};

// The menu's command.

TEST_F(UpdaterTest, ShowsThatItChecks) {
    updater->checkForUpdates();
    EXPECT_EQ(updater->title(), checkingTitle);
    EXPECT_TRUE(updater->isBusy());
    EXPECT_LT(updater->progress(), 0);
    EXPECT_EQ(actionTexts(), QStringList{"Cancel"});
}

TEST_F(UpdaterTest, ShowsNothingAtFirst) {
    EXPECT_FALSE(updater->isShowing());
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(UpdaterTest, OffersANewerVersion) {
    check(availableTitle);
    EXPECT_EQ(updater->message(), "You have version 1.0, and version 2.0 is out.");
    EXPECT_EQ(actionTexts(),
              QStringList({"Remind Me Later", "Skip This Version", "Install Update"}));
    EXPECT_TRUE(updater->actions().back().toMap().value("prominent").toBool());
}

TEST_F(UpdaterTest, CallsTheNewVersionByItsShortName) {
    offer("200", "<sparkle:shortVersionString>2.0 Spring</sparkle:shortVersionString>");
    check(availableTitle);
    EXPECT_EQ(updater->message(), "You have version 1.0, and version 2.0 Spring is out.");
}

TEST_F(UpdaterTest, SaysThatTheVersionIsUpToDate) {
    offer("1.0");
    check(upToDateTitle);
    EXPECT_EQ(updater->message(), "Bleedwise 1.0 is the newest version.");
}

TEST_F(UpdaterTest, SaysThatTheVersionIsUpToDateWhenThereIsNoneForThisSystem) {
    serveFeed("<item><sparkle:version>9</sparkle:version><enclosure url=\"/a.dmg\"/></item>");
    check(upToDateTitle);
}

TEST_F(UpdaterTest, OffersNoDowngrade) {
    offer("0.9");
    check(upToDateTitle);
    EXPECT_EQ(updater->message(),
              "Your version of Bleedwise, 1.0, is newer than the newest one on offer, 0.9.");
}

TEST_F(UpdaterTest, ShowsTheNotesAsTextWithLinks) {
    offer("2.0", "<description><![CDATA[<p onclick='x'>See <a href='https://a.test/'>this</a></p>"
                 "<script>x</script>]]></description>");
    check(availableTitle);
    EXPECT_EQ(updater->notes(), "<p>See <a href=\"https://a.test/\">this</a></p>");
}

TEST_F(UpdaterTest, ShowsPlainNotesAsTheyAre) {
    offer("2.0", "<description sparkle:format=\"plain-text\">1 &lt; 2</description>");
    check(availableTitle);
    EXPECT_EQ(updater->notes(), "<p>1 &lt; 2</p>");
}

TEST_F(UpdaterTest, FetchesNotesThatTheFeedLinksTo) {
    server.serve("/notes.html", {.body = "<h1>New</h1>", .headers = "Content-Type: text/html\r\n"});
    offer("2.0", "<sparkle:releaseNotesLink>/notes.html</sparkle:releaseNotesLink>");
    check(availableTitle);
    EXPECT_EQ(updater->notes(), "<p class=\"heading1\">New</p>");
}

TEST_F(UpdaterTest, ShowsALinkToNotesThatCannotBeFetched) {
    offer("2.0", "<sparkle:releaseNotesLink>/missing.html</sparkle:releaseNotesLink>");
    check(availableTitle);
    EXPECT_TRUE(updater->notes().contains("/missing.html</a>"));
}

TEST_F(UpdaterTest, DoesNotFetchNotesOverHTTP) {
    offer("2.0", "<sparkle:releaseNotesLink>http://localhost:1/x</sparkle:releaseNotesLink>");
    check(availableTitle);
    EXPECT_EQ(updater->notes(), "");
}

TEST_F(UpdaterTest, OpensOnlyWebAddressesOfTheNotes) {
    updater->openLink("https://a.test/");
    updater->openLink("file:///a");
    updater->openLink("javascript:x");
    EXPECT_EQ(opened, std::vector<QUrl>{QUrl("https://a.test/")});
}

TEST_F(UpdaterTest, ForgetsACheckThatIsCancelled) {
    updater->checkForUpdates();
    updater->perform("cancel");
    EXPECT_FALSE(updater->isShowing());
    settle();
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, DoesNotCheckTwiceAtOnce) {
    updater->checkForUpdates();
    check(availableTitle);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(UpdaterTest, PassesOverAnActionThatItDoesNotOffer) {
    check(availableTitle);
    updater->perform("open");
    EXPECT_EQ(updater->title(), availableTitle);
    EXPECT_EQ(opened.size(), 0U);
}

// What may take the keyboard.

TEST_F(UpdaterTest, IsAskedForByTheMenusCommand) {
    check(availableTitle);
    EXPECT_TRUE(updater->isAskedFor());
}

TEST_F(UpdaterTest, WasNotAskedForItsQuestion) {
    startProgram();
    startProgram();
    EXPECT_EQ(updater->title(), permissionTitle);
    EXPECT_FALSE(updater->isAskedFor());
}

TEST_F(UpdaterTest, WasNotAskedForAVersionThatItFoundByItself) {
    agreeToChecks();
    startProgram();
    expectTitle(availableTitle);
    EXPECT_FALSE(updater->isAskedFor());
}

TEST_F(UpdaterTest, IsAskedForAPackageOfAVersionThatItFoundByItself) {
    agreeToChecks();
    startProgram();
    expectTitle(availableTitle);
    updater->perform("install");
    EXPECT_TRUE(updater->isAskedFor());
    expectTitle(readyTitle);
    EXPECT_TRUE(updater->isAskedFor());
}

// What fails.

TEST_F(UpdaterTest, SaysThatACheckFailed) {
    server.serve("/feed.xml", {.body = "", .status = 404});
    check(failedTitle);
    EXPECT_EQ(updater->message(),
              "The update server has nothing at this address (HTTP status 404).");
    EXPECT_EQ(actionTexts(), QStringList{"OK"});
    updater->perform("close");
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, SaysThatAFeedIsBroken) {
    server.serve("/feed.xml", {.body = "<rss><channel>"});
    check(failedTitle);
    EXPECT_EQ(updater->message(), "The update feed is damaged and cannot be read.");
}

TEST_F(UpdaterTest, SaysThatAFeedRedirectsToHTTP) {
    server.redirect("/feed.xml", QUrl("http://localhost:1/feed.xml"));
    check(failedTitle);
    EXPECT_EQ(updater->message(), "The update server redirects to an address that is not secure.");
}

TEST_F(UpdaterTest, ChecksAgainAfterAFailure) {
    server.serve("/feed.xml", {.body = "", .status = 404});
    check(failedTitle);
    updater->perform("close");
    offer("2.0");
    check(availableTitle);
}

// Installing.

TEST_F(UpdaterTest, FetchesAndVerifiesThePackageAndAsksBeforeItIsOpened) {
    check(availableTitle);
    updater->perform("install");
    EXPECT_TRUE(updater->isBusy());
    expectTitle(readyTitle);
    EXPECT_EQ(actionTexts(), QStringList({"Not Now", "Open Installer"}));
    EXPECT_EQ(contents(downloads / "bleedwise.deb"), package);
    EXPECT_EQ(opened.size(), 0U);
}

TEST_F(UpdaterTest, GoesFromTheOfferToThePackageWithoutClosingThePanel) {
    check(availableTitle);
    bool hasClosed = false;
    QObject::connect(updater.get(), &Updater::panelChanged,
                     [&] { hasClosed = hasClosed || !updater->isShowing(); });
    updater->perform("install");
    expectTitle(readyTitle);
    EXPECT_FALSE(hasClosed);
}

TEST_F(UpdaterTest, HasTheSystemOpenThePackage) {
    check(availableTitle);
    updater->perform("install");
    expectTitle(readyTitle);
    updater->perform("open");
    EXPECT_TRUE(loop.runUntil([this] { return !opened.empty(); }));
    EXPECT_EQ(opened.front().toLocalFile().toStdString(), downloads / "bleedwise.deb");
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, KeepsThePackageForLater) {
    check(availableTitle);
    updater->perform("install");
    expectTitle(readyTitle);
    updater->perform("keep");
    EXPECT_FALSE(updater->isShowing());
    EXPECT_EQ(opened.size(), 0U);
    EXPECT_EQ(contents(downloads / "bleedwise.deb"), package);
}

TEST_F(UpdaterTest, DoesNotFetchAPackageAgainThatWasKeptForLater) {
    check(availableTitle);
    updater->perform("install");
    expectTitle(readyTitle);
    updater->perform("keep");
    check(availableTitle);
    updater->perform("install");
    EXPECT_EQ(updater->progressText(), "Verifying…");
    expectTitle(readyTitle);
    EXPECT_EQ(server.requests(),
              (std::vector<std::string>{"/feed.xml", "/bleedwise.deb", "/feed.xml"}));
    EXPECT_EQ(entryCount(downloads), 1U);
}

TEST_F(UpdaterTest, FetchesAPackageAgainThatHasChangedSinceItWasKept) {
    check(availableTitle);
    updater->perform("install");
    expectTitle(readyTitle);
    updater->perform("keep");
    folder.file("Downloads/bleedwise.deb", std::string(package.size(), 'q'));
    check(availableTitle);
    updater->perform("install");
    expectTitle(readyTitle);
    updater->perform("open");
    EXPECT_TRUE(loop.runUntil([this] { return !opened.empty(); }));
    EXPECT_EQ(contents(opened.front().toLocalFile().toStdString()), package);
}

TEST_F(UpdaterTest, SaysThatTheSystemCannotOpenThePackage) {
    canOpen = false;
    check(availableTitle);
    updater->perform("install");
    expectTitle(readyTitle);
    updater->perform("open");
    expectTitle(cannotInstallTitle);
    EXPECT_EQ(updater->message().toStdString(),
              "The system has nothing to open the package with. It is in " +
                  (downloads / "bleedwise.deb").native() + ".");
}

TEST_F(UpdaterTest, DoesNotOpenAPackageThatHasChangedMeanwhile) {
    check(availableTitle);
    updater->perform("install");
    expectTitle(readyTitle);
    folder.file("Downloads/bleedwise.deb", std::string(package.size(), 'q'));
    updater->perform("open");
    expectTitle(cannotInstallTitle);
    EXPECT_EQ(updater->message(), "The signature of the update is not right, so it was deleted.");
    EXPECT_EQ(opened.size(), 0U);
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(UpdaterTest, DoesNotOpenAPackageThatIsGone) {
    check(availableTitle);
    updater->perform("install");
    expectTitle(readyTitle);
    std::filesystem::remove(downloads / "bleedwise.deb");
    updater->perform("open");
    expectTitle(cannotInstallTitle);
    EXPECT_EQ(updater->message(), "The downloaded update is no longer there.");
}

TEST_F(UpdaterTest, DeletesAPackageThatDoesNotVerifyAndSaysSo) {
    check(availableTitle);
    server.serve("/bleedwise.deb", {.body = std::string(package.size(), 'q')});
    updater->perform("install");
    expectTitle(cannotInstallTitle);
    EXPECT_EQ(updater->message(), "The signature of the update is not right, so it was deleted.");
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(UpdaterTest, DoesNotFetchAPackageWithoutASignature) {
    serveFeed("<item><sparkle:version>2.0</sparkle:version><enclosure url=\"/bleedwise.deb\" "
              "length=\"1\" sparkle:os=\"linux\"/></item>");
    check(availableTitle);
    updater->perform("install");
    EXPECT_EQ(updater->title(), cannotInstallTitle);
    EXPECT_EQ(updater->message(), "The update is not signed, so it was not fetched.");
    EXPECT_EQ(server.requests().size(), 1U);
}

/// A package of which only the beginning comes.
class StalledDownload : public UpdaterTest {
protected:
    StalledDownload() {
        server.serve("/bleedwise.deb", {.body = package.substr(0, 150'000),
                                        .claimedLength = static_cast<long>(package.size()),
                                        .stalls = true});
        check(availableTitle);
        updater->perform("install");
        EXPECT_TRUE(loop.runUntil([this] { return updater->progress() == 0.5; }));
    }
};

TEST_F(StalledDownload, ShowsItsProgress) {
    EXPECT_EQ(updater->title(), "Downloading version 2.0…");
    EXPECT_EQ(updater->progressText(), "150.0 kB of 300.0 kB");
    EXPECT_EQ(actionTexts(), QStringList{"Cancel"});
}

TEST_F(StalledDownload, LeavesNothingWhenItIsCancelled) {
    updater->perform("cancel");
    EXPECT_FALSE(updater->isShowing());
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(StalledDownload, LeavesNothingWhenTheProgramEnds) {
    updater.reset();
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(StalledDownload, IsNotDisturbedByTheMenusCommand) {
    updater->checkForUpdates();
    EXPECT_EQ(updater->title(), "Downloading version 2.0…");
}

// Reminding and skipping.

TEST_F(UpdaterTest, OffersAVersionAgainAfterRemindMeLater) {
    check(availableTitle);
    updater->perform("later");
    EXPECT_FALSE(updater->isShowing());
    check(availableTitle);
}

TEST_F(UpdaterTest, OffersASkippedVersionNoMoreByItself) {
    check(availableTitle);
    updater->perform("skip");
    EXPECT_FALSE(updater->isShowing());
    EXPECT_EQ(settings().text("SUSkippedVersion", {}), "2.0");
    now = now.addSecs(dayInSeconds);
    agreeToChecks();
    startProgram();
    ASSERT_TRUE(loop.runUntil([this] { return server.requests().size() == 2; }));
    settle();
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, OffersTheVersionAfterASkippedOneByItself) {
    settings().setText("SUSkippedVersion", "2.0");
    offer("2.0.1");
    agreeToChecks();
    startProgram();
    expectTitle(availableTitle);
}

TEST_F(UpdaterTest, OffersASkippedVersionToWhoeverAsks) {
    settings().setText("SUSkippedVersion", "2.0");
    check(availableTitle);
}

TEST_F(UpdaterTest, IsDismissedByTheActionThatDecidesNothing) {
    check(availableTitle);
    updater->dismiss();
    EXPECT_FALSE(updater->isShowing());
    EXPECT_EQ(settings().text("SUSkippedVersion", "none"), "none");
}

// The question.

TEST_F(UpdaterTest, AsksNothingOnTheFirstStart) {
    startProgram();
    EXPECT_FALSE(updater->isShowing());
    settle();
    EXPECT_EQ(server.requests(), std::vector<std::string>{"/settled"});
}

TEST_F(UpdaterTest, AsksOnTheSecondStartWhetherToCheck) {
    startProgram();
    startProgram();
    EXPECT_EQ(updater->title(), permissionTitle);
    EXPECT_EQ(actionTexts(), QStringList({"Don’t Check", "Check Automatically"}));
    settle();
    EXPECT_EQ(server.requests(), std::vector<std::string>{"/settled"});
}

TEST_F(UpdaterTest, AsksAgainWhenNobodyAnswered) {
    startProgram();
    startProgram();
    startProgram();
    EXPECT_EQ(updater->title(), permissionTitle);
}

TEST_F(UpdaterTest, AsksAgainWhenTheQuestionWasPutAway) {
    startProgram();
    startProgram();
    updater->dismiss();
    EXPECT_FALSE(updater->isShowing());
    startProgram();
    EXPECT_EQ(updater->title(), permissionTitle);
}

TEST_F(UpdaterTest, AsksNoMoreOnceThereIsAnAnswer) {
    startProgram();
    startProgram();
    updater->perform("decline");
    startProgram();
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, ChecksAtOnceWhenTheUserAgrees) {
    startProgram();
    startProgram();
    updater->perform("agree");
    expectTitle(availableTitle);
    EXPECT_TRUE(settings().boolean("SUEnableAutomaticChecks", false));
}

TEST_F(UpdaterTest, DoesNotCheckWhenTheUserDeclines) {
    startProgram();
    startProgram();
    updater->perform("decline");
    EXPECT_FALSE(updater->isShowing());
    EXPECT_FALSE(settings().boolean("SUEnableAutomaticChecks", true));
    startProgram();
    settle();
    EXPECT_EQ(server.requests(), std::vector<std::string>{"/settled"});
}

// The answer, later.

TEST_F(UpdaterTest, OffersAutomaticChecksWithANewerVersion) {
    check(availableTitle);
    EXPECT_TRUE(updater->offersAutomaticChecks());
}

TEST_F(UpdaterTest, OffersAutomaticChecksWhereThereIsNothingNew) {
    offer("1.0");
    check(upToDateTitle);
    EXPECT_TRUE(updater->offersAutomaticChecks());
}

TEST_F(UpdaterTest, OffersAutomaticChecksAfterACheckThatFailed) {
    server.serve("/feed.xml", {.body = "", .status = 404});
    check(failedTitle);
    EXPECT_TRUE(updater->offersAutomaticChecks());
}

TEST_F(UpdaterTest, DoesNotOfferAutomaticChecksBesideOtherThings) {
    startProgram();
    startProgram();
    EXPECT_FALSE(updater->offersAutomaticChecks()); // the question itself
    updater->dismiss();
    updater->checkForUpdates();
    EXPECT_FALSE(updater->offersAutomaticChecks());
    expectTitle(availableTitle);
    updater->perform("install");
    EXPECT_FALSE(updater->offersAutomaticChecks());
    expectTitle(readyTitle);
    EXPECT_FALSE(updater->offersAutomaticChecks());
}

TEST_F(UpdaterTest, DoesNotCheckAutomaticallyUntilThereIsAnAnswer) {
    EXPECT_FALSE(updater->checksAutomatically());
}

TEST_F(UpdaterTest, KnowsTheAnswerToItsQuestion) {
    startProgram();
    startProgram();
    updater->perform("agree");
    EXPECT_TRUE(updater->checksAutomatically());
}

TEST_F(UpdaterTest, ChecksByItselfFromTheNextStartOnWhenTheAnswerIsChanged) {
    startProgram();
    startProgram();
    updater->perform("decline");
    updater->setChecksAutomatically(true);
    startProgram();
    expectTitle(availableTitle);
}

TEST_F(UpdaterTest, ChecksByItselfNoMoreWhenTheAnswerIsTakenBack) {
    agreeToChecks();
    updater->setChecksAutomatically(false);
    startProgram();
    settle();
    EXPECT_EQ(server.requests(), std::vector<std::string>{"/settled"});
}

TEST_F(UpdaterTest, DoesNotAskWhereTheAnswerWasGivenBefore) {
    startProgram();
    updater->setChecksAutomatically(false);
    startProgram();
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, LeavesThePanelWhenTheAnswerIsChanged) {
    check(availableTitle);
    bool hasChanged = false;
    QObject::connect(updater.get(), &Updater::panelChanged, [&] { hasChanged = true; });
    updater->setChecksAutomatically(true);
    settle();
    EXPECT_FALSE(hasChanged);
}

// Checks by itself.

TEST_F(UpdaterTest, ShowsANewVersionThatItFoundByItself) {
    agreeToChecks();
    startProgram();
    EXPECT_FALSE(updater->isShowing());
    expectTitle(availableTitle);
}

TEST_F(UpdaterTest, SaysNothingByItselfWhenThereIsNothingNew) {
    offer("1.0");
    checkByItself();
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, SaysNothingByItselfWhenACheckFails) {
    server.serve("/feed.xml", {.body = "", .status = 500});
    checkByItself();
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, NotesWhenItChecked) {
    checkByItself();
    EXPECT_EQ(settings().text("SULastCheckTime", {}), "2026-03-01T12:00:00Z");
}

TEST_F(UpdaterTest, ChecksByItselfNoMoreThanOnceADay) {
    offer("1.0");
    checkByItself();
    now = now.addSecs(dayInSeconds - 1);
    startProgram();
    settle();
    EXPECT_EQ(server.requests(), (std::vector<std::string>{"/feed.xml", "/settled", "/settled"}));
}

TEST_F(UpdaterTest, ChecksByItselfAgainAfterACheckThatFailed) {
    server.serve("/feed.xml", {.body = "", .status = 500});
    checkByItself();
    offer("2.0");
    startProgram();
    expectTitle(availableTitle);
}

TEST_F(UpdaterTest, ChecksByItselfAgainAfterAFeedThatIsBroken) {
    server.serve("/feed.xml", {.body = "<rss><channel>"});
    checkByItself();
    offer("2.0");
    startProgram();
    expectTitle(availableTitle);
}

TEST_F(UpdaterTest, ChecksByItselfAgainAfterADay) {
    settings().setText("SULastCheckTime", "2026-02-28T12:00:00Z");
    checkByItself();
    EXPECT_EQ(server.requests().front(), "/feed.xml");
}

TEST_F(UpdaterTest, ChecksByItselfWhenTheLastTimeLiesAhead) {
    settings().setText("SULastCheckTime", "2027-01-01T00:00:00Z");
    checkByItself();
    EXPECT_EQ(server.requests().front(), "/feed.xml");
}

TEST_F(UpdaterTest, ShowsACheckByItselfToWhoeverAsksMeanwhile) {
    offer("1.0");
    agreeToChecks();
    startProgram();
    updater->checkForUpdates();
    EXPECT_EQ(updater->title(), checkingTitle);
    expectTitle(upToDateTitle);
    EXPECT_EQ(server.requests().size(), 1U);
}

// While a batch runs.

TEST_F(UpdaterTest, ShowsWhatItFoundByItselfWhenTheBatchIsOver) {
    agreeToChecks();
    startProgram();
    updater->setBatchIsRunning(true);
    settle();
    EXPECT_FALSE(updater->isShowing());
    updater->setBatchIsRunning(false);
    expectTitle(availableTitle);
}

TEST_F(UpdaterTest, AnswersAQuestionWhenTheBatchIsOver) {
    updater->setBatchIsRunning(true);
    updater->checkForUpdates();
    EXPECT_EQ(updater->title(), checkingTitle);
    EXPECT_TRUE(loop.runUntil([this] { return !updater->message().isEmpty(); }));
    EXPECT_EQ(updater->title(), checkingTitle);
    EXPECT_EQ(updater->message(), "The answer is shown when the files have been converted.");
    updater->setBatchIsRunning(false);
    EXPECT_EQ(updater->title(), availableTitle);
}

TEST_F(UpdaterTest, ForgetsAnAnswerThatNobodyWaitsFor) {
    updater->setBatchIsRunning(true);
    updater->checkForUpdates();
    EXPECT_TRUE(loop.runUntil([this] { return !updater->message().isEmpty(); }));
    updater->perform("cancel");
    updater->setBatchIsRunning(false);
    EXPECT_FALSE(updater->isShowing());
}

TEST_F(UpdaterTest, SaysThatThereIsAnAnswerToWhoeverAsksDuringABatch) {
    agreeToChecks();
    startProgram();
    updater->setBatchIsRunning(true);
    settle();
    updater->checkForUpdates();
    EXPECT_TRUE(loop.runUntil([this] {
        return updater->message() == "The answer is shown when the files have been converted.";
    }));
}

/// A batch that has begun before a package was fetched.
class PackageDuringABatch : public UpdaterTest {
protected:
    void fetch(const QString& title) {
        check(availableTitle);
        updater->setBatchIsRunning(true);
        updater->perform("install");
        expectTitle(title);
    }
};

TEST_F(PackageDuringABatch, IsSaidToBeReady) {
    fetch(readyTitle);
    EXPECT_EQ(updater->message(), "Its signature is right. You can open it when the files have "
                                  "been converted.");
    EXPECT_FALSE(updater->isBusy());
    EXPECT_EQ(actionTexts(), QStringList{"Not Now"});
}

TEST_F(PackageDuringABatch, CanBeOpenedWhenTheBatchIsOver) {
    fetch(readyTitle);
    updater->setBatchIsRunning(false);
    EXPECT_EQ(updater->title(), readyTitle);
    EXPECT_EQ(actionTexts(), QStringList({"Not Now", "Open Installer"}));
}

TEST_F(PackageDuringABatch, IsKeptForLater) {
    fetch(readyTitle);
    updater->perform("keep");
    updater->setBatchIsRunning(false);
    EXPECT_FALSE(updater->isShowing());
    EXPECT_EQ(contents(downloads / "bleedwise.deb"), package);
}

TEST_F(PackageDuringABatch, SaysWhyItCannotBeInstalledWhenTheBatchIsOver) {
    server.serve("/bleedwise.deb", {.body = std::string(package.size(), 'q')});
    fetch(cannotInstallTitle);
    EXPECT_EQ(updater->message(), "The reason is shown when the files have been converted.");
    updater->perform("close");
    updater->setBatchIsRunning(false);
    EXPECT_EQ(updater->message(), "The signature of the update is not right, so it was deleted.");
}

} // namespace
} // namespace Bleedwise
