#include "PrintPrep/raster/ImageCompression.h"

#include "PrintPrep/raster/DeflateStream.h"
#include "PrintPrep/raster/FastDeflate.h"
#include "PrintPrep/raster/OrderedResults.h"
#include "PrintPrep/raster/RowPredictor.h"
#include "PrintPrep/raster/RunLength.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include <libdeflate.h>

namespace Bleedwise::ImageCompression {
namespace {

/// libdeflate, behind run lengths. Higher levels take up to twice the time for a tenth less space.
constexpr int blankLevel = 1;

/// A bitmap is mostly blank when run lengths bring it down this far.
constexpr std::size_t runRatio = 4;

/// This many rows of so many show whether it is.
constexpr std::int64_t sampleRows = 8;
constexpr std::int64_t samplePeriod = 128;

/// About how many bytes are compressed apart from the rest. Pieces lose 1 % of the size at most,
/// and cores can share them. The same everywhere, so that the bytes do not depend on the machine.
constexpr std::size_t pieceBytes = 2U << 20U;

/// About how many bytes are predicted and then compressed while they are in the cache.
constexpr std::size_t stepBytes = 512U << 10U;

/// The same for what is mostly blank, of which little is left.
constexpr std::size_t blankPieceBytes = 4U << 20U;

/// A stretch of a zlib stream (RFC 1950), without its head and tail.
struct Piece {
    /// Ends on a byte's end, and the stream's last block, where it has it.
    std::string deflate;
    std::uint32_t checksum = 1;
    std::size_t size = 0; // of what has been compressed
};

std::size_t rowBytes(const CMYKImage& image) {
    return 4 * static_cast<std::size_t>(image.width());
}

FastDeflate::Position positionOf(bool isLast) {
    return isLast ? FastDeflate::Position::endOfStream : FastDeflate::Position::insideStream;
}

/// The rows of an image by pieces of about so many bytes.
class Pieces {
public:
    Pieces(const CMYKImage& image, std::size_t bytes)
        : image_(image),
          rows_(static_cast<std::int64_t>(std::max<std::size_t>(1, bytes / rowBytes(image)))) {}

    std::size_t count() const {
        return static_cast<std::size_t>((image_.height() + rows_ - 1) / rows_);
    }
    std::int64_t firstRow(std::size_t number) const {
        return rows_ * static_cast<std::int64_t>(number);
    }
    std::int64_t rowCount(std::size_t number) const {
        return std::min(rows_, image_.height() - firstRow(number));
    }
    bool isLast(std::size_t number) const { return number + 1 == count(); }
    std::span<const std::uint8_t> bytes(std::size_t number) const {
        return {image_.row(firstRow(number)),
                rowBytes(image_) * static_cast<std::size_t>(rowCount(number))};
    }

private:
    const CMYKImage& image_;
    std::int64_t rows_;
};

/// The Adler-32 checksum (RFC 1950, chapter 9) of what two pieces stand for together.
std::uint32_t joined(std::uint32_t checksum, const Piece& next) {
    constexpr std::uint64_t base = 65521;
    const std::uint64_t low = checksum & 0xffffU;
    const std::uint64_t high = checksum >> 16U;
    const std::uint64_t nextLow = next.checksum & 0xffffU;
    const std::uint64_t nextHigh = next.checksum >> 16U;
    const std::uint64_t sum = (low + nextLow + base - 1) % base;
    const std::uint64_t sums = (high + nextHigh + next.size % base * (low + base - 1)) % base;
    return static_cast<std::uint32_t>(sums << 16U | sum);
}

/// Gives a whole zlib stream to `sink`.
template <typename Worker>
void compressPieces(std::size_t count, typename OrderedResults<Worker, Piece>::Make make,
                    const Sink& sink) {
    constexpr std::string_view head("\x78\x9c", 2); // a window of 32 KB, the default level
    sink(head);
    std::uint32_t checksum = 1;
    OrderedResults<Worker, Piece>(count, std::move(make)).useAll([&](const Piece& piece) {
        sink(piece.deflate);
        checksum = joined(checksum, piece);
    });
    std::string tail;
    for (const unsigned shift : {24U, 16U, 8U, 0U})
        tail += static_cast<char>(checksum >> shift & 0xffU);
    sink(tail);
}

/// Compresses behind the predictor, in memory that it keeps.
class PredictingWorker {
public:
    Piece piece(const CMYKImage& image, std::int64_t first, std::int64_t count, bool isLast) {
        RowPredictor predictor(rowBytes(image), first > 0 ? image.row(first - 1) : nullptr);
        const auto step = static_cast<std::int64_t>(
            std::max<std::size_t>(1, stepBytes / predictor.outputBytes()));
        Piece piece;
        deflate_->begin();
        for (std::int64_t done = 0; done < count; done += step) {
            const auto rows =
                predicted(predictor, image, first + done, std::min(step, count - done));
            piece.checksum = libdeflate_adler32(piece.checksum, rows.data(), rows.size());
            piece.size += rows.size();
            if (done + step < count)
                deflate_->add(rows);
            else
                piece.deflate = deflate_->finish(rows, positionOf(isLast));
        }
        return piece;
    }

private:
    std::span<const std::uint8_t> predicted(RowPredictor& predictor, const CMYKImage& image,
                                            std::int64_t first, std::int64_t count) {
        const std::size_t size = static_cast<std::size_t>(count) * predictor.outputBytes();
        if (size > capacity_) {
            rows_ = std::make_unique_for_overwrite<std::uint8_t[]>(size);
            capacity_ = size;
        }
        for (std::int64_t row = 0; row < count; ++row)
            predictor.predict(image.row(first + row),
                              &rows_[static_cast<std::size_t>(row) * predictor.outputBytes()]);
        return {rows_.get(), size};
    }

