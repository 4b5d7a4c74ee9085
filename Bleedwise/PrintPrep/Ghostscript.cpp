#include "PrintPrep/Ghostscript.h"

#include "PrintPrep/Format.h"
#include "PrintPrep/NativeResultCheck.h"
#include "PrintPrep/PDFBoxPatcher.h"
#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/platform/ChildProcess.h"
#include "PrintPrep/platform/FileSystemError.h"
#include "PrintPrep/platform/OperationStopped.h"
#include "PrintPrep/platform/ProcessInfo.h"
#include "PrintPrep/platform/TemporaryFile.h"
#include "PrintPrep/platform/UTF8.h"

#include <array>
#include <cstdlib>
#include <system_error>
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

/// What Ghostscript says whenever its previous interpreter is used is no news for anybody.
void dropInterpreterWarning(std::vector<std::string>& lines) {
    std::erase_if(lines, [](const std::string& line) {
        return line.find("-dNEWPDF=false") != std::string::npos &&
               line.find("deprecated") != std::string::npos;
    });
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? "" : "\n") + line;
    return text;
}

/// A name for the input under which Ghostscript finds it: its own, or a passing link's. Ghostscript
/// drops bytes that are not UTF-8 from its arguments, so that it would read another file, and takes
/// names such as "|a.pdf" and "%pipe%a.pdf" for commands.
class InputName {
public:
    explicit InputName(const std::filesystem::path& inputURL) : url_(inputURL) {
        const std::string& text = inputURL.native();
        if (UTF8::isValid(text) && text.find_first_of("|%") == std::string::npos)
            return;
        url_ = TemporaryFile::freshWorkFileURL();
        std::error_code error;
        std::filesystem::create_symlink(inputURL, url_, error);
        if (error)
            throw FileSystemError("make a link to", inputURL, error.value());
        isLink_ = true;
    }
    InputName(const InputName&) = delete;
    InputName& operator=(const InputName&) = delete;
    ~InputName() {
        std::error_code ignored;
        if (isLink_)
            std::filesystem::remove(url_, ignored);
    }

    const std::filesystem::path& url() const { return url_; }

private:
    std::filesystem::path url_;
    bool isLink_ = false;
};

/// The absolute path of "gs" in a folder of the search path; nothing when the folder is a relative
/// one and there is no current folder.
std::optional<std::filesystem::path> executableName(const std::string& folder) {
    try {
        return ProcessInfo::absoluteURL(folder) / "gs";
    } catch (const FileSystemError&) {
        return std::nullopt;
    }
}

/// Whether a value of GS_OPTIONS ends within quotation marks. `\"` is a mark without that meaning.
bool endsQuoted(std::string_view value) {
    bool quoted = false;
    for (std::size_t index = 0; index < value.size(); ++index) {
        if (value[index] == '"' && (index == 0 || value[index - 1] != '\\'))
            quoted = !quoted;
    }
    return quoted;
}

/// `text` as Ghostscript reads it back from between quotation marks in GS_OPTIONS.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char character : text) {
        if (character == '"')
            result += '\\';
        result += character;
    }
    return result;
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
        const auto url = executableName(folder);
        if (url && isExecutable(*url))
            return Installation{*url};
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

std::string options(std::string_view inherited, const std::filesystem::path& profileURL,
                    Interpreter interpreter) {
    // An open mark would swallow the profile, and the colours would be wrong without a word.
    if (endsQuoted(inherited))
        throw PrintPrepError::ghostscriptFailed("The environment variable GS_OPTIONS has an "
                                                "opening quotation mark without a closing one.");
    std::string value(inherited);
    for (const char* option : {"-sVectorICCProfile=", "-sTextICCProfile=", "-sImageICCProfile="}) {
        if (!value.empty() && !value.ends_with(' '))
            value += ' ';
        value += '"' + (option + escaped(profileURL.native())) + '"';
    }
    if (interpreter == Interpreter::previous)
        value += " -dNEWPDF=false";
    // Ghostscript refuses a quoted option at the very end of the value.
    return value + ' ';
}

Result convertToCMYKSync(const std::filesystem::path& ghostscriptURL,
                         const std::filesystem::path& inputURL,
                         const std::filesystem::path& outputURL,
                         const std::filesystem::path& profileURL, const PrintSettings& settings,
                         const std::stop_token& stop) {
    NativeResultCheck check(inputURL, profileURL, settings, stop);
    const Interpreter interpreter =
        check.hasMovedOrigin() ? Interpreter::previous : Interpreter::usual;
    const InputName input(inputURL);
    const std::string variable = options(environmentValue("GS_OPTIONS"), profileURL, interpreter);
    check.start();
    const ChildProcess::Outcome outcome =
        ChildProcess::run(ghostscriptURL, arguments(input.url(), outputURL, profileURL, settings),
                          {{"GS_OPTIONS", variable}}, stop);
    std::vector<std::string> lines = consoleLines(outcome.consoleText);
    if (interpreter == Interpreter::previous)
        dropInterpreterWarning(lines);
    if (outcome.exitStatus != 0)
        throw PrintPrepError::ghostscriptFailed(joined(lines));

    throwIfStopped(stop);
    if (auto fault = check.fault(outputURL)) {
        lines.push_back(std::move(*fault));
        throw PrintPrepError::ghostscriptFailed(joined(lines));
    }
    throwIfStopped(stop);
    PDFBoxPatcher::applyPrintBoxes(outputURL, settings, true, PDFBoxPatcher::Writing::inPlace);
    if (lines.empty())
        lines.emplace_back("Ghostscript finished without messages.");
    for (std::string& gap : check.gaps())
        lines.push_back(std::move(gap));
    return {std::move(lines)};
}

std::future<Result> convertToCMYK(std::filesystem::path ghostscriptURL,
                                  std::filesystem::path inputURL, std::filesystem::path outputURL,
                                  std::filesystem::path profileURL, PrintSettings settings,
                                  std::stop_token stop) {
    // Not std::async: the destructor of its future waits for the end.
    std::packaged_task<Result()> conversion([ghostscriptURL = std::move(ghostscriptURL),
                                             inputURL = std::move(inputURL),
                                             outputURL = std::move(outputURL),
                                             profileURL = std::move(profileURL), settings,
                                             stop = std::move(stop)] {
        return convertToCMYKSync(ghostscriptURL, inputURL, outputURL, profileURL, settings, stop);
    });
    std::future<Result> result = conversion.get_future();
    std::thread(std::move(conversion)).detach();
    return result;
}

} // namespace Bleedwise::Ghostscript
