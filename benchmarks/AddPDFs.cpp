// Times adding a thousand PDFs to the queue in one call beside opening each of them once with
// Poppler, in turn:
//
//   add-pdfs RUNS FOLDER SAMPLE ...
//
// The thousand are made in FOLDER from the samples: whole, damaged in several ways, and with a size
// in the name. Fails when a job does not have the size that Poppler tells, or when a second call
// with the same files adds one.

#include "ContentView/ContentView.h"
#include "PrintPrep/Format.h"
#include "PrintPrep/PrintSettings.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QCoreApplication>

#include <Error.h>
#include <GlobalParams.h>
#include <PDFDoc.h>
#include <Page.h>

namespace {

using Paths = std::vector<std::filesystem::path>;

constexpr int fileCount = 1000;

std::string contents(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// A file of the kind with this number, of ten: six of ten are whole.
std::filesystem::path makeFile(const std::filesystem::path& folder, int number,
                               const std::string& sample) {
    std::string name = "artwork " + std::to_string(number);
    std::string bytes = sample;
    switch (number % 10) {
    case 0:
        name += " 148x210mm+3";
        break;
    case 1:
        bytes.resize(bytes.size() / 2); // broken off
        break;
    case 2:
        bytes.replace(bytes.rfind("startxref"), 9, "startxxxx"); // must be searched for objects
        break;
    case 3:
        bytes = "This is no PDF.";
        break;
    case 4:
        bytes.clear();
        break;
    default:
        break;
    }
    const std::filesystem::path file = folder / (name + ".pdf");
    std::ofstream(file, std::ios::binary) << bytes;
    return file;
}

Paths makeFiles(const std::filesystem::path& folder, const Paths& samples) {
    std::vector<std::string> texts;
    std::transform(samples.begin(), samples.end(), std::back_inserter(texts), contents);
    Paths files;
    for (int number = 0; number < fileCount; ++number)
        files.push_back(
            makeFile(folder, number, texts[static_cast<std::size_t>(number / 10) % texts.size()]));
    return files;
}

/// The width of the first page in mm, with nothing around Poppler.
std::optional<double> firstWidth(const std::filesystem::path& file) {
    PDFDoc document(std::make_unique<GooString>(file.native()));
    Page* page = document.isOk() && document.getNumPages() > 0 ? document.getPage(1) : nullptr;
    if (!page || !page->isOk())
        return std::nullopt;
    const PDFRectangle* box = page->getMediaBox();
    return std::abs(box->x2 - box->x1) / Bleedwise::pointsPerMillimetre;
}

double seconds(const std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// What each job must begin with, for a bleed of 0 that nothing is taken off for.
std::string expectedWidth(const std::filesystem::path& file, const std::optional<double>& width,
                          const std::string& defaultWidth) {
    if (file.native().find("148x210") != std::string::npos)
        return "148";
    return width ? Bleedwise::Format::mm(*width) : defaultWidth;
}

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "%s\n", message.c_str());
    std::exit(EXIT_FAILURE);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const int runs = argc >= 4 ? std::atoi(argv[1]) : 0;
    if (runs < 1)
        fail("usage: add-pdfs RUNS FOLDER SAMPLE ...");
    const Paths files = makeFiles(std::filesystem::absolute(argv[2]), Paths(argv + 3, argv + argc));

    globalParams = std::make_unique<GlobalParams>();
    setErrorCallback([](ErrorCategory, Goffset, const char*) {});
    std::vector<double> ratios;
    std::vector<double> adding;
    std::vector<double> opening;
    for (int run = -1; run < runs; ++run) { // the first pair only warms up
        using namespace Bleedwise;
        ContentView view(SettingsStore("benchmark"),
                         {[] { return std::nullopt; }, [] { return std::nullopt; }});
        view.setSourceIncludesBleed(false);
        auto start = std::chrono::steady_clock::now();
        view.addPDFs(files);
        const double added = seconds(start);

        std::vector<std::optional<double>> widths;
        start = std::chrono::steady_clock::now();
        for (const std::filesystem::path& file : files)
            widths.push_back(firstWidth(file));
        const double opened = seconds(start);

        if (view.jobCount() != fileCount)
            fail("not all were added");
        for (std::size_t index = 0; index < files.size(); ++index) {
            // "artwork 2" comes before "artwork 10": the order in which they were made.
            const ConversionJob& job = view.jobs()->at(static_cast<int>(index));
            const std::string expected =
                expectedWidth(files[index], widths[index], view.defaultWidthMM().toStdString());
            if (job.inputURL != files[index] || job.widthMM.toStdString() != expected)
                fail(files[index].native() + " has the width " + job.widthMM.toStdString());
        }
        view.addPDFs(files);
        if (view.jobCount() != fileCount)
            fail("the second call added some");
        if (run < 0)
            continue;
        adding.push_back(added);
        opening.push_back(opened);
        ratios.push_back(added / opened);
    }
    const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf("%-44s %6.2f  (%.2f to %.2f, %d pairs)  wall %.4f s : %.4f s\n",
                "adding 1,000 PDFs : opening each", median(ratios), *least, *most, runs,
                median(adding), median(opening));
    return EXIT_SUCCESS;
}
