#include "formats/image_port.h"

namespace rastrel {

bool ImageOperations::readRow(pixel_argbfp32* row, std::uint32_t y) const {
    return image_->ReadHLine(row, 0, static_cast<long>(image_->width - 1), static_cast<long>(y), true);
}

bool ImageOperations::writeRow(pixel_argbfp32* row, std::uint32_t y) const {
    return image_->WriteHLine(row, 0, static_cast<long>(image_->width - 1), static_cast<long>(y), true);
}

std::uint64_t ImageOperations::bitmapSize(std::uint32_t width, std::uint32_t height, std::uint8_t colormodel) const {
    return image_->GetBitmapSize(width, height, colormodel);
}

std::uint64_t ImageOperations::reload() const { return image_->Reload(); }

ImagePort portOf(Rastrel& image) noexcept {
    return ImagePort{image.pixels,
                     image.exif,
                     image.width,
                     image.height,
                     image.colormodel,
                     image.transposed,
                     image.mirrorX,
                     image.mirrorY,
                     image.componentOrder,
                     image.swapThreshold,
                     Progress(image.progress),
                     Cancel(image.cancelRequested),
                     ImageOperations(image)};
}

} // namespace rastrel
