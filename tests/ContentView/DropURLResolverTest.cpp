#include "ContentView/DropURLResolver.h"

#include <optional>
#include <string>

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

struct Item {
    std::string name;
    QVariant item;
    /// Absent when the item stands for no URL.
    std::optional<QUrl> url;
};

class DropURLResolverTest : public testing::TestWithParam<Item> {};

TEST_P(DropURLResolverTest, ResolvesTheItem) {
    EXPECT_EQ(DropURLResolver::url(GetParam().item), GetParam().url);
}

const Item items[] = {
    {"NoItemIsNoURL", QVariant(), std::nullopt},
    {"BytesAreTheTextOfAURL", QByteArray("file:///home/anna/a.pdf"),
     QUrl("file:///home/anna/a.pdf")},
    {"BytesMayHoldAnyLetters", QByteArray("file:///home/anna/\xC3\xA4.pdf"),
     QUrl("file:///home/anna/%C3%A4.pdf")},
    {"BytesMayHoldAnEscapedNameThatIsNotUTF8", QByteArray("file:///home/anna/%FF.pdf"),
     QUrl("file:///home/anna/%FF.pdf")},
    {"BytesOfAnotherSchemeAreAURLToo", QByteArray("https://example.org/a.pdf"),
     QUrl("https://example.org/a.pdf")},
    {"BytesThatAreNoURLAreNothing", QByteArray("file://a b:c:d/"), std::nullopt},
    {"NoBytesAreNothing", QByteArray(""), std::nullopt},
    {"BytesThatAreNotUTF8AreNothing", QByteArray("file:///home/anna/\xFF.pdf"), std::nullopt},
    {"AURLIsItself", QUrl("file:///home/anna/a.pdf"), QUrl("file:///home/anna/a.pdf")},
    {"AnEmptyURLIsNone", QUrl(), std::nullopt},
    {"PlainTextIsNotRead", QString("file:///home/anna/a.pdf"), std::nullopt},
    {"ANumberIsNothing", 1, std::nullopt},
};

INSTANTIATE_TEST_SUITE_P(Items, DropURLResolverTest, testing::ValuesIn(items),
                         [](const auto& test) { return test.param.name; });

} // namespace
} // namespace Bleedwise
