/// @file orf_samples.cpp
/// The four encodings of an Olympus raw strip.
#include "formats/orf_samples.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace rastrel {

namespace {

/// Saturates instead of wrapping: the sizes come from a file.
std::uint64_t pixelCount(std::uint64_t width, std::uint64_t height) noexcept {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 60;
    return height != 0 && width > kMost / height ? kMost : width * height;
}

std::uint64_t decodeWords(std::span<const unsigned char> strip, ByteOrder order, std::uint64_t pixels,
                          std::uint16_t* mosaic) noexcept {
    const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(pixels, strip.size() / 2));
    const std::size_t low = order == ByteOrder::little ? 0 : 1;
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned word = strip[2 * i + low] | strip[2 * i + 1 - low] << 8;
        mosaic[i] = static_cast<std::uint16_t>(word >> 4);
    }
    return count;
}

std::uint64_t decodePackedWithPads(std::span<const unsigned char> strip, std::uint64_t pixels,
                                   std::uint16_t* mosaic) noexcept {
    constexpr std::size_t kGroupBytes = 16;
    constexpr std::size_t kGroupSamples = 10;
    std::uint64_t done = 0;
    for (std::size_t group = 0; group < strip.size() && done < pixels; group += kGroupBytes) {
        const std::size_t bytes = std::min(strip.size() - group, kGroupBytes - 1);
        for (std::size_t i = 0; i < kGroupSamples && done < pixels; ++i) {
            // The i-th sample begins in the middle of a byte when i is odd.
            const std::size_t at = i + i / 2;
            if (at + 2 > bytes) return done;
            const unsigned pair = strip[group + at] | strip[group + at + 1] << 8;
            mosaic[done++] = static_cast<std::uint16_t>(i % 2 == 0 ? pair & 0xFFF : pair >> 4);
        }
    }
    return done;
}

/// Twelve bytes hold three 32-bit words, that is eight samples.
std::uint64_t decodePackedWords(std::span<const unsigned char> strip, std::uint64_t pixels,
                                std::uint16_t* mosaic) noexcept {
    std::uint64_t bits = 0;
    unsigned held = 0;
    std::uint64_t done = 0;
    for (std::size_t at = 0; at + 4 <= strip.size() && done < pixels; at += 4) {
        bits = bits << 32 | loadNumber<std::uint32_t>(strip.data() + at, ByteOrder::little);
        for (held += 32; held >= 12 && done < pixels; held -= 12)
            mosaic[done++] = static_cast<std::uint16_t>(bits >> (held - 12) & 0xFFF);
    }
    return done;
}

/// The bits of a compressed strip, the next one at the top of a 64-bit window. At least 56 bits are there after a
/// refill; behind the strip's end they are of no particular value.
class BitWindow {
public:
    explicit BitWindow(std::span<const unsigned char> strip) noexcept
        : begin_(strip.data()), next_(strip.data()), end_(strip.data() + strip.size()) {}

    void refill() noexcept {
        bits_ |= loadNumber<std::uint64_t>(next_, ByteOrder::big) >> held_;
        next_ += (63 - held_) >> 3;
        held_ |= 56;
    }
    [[nodiscard]] std::uint64_t bits() const noexcept { return bits_; }
    void drop(unsigned count) noexcept {
        bits_ <<= count;
        held_ -= count;
    }
    /// Whether `bits` more can be read without passing the strip's end.
    [[nodiscard]] bool holds(std::uint64_t bits) const noexcept {
        const std::int64_t read = (next_ - begin_) * 8 - static_cast<std::int64_t>(held_);
        return (end_ - begin_) * 8 - read >= static_cast<std::int64_t>(bits);
    }

private:
    const unsigned char* begin_;
    const unsigned char* next_;
    const unsigned char* end_;
    std::uint64_t bits_ = 0;
    unsigned held_ = 0;
};

/// What is carried along a row from one pixel to the next of the same column parity.
struct Carry {
    int last = 0; ///< magnitude of the previous pixel
    int mean = 0; ///< decaying estimate of the step
    int run = 0;  ///< magnitudes of 16 or less in a row
};

constexpr unsigned kMostZeros = 12;   ///< so many zero bits announce a high part that is written out
constexpr unsigned kWrittenHigh = 15; ///< its bits, less those of the plain part
constexpr int kMostMagnitude = 2047;  ///< of a sound strip
constexpr int kSmallMagnitude = 16;
constexpr std::uint64_t kMostBits = 31; ///< of one pixel: 3, 12 zeros, 15 - n, 1, n

/// One pixel: its difference from the prediction. `sound` is cleared by a magnitude that no encoder writes; widths are
/// bounded as long as that is heeded.
inline int decodeDifference(BitWindow& window, Carry& carry, bool& sound) noexcept {
    const int extra = carry.run < 3 ? 2 : 0;
    const int width = std::max(2 + extra, static_cast<int>(std::bit_width(static_cast<unsigned>(carry.last))) - extra);
    const unsigned n = static_cast<unsigned>(width);
    const std::uint64_t bits = window.bits();
    const auto sign = static_cast<int>(static_cast<std::int64_t>(bits) >> 63);
    const auto low = static_cast<int>(bits >> 61 & 3);
    const auto zeros = static_cast<unsigned>(std::countl_zero(bits << 3 | 1));
    int magnitude = 0;
    if (zeros < kMostZeros) [[likely]] {
        magnitude = static_cast<int>(zeros << n | static_cast<unsigned>(bits << (4 + zeros) >> (64 - n)));
        window.drop(4 + zeros + n);
    } else {
        window.drop(3 + kMostZeros);
        window.refill();
        const auto high = static_cast<unsigned>(window.bits() >> (64 - (kWrittenHigh - n)));
        window.drop(kWrittenHigh - n + 1);
        magnitude = static_cast<int>(high << n | static_cast<unsigned>(window.bits() >> (64 - n)));
        window.drop(n);
    }
    sound = magnitude <= kMostMagnitude;
    const int step = (magnitude ^ sign) + carry.mean;
    carry.last = magnitude;
    carry.mean = (3 * step + carry.mean) >> 5;
    carry.run = magnitude > kSmallMagnitude ? 0 : carry.run + 1;
    return 4 * step + low;
}

