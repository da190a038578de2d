/// Interpolated samples through the view transform, and the mean of a rectangle with fractional coverage.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <typeinfo>

#include "image/line_layer.h"
#include "image/reflect.h"
#include "pixel/bilinear.h"
#include "pixel/interchange.h"
#include "pixel/sample_kernels.h"
#include "pixel/transform.h"
#include "rastrel/rastrel.h"

namespace {

using rastrel::AxisPosition;
using rastrel::Neighbours;

/// A public coordinate for the integer getters: as it is, or brought inside by reflection when 32 bits do not hold it.
long coordinateOf(std::int64_t index, unsigned long extent) noexcept {
    if (index == static_cast<std::int32_t>(index)) return static_cast<long>(index);
    const auto n = static_cast<std::uint32_t>(extent);
    return n == 0 ? 0 : static_cast<long>(rastrel::reflect(index, n));
}

void getPixel(Rastrel& image, pixel_argb8& pixel, long x, long y) { pixel = image.GetPixelARGB8(x, y); }
void getPixel(Rastrel& image, pixel_argb16& pixel, long x, long y) { pixel = image.GetPixelARGB16(x, y); }
void getPixel(Rastrel& image, pixel_argbfp64& pixel, long x, long y) { pixel = image.GetPixelARGBFP64(x, y); }

/// Pixel coordinates to sampling position: pixel centres, and y counted from the bottom row upwards.
double columnPosition(double x) noexcept { return x - 0.5; }
double rowPosition(double y, std::uint32_t height) noexcept { return height - y - 1.0 - 0.5; }

/// A sample through the image's own getters, whatever the position, the stored layout and the image's class.
template <class Pixel>
[[gnu::noinline]] Pixel sampleThroughGetters(Rastrel& image, double x, double y) {
    const auto width = static_cast<std::uint32_t>(image.GetWidth());
    const auto height = static_cast<std::uint32_t>(image.GetHeight());
    const AxisPosition column(columnPosition(x), width);
    const AxisPosition row(rowPosition(y, height), height);
    const long x0 = coordinateOf(column.index, width);
    const long x1 = coordinateOf(column.index + 1, width);
    const long y0 = coordinateOf(row.index, height);
    const long y1 = coordinateOf(row.index + 1, height);
    Neighbours<Pixel> n;
    getPixel(image, n.p00, x0, y0);
    getPixel(image, n.p10, x1, y0);
    getPixel(image, n.p01, x0, y1);
    getPixel(image, n.p11, x1, y1);
    return rastrel::interpolated(n, column.weight, row.weight);
}

/// The pixels in place, if the image's getters would give these very bytes: stored as Pixel, displayed as stored,
/// whole, in memory. Null otherwise.
template <class Pixel>
[[nodiscard]] const unsigned char* plainPixels(Rastrel& image) noexcept {
    if (image.colormodel != rastrel::Interchange<Pixel>::kCode || image.componentOrder == 0 ||
        (image.transposed | image.mirrorX | image.mirrorY) != 0 || image.pixels.IsSwapped())
        return nullptr;
    if (image.pixels.GetSize() / sizeof(Pixel) < std::uint64_t{image.width} * image.height) return nullptr;
    return image.pixels.GetData();
}

/// A sample at pixel coordinates from pixels in place, if all four neighbours are inside. False otherwise.
template <class Pixel>
[[nodiscard]] inline bool sampleInPlace(const unsigned char* bytes, std::uint32_t width, std::uint32_t height, double x,
                                        double y, Pixel& sample) noexcept {
    const double column = columnPosition(x);
    const double row = rowPosition(y, height);
    // Left of the first centre the neighbours are the same, with a weight above 1.
    const std::int64_t ix = rastrel::truncatedIndex(column);
    const std::int64_t iy = rastrel::truncatedIndex(row);
    if (ix < 0 || iy < 0 || ix + 1 >= std::int64_t{width} || iy + 1 >= std::int64_t{height}) return false;
    const double wx = 1.0 - (column - static_cast<double>(ix));
    const double wy = 1.0 - (row - static_cast<double>(iy));
    const std::uint64_t index = static_cast<std::uint64_t>(iy) * width + static_cast<std::uint64_t>(ix);
    const unsigned char* const upper = bytes + index * sizeof(Pixel);
    const unsigned char* const lower = upper + std::uint64_t{width} * sizeof(Pixel);
    if constexpr (std::is_same_v<Pixel, pixel_argb8>) {
        sample = rastrel::samplePairs(upper, lower, wx, wy);
    } else {
        Neighbours<Pixel> n;
        std::memcpy(&n.p00, upper, 2 * sizeof(Pixel));
        std::memcpy(&n.p01, lower, 2 * sizeof(Pixel));
        sample = rastrel::interpolated(n, wx, wy);
    }
    return true;
}

/// The columns or rows of an area mean, with the share of each that counts.
class Coverage {
public:
    /// From `a` to `b` in either order, on an axis of `extent` pixels; at least 1.0 long. Ends that are not numbers
    /// cover nothing.
    Coverage(double a, double b, unsigned long extent) noexcept : first_(b < a ? b : a), last_(b < a ? a : b) {
        if (a != a || b != b) return;
        const auto end = static_cast<double>(static_cast<std::int64_t>(extent) - 1);
        if (first_ < 0.0) first_ = 0.0;
        if (last_ > end) last_ = end;
        if (last_ - first_ < 1.0) last_ = first_ + 1.0;
        low = rastrel::truncatedIndex(std::floor(first_));
        high = rastrel::truncatedIndex(std::floor(last_));
    }

