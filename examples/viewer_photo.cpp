#include "viewer_photo.h"

#include <chrono>
#include <vector>

namespace viewer {
namespace {

/// Puts the pixels of a bitmap of 32 bits a pixel through the table.
void applyTable(HBITMAP bitmap, std::size_t pixels, LookUpTable& table) {
    std::vector<pixel_argb8> bits(pixels);
    const auto size = static_cast<LONG>(pixels * sizeof(pixel_argb8));
    if (GetBitmapBits(bitmap, size, bits.data()) != size) return;
    for (pixel_argb8& pixel : bits)
        table.LookUp(pixel);
    SetBitmapBits(bitmap, static_cast<DWORD>(size), bits.data());
}

} // namespace

unsigned __int64 Photo::Read(const wchar_t* path) {
    const auto begin = std::chrono::steady_clock::now();
    status = Rastrel::Read(path);
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return status;
}

HBITMAP Photo::GetWindowsBitmap(unsigned long bitmapWidth, unsigned long bitmapHeight, bool smooth) {
    const HBITMAP bitmap =
        Rastrel::GetWindowsBitmap(shown.left, shown.top, shown.right, shown.bottom, bitmapWidth, bitmapHeight, smooth);
    if (bitmap != nullptr && exposed) applyTable(bitmap, std::size_t{bitmapWidth} * bitmapHeight, lookUpTable);
    return bitmap;
}

Area Photo::whole() { return {0, 0, static_cast<long>(GetWidth()) - 1, static_cast<long>(GetHeight()) - 1}; }

} // namespace viewer
