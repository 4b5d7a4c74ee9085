#pragma once

#include "PrintPrep/raster/PageView.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// Tells whether a page looks as it should, by views of both.
///
/// Each pixel is compared with its counterpart and that one's neighbours: only light that lies
/// outside of what they have counts. That forgives a thin line or the edge of a letter, which two
/// programs draw a little differently, a substituted font and a slightly different colour. What
/// remains is judged over small places, along the page's sides and over the whole page. Wide places
/// have lost something also if one view has fine detail all over them and the other none, or one a
/// tint and the other bare paper, however faint.
namespace Bleedwise::PageComparison {

/// A part of a view, in pixels from the top left, without `right` and `bottom`.
struct Area {
    std::ptrdiff_t left = 0;
    std::ptrdiff_t top = 0;
    std::ptrdiff_t right = 0;
    std::ptrdiff_t bottom = 0;

    bool contains(std::ptrdiff_t x, std::ptrdiff_t y) const {
        return x >= left && x < right && y >= top && y < bottom;
    }
};

/// What counts in a view.
struct Frame {
    Area page;
    /// What in it does not count after all.
    std::vector<Area> ignored = {};
    /// A pixel's side on paper.
    double pixelMM = 0;
};

/// The frame of a page that is placed on its sheet; `ignored` are parts of it, in user space. It is
/// a pixel narrower than the page, whose edges may lie within pixels.
Frame frame(const PageGeometry::Placement& placement, const std::vector<Rectangle>& ignored,
            const PrintSettings& settings);

/// How far two views differ, as parts of the most that a right page may: above 1 it is wrong.
struct Measures {
    /// The worst place, of some millimetres across.
    double place = 0;
    /// The worst of wider ones that have fine detail in one view only.
    double detail = 0;
    /// The worst of still wider ones that are tinted in one view and bare in the other.
    double tint = 0;
    /// The worst of all these.
    Area worst = {};
    /// The worst of the page's four sides.
    double side = 0;
    /// The whole page, in proportion to what is on it.
    double page = 0;

    double largest() const;
};

Measures measure(const PageView& expected, const PageView& found, const Frame& frame);

/// Whether nothing is wrong with a page: each measure is 1 at most, and not all of its artwork is
/// gone, where it is ignored included.
bool isRight(const PageView& expected, const PageView& found, const Frame& frame);

/// What is wrong with a page, in words that go on where "Page 1 of the result" ends; nothing when
/// it is right.
std::optional<std::string> difference(const PageView& expected, const PageView& found,
                                      const Frame& frame);

} // namespace Bleedwise::PageComparison
