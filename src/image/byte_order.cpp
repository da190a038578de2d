/// Reversal of bytes and words within elements.
#include <algorithm>
#include <cstdint>

#include "rastrel/rastrel.h"

namespace {

/// Reverses the order of the `Parts` units of `Unit` bytes in each element.
template <unsigned Unit, unsigned Parts>
void reverseElements(unsigned char* bytes, std::uint64_t count) {
    for (; count != 0; --count, bytes += Unit * Parts) {
        for (unsigned i = 0; i < Parts / 2; ++i)
            std::swap_ranges(bytes + i * Unit, bytes + (i + 1) * Unit, bytes + (Parts - 1 - i) * Unit);
    }
}

} // namespace

void* Rastrel::FlipByteOrder(void* buffer, unsigned long count, unsigned long size) {
    auto* bytes = static_cast<unsigned char*>(buffer);
    switch (size) {
    case 0:
    case 1:
        break;
    case 2:
        reverseElements<1, 2>(bytes, count);
        break;
    case 3:
        reverseElements<1, 3>(bytes, count);
        break;
    case 4:
        reverseElements<1, 4>(bytes, count);
        break;
    case 8:
        reverseElements<1, 8>(bytes, count);
        break;
    default:
        for (; count != 0; --count, bytes += size)
            std::reverse(bytes, bytes + size);
    }
    return buffer;
}

void* Rastrel::FlipWordOrder(void* buffer, unsigned long count, unsigned long size) {
    auto* bytes = static_cast<unsigned char*>(buffer);
    if (size == 4) reverseElements<2, 2>(bytes, count);
    if (size == 6) reverseElements<2, 3>(bytes, count);
    if (size == 8) reverseElements<2, 4>(bytes, count);
    return buffer;
}
