/// Cutting an image down to a rectangle in place.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <typeinfo>
#include <utility>

#include "image/critical_section_lock.h"
#include "image/image_state.h"
#include "ops/image_rows.h"
#include "ops/operation_guards.h"
#include "ops/row_mover.h"
#include "rastrel/rastrel.h"

namespace {

/// A range of columns or rows, both ends inclusive.
struct Ends {
    std::int64_t low, high;

    /// Ends beyond any image are brought near: clamping gives the same for both.
    Ends(long a, long b) noexcept : low(limited(a)), high(limited(b)) {}
    void mirror(std::uint32_t extent) noexcept {
        low = std::int64_t{extent} - 1 - low;
        high = std::int64_t{extent} - 1 - high;
    }
    void sortAndClamp(std::int64_t extent) noexcept {
        if (low > high) std::swap(low, high);
        low = std::clamp<std::int64_t>(low, 0, extent - 1);
        high = std::clamp<std::int64_t>(high, 0, extent - 1);
    }
    [[nodiscard]] std::uint64_t count() const noexcept { return static_cast<std::uint64_t>(high - low + 1); }

private:
    static std::int64_t limited(long end) noexcept {
        constexpr std::int64_t kFar = std::int64_t{1} << 40;
        return std::clamp<std::int64_t>(end, -kFar, kFar);
    }
};

/// Columns and rows of the pixel block.
struct StoredArea {
    Ends columns, rows;
};

/// The stored area of displayed ends. The limits are the displayed extents, also for a rotated image, whose stored ones
/// are the other way round; hosts rely on it.
StoredArea storedArea(Rastrel& image, const Ends& x, const Ends& y) {
    const bool transposed = image.transposed != 0;
    StoredArea area{transposed ? y : x, transposed ? x : y};
    if (image.mirrorX != 0) transposed ? area.rows.mirror(image.height) : area.columns.mirror(image.width);
    if (image.mirrorY != 0) transposed ? area.columns.mirror(image.width) : area.rows.mirror(image.height);
    area.columns.sortAndClamp(static_cast<std::int64_t>(image.GetWidth()));
    area.rows.sortAndClamp(static_cast<std::int64_t>(image.GetHeight()));
    return area;
}

} // namespace

bool Rastrel::Crop(long x1, long x2, long y1, long y2) {
    rastrel::loadPixels(*this);
    if (width == 0 || height == 0 || GetWidth() == 0 || GetHeight() == 0) return false;
    const auto [columns, rows] = storedArea(*this, Ends(x1, x2), Ends(y1, y2));
    const std::uint64_t newWidth = columns.count();
    const std::uint64_t newHeight = rows.count();

    const rastrel::Busy busy(busyCount);
    const rastrel::Completion completion{rastrel::Progress(progress)};
    const rastrel::Cancel cancel(cancelRequested);
    // Only the class itself is known to read and write its pixels as a row mover does. Columns and rows that a rotated
    // image does not have are reflected, pixel by pixel.
    const bool byRows = typeid(*this) == typeid(Rastrel) && columns.high < width && rows.high < height;
    const std::uint64_t oldWidth = width;
    const auto left = static_cast<std::uint64_t>(columns.low);
    rastrel::RowMover mover(pixels, oldWidth * height, colormodel, componentOrder != 0);
    for (std::uint64_t k = 0; k < newHeight && !cancel.requested(); ++k) {
        const std::uint64_t y = static_cast<std::uint64_t>(rows.low) + k;
        if (!byRows || !mover.move(k * newWidth, y * oldWidth + left, newWidth)) {
            for (std::uint64_t i = 0; i < newWidth; ++i) {
                const std::uint64_t target = k * newWidth + i;
                const std::uint64_t x = left + i;
                if (target % oldWidth == x && target / oldWidth == y) continue;
                pixel_argb8 pixel{};
                ReadPixel(pixel, static_cast<long>(x), static_cast<long>(y), true);
                WritePixel(pixel, static_cast<long>(target % oldWidth), static_cast<long>(target / oldWidth), true);
            }
        }
        rastrel::Progress(progress).set(k + 1, newHeight);
    }

    width = static_cast<std::uint32_t>(newWidth);
    height = static_cast<std::uint32_t>(newHeight);
    pixels.ReSize(GetBitmapSize(width, height, colormodel));
    // Cached rows are rows of the old geometry.
    const rastrel::CriticalSectionLock lock(cacheLock);
    if (lineCache == nullptr) return true;
    for (std::size_t slot = 0; slot < std::size(lineCache->buffer); ++slot) {
        if (lineCache->buffer[slot] != nullptr) lineCache->invalidate(lineCache->line[slot]);
    }
    return true;
}
