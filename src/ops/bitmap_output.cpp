/// Rendering an image into a bitmap for display.
#include <cstdint>
#include <limits>

#include "image/image_state.h"
#include "rastrel/platform.h"
#include "rastrel/rastrel.h"

namespace {

/// A rectangle of public coordinates, ends inclusive.
struct DisplayedRect {
    long x1, y1, x2, y2;
};

HBITMAP render(Rastrel& image, const DisplayedRect& rect, unsigned long width, unsigned long height, bool smooth) {
    constexpr unsigned long kMost = std::numeric_limits<int>::max();
    if (width == 0 || height == 0 || width > kMost || height > kMost) return nullptr;
    const rastrel::Busy busy(image.busyCount);
    const rastrel::Cancel cancel(image.cancelRequested);
    Rastrel target;
    target.Create(width, height, CM_ARGB8);
    target.componentOrder = 1; // a bitmap's pixels are blue, green, red, alpha
    if (target.pixels.GetSize() != std::uint64_t{4} * width * height) return nullptr;
    // Both row ranges run downwards, so that nothing is mirrored; nor is it where a range is a single row.
    image.StretchBlt(target, 0, static_cast<long>(width) - 1, static_cast<long>(height) - 1, 0, rect.x1, rect.x2,
                     rect.y2, rect.y1, smooth ? 2 : 0, 0.0);
    if (cancel.requested()) return nullptr;
    return CreateBitmap(static_cast<int>(width), static_cast<int>(height), 1, 32, target.pixels.GetData());
}

} // namespace

HBITMAP Rastrel::GetWindowsBitmap(long x1, long y1, long x2, long y2, unsigned long bitmapWidth,
                                  unsigned long bitmapHeight, bool smooth) {
    const bool holdsPixels =
        pixels.GetSize() != 0 && width != 0 && height != 0 && GetBitmapSize(width, height, colormodel) != 0;
    if (!holdsPixels || x1 > x2 || y1 > y2 || rastrel::Cancel(cancelRequested).requested()) return nullptr;
    return render(*this, {x1, y1, x2, y2}, bitmapWidth, bitmapHeight, smooth);
}

HBITMAP Rastrel::GetWindowsBitmap(unsigned long bitmapWidth, unsigned long bitmapHeight, bool smooth) {
    const auto lastColumn = static_cast<long>(GetWidth()) - 1;
    const auto lastRow = static_cast<long>(GetHeight()) - 1;
    return GetWindowsBitmap(0, 0, lastColumn, lastRow, bitmapWidth, bitmapHeight, smooth);
}
