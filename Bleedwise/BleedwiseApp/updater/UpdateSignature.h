#pragma once

#include <QByteArrayView>
#include <QString>

/// Ed25519 signatures (RFC 8032) of whole files.
namespace Bleedwise::UpdateSignature {

/// Whether `key` is a public key: 32 bytes in base64, with white space around it or not.
bool isKey(const QString& key);

/// Whether `signature`, 64 bytes in base64, is that of `data` under `key`. False also when one of
/// them is not written as it must be.
bool verify(QByteArrayView data, const QString& signature, const QString& key);

} // namespace Bleedwise::UpdateSignature
