#include "support/ViewFixture.h"

#include "PrintPrep/PrintSettings.h"
#include "support/Rendering.h"
#include "support/SmallPDF.h"
#include "support/TestPDF.h"

namespace Bleedwise::Testing {

ViewFixture::ViewFixture() : profile(outputProfileURL()) {
    std::filesystem::create_directory(temporaryDirectory);
    view = makeView();
}

std::unique_ptr<ContentView> ViewFixture::makeView() {
    return std::make_unique<ContentView>(
        SettingsStore("test"),
        ContentView::Discovery{[this] { return ghostscript; }, [this] { return profile; }});
}

std::filesystem::path ViewFixture::pdf(const std::filesystem::path& name) const {
    return folder.file(name, smallPDF());
}

std::filesystem::path ViewFixture::pdf(const std::filesystem::path& name, double width,
                                       double height) const {
    const std::string mediaBox = "0 0 " + std::to_string(width * pointsPerMillimetre) + " " +
                                 std::to_string(height * pointsPerMillimetre);
    return folder.file(name,
                       TestPDF::ofPage({"0 0 0 1 k -9999 -9999 19999 19999 re f", "", mediaBox}));
}

std::vector<std::string> ViewFixture::names() {
    std::vector<std::string> result;
    for (const ConversionJob& queued : view->jobs()->jobs())
        result.push_back(queued.fileName().toStdString());
    return result;
}

} // namespace Bleedwise::Testing
