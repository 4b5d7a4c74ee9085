#include "support/Authority.h"

#include "support/Command.h"

#include <QByteArray>

namespace Bleedwise::Testing {
namespace {

QByteArray bytes(const std::filesystem::path& file) {
    return QByteArray::fromStdString(contents(file));
}

std::string base64(const std::string& data) {
    return QByteArray::fromStdString(data).toBase64().toStdString();
}

} // namespace

Authority::Authority() {
    outputOf({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
              "-nodes", "-subj", "/CN=Authority of one test", "-days", "1", "-keyout",
              (folder_ / "authority.key").native(), "-out", (folder_ / "authority.pem").native()});
}

Authority::Certificate Authority::certificate(const std::string& names, int days) const {
    const std::string key = (folder_ / "server.key").native();
    const std::string request = (folder_ / "server.csr").native();
    const std::string certificate = (folder_ / "server.pem").native();
    const std::string extensions =
        folder_.file("extensions", "subjectAltName=" + names + "\n").native();
    outputOf({"openssl", "req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
              "-subj", "/CN=server", "-keyout", key, "-out", request});
    outputOf({"openssl", "x509", "-req", "-in", request, "-CA",
              (folder_ / "authority.pem").native(), "-CAkey", (folder_ / "authority.key").native(),
              "-CAcreateserial", "-days", std::to_string(days), "-extfile", extensions, "-out",
              certificate});
    return {QSslCertificate(bytes(certificate)),
            QSslKey(bytes(key), QSsl::Ec, QSsl::Pem, QSsl::PrivateKey)};
}

QSslConfiguration Authority::trust() const {
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates({QSslCertificate(bytes(folder_ / "authority.pem"))});
    return configuration;
}

SigningKey::SigningKey() {
    const std::string key = (folder_ / "key.pem").native();
    outputOf({"openssl", "genpkey", "-algorithm", "ed25519", "-out", key});
    const std::string encoded =
        outputOf({"openssl", "pkey", "-in", key, "-pubout", "-outform", "DER"});
    publicKey_ = base64(encoded.substr(encoded.size() - 32)); // RFC 8410: the key comes last
}

std::string SigningKey::signature(const std::string& data) const {
    const std::filesystem::path file = folder_.file("data", data);
    return base64(outputOf({"openssl", "pkeyutl", "-sign", "-rawin", "-inkey",
                            (folder_ / "key.pem").native(), "-in", file.native()}));
}

} // namespace Bleedwise::Testing
