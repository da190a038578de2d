#include "image/line_layer_inl.h"

#include "image/critical_section_lock.h"

void Rastrel::LineLayer::invalidate(Rastrel& image, std::uint32_t line) {
    const rastrel::CriticalSectionLock lock(image.cacheLock);
    if (image.lineCache != nullptr) image.lineCache->invalidate(line);
}

/// Bytes of one stored pixel in single-pixel access: whole bytes of the colour depth, six for a Bayer element; 0 when a
/// pixel is not a whole number of bytes.
std::uint64_t Rastrel::LineLayer::pixelBytes(Rastrel& image) {
    if (image.colormodel == CM_RGGB12) return sizeof(pixel_rggb12);
    const unsigned depth = image.GetColordepth();
    return depth % 8 == 0 ? depth / 8 : 0;
}
