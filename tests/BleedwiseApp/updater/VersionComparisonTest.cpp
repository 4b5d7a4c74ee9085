#include "BleedwiseApp/updater/VersionComparison.h"

#include <compare>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

struct Pair {
    std::string name;
    QString left;
    QString right;
};
std::ostream& operator<<(std::ostream& stream, const Pair& pair) {
    return stream << pair.left.toStdString() << " and " << pair.right.toStdString();
}

constexpr auto nameOf = [](const auto& example) { return example.param.name; };

class Earlier : public testing::TestWithParam<Pair> {};

TEST_P(Earlier, ComesBefore) {
    EXPECT_TRUE(std::is_lt(VersionComparison::compare(GetParam().left, GetParam().right)));
}

TEST_P(Earlier, IsComparedTheSameBothWaysRound) {
    EXPECT_TRUE(std::is_gt(VersionComparison::compare(GetParam().right, GetParam().left)));
}

INSTANTIATE_TEST_SUITE_P(
    All, Earlier,
    testing::Values(
        Pair{"ByTheFirstNumber", "1.9", "2.0"}, Pair{"ByTheLastNumber", "1.0.1", "1.0.2"},
        Pair{"ByValueNotByDigits", "0.9", "0.10"}, Pair{"WithANumberMore", "1.4", "1.4.1"},
        Pair{"ByBuildNumber", "99", "4000"},
        Pair{"BeyondSixtyFourBits", "1.99999999999999999999", "1.100000000000000000000"},
        Pair{"AsAPreview", "2.0b1", "2.0"}, Pair{"AsAPreviewInWords", "2.0 beta", "2.0"},
        Pair{"AsAPreviewWithAHyphen", "2.0-rc.1", "2.0"},
        Pair{"ByThePreviewsNumber", "2.0b9", "2.0b10"},
        Pair{"ByThePreviewsName", "2.0 alpha 3", "2.0 beta 1"},
        Pair{"BehindAFinishedOne", "1.9", "2.0b1"}, Pair{"WithoutAnything", "", "0.1"}),
    nameOf);

class Equal : public testing::TestWithParam<Pair> {};

TEST_P(Equal, IsNeitherBeforeNorAfter) {
    EXPECT_TRUE(std::is_eq(VersionComparison::compare(GetParam().left, GetParam().right)));
}

INSTANTIATE_TEST_SUITE_P(All, Equal,
                         testing::Values(Pair{"TheSame", "1.2.3", "1.2.3"},
                                         Pair{"WithZerosBehind", "1.2", "1.2.0.0"},
                                         Pair{"WithZerosBefore", "1.02", "1.2"},
                                         Pair{"ByOtherSeparators", "2.0-b1", "2.0b1"},
                                         Pair{"Nothing", "", ""}),
                         nameOf);

} // namespace
} // namespace Bleedwise
