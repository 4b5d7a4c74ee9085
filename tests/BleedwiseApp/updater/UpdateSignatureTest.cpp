#include "BleedwiseApp/updater/UpdateSignature.h"

#include "support/Authority.h"

#include <string>

#include <QByteArray>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

QString base64(const char* hexadecimal) {
    return QString::fromLatin1(QByteArray::fromHex(hexadecimal).toBase64());
}

// RFC 8032, 7.1, test 3.
const QString key = base64("fc51cd8e6218a1a38da47ed00230f0580816ed13ba3303ac5deb911548908025");
const QString signature =
    base64("6291d657deec24024827e69c3abe01a30ce548a284743a445e3680d7db5ac3ac"
           "18ff9b538d16f290ae67f760984dc6594a7c15e9716ed28dc027beceea1ec40a");
const QByteArray message = QByteArray::fromHex("af82");

TEST(UpdateSignature, IsRightForTheVectorOfTheStandard) {
    EXPECT_TRUE(UpdateSignature::verify(message, signature, key));
}

TEST(UpdateSignature, IsRightForWhatTheOpensslProgramSigns) {
    const Testing::SigningKey signer;
    const std::string data(100'000, 'x');
    EXPECT_TRUE(UpdateSignature::verify(data, QString::fromStdString(signer.signature(data)),
                                        QString::fromStdString(signer.publicKey())));
}

TEST(UpdateSignature, MayHaveWhiteSpaceAroundIt) {
    EXPECT_TRUE(UpdateSignature::verify(message, " " + signature + "\n", "\t" + key + "\n"));
}

TEST(UpdateSignature, IsWrongForOtherData) {
    EXPECT_FALSE(UpdateSignature::verify(QByteArray::fromHex("af83"), signature, key));
}

TEST(UpdateSignature, IsWrongForDataThatGoesOn) {
    EXPECT_FALSE(UpdateSignature::verify(message + '\0', signature, key));
}

TEST(UpdateSignature, IsWrongUnderAnotherKey) {
    const Testing::SigningKey other;
    EXPECT_FALSE(
        UpdateSignature::verify(message, signature, QString::fromStdString(other.publicKey())));
}

TEST(UpdateSignature, IsWrongWhenItIsNotWrittenWell) {
    for (const QString& text : {QString(), QString("!"), signature.chopped(4), signature + "AAAA",
                                signature + "!", signature.toLower()})
        EXPECT_FALSE(UpdateSignature::verify(message, text, key)) << text.toStdString();
}

TEST(UpdateSignature, IsWrongUnderAKeyThatIsNotWrittenWell) {
    for (const QString& text : {QString(), QString("key"), key.chopped(4), key + "AAAA"})
        EXPECT_FALSE(UpdateSignature::verify(message, signature, text)) << text.toStdString();
}

TEST(UpdateSignature, KnowsAKey) {
    EXPECT_TRUE(UpdateSignature::isKey(key));
}

TEST(UpdateSignature, KnowsWhatIsNoKey) {
    for (const QString& text : {QString(), QString(" "), QString("abc"), signature})
        EXPECT_FALSE(UpdateSignature::isKey(text)) << text.toStdString();
}

} // namespace
} // namespace Bleedwise