/// What a pixel is expected to be from its neighbours of the same colour: two to the left, two up, both.
inline int predict(int west, int north, int corner) noexcept {
    const int fromWest = west - corner;
    const int fromNorth = north - corner;
    if ((fromWest < 0 && fromNorth > 0) || (fromWest > 0 && fromNorth < 0)) {
        if (fromWest > 32 || fromWest < -32 || fromNorth > 32 || fromNorth < -32) return west + north - corner;
        return (west + north) >> 1;
    }
    return (fromWest < 0 ? -fromWest : fromWest) > (fromNorth < 0 ? -fromNorth : fromNorth) ? west : north;
}

/// One row; `above` is the row two up, null for the first two. `Checked` looks at the strip's end before every pixel,
/// otherwise the caller has. Returns the samples decoded: fewer than `width` where the strip ends or breaks the rules.
template <bool Checked>
std::uint32_t decodeRow(BitWindow& window, const std::uint16_t* above, std::uint32_t width,
                        std::uint16_t* row) noexcept {
    Carry even;
    Carry odd;
    const auto pixel = [&](Carry& carry, std::uint32_t column) noexcept {
        int prediction = 0;
        if (column >= 2) {
            const int west = row[column - 2];
            prediction = above == nullptr ? west : predict(west, above[column], above[column - 2]);
        } else if (above != nullptr) {
            prediction = above[column];
        }
        if constexpr (Checked) {
            // Even a pixel of the fewest bits must lie inside; a longer one that does not is found out afterwards.
            if (!window.holds(6)) return false;
        }
        window.refill();
        bool sound = true;
        const int value = prediction + decodeDifference(window, carry, sound);
        if (!sound || value < 0 || value > 4095) [[unlikely]]
            return false;
        if constexpr (Checked) {
            if (!window.holds(0)) return false;
        }
        row[column] = static_cast<std::uint16_t>(value);
        return true;
    };
    std::uint32_t column = 0;
    for (; column + 1 < width; column += 2) {
        if (!pixel(even, column)) return column;
        if (!pixel(odd, column + 1)) return column + 1;
    }
    if (column < width && pixel(even, column)) ++column;
    return column;
}

std::uint64_t decodeCompressed(std::span<const unsigned char> strip, std::uint32_t width, std::uint32_t height,
                               std::uint16_t* mosaic) noexcept {
    constexpr std::size_t kHead = 7;
    if (strip.size() <= kHead) return 0;
    BitWindow window(strip.subspan(kHead));
    std::uint64_t done = 0;
    for (std::uint32_t y = 0; y < height; ++y) {
        std::uint16_t* const row = mosaic + std::size_t{y} * width;
        const std::uint16_t* const above = y < 2 ? nullptr : row - 2 * std::size_t{width};
        const std::uint32_t decoded = window.holds(kMostBits * width) ? decodeRow<false>(window, above, width, row)
                                                                      : decodeRow<true>(window, above, width, row);
        done += decoded;
        if (decoded < width) break;
    }
    return done;
}

} // namespace

OrfEncoding orfEncoding(std::uint64_t width, std::uint64_t height, std::uint64_t stripBytes) noexcept {
    const std::uint64_t pixels = pixelCount(width, height);
    if (stripBytes == 2 * pixels) return OrfEncoding::words;
    // A strip is below 2^60 bytes, or no product equals it.
    if (stripBytes < std::uint64_t{1} << 60) {
        if (5 * stripBytes == 8 * pixels) return OrfEncoding::packedWithPads;
        if (2 * stripBytes == 3 * pixels) return OrfEncoding::packedWords;
    }
    return OrfEncoding::compressed;
}

bool orfStripSuffices(std::uint64_t width, std::uint64_t height, std::uint64_t stripBytes) noexcept {
    // Six bits a sample are the least that any of the encodings takes.
    return pixelCount(width, height) / 4 * 3 <= stripBytes;
}

std::uint64_t decodeOrf(std::span<const unsigned char> strip, OrfEncoding encoding, ByteOrder order,
                        std::uint32_t width, std::uint32_t height, std::uint16_t* mosaic) noexcept {
    const std::uint64_t pixels = std::uint64_t{width} * height;
    switch (encoding) {
    case OrfEncoding::words:
        return decodeWords(strip, order, pixels, mosaic);
    case OrfEncoding::packedWithPads:
        return decodePackedWithPads(strip, pixels, mosaic);
    case OrfEncoding::packedWords:
        return decodePackedWords(strip, pixels, mosaic);
    case OrfEncoding::compressed:
        return decodeCompressed(strip, width, height, mosaic);
    }
    return 0;
}

} // namespace rastrel
