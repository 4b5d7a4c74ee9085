#include "BleedwiseApp/updater/UpdateSignature.h"

#include <cstddef>
#include <memory>

#include <QByteArray>
#include <openssl/evp.h>

namespace Bleedwise::UpdateSignature {
namespace {

constexpr qsizetype keySize = 32;       // RFC 8032, 5.1.5
constexpr qsizetype signatureSize = 64; // RFC 8032, 5.1.6

/// Empty when the text is not the base64 of so many bytes, and of nothing else.
QByteArray decoded(const QString& text, qsizetype size) {
    const QByteArray::FromBase64Result result = QByteArray::fromBase64Encoding(
        text.trimmed().toUtf8(), QByteArray::AbortOnBase64DecodingErrors);
    return result && result.decoded.size() == size ? result.decoded : QByteArray();
}

const unsigned char* bytes(const char* data) {
    return reinterpret_cast<const unsigned char*>(data);
}

} // namespace

bool isKey(const QString& key) {
    return !decoded(key, keySize).isEmpty();
}

bool verify(QByteArrayView data, const QString& signature, const QString& key) {
    const QByteArray keyBytes = decoded(key, keySize);
    const QByteArray signatureBytes = decoded(signature, signatureSize);
    if (keyBytes.isEmpty() || signatureBytes.isEmpty())
        return false;
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> publicKey(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, bytes(keyBytes.data()),
                                    static_cast<std::size_t>(keyBytes.size())),
        EVP_PKEY_free);
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          EVP_MD_CTX_free);
    return publicKey && context &&
           EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, publicKey.get()) == 1 &&
           EVP_DigestVerify(context.get(), bytes(signatureBytes.data()),
                            static_cast<std::size_t>(signatureBytes.size()), bytes(data.data()),
                            static_cast<std::size_t>(data.size())) == 1;
}

} // namespace Bleedwise::UpdateSignature
