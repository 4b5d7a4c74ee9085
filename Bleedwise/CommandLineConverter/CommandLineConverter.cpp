#include "CommandLineConverter/CommandLineConverter.h"

#include "CommandLineConverter/ParsedArguments.h"
#include "PrintPrep/OutputNamer.h"
#include "PrintPrep/PrintPrepError.h"
#include "PrintPrep/PrintSettings.h"
#include "PrintPrep/ProfileResolver.h"
#include "PrintPrep/RasterCMYKConverter.h"
#include "PrintPrep/platform/AllocatorTuning.h"
#include "PrintPrep/platform/ProcessInfo.h"
#include "PrintPrep/platform/TemporaryFile.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iostream>

namespace Bleedwise::CommandLineConverter {
namespace {

void writeLine(std::ostream& stream, const std::string& line) {
    stream << line << '\n' << std::flush;
}

/// Converts into the work file; gives the lines to report.
std::vector<std::string>
convert(const std::filesystem::path& inputURL, const std::filesystem::path& workURL,
        const std::filesystem::path& profileURL, const PrintSettings& settings,
        const std::optional<Ghostscript::Installation>& ghostscript, std::ostream& output) {
    if (settings.useGhostscript) {
        writeLine(output, "Converting with: " + ghostscript->url.native());
        return Ghostscript::convertToCMYKSync(ghostscript->url, inputURL, workURL, profileURL,
                                              settings)
            .log;
    }
    writeLine(output, "Skipping Ghostscript; writing raster CMYK PDF");
    RasterCMYKConverter::write(inputURL, workURL, profileURL, settings);
    return {"Skipped Ghostscript. Flattened to FOGRA39 CMYK bitmap."};
}

void run(const std::vector<std::string>& arguments, const Discovery& discovery,
         std::ostream& output) {
    const ParsedArguments parsed(arguments);
    const auto ghostscript = discovery.ghostscript();
    if (parsed.useGhostscript && !ghostscript)
        throw PrintPrepError::ghostscriptFailed(
            "Ghostscript not found. Install it with: brew install ghostscript");
    const auto profileURL = discovery.profile();
    if (!profileURL)
        throw PrintPrepError::ghostscriptFailed("Bundled FOGRA39 profile was not found.");

    const PrintSettings settings = {parsed.widthMM, parsed.heightMM, parsed.bleedMM,
                                    parsed.sourceIncludesBleed, parsed.useGhostscript};
    const std::filesystem::path finalURL =
        parsed.outputURL ? *parsed.outputURL
                         : OutputNamer::defaultOutputURL(parsed.inputURL, settings);
    const std::filesystem::path workURL = TemporaryFile::freshWorkFileURL();
    const std::vector<std::string> lines =
        convert(parsed.inputURL, workURL, *profileURL, settings, ghostscript, output);
    OutputNamer::replaceItem(finalURL, workURL);

    for (const std::string& line : lines)
        writeLine(output, line);
    writeLine(output, "Output: " + finalURL.native());
}

} // namespace

void runIfRequested() {
    const std::vector<std::string> arguments = ProcessInfo::arguments();
    if (std::find(arguments.begin(), arguments.end(), "--convert") == arguments.end())
        return;
    AllocatorTuning::forShortRun();
    const Discovery discovery = {[] { return Ghostscript::find(); }, ProfileResolver::fogra39URL};
    std::exit(convert(arguments, discovery, std::cout, std::cerr));
}

int convert(const std::vector<std::string>& arguments, const Discovery& discovery,
            std::ostream& output, std::ostream& error) {
    try {
        run(arguments, discovery, output);
        return EXIT_SUCCESS;
    } catch (const LocalizedError& failure) {
        writeLine(error, "ERROR: " + failure.errorDescription());
        return EXIT_FAILURE;
    } catch (const std::exception& failure) {
        writeLine(error, std::string("ERROR: ") + failure.what());
        return EXIT_FAILURE;
    }
}

} // namespace Bleedwise::CommandLineConverter
