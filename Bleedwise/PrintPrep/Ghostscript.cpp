#include "PrintPrep/Ghostscript.h"

#include "PrintPrep/Format.h"
#include "PrintPrep/PDFBoxPatcher.h"
#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/UTF8.h"
#include "PrintPrep/platform/ChildProcess.h"
#include "PrintPrep/platform/ProcessInfo.h"

#include <array>
#include <cstdlib>
#include <thread>
#include <utility>

namespace Bleedwise::Ghostscript {
namespace {

/// Where package managers put it; they win over the search path.
constexpr std::array<const char*, 3> usualPlaces = {"/opt/homebrew/bin/gs", "/usr/local/bin/gs",
                                                    "/usr/bin/gs"};

/// `text` between the separators, without empty pieces.
std::vector<std::string> pieces(std::string_view text, char separator) {
    std::vector<std::string> result;
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find(separator));
        if (!piece.empty())
            result.emplace_back(piece);
        text.remove_prefix(std::min(text.size(), piece.size() + 1));
    }
    return result;
}

std::vector<std::string> consoleLines(const std::string& consoleText) {
    return UTF8::isValid(consoleText) ? pieces(consoleText, '\n') : std::vector<std::string>();
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? "" : "\n") + line;
    return text;
}

std::string environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

} // namespace

std::optional<Installation> find() {
    return find(ProcessInfo::canExecute, environmentValue("PATH"));
}

std::optional<Installation>
find(const std::function<bool(const std::filesystem::path&)>& isExecutable,
     std::string_view searchPath) {
    for (const char* place : usualPlaces) {
        if (isExecutable(place))
            return Installation{place};
    }
    for (const std::string& folder : pieces(searchPath, ':')) {
        const std::filesystem::path url = ProcessInfo::absoluteURL(folder) / "gs";
        if (isExecutable(url))
            return Installation{url};
    }
    return std::nullopt;
}

std::vector<std::string> arguments(const std::filesystem::path& inputURL,
                                   const std::filesystem::path& outputURL,
                                   const std::filesystem::path& profileURL,
                                   const PrintSettings& settings) {
    const double bleedOnMediaMM = settings.sourceIncludesBleed ? 2 * settings.bleedMM : 0;
    const double offsetMM = settings.sourceIncludesBleed ? 0 : settings.bleedMM;
    const auto points = [](double millimetres) {
        return Format::points(millimetres * pointsPerMillimetre);
    };
    const std::string offset = points(offsetMM);

    return {
        "-dBATCH",
        "-dNOPAUSE",
        "-dSAFER",
        "--permit-file-read=" + inputURL.native(),
        "--permit-file-read=" + profileURL.native(),
        "--permit-file-write=" + outputURL.native(),
        "-sDEVICE=pdfwrite",
        "-o",
        outputURL.native(),
        "-dCompatibilityLevel=1.4",
        "-dPDFSETTINGS=/prepress",
        "-dProcessColorModel=/DeviceCMYK",
        "-sColorConversionStrategy=CMYK",
        "-sColorConversionStrategyForImages=CMYK",
        "-dOverrideICC",
        "-sOutputICCProfile=" + profileURL.native(),
        "-dFIXEDMEDIA",
        "-dDEVICEWIDTHPOINTS=" + points(settings.trimWidthMM + bleedOnMediaMM),
        "-dDEVICEHEIGHTPOINTS=" + points(settings.trimHeightMM + bleedOnMediaMM),
        "-c",
        "<</PageOffset [" + offset + " " + offset + "]>> setpagedevice",
        "-dPDFFitPage",
        "-f",
        inputURL.native(),
    };
}

std::string options(std::string_view inherited, const std::filesystem::path& profileURL) {
    std::string value(inherited);
    for (const char* option : {"-sVectorICCProfile=", "-sTextICCProfile=", "-sImageICCProfile="}) {
        if (!value.empty() && !value.ends_with(' '))
            value += ' ';
        value += '"' + (option + profileURL.native()) + '"';
    }
    // Ghostscript refuses a quoted option at the very end of the value.
    return value + ' ';
}

Result convertToCMYKSync(const std::filesystem::path& ghostscriptURL,
                         const std::filesystem::path& inputURL,
                         const std::filesystem::path& outputURL,
                         const std::filesystem::path& profileURL, const PrintSettings& settings) {
    const ChildProcess::Outcome outcome =
        ChildProcess::run(ghostscriptURL, arguments(inputURL, outputURL, profileURL, settings),
                          {{"GS_OPTIONS", options(environmentValue("GS_OPTIONS"), profileURL)}});
    std::vector<std::string> lines = consoleLines(outcome.consoleText);
    if (outcome.exitStatus != 0)
        throw PrintPrepError::ghostscriptFailed(joined(lines));

    PDFBoxPatcher::applyPrintBoxes(outputURL, settings, true);
    if (lines.empty())
        lines.emplace_back("Ghostscript finished without messages.");
    return {std::move(lines)};
}

std::future<Result> convertToCMYK(std::filesystem::path ghostscriptURL,
                                  std::filesystem::path inputURL, std::filesystem::path outputURL,
                                  std::filesystem::path profileURL, PrintSettings settings) {
    // Not std::async: the destructor of its future waits for the end.
    std::packaged_task<Result()> conversion(
        [ghostscriptURL = std::move(ghostscriptURL), inputURL = std::move(inputURL),
         outputURL = std::move(outputURL), profileURL = std::move(profileURL), settings] {
            return convertToCMYKSync(ghostscriptURL, inputURL, outputURL, profileURL, settings);
        });
    std::future<Result> result = conversion.get_future();
    std::thread(std::move(conversion)).detach();
    return result;
}

} // namespace Bleedwise::Ghostscript
