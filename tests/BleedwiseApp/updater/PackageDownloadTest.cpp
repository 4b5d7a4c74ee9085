#include "BleedwiseApp/updater/PackageDownload.h"

#include "BleedwiseApp/updater/UpdateError.h"

#include "support/Authority.h"
#include "support/EventLoop.h"
#include "support/HTTPSServer.h"
#include "support/TemporaryFolder.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QNetworkAccessManager>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

using Testing::contents;
using Testing::entryCount;

class PackageDownloadTest : public testing::Test {
protected:
    PackageDownloadTest() { serve("/bleedwise_2.0_amd64.deb"); }

    /// Serves the package there, and makes it the one to be fetched.
    void serve(const char* path) {
        item.url = server.url(path);
        server.serve(item.url.path(QUrl::FullyEncoded).toStdString(), {.body = package});
        item.length = static_cast<qint64>(package.size());
        item.edSignature = QString::fromStdString(signer.signature(package));
    }

    std::unique_ptr<PackageDownload> start() {
        return std::make_unique<PackageDownload>(
            network, surroundings, item, QString::fromStdString(signer.publicKey()),
            QString::fromStdString(downloads.native()),
            PackageDownload::Listener{[this](qint64 received) { progress.push_back(received); },
                                      [this](const QString& finished, const QString& text) {
                                          file = finished.toStdString();
                                          failure = text.toStdString();
                                      }});
    }

    /// How the download ends: with this failure, or an empty text.
    std::string outcome() {
        const auto download = start();
        EXPECT_TRUE(loop.runUntil([this] { return failure.has_value(); }));
        return failure.value_or("still running");
    }

    Testing::EventLoop loop;
    Testing::Authority authority;
    Testing::HTTPSServer server{authority.certificate()};
    const Testing::SigningKey signer;
    QNetworkAccessManager network;
    DownloadSurroundings surroundings{.tls = [this] { return authority.trust(); },
                                      .isOnline = [] { return true; }};
    const Testing::TemporaryFolder folder;
    const std::filesystem::path downloads = folder / "Downloads";
    const std::string package = std::string(2'500'000, 'p') + "end";
    AppcastItem item;

    std::vector<qint64> progress;
    std::filesystem::path file;
    std::optional<std::string> failure;
};

TEST_F(PackageDownloadTest, PutsAPackageThatIsRightIntoTheFolder) {
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(file, downloads / "bleedwise_2.0_amd64.deb");
    EXPECT_EQ(contents(file), package);
    EXPECT_EQ(entryCount(downloads), 1U);
}

TEST_F(PackageDownloadTest, DoesNotMakeThePackageExecutable) {
    EXPECT_EQ(outcome(), "");
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(file).permissions(),
              perms::owner_read | perms::owner_write | perms::group_read | perms::others_read);
}

TEST_F(PackageDownloadTest, TellsHowFarItIs) {
    EXPECT_EQ(outcome(), "");
    ASSERT_GT(progress.size(), 1U);
    EXPECT_EQ(progress.back(), static_cast<qint64>(package.size()));
}

TEST_F(PackageDownloadTest, ReplacesNoOtherFile) {
    std::filesystem::create_directory(downloads);
    folder.file("Downloads/bleedwise_2.0_amd64.deb", "mine");
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(file, downloads / "bleedwise_2.0_amd64-2.deb");
    EXPECT_EQ(contents(downloads / "bleedwise_2.0_amd64.deb"), "mine");
}

TEST_F(PackageDownloadTest, DoesNotWriteThroughALinkInTheFilesPlace) {
    std::filesystem::create_directory(downloads);
    std::filesystem::create_symlink(folder / "elsewhere", downloads / "bleedwise_2.0_amd64.deb");
    EXPECT_EQ(outcome(), "");
    EXPECT_FALSE(std::filesystem::exists(folder / "elsewhere"));
    EXPECT_EQ(file, downloads / "bleedwise_2.0_amd64-2.deb");
}

TEST_F(PackageDownloadTest, GivesTheFileAHarmlessName) {
    serve("/x/-%2e$(x)%20a;.deb");
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(file.parent_path(), downloads);
    EXPECT_EQ(file.filename().native(), "__x__a_.deb");
}

// What is in the folder from before.

class PackageDownloadAgain : public PackageDownloadTest {
protected:
    PackageDownloadAgain() { std::filesystem::create_directory(downloads); }
};

