#include "ops/mirror_kernel.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "pixel/color_model.h"
#include "rastrel/pixel.h"

namespace rastrel {
namespace {

template <std::size_t Bytes>
void reversePixels(unsigned char* line, std::uint64_t width) {
    std::array<unsigned char, Bytes> front;
    std::array<unsigned char, Bytes> back;
    unsigned char* left = line;
    unsigned char* right = line + (width - 1) * Bytes;
    for (; left < right; left += Bytes, right -= Bytes) {
        std::memcpy(front.data(), left, Bytes);
        std::memcpy(back.data(), right, Bytes);
        std::memcpy(left, back.data(), Bytes);
        std::memcpy(right, front.data(), Bytes);
    }
}

constexpr auto kReversedBits = [] {
    std::array<unsigned char, 256> table{};
    for (unsigned value = 0; value < table.size(); ++value) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            if ((value >> bit & 1U) != 0) table[value] |= static_cast<unsigned char>(0x80U >> bit);
        }
    }
    return table;
}();

void reverseWholeBytes(unsigned char* line, std::uint64_t bytes) {
    for (std::uint64_t i = 0; i < bytes / 2; ++i) {
        const unsigned char front = line[i];
        line[i] = kReversedBits[line[bytes - 1 - i]];
        line[bytes - 1 - i] = kReversedBits[front];
    }
}

void swapBits(unsigned char* line, std::uint64_t a, std::uint64_t b) {
    const auto maskA = static_cast<unsigned char>(0x80U >> (a & 7));
    const auto maskB = static_cast<unsigned char>(0x80U >> (b & 7));
    if (((line[a >> 3] & maskA) != 0) == ((line[b >> 3] & maskB) != 0)) return;
    line[a >> 3] ^= maskA;
    line[b >> 3] ^= maskB;
}

void reverseBits(unsigned char* line, std::uint64_t width) {
    if (width % 8 == 0) {
        reverseWholeBytes(line, width / 8);
        return;
    }
    for (std::uint64_t i = 0; i < width / 2; ++i)
        swapBits(line, i, width - 1 - i);
}

} // namespace

bool mirrorLine(unsigned char* line, std::uint64_t width, unsigned char colormodel) {
    if (line == nullptr || colormodel < CM_BW1 || colormodel > CM_RGBA16) return false;
    const ColorModel& model = colorModel(colormodel);
    if (model.code == 0) return false;
    if (width < 2) return true;
    switch (model.bytesPerPixel) {
    case 0:
        reverseBits(line, width);
        return true;
    case 1:
        reversePixels<1>(line, width);
        return true;
    case 2:
        reversePixels<2>(line, width);
        return true;
    case 3:
        reversePixels<3>(line, width);
        return true;
    case 4:
        reversePixels<4>(line, width);
        return true;
    case 6:
        reversePixels<6>(line, width);
        return true;
    case 8:
        reversePixels<8>(line, width);
        return true;
    case 16:
        reversePixels<16>(line, width);
        return true;
    case 32:
        reversePixels<32>(line, width);
        return true;
    default:
        return false;
    }
}

} // namespace rastrel
