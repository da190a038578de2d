/// Interpolated samples through the view transform.
#include "pixel/sampling.h"

#include <cstdint>
#include <cstring>

#include "pixel/bilinear.h"
#include "rastrel/rastrel.h"

namespace {

using rastrel::AxisPosition;
using rastrel::coordinateOf;
using rastrel::Neighbours;

void takePixel(Rastrel& image, pixel_argb8& pixel, long x, long y) { pixel = image.GetPixelARGB8(x, y); }
void takePixel(Rastrel& image, pixel_argb16& pixel, long x, long y) { pixel = image.GetPixelARGB16(x, y); }
void takePixel(Rastrel& image, pixel_argbfp64& pixel, long x, long y) { pixel = image.GetPixelARGBFP64(x, y); }

} // namespace

/// A sample through the image's own operations, whatever the position, the stored layout and the image's class.
template <class T>
[[gnu::noinline]] T Rastrel::LineLayer::sampleThroughGetters(Rastrel& image, double x, double y) {
    image.CoordToPixel(x, y);
    const auto width = static_cast<std::uint32_t>(image.GetWidth());
    const auto height = static_cast<std::uint32_t>(image.GetHeight());
    const AxisPosition column(rastrel::columnPosition(x), width);
    const AxisPosition row(rastrel::rowPosition(y, height), height);
    const long x0 = coordinateOf(column.index, width);
    const long x1 = coordinateOf(column.index + 1, width);
    const long y0 = coordinateOf(row.index, height);
    const long y1 = coordinateOf(row.index + 1, height);
    Neighbours<T> n;
    takePixel(image, n.p00, x0, y0);
    takePixel(image, n.p10, x1, y0);
    takePixel(image, n.p01, x0, y1);
    takePixel(image, n.p11, x1, y1);
    return rastrel::interpolated(n, column.weight, row.weight);
}

template <class T>
T Rastrel::LineLayer::sample(Rastrel& image, double x, double y) {
    if (rastrel::PixelPairs pairs; findPairs<T>(image, x, y, pairs)) [[likely]] {
        Neighbours<T> n;
        std::memcpy(&n.p00, pairs.upper, 2 * sizeof(T));
        std::memcpy(&n.p01, pairs.lower, 2 * sizeof(T));
        return rastrel::interpolated(n, pairs.wx(), pairs.wy());
    }
    return sampleThroughGetters<T>(image, x, y);
}

template pixel_argb8 Rastrel::LineLayer::sampleThroughGetters<pixel_argb8>(Rastrel&, double, double);

pixel_argbfp64 Rastrel::GetPixelARGBFP64(double x, double y) { return LineLayer::sample<pixel_argbfp64>(*this, x, y); }
pixel_argb16 Rastrel::GetPixelARGB16(double x, double y) { return LineLayer::sample<pixel_argb16>(*this, x, y); }
pixel_argb8 Rastrel::GetPixelARGB8(double x, double y) { return LineLayer::byteSampler(*this, x, y); }
