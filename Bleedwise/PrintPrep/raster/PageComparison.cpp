#include "PrintPrep/raster/PageComparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace Bleedwise::PageComparison {
namespace {

using Plane = PageView::Plane;

// The most that a right page may differ, of 255. What right pages have in fact, and what wrong
// ones have at least, is in docs/native.md; each limit lies between the two.

/// In a pixel; only what exceeds it counts below. Colours may be so different all over.
constexpr int unnoticed = 10;
/// On average over a place.
constexpr double mostAtPlace = 50;
/// On average along a side.
constexpr double mostAlongSide = 8;
/// Over the page, as part of what is on it. In proportion, because on an almost empty page
/// everything is little.
constexpr double mostOfPage = 0.05;
/// A place is two cells wide and high, and places overlap by a cell.
constexpr std::ptrdiff_t cell = 4;
/// How far inwards a side goes.
constexpr std::ptrdiff_t sideDepth = 3;

constexpr int paper = 255;

struct Neighbours {
    Plane darkest;
    Plane lightest;
};

/// Each pixel's choice among itself and its eight neighbours.
template <typename Choose>
Plane chosen(const Plane& plane, std::ptrdiff_t width, std::ptrdiff_t height, Choose choose) {
    Plane across(plane.size());
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        const std::uint8_t* from = plane.data() + y * width;
        std::uint8_t* to = across.data() + y * width;
        to[0] = choose(from[0], from[std::min<std::ptrdiff_t>(1, width - 1)]);
        to[width - 1] = choose(from[width - 1], from[std::max<std::ptrdiff_t>(0, width - 2)]);
        for (std::ptrdiff_t x = 1; x + 1 < width; ++x)
            to[x] = choose(choose(from[x - 1], from[x]), from[x + 1]);
    }
    Plane result(plane.size());
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        const std::uint8_t* above = across.data() + std::max<std::ptrdiff_t>(0, y - 1) * width;
        const std::uint8_t* row = across.data() + y * width;
        const std::uint8_t* below = across.data() + std::min(height - 1, y + 1) * width;
        std::uint8_t* to = result.data() + y * width;
        for (std::ptrdiff_t x = 0; x < width; ++x)
            to[x] = choose(choose(above[x], row[x]), below[x]);
    }
    return result;
}

Neighbours neighbours(const Plane& plane, std::ptrdiff_t width, std::ptrdiff_t height) {
    return {chosen(plane, width, height, [](auto a, auto b) { return std::min(a, b); }),
            chosen(plane, width, height, [](auto a, auto b) { return std::max(a, b); })};
}

/// Raises `distances` to how far `plane` is out of what the other one's neighbourhood has.
void raise(Plane& distances, const Plane& plane, const Neighbours& other) {
    for (std::size_t i = 0; i < plane.size(); ++i) {
        const auto above = static_cast<std::uint8_t>(std::max(plane[i] - other.lightest[i], 0));
        const auto below = static_cast<std::uint8_t>(std::max(other.darkest[i] - plane[i], 0));
        distances[i] = std::max({distances[i], above, below});
    }
}

/// How far each pixel differs noticeably, by the channel in which it does so most.
Plane distances(const PageView& expected, const PageView& found) {
    Plane result(expected.planes()[0].size());
    for (std::size_t channel = 0; channel < expected.planes().size(); ++channel) {
        const Plane& first = expected.planes()[channel];
        const Plane& second = found.planes()[channel];
        raise(result, first, neighbours(second, found.width(), found.height()));
        raise(result, second, neighbours(first, found.width(), found.height()));
    }
    for (std::uint8_t& distance : result)
        distance = static_cast<std::uint8_t>(std::max(distance - unnoticed, 0));
    return result;
}

void clear(Plane& plane, std::ptrdiff_t width, std::ptrdiff_t height, const Area& area) {
    for (std::ptrdiff_t y = std::max<std::ptrdiff_t>(0, area.top);
         y < std::min(height, area.bottom); ++y) {
        for (std::ptrdiff_t x = std::max<std::ptrdiff_t>(0, area.left);
             x < std::min(width, area.right); ++x)
            plane[static_cast<std::size_t>(y * width + x)] = 0;
    }
}

