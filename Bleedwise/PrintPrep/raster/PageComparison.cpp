#include "PrintPrep/raster/PageComparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <numeric>
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
/// On average over a wide place that has lost its detail, from pixels that count `mostOfDetail` at
/// most: lines of small print are noticed, which differ little but all over it, and a hairline that
/// is drawn differently is not.
constexpr double mostAtWidePlace = 4;
constexpr int mostOfDetail = 25;
/// A place has lost detail only if the other view is so many times as rough there: what differs as
/// far but has the same detail is of another colour, or is type that has become outlines.
constexpr double lostRoughness = 2;
/// What a pixel counts at most for how rough a place is, so that the sharpness of edges hardly
/// matters, which type loses when it is drawn as an image.
constexpr int mostOfRelief = 40;
/// As part of a tinted place: what is tinted in one view and bare paper in the other.
constexpr double mostOfTint = 0.25;
/// The light that a tint of 2 per cent leaves at most; fainter ones may well come out as paper.
constexpr int tinted = 250;

/// Places consist of cells. They are so many cells wide and high, and overlap by all but one.
constexpr std::ptrdiff_t cell = 4;
constexpr std::ptrdiff_t cellsOfPlace = 2;
constexpr std::ptrdiff_t cellsOfWidePlace = 4;
constexpr std::ptrdiff_t cellsOfTintedPlace = 8;
/// How far inwards a side goes.
constexpr std::ptrdiff_t sideDepth = 3;

constexpr int paper = 255;

struct Neighbours {
    Plane darkest;
    Plane lightest;
};

/// Each value's choice among itself and its eight neighbours.
template <typename Value, typename Choose>
std::vector<Value> chosen(const std::vector<Value>& values, std::ptrdiff_t width,
                          std::ptrdiff_t height, Choose choose) {
    std::vector<Value> across(values.size());
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        const Value* from = values.data() + y * width;
        Value* to = across.data() + y * width;
        to[0] = choose(from[0], from[std::min<std::ptrdiff_t>(1, width - 1)]);
        to[width - 1] = choose(from[width - 1], from[std::max<std::ptrdiff_t>(0, width - 2)]);
        for (std::ptrdiff_t x = 1; x + 1 < width; ++x)
            to[x] = choose(choose(from[x - 1], from[x]), from[x + 1]);
    }
    std::vector<Value> result(values.size());
    for (std::ptrdiff_t y = 0; y < height; ++y) {
        const Value* above = across.data() + std::max<std::ptrdiff_t>(0, y - 1) * width;
        const Value* row = across.data() + y * width;
        const Value* below = across.data() + std::min(height - 1, y + 1) * width;
        Value* to = result.data() + y * width;
        for (std::ptrdiff_t x = 0; x < width; ++x)
            to[x] = choose(choose(above[x], row[x]), below[x]);
    }
    return result;
}

constexpr auto darker = [](auto a, auto b) { return std::min(a, b); };
constexpr auto lighter = [](auto a, auto b) { return std::max(a, b); };

Neighbours neighbours(const Plane& plane, std::ptrdiff_t width, std::ptrdiff_t height) {
    return {chosen(plane, width, height, darker), chosen(plane, width, height, lighter)};
}

/// Makes each of `values` the choice among itself and that of `others`.
template <typename Choose>
void choose(Plane& values, const Plane& others, Choose choose) {
    std::transform(values.begin(), values.end(), others.begin(), values.begin(), choose);
}

/// Raises `distances` to how far `plane` is out of what the other one's neighbourhood has.
void raise(Plane& distances, const Plane& plane, const Neighbours& other) {
    for (std::size_t i = 0; i < plane.size(); ++i) {
        const auto above = static_cast<std::uint8_t>(std::max(plane[i] - other.lightest[i], 0));
        const auto below = static_cast<std::uint8_t>(std::max(other.darkest[i] - plane[i], 0));
        distances[i] = std::max({distances[i], above, below});
    }
}

/// What a view is like, whichever channel it shows in.
struct Surface {
    explicit Surface(std::size_t count) : relief(count, 0), light(count, paper), around(light) {}

    void add(const Plane& plane, const Neighbours& neighbours) {
        Plane range = neighbours.lightest;
        choose(range, neighbours.darkest, std::minus<std::uint8_t>());
        choose(relief, range, lighter);
        choose(light, plane, darker);
        choose(around, neighbours.lightest, darker);
    }

    /// How far each pixel's neighbours are apart.
    Plane relief;
    /// What light is left.
    Plane light;
    /// The same of the lightest neighbours.
    Plane around;
};

/// How two views differ in each pixel.
struct Differences {
    /// How far noticeably, by the channel in which it does so most.
    Plane distance;
    Plane expectedRelief;
    Plane foundRelief;
    /// 1 where one view has a tint and the other bare paper, else 0.
    Plane bareTint;
};

