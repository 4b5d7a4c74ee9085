#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Bleedwise {

/// Turns the rows of a four-channel bitmap into differences that compress better, as PNG predictors
/// do (ISO 32000-1, 7.4.4.4): each row becomes one byte that names its filter, and its differences.
class RowPredictor {
public:
    /// `rowBytes` are those of one row. `above` is the row above the first one to come, which the
    /// caller keeps until that has been predicted; none at the bitmap's top.
    explicit RowPredictor(std::size_t rowBytes, const std::uint8_t* above = nullptr);

    /// Bytes of one predicted row.
    std::size_t outputBytes() const noexcept { return rowBytes_ + 1; }

    /// Writes the next row, which may be given only in order downwards, to `output`. The caller
    /// keeps `row` until the next one has been predicted.
    void predict(const std::uint8_t* row, std::uint8_t* output);

private:
    /// The PNG filter type that suits the row.
    std::uint8_t filter(const std::uint8_t* row) const;

    std::size_t rowBytes_;
    std::vector<std::uint8_t> blank_; // stands above the first row
    const std::uint8_t* above_;
};

} // namespace Bleedwise