/// The average in a part of a view; 0 in none.
double average(const Plane& plane, std::ptrdiff_t width, const Area& area) {
    double sum = 0;
    for (std::ptrdiff_t y = area.top; y < area.bottom; ++y) {
        for (std::ptrdiff_t x = area.left; x < area.right; ++x)
            sum += plane[static_cast<std::size_t>(y * width + x)];
    }
    const std::ptrdiff_t count = (area.right - area.left) * (area.bottom - area.top);
    return area.right > area.left && area.bottom > area.top ? sum / static_cast<double>(count) : 0;
}

/// The average of what a page's inks keep back of the light.
double ink(const PageView& view, const Frame& frame) {
    Plane darkness(view.planes()[0].size());
    for (const Plane& plane : view.planes()) {
        for (std::size_t i = 0; i < plane.size(); ++i)
            darkness[i] = std::max(darkness[i], static_cast<std::uint8_t>(paper - plane[i]));
    }
    for (const Area& area : frame.ignored)
        clear(darkness, view.width(), view.height(), area);
    return average(darkness, view.width(), frame.page);
}

double worstSide(const Plane& plane, std::ptrdiff_t width, const Area& page) {
    Area left = page;
    left.right = std::min(page.right, page.left + sideDepth);
    Area right = page;
    right.left = std::max(page.left, page.right - sideDepth);
    Area top = page;
    top.bottom = std::min(page.bottom, page.top + sideDepth);
    Area bottom = page;
    bottom.top = std::max(page.top, page.bottom - sideDepth);
    double worst = 0;
    for (const Area& side : {left, right, top, bottom})
        worst = std::max(worst, average(plane, width, side));
    return worst;
}

/// The worst place's average, and where it is.
void findWorstPlace(const Plane& plane, std::ptrdiff_t width, const Area& page, Measures& result) {
    const std::ptrdiff_t columns = (page.right - page.left) / cell;
    const std::ptrdiff_t rows = (page.bottom - page.top) / cell;
    if (columns < 1 || rows < 1)
        return;
    std::vector<unsigned> sums(static_cast<std::size_t>(columns * rows));
    for (std::ptrdiff_t y = 0; y < rows * cell; ++y) {
        const std::uint8_t* row = plane.data() + (page.top + y) * width + page.left;
        unsigned* sum = sums.data() + y / cell * columns;
        for (std::ptrdiff_t x = 0; x < columns * cell; ++x)
            sum[x / cell] += row[x];
    }
    for (std::ptrdiff_t y = 0; y + 1 < rows; ++y) {
        for (std::ptrdiff_t x = 0; x + 1 < columns; ++x) {
            const unsigned* first = sums.data() + y * columns + x;
            const double mean =
                static_cast<double>(first[0] + first[1] + first[columns] + first[columns + 1]) /
                (4 * cell * cell);
            if (mean > result.place) {
                result.place = mean;
                result.x = page.left + (x + 1) * cell;
                result.y = page.top + (y + 1) * cell;
            }
        }
    }
}

/// A number of millimetres as people write it: halves up to 10, whole ones beyond.
std::string millimetres(double value) {
    constexpr double manyMM = 10;
    const double rounded = value < manyMM ? std::round(2 * value) / 2 : std::round(value);
    const auto whole = static_cast<long long>(rounded);
    return std::to_string(whole) + (rounded > static_cast<double>(whole) ? ".5 mm" : " mm");
}

/// What a place has of light.
double lightAt(const PageView& view, const Area& place) {
    double sum = 0;
    for (const Plane& plane : view.planes())
        sum += average(plane, view.width(), place);
    return sum;
}

/// What is tried against a wrong page. Nothing but the page as it should be, changed so, looks as
/// good; `much` better than unchanged will do, since what has left the page is missing anyway.
class Suspicion {
public:
    Suspicion(const PageView& expected, const PageView& found, const Frame& frame)
        : expected_(expected), found_(found), frame_(frame),
          unchanged_(measure(expected, found, frame).page) {}

