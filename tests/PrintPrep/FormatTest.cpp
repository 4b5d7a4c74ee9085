#include "PrintPrep/Format.h"

#include "PrintPrep/PrintSettings.h"

#include <gtest/gtest.h>

namespace Bleedwise {
namespace {

TEST(FormatMM, WritesMinusZeroAsZero) {
    EXPECT_EQ(Format::mm(-0.0), "0");
}

} // namespace
} // namespace Bleedwise
