#include "support/Rendering.h"

#include "PrintPrep/RasterCMYKConverter.h"
#include "PrintPrep/raster/PopplerRenderer.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include <lcms2.h>

namespace Bleedwise::Testing {
namespace {

std::string saved(cmsHPROFILE profile) {
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    std::string bytes(size, '\0');
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

} // namespace

int Inks::distance(const Inks& other) const {
    int largest = 0;
    for (std::size_t i = 0; i < values.size(); ++i)
        largest = std::max(largest, std::abs(values[i] - other.values[i]));
    return largest;
}

std::ostream& operator<<(std::ostream& stream, const Inks& inks) {
    return stream << "C " << inks.values[0] << " M " << inks.values[1] << " Y " << inks.values[2]
                  << " K " << inks.values[3];
}

const std::filesystem::path& outputProfileURL() {
    static const std::filesystem::path url =
        std::filesystem::path(BLEEDWISE_SOURCE_FOLDER) / "Bleedwise/Resources/ISOcoated_v2_eci.icc";
    return url;
}

const OutputProfile& outputProfile() {
    static const OutputProfile profile =
        OutputProfile::fromBytes(contents(outputProfileURL())).value();
    return profile;
}

PrintSettings smallSheet() {
    return {25.4 / 3, 25.4 / 3, 0, true, false};
}

CMYKImage render(const std::string& pdf, const PrintSettings& settings) {
    const TemporaryFolder folder;
    const auto document = PopplerRenderer::open(folder.file("page.pdf", pdf));
    if (!document)
        throw std::runtime_error("the test's PDF does not open");
    const auto mediaBox = document->mediaBox(1);
    if (!mediaBox)
        throw std::runtime_error("the test's PDF has no first page");
    return RasterCMYKConverter::renderCMYKImage({*document, 1, *mediaBox}, outputProfile(),
                                                settings);
}

Inks at(const CMYKImage& image, std::int64_t x, std::int64_t y) {
    const std::uint8_t* pixel = image.row(y) + 4 * x;
    return {{pixel[0], pixel[1], pixel[2], pixel[3]}};
}

Inks middle(const std::string& pdf) {
    const CMYKImage image = render(pdf);
    return at(image, image.width() / 2, image.height() / 2);
}

TemporaryDocument::TemporaryDocument(const std::string& pdf)
    : document_(PopplerRenderer::open(folder_.file("page.pdf", pdf))) {}

std::string TemporaryDocument::rows(std::int64_t first, std::int64_t count) const {
    const PixelSize size = PageGeometry::pixelSize(smallSheet());
    const RenderResult result = document_->render(
        {1, size, PageGeometry::place(document_->mediaBox(1).value(), smallSheet()), first, count},
        outputProfile());
    const auto& pixels = std::get<PixelBuffer>(result);
    return {reinterpret_cast<const char*>(pixels.data()), pixels.size()};
}

Inks separated(const Profile& source, const std::vector<double>& color, Intent intent) {
    unsigned format = TYPE_RGB_DBL;
    if (source.space() == Profile::Space::lab)
        format = TYPE_Lab_DBL;
    else if (source.space() == Profile::Space::cmyk)
        format = TYPE_CMYK_DBL;
    std::vector<double> numbers = color;
    if (source.space() == Profile::Space::cmyk)
        std::for_each(numbers.begin(), numbers.end(), [](double& ink) { ink *= 100; });
    cmsHTRANSFORM transform =
        cmsCreateTransform(source.handle(), format, outputProfile().profile().handle(),
                           TYPE_CMYK_DBL, static_cast<cmsUInt32Number>(intent),
                           cmsFLAGS_NOOPTIMIZE | cmsFLAGS_BLACKPOINTCOMPENSATION);
    std::array<double, 4> percent{};
    cmsDoTransform(transform, numbers.data(), percent.data(), 1);
    cmsDeleteTransform(transform);
    Inks inks;
    for (std::size_t i = 0; i < percent.size(); ++i)
        inks.values[i] = static_cast<int>(std::lround(percent[i] / 100 * 255));
    return inks;
}

std::string adobeRGBProfile() {
    const cmsCIExyY white = {0.3127, 0.3290, 1};
    const cmsCIExyYTRIPLE primaries = {{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
    cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.19921875);
    cmsToneCurve* curves[] = {curve, curve, curve};
    const cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, curves);
    cmsFreeToneCurve(curve);
    return saved(profile);
}

std::string grayProfile() {
    cmsToneCurve* curve = cmsBuildGamma(nullptr, 2.2);
    const cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    return saved(profile);
}

std::string labProfile() {
    return saved(cmsCreateLab4Profile(nullptr));
}

std::string otherCMYKProfile() {
    std::string bytes = contents(outputProfileURL());
    constexpr std::size_t creationYear = 25; // low byte (ICC.1:2010, 7.2.8)
    bytes[creationYear] = static_cast<char>(bytes[creationYear] + 1);
    return bytes;
}

} // namespace Bleedwise::Testing