    bool explains(const PageView& changed) const {
        constexpr double much = 0.2;
        const Measures measures = measure(changed, found_, frame_);
        return measures.largest() <= 1 || measures.page < much * unchanged_;
    }

    bool isMirrored() const {
        const PageView mirrored = expected_.mirrored();
        return explains(mirrored) || explains(mirrored.turned(Turn::around));
    }

    /// By up to 5 per cent.
    bool isScaled() const {
        for (const double scale : {0.98, 0.99, 1.01, 1.02, 0.97, 1.03, 0.96, 1.04, 0.95, 1.05}) {
            if (explains(expected_.moved(scale, 0, 0)))
                return true;
        }
        return false;
    }

    /// How far it is moved, by up to some millimetres in each direction.
    std::optional<double> shift() const {
        const std::ptrdiff_t across =
            likeliestShift(profileAcross(expected_), profileAcross(found_));
        const std::ptrdiff_t down = likeliestShift(profileDown(expected_), profileDown(found_));
        for (const auto& [right, below] :
             {std::pair(across, std::ptrdiff_t{0}), std::pair(std::ptrdiff_t{0}, down),
              std::pair(across, down)}) {
            if ((right != 0 || below != 0) &&
                explains(
                    expected_.moved(1, static_cast<double>(right), static_cast<double>(below))))
                return std::hypot(right, below) * frame_.pixelMM;
        }
        return std::nullopt;
    }

private:
    using Profile = std::vector<double>;

    /// The ink in each column of the page.
    Profile profileAcross(const PageView& view) const {
        Profile profile;
        for (std::ptrdiff_t x = frame_.page.left; x < frame_.page.right; ++x)
            profile.push_back(-lightAt(view, {x, frame_.page.top, x + 1, frame_.page.bottom}));
        return profile;
    }

    /// The ink in each row of the page.
    Profile profileDown(const PageView& view) const {
        Profile profile;
        for (std::ptrdiff_t y = frame_.page.top; y < frame_.page.bottom; ++y)
            profile.push_back(-lightAt(view, {frame_.page.left, y, frame_.page.right, y + 1}));
        return profile;
    }

    /// By which a profile is most like another one where they overlap. To look at the profiles
    /// costs next to nothing, while to try out each shift of the page could take minutes.
    std::ptrdiff_t likeliestShift(const Profile& expected, const Profile& found) const {
        constexpr double farthestMM = 6;
        const auto count = static_cast<std::ptrdiff_t>(expected.size());
        const auto farthest =
            std::min(static_cast<std::ptrdiff_t>(farthestMM / frame_.pixelMM), count / 2);
        double least = std::numeric_limits<double>::infinity();
        std::ptrdiff_t likeliest = 0;
        for (std::ptrdiff_t shift = -farthest; shift <= farthest; ++shift) {
            const std::ptrdiff_t first = std::max<std::ptrdiff_t>(0, shift);
            const std::ptrdiff_t end = std::min(count, count + shift);
            double sum = 0;
            for (std::ptrdiff_t i = first; i < end; ++i)
                sum += std::abs(found[static_cast<std::size_t>(i)] -
                                expected[static_cast<std::size_t>(i - shift)]);
            const double mean = sum / static_cast<double>(end - first);
            if (mean < least) {
                least = mean;
                likeliest = shift;
            }
        }
        return likeliest;
    }

    const PageView& expected_;
    const PageView& found_;
    const Frame& frame_;
    double unchanged_;
};

/// Annotations must not hide that a page has lost all of its artwork: they may lie all over it.
bool isBlank(const PageView& expected, const PageView& found, Frame frame) {
    constexpr double nextToNothing = 0.01;
    frame.ignored.clear();
    return ink(found, frame) < nextToNothing * ink(expected, frame) &&
           measure(expected, found, frame).largest() > 1;
}

