/// The image's record in a memory block; docs/formats.md holds its byte table.
#include <algorithm>
#include <initializer_list>

#include "image/owned_text.h"
#include "rastrel/rastrel.h"

namespace {

/// Source markers. 128 never stands in a record: it is what a read past the end gives.
constexpr unsigned char kWithPixels = 0;
constexpr unsigned char kByName = 255;
constexpr unsigned char kNoMarker = 128;

/// Characters of a file name, its terminator included; longer ones are cut.
constexpr unsigned long kNameCapacity = 512;
/// How many bytes of pixels a record may claim beyond those that it holds.
constexpr unsigned __int64 kMostMissing = 0x4000000;

unsigned char flagByte(unsigned char flag) { return flag != 0 ? 255 : 0; }

[[nodiscard]] bool addParameters(MemBlockDesc& block, const Rastrel& image) {
    for (const double parameter : {image.offsetX, image.offsetY, image.preScaleX, image.preScaleY, image.postScaleX,
                                   image.postScaleY, image.bilinearX, image.bilinearY, image.angle}) {
        if (!block.Add(parameter)) return false;
    }
    return true;
}

/// Reads a record value by value. From the first value that the block does not hold whole, every value is its
/// fallback, and the record counts as read to the block's end.
class RecordReader {
public:
    RecordReader(const MemBlockDesc& block, unsigned __int64& position) : block_(block), position_(position) {}

    template <class T>
    [[nodiscard]] T value(T fallback) {
        if (ended_) return fallback;
        const unsigned __int64 start = position_;
        const T read = block_.Read(position_, fallback);
        if (position_ == start) end();
        return read;
    }
    /// A text on the C heap, cut to its limit; null when the record does not hold one.
    [[nodiscard]] wchar_t* text() {
        wchar_t read[kNameCapacity];
        if (!ended_ && block_.Read(position_, read, kNameCapacity)) return rastrel::duplicateText(read).release();
        end();
        return nullptr;
    }
    /// Rebuilds a pixel block of `size` bytes from the next `claimed` bytes of the record; what is missing is zero. The
    /// block stays empty when it would take much memory on the record's word alone.
    void pixels(unsigned __int64 claimed, unsigned __int64 size, MemBlockDesc& pixels) {
        const unsigned __int64 held = ended_ ? 0 : std::min(claimed, block_.GetSize() - position_);
        const unsigned __int64 used = std::min(held, size);
        if (size - used <= kMostMissing && pixels.Create(size, true)) block_.Read(position_, pixels, used);
        position_ += held;
        if (held < claimed) end();
    }

private:
    void end() {
        ended_ = true;
        position_ = std::max(position_, block_.GetSize());
    }

    const MemBlockDesc& block_;
    unsigned __int64& position_;
    bool ended_ = false;
};

void readParameters(RecordReader& record, Rastrel& image) {
    for (double* parameter : {&image.offsetX, &image.offsetY})
        *parameter = record.value(0.0);
    for (double* parameter : {&image.preScaleX, &image.preScaleY, &image.postScaleX, &image.postScaleY})
        *parameter = record.value(1.0);
    for (double* parameter : {&image.bilinearX, &image.bilinearY, &image.angle})
        *parameter = record.value(0.0);
}

/// Appends exactly `size` bytes of pixels, whatever the image's block holds.
[[nodiscard]] bool addPixels(MemBlockDesc& block, const MemBlockDesc& pixels, unsigned __int64 size) {
    if (!block.Add(size)) return false;
    if (pixels.GetSize() == size) return block.AddPart(pixels);
    MemBlockDesc fitted;
    if (!fitted.Create(size, true)) return false;
    pixels.Read(0, fitted, std::min(size, pixels.GetSize()));
    return block.AddPart(fitted);
}

} // namespace

unsigned __int64 Rastrel::Save(MemBlockDesc& block) {
    const unsigned __int64 start = block.GetSize();
    const auto saved = [&] {
        const unsigned char marker = name != nullptr ? kByName : kWithPixels;
        if (!block.Add(static_cast<unsigned int>(width)) || !block.Add(static_cast<unsigned int>(height)) ||
            !block.Add(static_cast<unsigned char>(colormodel)) || !block.Add(marker))
            return false;
        const wchar_t* const text = name;
        if (!(text != nullptr ? block.Add(text) : addPixels(block, pixels, GetBitmapSize(width, height, colormodel))))
            return false;
        for (const unsigned char flag : {mirrorX, mirrorY, transposed, componentOrder}) {
            if (!block.Add(flagByte(flag))) return false;
        }
        return addParameters(block, *this) && lookUpTable.Save(block);
    };
    if (saved()) return 0;
    block.ReSize(start); // no half record stays behind
    return kNotAccepted;
}

unsigned __int64 Rastrel::Restore(MemBlockDesc& block, unsigned __int64& position) {
    Empty();
    const unsigned __int64 start = position;
    RecordReader record(block, position);
    width = record.value(static_cast<unsigned int>(width));
    height = record.value(static_cast<unsigned int>(height));
    colormodel = record.value(static_cast<unsigned char>(colormodel));
    const unsigned char marker = record.value(kNoMarker);
    if (marker == kNoMarker) {
        position = start;
        Empty();
        return kNotAccepted;
    }
    if (marker == kByName) {
        name = record.text();
    } else {
        const unsigned __int64 size = GetBitmapSize(width, height, colormodel);
        if (size > swapThreshold)
            pixels.Swap(0);
        else
            pixels.UnSwap();
        record.pixels(record.value(size), size, pixels);
    }
    for (unsigned char* flag : {&mirrorX, &mirrorY, &transposed, &componentOrder})
        *flag = record.value(*flag) != 0 ? 1 : 0;
    readParameters(record, *this);
    TransformSetup();
    return lookUpTable.Restore(block, position) ? 1 : 0;
}
