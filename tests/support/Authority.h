#pragma once

#include "support/TemporaryFolder.h"

#include <filesystem>
#include <string>

#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>

namespace Bleedwise::Testing {

/// A certificate authority of one test, made by the openssl program, that nobody else trusts.
class Authority {
public:
    Authority();

    /// A server's certificate with its key.
    struct Certificate {
        QSslCertificate certificate;
        QSslKey key;
    };

    /// For this computer.
    Certificate certificate() const { return certificate("DNS:localhost,IP:127.0.0.1", 1); }
    Certificate certificateForAnotherHost() const { return certificate("DNS:elsewhere.test", 1); }
    Certificate expiredCertificate() const { return certificate("DNS:localhost", -1); }

    /// Of a client that trusts this authority alone.
    QSslConfiguration trust() const;

private:
    Certificate certificate(const std::string& names, int days) const;

    TemporaryFolder folder_;
};

/// A pair of Ed25519 keys as a maintainer makes it, by the openssl program.
class SigningKey {
public:
    SigningKey();

    /// In base64, as in `Info.json`.
    const std::string& publicKey() const { return publicKey_; }
    /// In base64, as in a feed.
    std::string signature(const std::string& data) const;

private:
    TemporaryFolder folder_;
    std::string publicKey_;
};

} // namespace Bleedwise::Testing
