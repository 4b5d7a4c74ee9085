#include "CommandLineConverter/ParsedArguments.h"

#include "CommandLineConverter/ArgumentError.h"
#include "PrintPrep/NumberReader.h"
#include "PrintPrep/platform/ProcessInfo.h"

#include <algorithm>

namespace Bleedwise {
namespace {

constexpr double defaultBleedMM = 3;

std::optional<double> number(std::string_view flag, const std::vector<std::string>& arguments) {
    const auto text = ParsedArguments::value(flag, arguments);
    return text ? NumberReader::number(*text) : std::nullopt;
}

double requiredNumber(const std::string& flag, const std::vector<std::string>& arguments) {
    const auto value = number(flag, arguments);
    if (!value)
        throw ArgumentError::message("Missing or invalid " + flag + " value.");
    return *value;
}

bool contains(const std::vector<std::string>& arguments, std::string_view flag) {
    return std::find(arguments.begin(), arguments.end(), flag) != arguments.end();
}

} // namespace

ParsedArguments::ParsedArguments(const std::vector<std::string>& arguments) {
    const auto input = value("--convert", arguments);
    if (!input)
        throw ArgumentError::message("Missing input PDF after --convert.");
    inputURL = ProcessInfo::absoluteURL(*input);
    if (const auto output = value("--output", arguments))
        outputURL = ProcessInfo::absoluteURL(*output);
    widthMM = requiredNumber("--width", arguments);
    heightMM = requiredNumber("--height", arguments);
    bleedMM = number("--bleed", arguments).value_or(defaultBleedMM);
    sourceIncludesBleed = !contains(arguments, "--trim-only");
    useGhostscript = !contains(arguments, "--no-ghostscript");
}

std::optional<std::string> ParsedArguments::value(std::string_view flag,
                                                  const std::vector<std::string>& arguments) {
    const auto found = std::find(arguments.begin(), arguments.end(), flag);
    if (found == arguments.end() || found + 1 == arguments.end())
        return std::nullopt;
    return *(found + 1);
}

} // namespace Bleedwise