    [[nodiscard]] double weight(std::int64_t index) const noexcept {
        if (index == low) {
            const double covered = std::ceil(first_) - first_;
            return covered == 0.0 ? 1.0 : covered;
        }
        return index == high ? last_ - std::floor(last_) : 1.0;
    }

    std::int64_t low = 0;
    std::int64_t high = -1;

private:
    double first_, last_;
};

/// Sums of channels and weights.
class AreaSum {
public:
    void add(const pixel_argb8& pixel, double columnWeight, double rowWeight) noexcept {
        b_ += pixel.b * columnWeight * rowWeight;
        g_ += pixel.g * columnWeight * rowWeight;
        r_ += pixel.r * columnWeight * rowWeight;
        a_ += pixel.a * columnWeight * rowWeight;
        weight_ += columnWeight * rowWeight;
    }
    /// The mean, truncated; 0 where it is not a number.
    [[nodiscard]] pixel_argb8 mean() const noexcept {
        const auto channel = [this](double sum) {
            const double mean = sum / weight_;
            return mean > 0.0 ? rastrel::sampleOf<unsigned char>(mean) : static_cast<unsigned char>(0);
        };
        return {channel(b_), channel(g_), channel(r_), channel(a_)};
    }

private:
    double b_ = 0.0, g_ = 0.0, r_ = 0.0, a_ = 0.0, weight_ = 0.0;
};

} // namespace

template <class T>
T Rastrel::LineLayer::sample(Rastrel& image, double x, double y) {
    // Only the class itself is known to map and to read its pixels as the short way does.
    if (typeid(image) == typeid(Rastrel)) {
        if (const unsigned char* const bytes = plainPixels<T>(image); bytes != nullptr) {
            rastrel::mapForward(image.forwardMatrix, image.transformActive != 0, image.bilinearX, image.bilinearY, x,
                                y);
            T sampled;
            if (sampleInPlace(bytes, image.width, image.height, x, y, sampled)) return sampled;
            return sampleThroughGetters<T>(image, x, y);
        }
    }
    image.CoordToPixel(x, y);
    return sampleThroughGetters<T>(image, x, y);
}

pixel_argbfp64 Rastrel::GetPixelARGBFP64(double x, double y) { return LineLayer::sample<pixel_argbfp64>(*this, x, y); }
pixel_argb16 Rastrel::GetPixelARGB16(double x, double y) { return LineLayer::sample<pixel_argb16>(*this, x, y); }
pixel_argb8 Rastrel::GetPixelARGB8(double x, double y) { return LineLayer::sample<pixel_argb8>(*this, x, y); }

pixel_argb8 Rastrel::GetPixelARGB8(double x1, double y1, double x2, double y2) {
    const unsigned long displayedWidth = GetWidth();
    const unsigned long displayedHeight = GetHeight();
    const Coverage columns(x1, x2, displayedWidth);
    const Coverage rows(y1, y2, displayedHeight);
    AreaSum sum;
    for (std::int64_t x = columns.low; x <= columns.high; ++x) {
        const double columnWeight = columns.weight(x);
        const long column = coordinateOf(x, displayedWidth);
        for (std::int64_t y = rows.low; y <= rows.high; ++y)
            sum.add(GetPixelARGB8(column, coordinateOf(y, displayedHeight)), columnWeight, rows.weight(y));
    }
    return sum.mean();
}
