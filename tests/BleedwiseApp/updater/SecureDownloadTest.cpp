#include "BleedwiseApp/updater/SecureDownload.h"

#include "support/Authority.h"
#include "support/EventLoop.h"
#include "support/HTTPSServer.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <QNetworkAccessManager>
#include <QTcpServer>
#include <gtest/gtest.h>

#ifdef __SANITIZE_ADDRESS__
/// Qt's network thread keeps errors and sessions inside OpenSSL when the process ends before it.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libcrypto.so";
}
#endif

namespace Bleedwise {
namespace {

using namespace std::chrono_literals;
using Testing::Authority;
using Testing::EventLoop;
using Testing::HTTPSServer;

class SecureDownloadTest : public testing::Test {
protected:
    SecureDownload::Request request(const QUrl& url) const {
        return {url, "update server", 1 << 20, 1min, 30s};
    }

    std::unique_ptr<SecureDownload> start(const SecureDownload::Request& wanted) {
        return std::make_unique<SecureDownload>(
            network, surroundings, wanted,
            SecureDownload::Listener{
                [this](QByteArrayView piece) {
                    received.append(piece.data(), static_cast<std::size_t>(piece.size()));
                    return diskHasRoom;
                },
                [this](const QString& text) { failure = text.toStdString(); }});
    }

    /// How the download ends: with this failure, or an empty text.
    std::string outcome(const SecureDownload::Request& wanted) {
        const auto download = start(wanted);
        EXPECT_TRUE(loop.runUntil([this] { return failure.has_value(); }));
        return failure.value_or("still running");
    }
    std::string outcome(const QUrl& url) { return outcome(request(url)); }