    std::unique_ptr<FastDeflate> deflate_ = std::make_unique<FastDeflate>();
    std::unique_ptr<std::uint8_t[]> rows_;
    std::size_t capacity_ = 0;
};

/// Whether some of the rows are mostly blank together.
bool seemsBlank(const CMYKImage& image) {
    const auto sampleBytes = [&](std::int64_t first) {
        return rowBytes(image) *
               static_cast<std::size_t>(std::min(sampleRows, image.height() - first));
    };
    std::size_t size = 0;
    for (std::int64_t first = 0; first < image.height(); first += samplePeriod)
        size += sampleBytes(first);
    std::size_t left = size / runRatio; // for the runs
    for (std::int64_t first = 0; first < image.height(); first += samplePeriod) {
        const std::size_t bytes = sampleBytes(first);
        const auto runs = RunLength::encoded({image.row(first), bytes}, std::min(bytes, left));
        const std::size_t encodedSize = runs ? runs->size() : bytes;
        if (encodedSize > left)
            return false;
        left -= encodedSize;
    }
    return true;
}

/// Compresses run lengths by libdeflate, in memory that it keeps.
class RunsWorker {
public:
    RunsWorker() {
        if (!compressor_)
            throw std::bad_alloc();
    }

    Piece piece(std::string_view bytes, bool isLast) {
        Piece piece = {{}, libdeflate_adler32(1, bytes.data(), bytes.size()), bytes.size()};
        const std::size_t most = libdeflate_deflate_compress_bound(compressor_.get(), bytes.size());
        if (most > capacity_) {
            output_ = std::make_unique_for_overwrite<char[]>(most);
            capacity_ = most;
        }
        const std::size_t size = libdeflate_deflate_compress(compressor_.get(), bytes.data(),
                                                             bytes.size(), output_.get(), most);
        piece.deflate.assign(output_.get(), size);
        if (!isLast)
            piece.deflate = DeflateStream::continued(std::move(piece.deflate));
        return piece;
    }

private:
    std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor_ = {
        libdeflate_alloc_compressor(blankLevel), libdeflate_free_compressor};
    std::unique_ptr<char[]> output_;
    std::size_t capacity_ = 0;
};

} // namespace

std::string parameters(const CMYKImage& image) {
    return "<< /Predictor 15 /Colors 4 /Columns " + std::to_string(image.width()) + " >>";
}

void compress(const CMYKImage& image, const Sink& sink) {
    const Pieces pieces(image, pieceBytes);
    compressPieces<PredictingWorker>(
        pieces.count(),
        [&](PredictingWorker& worker, std::size_t number) {
            return worker.piece(image, pieces.firstRow(number), pieces.rowCount(number),
                                pieces.isLast(number));
        },
        sink);
}

std::string compressBytes(std::string_view bytes) {
    std::string result;
    compressPieces<std::unique_ptr<FastDeflate>>(
        1,
        [&](std::unique_ptr<FastDeflate>& deflate, std::size_t) {
            deflate = std::make_unique<FastDeflate>();
            deflate->begin();
            return Piece{
                deflate->finish({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()},
                                FastDeflate::Position::endOfStream),
                libdeflate_adler32(1, bytes.data(), bytes.size()), bytes.size()};
        },
        [&](std::string_view part) { result += part; });
    return result;
}

std::string compressIfBlank(const CMYKImage& image) {
    if (!seemsBlank(image))
        return {};
    const Pieces pieces(image, blankPieceBytes);
    const std::size_t limit = rowBytes(image) * static_cast<std::size_t>(image.height()) / runRatio;
    std::atomic<std::size_t> size = 0; // of all runs so far
    std::string result;
    compressPieces<RunsWorker>(
        pieces.count(),
        [&](RunsWorker& worker, std::size_t number) {
            const auto runs =
                size > limit ? std::nullopt : RunLength::encoded(pieces.bytes(number), limit);
            size += runs ? runs->size() : limit + 1;
            if (size > limit)
                return Piece();
            const bool isLast = pieces.isLast(number);
            return worker.piece(isLast ? *runs + RunLength::endOfData : *runs, isLast);
        },
        [&](std::string_view part) { result += part; });
    return size > limit ? std::string() : result;
}

} // namespace Bleedwise::ImageCompression
