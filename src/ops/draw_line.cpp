/// Straight lines of one colour.
#include <algorithm>
#include <cstdint>
#include <limits>

#include "ops/image_rows.h"
#include "pixel/orientation.h"
#include "pixel/public_access.h"
#include "rastrel/rastrel.h"

namespace {

/// Hold every coordinate, distance and, without sign, every product of two distances, also where `long` has 64 bits.
__extension__ using Wide = __int128;
__extension__ using WideProduct = unsigned __int128;

struct WidePoint {
    Wide x, y;
};

/// The stored place of a displayed point, without wrapping round.
WidePoint placeOf(const rastrel::Orientation& o, long x, long y) {
    WidePoint p = o.transposed ? WidePoint{y, x} : WidePoint{x, y};
    if (o.mirrorX) (o.transposed ? p.y : p.x) = Wide{o.transposed ? o.height : o.width} - 1 - x;
    if (o.mirrorY) {
        Wide& mirrored = o.transposed ? p.x : p.y;
        mirrored = Wide{o.transposed ? o.width : o.height} - 1 - mirrored;
    }
    return p;
}

WideProduct product(Wide a, Wide b) { return static_cast<WideProduct>(a) * static_cast<WideProduct>(b); }

/// One axis of the line's box: its lower end, its length, and the image's extent along it.
struct Axis {
    Wide low, length, extent;
    Axis(Wide a, Wide b, std::uint32_t imageExtent)
        : low(std::min(a, b)), length(std::max(a, b) - low),
          extent(std::min<Wide>(imageExtent, std::numeric_limits<long>::max())) {}
};

/// Hands the points of a line that lie inside the image to `set(major, minor)`. Step k stands at
/// (major.low + k, minor.low + k * minor.length / major.length), the quotient truncated; only the steps inside are
/// walked, however far away the ends are.
template <class Set>
void forEachPointInside(const Axis& major, const Axis& minor, Set set) {
    Wide first = std::max<Wide>(0, -major.low);
    const Wide last = std::min<Wide>(major.length, major.extent - 1 - major.low);
    if (minor.low < 0) {
        if (minor.low + minor.length < 0) return;
        // The first step whose quotient brings the minor coordinate up to 0.
        const WideProduct needed = product(-minor.low, major.length);
        const auto divisor = static_cast<WideProduct>(minor.length);
        first = std::max(first, static_cast<Wide>(needed / divisor + (needed % divisor != 0 ? 1 : 0)));
    }
    if (first > last) return;
    const Wide divisor = std::max<Wide>(major.length, 1); // a single point has one step and no length
    const WideProduct reached = product(first, minor.length);
    auto quotient = static_cast<Wide>(reached / static_cast<WideProduct>(divisor));
    auto remainder = static_cast<Wide>(reached % static_cast<WideProduct>(divisor));
    for (Wide k = first; k <= last; ++k) {
        if (minor.low + quotient >= minor.extent) return;
        set(static_cast<long>(major.low + k), static_cast<long>(minor.low + quotient));
        remainder += minor.length;
        if (remainder >= divisor) {
            remainder -= divisor;
            ++quotient;
        }
    }
}

} // namespace

void Rastrel::DrawLine(long x1, long y1, long x2, long y2, unsigned char alpha, unsigned char red, unsigned char green,
                       unsigned char blue) {
    rastrel::loadPixels(*this); // its size decides what lies inside
    const rastrel::Orientation orientation = rastrel::orientationOf(*this);
    const WidePoint a = placeOf(orientation, x1, y1);
    const WidePoint b = placeOf(orientation, x2, y2);
    // Always from the lower to the higher corner of the box: a falling line comes out as the rising one.
    const Axis columns(a.x, b.x, width);
    const Axis rows(a.y, b.y, height);
    const auto set = [&](long x, long y) {
        pixel_argb8 pixel{blue, green, red, alpha};
        WritePixel(pixel, x, y, true);
    };
    if (columns.length < rows.length)
        forEachPointInside(rows, columns, [&](long y, long x) { set(x, y); });
    else
        forEachPointInside(columns, rows, set);
}