/// Marks where one view is bare paper and the other is not, nor is it near by.
void markTint(Plane& marks, const Surface& bare, const Surface& other) {
    for (std::size_t i = 0; i < marks.size(); ++i) {
        if (bare.light[i] == paper && other.around[i] <= tinted)
            marks[i] = 1;
    }
}

Differences differences(const PageView& expected, const PageView& found) {
    const std::size_t count = expected.planes()[0].size();
    Plane distance(count);
    Surface first(count);
    Surface second(count);
    for (std::size_t channel = 0; channel < expected.planes().size(); ++channel) {
        const Plane& light = expected.planes()[channel];
        const Plane& counterpart = found.planes()[channel];
        const Neighbours around = neighbours(light, expected.width(), expected.height());
        const Neighbours opposite = neighbours(counterpart, found.width(), found.height());
        raise(distance, light, opposite);
        raise(distance, counterpart, around);
        first.add(light, around);
        second.add(counterpart, opposite);
    }
    for (std::uint8_t& value : distance)
        value = static_cast<std::uint8_t>(std::max(value - unnoticed, 0));
    Plane bareTint(count);
    markTint(bareTint, first, second);
    markTint(bareTint, second, first);
    return {std::move(distance), std::move(first.relief), std::move(second.relief),
            std::move(bareTint)};
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
    if (area.right <= area.left || area.bottom <= area.top)
        return 0;
    std::int64_t sum = 0;
    for (std::ptrdiff_t y = area.top; y < area.bottom; ++y) {
        const std::uint8_t* row = plane.data() + y * width;
        sum = std::accumulate(row + area.left, row + area.right, sum);
    }
    const std::ptrdiff_t count = (area.right - area.left) * (area.bottom - area.top);
    return static_cast<double>(sum) / static_cast<double>(count);
}