    EventLoop loop;
    Authority authority;
    HTTPSServer server{authority.certificate()};
    QNetworkAccessManager network;
    bool isOnline = true;
    bool diskHasRoom = true;
    DownloadSurroundings surroundings{.tls = [this] { return authority.trust(); },
                                      .isOnline = [this] { return isOnline; }};
    std::string received;
    std::optional<std::string> failure;
};

TEST_F(SecureDownloadTest, GivesWhatTheServerHas) {
    const std::string body(3'000'000, 'x');
    server.serve("/a", {.body = body});
    auto wanted = request(server.url("/a"));
    wanted.mostBytes = 3'000'000;
    EXPECT_EQ(outcome(wanted), "");
    EXPECT_EQ(received, body);
}

TEST_F(SecureDownloadTest, SaysWhichProgramAsksAndNothingElse) {
    server.serve("/a", {.body = "x"});
    EXPECT_EQ(outcome(server.url("/a")), "");
    EXPECT_NE(server.lastRequest().find("User-Agent: Bleedwise/"), std::string::npos);
    EXPECT_EQ(server.lastRequest().find("Cookie"), std::string::npos);
    EXPECT_NE(server.lastRequest().find("Accept-Language: en\r\n"), std::string::npos);
}

TEST_F(SecureDownloadTest, FollowsARedirectionToHTTPS) {
    server.serve("/b", {.body = "moved"});
    server.redirect("/a", server.url("/b"));
    EXPECT_EQ(outcome(server.url("/a")), "");
    EXPECT_EQ(received, "moved");
}

TEST_F(SecureDownloadTest, RefusesARedirectionToHTTPWithoutAskingThere) {
    QTcpServer insecure;
    ASSERT_TRUE(insecure.listen(QHostAddress::LocalHost));
    bool wasAsked = false;
    QObject::connect(&insecure, &QTcpServer::newConnection, [&] { wasAsked = true; });
    server.redirect("/a", QUrl(QString("http://localhost:%1/").arg(insecure.serverPort())));
    EXPECT_EQ(outcome(server.url("/a")),
              "The update server redirects to an address that is not secure.");
    loop.runOnce();
    EXPECT_FALSE(wasAsked);
}

TEST_F(SecureDownloadTest, RefusesARedirectionToAFile) {
    server.redirect("/a", QUrl("file:///etc/hostname"));
    EXPECT_NE(outcome(server.url("/a")), "");
    EXPECT_EQ(received, "");
}

TEST_F(SecureDownloadTest, RefusesARedirectionWithoutEnd) {
    server.redirect("/a", server.url("/a"));
    EXPECT_EQ(outcome(server.url("/a")), "The update server redirects too often.");
}

TEST_F(SecureDownloadTest, RefusesAnAddressThatIsNotHTTPS) {
    EXPECT_EQ(outcome(QUrl("http://localhost/a")),
              "The address of the update server is not secure.");
}

TEST_F(SecureDownloadTest, RefusesAnAddressWithoutAHost) {
    EXPECT_EQ(outcome(QUrl("https:")), "The address of the update server is not secure.");
}

TEST_F(SecureDownloadTest, RefusesAnAuthorityThatTheSystemDoesNotTrust) {
    surroundings.tls = {};
    server.serve("/a", {.body = "x"});
    EXPECT_TRUE(outcome(server.url("/a"))
                    .starts_with("The certificate of the update server cannot be trusted: "))
        << *failure;
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(SecureDownloadTest, RefusesTheCertificateOfAnotherAuthority) {
    const Authority other;
    const HTTPSServer impostor(other.certificate());
    EXPECT_TRUE(outcome(impostor.url("/a"))
                    .starts_with("The certificate of the update server cannot be trusted: "))
        << *failure;
}

TEST_F(SecureDownloadTest, RefusesTheCertificateOfAnotherHost) {
    const HTTPSServer elsewhere(authority.certificateForAnotherHost());
    EXPECT_EQ(outcome(elsewhere.url("/a")),
              "The certificate of the update server cannot be trusted: The host name did not match "
              "any of the valid hosts for this certificate.");
}

TEST_F(SecureDownloadTest, RefusesACertificateThatHasExpired) {
    const HTTPSServer old(authority.expiredCertificate());
    EXPECT_EQ(outcome(old.url("/a")), "The certificate of the update server cannot be trusted: The "
                                      "certificate has expired.");
}

TEST_F(SecureDownloadTest, TellsThatThereIsNothingAtTheAddress) {
    EXPECT_EQ(outcome(server.url("/missing")),
              "The update server has nothing at this address (HTTP status 404).");
    EXPECT_EQ(received, "");
}

TEST_F(SecureDownloadTest, TellsThatThereIsNothingAtTheAddressAnyMore) {
    server.serve("/a", {.body = "", .status = 410});
    EXPECT_EQ(outcome(server.url("/a")),
              "The update server has nothing at this address (HTTP status 410).");
}

TEST_F(SecureDownloadTest, TellsThatTheServerHasAProblem) {
    server.serve("/a", {.body = std::string(5'000'000, 'x'), .status = 503});
    EXPECT_EQ(outcome(server.url("/a")), "The update server answers with HTTP status 503.");
}

TEST_F(SecureDownloadTest, TellsThatTheServerCannotBeFound) {
    EXPECT_EQ(outcome(QUrl("https://no-such-host.invalid/a")),
              "The update server, no-such-host.invalid, cannot be found.");
}

TEST_F(SecureDownloadTest, TellsThatNobodyListens) {
    QUrl url;
    {
        const HTTPSServer gone(authority.certificate());
        url = gone.url("/a");
    }
    EXPECT_EQ(outcome(url), "The update server, localhost, cannot be reached.");
}

TEST_F(SecureDownloadTest, TellsThatThereIsNoNetwork) {
    isOnline = false;
    EXPECT_EQ(outcome(QUrl("https://no-such-host.invalid/a")),
              "This computer is not connected to a network.");
}

TEST_F(SecureDownloadTest, EndsWhenTheServerSaysThatItSendsTooMuch) {
    server.serve("/a", {.body = "", .claimedLength = 2 << 20, .stalls = true});
    EXPECT_EQ(outcome(server.url("/a")), "The update server sends more than it should.");
}

TEST_F(SecureDownloadTest, EndsWhenTheServerSendsTooMuch) {
    server.serve("/a",
                 {.body = std::string((1 << 20) + 1, 'x'), .stalls = true, .hidesLength = true});
    EXPECT_EQ(outcome(server.url("/a")), "The update server sends more than it should.");
}

TEST_F(SecureDownloadTest, EndsWhenTheServerFallsSilent) {
    server.serve("/a", {.body = "x", .claimedLength = 2, .stalls = true});
    auto wanted = request(server.url("/a"));
    wanted.longestSilence = 50ms;
    EXPECT_EQ(outcome(wanted), "The update server does not answer.");
}

TEST_F(SecureDownloadTest, EndsWhenItTakesTooLong) {
    server.serve("/a", {.body = "x", .claimedLength = 2, .stalls = true});
    auto wanted = request(server.url("/a"));
    wanted.longestTime = 50ms;
    EXPECT_EQ(outcome(wanted), "The update server took too long.");
}

TEST_F(SecureDownloadTest, FailsWhenTheServerEndsTooEarly) {
    server.serve("/a", {.body = "x", .claimedLength = 2});
    EXPECT_EQ(outcome(server.url("/a")), "The update server ended the connection too early.");
}

TEST_F(SecureDownloadTest, EndsWhenAPieceCannotBeStored) {
    diskHasRoom = false;
    server.serve("/a", {.body = "x"});
    EXPECT_EQ(outcome(server.url("/a")), "The download cannot be stored: the disk may be full.");
}

TEST_F(SecureDownloadTest, GivesTheBytesAsTheyCome) {
    server.serve("/a", {.body = "compressed", .headers = "Content-Encoding: gzip\r\n"});
    EXPECT_EQ(outcome(server.url("/a")), "");
    EXPECT_EQ(received, "compressed");
}

TEST_F(SecureDownloadTest, SaysNothingMoreOnceItIsDestroyed) {
    server.serve("/a", {.body = "x", .claimedLength = 2, .stalls = true});
    auto download = start(request(server.url("/a")));
    ASSERT_TRUE(loop.runUntil([this] { return received == "x"; }));
    download.reset();
    loop.runOnce();
    EXPECT_EQ(failure, std::nullopt);
}

} // namespace
} // namespace Bleedwise