/// Whether all that is wrong lies at the page's edges, as when Ghostscript has cut something off.
bool isRightInside(const PageView& expected, const PageView& found, Frame frame) {
    constexpr double edgeMM = 8;
    const auto edge = static_cast<std::ptrdiff_t>(std::ceil(edgeMM / frame.pixelMM));
    frame.page = {frame.page.left + edge, frame.page.top + edge, frame.page.right - edge,
                  frame.page.bottom - edge};
    return ink(expected, frame) > 0 && measure(expected, found, frame).largest() <= 1;
}

std::string ofPlace(const PageView& expected, const PageView& found, const Frame& frame,
                    const Measures& measures) {
    const Area place = {measures.x - cell, measures.y - cell, measures.x + cell, measures.y + cell};
    const bool isLighter = lightAt(found, place) > lightAt(expected, place);
    return std::string(isLighter ? "lacks artwork of the original, "
                                 : "does not look like the original, ") +
           millimetres(static_cast<double>(measures.x) * frame.pixelMM) + " from its left and " +
           millimetres(static_cast<double>(measures.y) * frame.pixelMM) + " from its top edge";
}

} // namespace

double Measures::largest() const {
    return std::max({place, side, page});
}

Frame frame(const PageGeometry::Placement& placement, const std::vector<Rectangle>& ignored,
            const PrintSettings& settings) {
    const PixelSize size = PageViews::size(settings);
    const double across = static_cast<double>(size.width) / placement.window.width;
    const double down = static_cast<double>(size.height) / placement.window.height;
    const double top = placement.window.y + placement.window.height;
    const auto area = [&](const Rectangle& box, double margin) {
        const auto limited = [](double value, std::int64_t most) {
            return static_cast<std::ptrdiff_t>(std::clamp(value, 0.0, static_cast<double>(most)));
        };
        return Area{limited(std::ceil((box.x - placement.window.x) * across + margin), size.width),
                    limited(std::ceil((top - box.y - box.height) * down + margin), size.height),
                    limited(std::floor((box.x + box.width - placement.window.x) * across - margin),
                            size.width),
                    limited(std::floor((top - box.y) * down - margin), size.height)};
    };
    constexpr double edge = 1;
    constexpr double around = 2;
    Frame result;
    result.page = area(placement.visible, edge);
    for (const Rectangle& box : ignored)
        result.ignored.push_back(area(box, -around));
    result.pixelMM = PageViews::pixelMM(settings);
    return result;
}

Measures measure(const PageView& expected, const PageView& found, const Frame& frame) {
    const std::ptrdiff_t width = expected.width();
    Plane distance = distances(expected, found);
    for (const Area& area : frame.ignored)
        clear(distance, width, expected.height(), area);

    Measures result;
    findWorstPlace(distance, width, frame.page, result);
    const double onPage = std::max(ink(expected, frame), ink(found, frame));
    if (onPage > 0)
        result.page = average(distance, width, frame.page) / onPage / mostOfPage;
    result.side = worstSide(distance, width, frame.page) / mostAlongSide;
    result.place /= mostAtPlace;
    return result;
}

bool isRight(const PageView& expected, const PageView& found, const Frame& frame) {
    return measure(expected, found, frame).largest() <= 1 && !isBlank(expected, found, frame);
}

std::optional<std::string> difference(const PageView& expected, const PageView& found,
                                      const Frame& frame) {
    if (isBlank(expected, found, frame))
        return "is blank";
    const Measures measures = measure(expected, found, frame);
    if (measures.largest() <= 1)
        return std::nullopt;
    if (isRightInside(expected, found, frame))
        return ofPlace(expected, found, frame, measures);
    const Suspicion suspicion(expected, found, frame);
    if (suspicion.isMirrored())
        return "is mirrored";
    if (suspicion.explains(expected.turned(Turn::around)))
        return "is upside down";
    if (suspicion.isScaled())
        return "has another scale";
    if (const auto shift = suspicion.shift())
        return "is shifted by about " + millimetres(*shift);
    return ofPlace(expected, found, frame, measures);
}

} // namespace Bleedwise::PageComparison