/// The average of what a page's inks keep back of the light.
double ink(const PageView& view, const Frame& frame) {
    Plane darkness(view.planes()[0].size(), paper);
    for (const Plane& plane : view.planes())
        choose(darkness, plane, darker);
    for (std::uint8_t& value : darkness)
        value = static_cast<std::uint8_t>(paper - value);
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

/// Sums over parts of a page, in rows from its top left.
struct Grid {
    std::ptrdiff_t columns;
    std::ptrdiff_t rows;
    std::vector<unsigned> sums;
};

/// The sum in each cell, in which no pixel counts more than `most`.
Grid cells(const Plane& plane, std::ptrdiff_t width, const Area& page, int most = paper) {
    Grid grid = {std::max<std::ptrdiff_t>(0, page.right - page.left) / cell,
                 std::max<std::ptrdiff_t>(0, page.bottom - page.top) / cell,
                 {}};
    grid.sums.resize(static_cast<std::size_t>(grid.columns * grid.rows));
    for (std::ptrdiff_t y = 0; y < grid.rows * cell; ++y) {
        const std::uint8_t* row = plane.data() + (page.top + y) * width + page.left;
        unsigned* sum = grid.sums.data() + y / cell * grid.columns;
        for (std::ptrdiff_t x = 0; x < grid.columns * cell; ++x)
            sum[x / cell] += static_cast<unsigned>(std::min<int>(row[x], most));
    }
    return grid;
}

/// The sum in each place, which is `count` cells wide and high; there are none on a smaller page.
Grid places(const Grid& cells, std::ptrdiff_t count) {
    Grid grid = {cells.columns - count + 1, cells.rows - count + 1, {}};
    if (grid.columns < 1 || grid.rows < 1)
        return {0, 0, {}};
    grid.sums.resize(static_cast<std::size_t>(grid.columns * grid.rows));
    for (std::ptrdiff_t y = 0; y < grid.rows; ++y) {
        for (std::ptrdiff_t x = 0; x < grid.columns; ++x) {
            unsigned& sum = grid.sums[static_cast<std::size_t>(y * grid.columns + x)];
            for (std::ptrdiff_t row = y; row < y + count; ++row) {
                const unsigned* first = cells.sums.data() + row * cells.columns + x;
                sum = std::accumulate(first, first + count, sum);
            }
        }
    }
    return grid;
}

/// The worst of places, and its average.
struct Worst {
    double average = 0;
    Area place = {};
};

/// By `sumAt(index)`, where the places are `count` cells wide and high.
template <typename SumAt>
Worst worstOf(const Grid& places, const Area& page, std::ptrdiff_t count, SumAt sumAt) {
    Worst worst;
    const auto pixels = static_cast<double>(count * cell * count * cell);
    for (std::ptrdiff_t y = 0; y < places.rows; ++y) {
        for (std::ptrdiff_t x = 0; x < places.columns; ++x) {
            const double average = sumAt(static_cast<std::size_t>(y * places.columns + x)) / pixels;
            if (average <= worst.average)
                continue;
            const std::ptrdiff_t left = page.left + x * cell;
            const std::ptrdiff_t top = page.top + y * cell;
            worst = {average, {left, top, left + count * cell, top + count * cell}};
        }
    }
    return worst;
}

/// Places that are as sums of the plane tell.
Worst worstPlace(const Plane& plane, std::ptrdiff_t width, const Area& page, std::ptrdiff_t count) {
    const Grid grid = places(cells(plane, width, page), count);
    return worstOf(grid, page, count,
                   [&](std::size_t index) { return static_cast<double>(grid.sums[index]); });
}

/// How rough each wide place is.
Grid roughness(const Plane& relief, std::ptrdiff_t width, const Area& page) {
    return places(cells(relief, width, page, mostOfRelief), cellsOfWidePlace);
}

/// How rough the roughest wide place is within a cell of each.
Grid roughestAround(const Grid& roughness) {
    return {roughness.columns, roughness.rows,
            roughness.sums.empty()
                ? std::vector<unsigned>()
                : chosen(roughness.sums, roughness.columns, roughness.rows, lighter)};
}

/// The wide place in which most has been lost. That the views differ there is not enough, since
/// colours may: one of them must also be much rougher than the other one is anywhere around.
Worst worstWidePlace(const Differences& differences, std::ptrdiff_t width, const Area& page) {
    const Grid distance =
        places(cells(differences.distance, width, page, mostOfDetail), cellsOfWidePlace);
    const Grid expected = roughness(differences.expectedRelief, width, page);
    const Grid found = roughness(differences.foundRelief, width, page);
    const Grid aroundExpected = roughestAround(expected);
    const Grid aroundFound = roughestAround(found);
    return worstOf(distance, page, cellsOfWidePlace, [&](std::size_t index) {
        const double lost =
            std::max(expected.sums[index] - lostRoughness * aroundFound.sums[index],
                     found.sums[index] - lostRoughness * aroundExpected.sums[index]);
        return std::min<double>(distance.sums[index], lost);
    });
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

/// How uneven a place is.
double unevenness(const PageView& view, const Area& place) {
    double sum = 0;
    for (const Plane& plane : view.planes()) {
        const double mean = average(plane, view.width(), place);
        for (std::ptrdiff_t y = place.top; y < place.bottom; ++y) {
            for (std::ptrdiff_t x = place.left; x < place.right; ++x)
                sum += std::abs(plane[static_cast<std::size_t>(y * view.width() + x)] - mean);
        }
    }
    return sum;
}

/// Whether it is ink that a place lacks, or white print on a ground that remains.
bool lacksArtwork(const PageView& expected, const PageView& found, const Measures& measures) {
    if (lightAt(found, measures.worst) > lightAt(expected, measures.worst))
        return true;
    return measures.detail > measures.place &&
           unevenness(found, measures.worst) < unevenness(expected, measures.worst);
}

std::string ofPlace(const PageView& expected, const PageView& found, const Frame& frame,
                    const Measures& measures) {
    const auto middle = [&](std::ptrdiff_t first, std::ptrdiff_t end) {
        return millimetres(static_cast<double>(first + end) / 2 * frame.pixelMM);
    };
    const Area& worst = measures.worst;
    return std::string(lacksArtwork(expected, found, measures)
                           ? "lacks artwork of the original, "
                           : "does not look like the original, ") +
           middle(worst.left, worst.right) + " from its left and " +
           middle(worst.top, worst.bottom) + " from its top edge";
}

} // namespace

double Measures::largest() const {
    return std::max({place, detail, tint, side, page});
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
    Differences all = differences(expected, found);
    for (Plane* plane : {&all.distance, &all.expectedRelief, &all.foundRelief, &all.bareTint}) {
        for (const Area& area : frame.ignored)
            clear(*plane, width, expected.height(), area);
    }

    Measures result;
    const Worst place = worstPlace(all.distance, width, frame.page, cellsOfPlace);
    const Worst detail = worstWidePlace(all, width, frame.page);
    const Worst tint = worstPlace(all.bareTint, width, frame.page, cellsOfTintedPlace);
    result.place = place.average / mostAtPlace;
    result.detail = detail.average / mostAtWidePlace;
    result.tint = tint.average / mostOfTint;
    result.worst = tint.place;
    if (result.detail >= result.tint)
        result.worst = detail.place;
    if (result.place >= std::max(result.detail, result.tint))
        result.worst = place.place;
    const double onPage = std::max(ink(expected, frame), ink(found, frame));
    if (onPage > 0)
        result.page = average(all.distance, width, frame.page) / onPage / mostOfPage;
    result.side = worstSide(all.distance, width, frame.page) / mostAlongSide;
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
