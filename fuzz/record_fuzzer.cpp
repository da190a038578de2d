/// Any bytes as a saved image record, and as a lookup table's record.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "support/open_image.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    MemBlockDesc block;
    if (!block.Create(size, false) || !block.Write(0, data, size)) return 0;
    OpenImage image;
    unsigned __int64 position = 0;
    static_cast<void>(image.Restore(block, position));
    if (image.busyCount != 0 || position > size) std::abort();
    // Pixels that the record claims and lacks would be saved as zeros, whole gigabytes of them.
    MemBlockDesc again;
    if (image.pixels.GetSize() == image.GetBitmapSize(image.width, image.height, image.colormodel))
        static_cast<void>(image.Save(again));

    LookUpTable table;
    position = 0;
    static_cast<void>(table.Restore(block, position));
    if (position > size) std::abort();
    return 0;
}
