#include "support/FakeGhostscript.h"

#include "support/SmallPDF.h"

#include <algorithm>
#include <sstream>

#include <gtest/gtest.h>

namespace Bleedwise::Testing {

FakeGhostscript::FakeGhostscript(std::string_view script) : FakeGhostscript(script, smallPDF()) {}

FakeGhostscript::FakeGhostscript(std::string_view script, std::string_view result) {
    const std::string folder = folder_.path().native();
    folder_.file("result.pdf", result);
    std::string text = "#!/bin/sh\n";
    text += "printf '%s\\0' \"$@\" > '" + folder + "/arguments'\n";
    text += "printf '%s' \"$GS_OPTIONS\" > '" + folder + "/options'\n";
    text += "while [ \"$1\" != -o ]; do shift; done\n";
    text += "output=$2\n";
    text += "cp '" + folder + "/result.pdf' \"$output\"\n";
    url_ = folder_.program("gs", text + std::string(script) + "\n");
}

bool FakeGhostscript::wasStarted() const {
    return std::filesystem::exists(folder_ / "arguments");
}

std::vector<std::string> FakeGhostscript::arguments() const {
    std::istringstream stream(contents(folder_ / "arguments"));
    std::vector<std::string> result;
    for (std::string argument; std::getline(stream, argument, '\0');)
        result.push_back(argument);
    return result;
}

std::string FakeGhostscript::options() const {
    return contents(folder_ / "options");
}

std::filesystem::path FakeGhostscript::outputURL() const {
    const std::vector<std::string> all = arguments();
    const auto flag = std::find(all.begin(), all.end(), "-o");
    EXPECT_NE(flag, all.end());
    return flag == all.end() ? std::filesystem::path() : std::filesystem::path(*(flag + 1));
}

} // namespace Bleedwise::Testing