TEST_F(PackageDownloadAgain, TakesAPackageThatIsThereAlready) {
    folder.file("Downloads/bleedwise_2.0_amd64.deb", package);
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(file, downloads / "bleedwise_2.0_amd64.deb");
    EXPECT_EQ(entryCount(downloads), 1U);
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(PackageDownloadAgain, TakesAPackageThatIsThereUnderANumber) {
    folder.file("Downloads/bleedwise_2.0_amd64.deb", std::string(package.size(), 'q'));
    folder.file("Downloads/bleedwise_2.0_amd64-2.deb", "mine");
    folder.file("Downloads/bleedwise_2.0_amd64-3.deb", package);
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(file, downloads / "bleedwise_2.0_amd64-3.deb");
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(PackageDownloadAgain, LeavesAFileOfTheSameLengthThatDoesNotVerify) {
    const std::string other(package.size(), 'q');
    folder.file("Downloads/bleedwise_2.0_amd64.deb", other);
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(file, downloads / "bleedwise_2.0_amd64-2.deb");
    EXPECT_EQ(contents(file), package);
    EXPECT_EQ(contents(downloads / "bleedwise_2.0_amd64.deb"), other);
}

TEST_F(PackageDownloadAgain, TellsThatAFileThatIsThereIsLookedAt) {
    folder.file("Downloads/bleedwise_2.0_amd64.deb", package);
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(progress, std::vector<qint64>{static_cast<qint64>(package.size())});
}

TEST_F(PackageDownloadAgain, TakesNoLinkToAPackage) {
    folder.file("package", package);
    std::filesystem::create_symlink(folder / "package", downloads / "bleedwise_2.0_amd64.deb");
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(file, downloads / "bleedwise_2.0_amd64-2.deb");
}

TEST_F(PackageDownloadAgain, LeavesAPackageThatIsThereWhenItIsCancelled) {
    folder.file("Downloads/bleedwise_2.0_amd64.deb", package);
    start().reset();
    loop.runOnce();
    EXPECT_EQ(contents(downloads / "bleedwise_2.0_amd64.deb"), package);
    EXPECT_EQ(failure, std::nullopt);
}

// What is wrong with a package; nothing is left of it.

TEST_F(PackageDownloadTest, DeletesAPackageWithAWrongSignature) {
    item.edSignature = QString::fromStdString(signer.signature("other"));
    EXPECT_EQ(outcome(), "The signature of the update is not right, so it was deleted.");
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(PackageDownloadTest, DeletesAPackageThatSomebodyElseSigned) {
    item.edSignature = QString::fromStdString(Testing::SigningKey().signature(package));
    EXPECT_EQ(outcome(), "The signature of the update is not right, so it was deleted.");
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(PackageDownloadTest, DeletesAPackageInWhichOneByteIsDifferent) {
    std::string other = package;
    other[1'000'000] = 'q';
    server.serve("/bleedwise_2.0_amd64.deb", {.body = other});
    EXPECT_EQ(outcome(), "The signature of the update is not right, so it was deleted.");
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(PackageDownloadTest, DeletesAPackageThatIsTooShort) {
    item.length += 1;
    EXPECT_EQ(outcome(), "The update is not as long as it should be, so it was deleted.");
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(PackageDownloadTest, EndsAtAPackageThatIsTooLong) {
    item.length -= 1;
    EXPECT_EQ(outcome(), "The download server sends more than it should.");
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(PackageDownloadTest, LeavesNothingWhenTheServerHasNoPackage) {
    item.url = server.url("/missing.deb");
    EXPECT_EQ(outcome(), "The download server has nothing at this address (HTTP status 404).");
    EXPECT_EQ(entryCount(downloads), 0U);
}

TEST_F(PackageDownloadTest, LeavesNothingWhenItIsCancelled) {
    server.serve("/bleedwise_2.0_amd64.deb", {.body = package.substr(0, 1000),
                                              .claimedLength = static_cast<long>(package.size()),
                                              .stalls = true});
    auto download = start();
    ASSERT_TRUE(loop.runUntil([this] { return !progress.empty(); }));
    download.reset();
    loop.runOnce();
    EXPECT_EQ(entryCount(downloads), 0U);
    EXPECT_EQ(failure, std::nullopt);
}

TEST_F(PackageDownloadTest, TellsThatTheFolderCannotBeWritten) {
    folder.file("Downloads", "a file");
    testing::internal::CaptureStderr();
    EXPECT_EQ(outcome(), "The download cannot be stored in " + downloads.native() + ".");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// What need not be fetched.

class Installable : public testing::Test {
protected:
    std::string problem() const {
        try {
            Package::requireInstallable(item, key);
        } catch (const UpdateError& error) {
            return error.errorDescription();
        }
        return "";
    }

    QString key = QByteArray(32, 'k').toBase64();
    AppcastItem item = [] {
        AppcastItem result;
        result.url = QUrl("https://a.test/a.deb");
        result.length = 1;
        result.edSignature = "x";
        return result;
    }();
};

TEST_F(Installable, IsAPackageWithLengthAndSignature) {
    for (const char* name : {"a.deb", "a.DEB", "a.rpm", "a.flatpak", "a.snap", "a.tar.gz",
                             "a.tar.xz", "a.pkg.tar.zst", "a.zip"}) {
        item.url = QUrl(QString("https://a.test/") + name);
        EXPECT_EQ(problem(), "") << name;
    }
}

TEST_F(Installable, IsNothingThatRunsWhenItIsOpened) {
    for (const char* name : {"a", "a.sh", "a.desktop", "a.AppImage", "a.run", "a.deb.desktop",
                             "a.sh?x=.deb", "a.deb/", "a.html"}) {
        item.url = QUrl(QString("https://a.test/") + name);
        EXPECT_EQ(problem(),
                  "The update is not a package for a system's installer, so it was not fetched.")
            << name;
    }
}

TEST_F(Installable, IsNothingWithoutASignature) {
    item.edSignature = {};
    EXPECT_EQ(problem(), "The update is not signed, so it was not fetched.");
}

TEST_F(Installable, IsNothingWithoutALength) {
    item.length = 0;
    EXPECT_EQ(problem(),
              "The update feed does not say how large the update is, so it was not fetched.");
}

TEST_F(Installable, IsNothingThatIsTooLarge) {
    item.length = Package::largestPackage + 1;
    EXPECT_EQ(problem(), "The update is too large to be genuine, so it was not fetched.");
}

TEST_F(Installable, IsNothingWithoutAKey) {
    key = "abc";
    EXPECT_EQ(problem(),
              "This copy of Bleedwise cannot verify updates: its public key is damaged.");
}

} // namespace
} // namespace Bleedwise
