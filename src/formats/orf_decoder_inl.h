// The decoder of compressed raw strips, compiled once per instruction set: no include guard, no includes. Whoever
// includes this defines RASTREL_TARGET.
//
// The place of each pixel's bits depends on the pixel before, so what counts is how long that chain is: one load of
// eight bytes at the bit position, one count of zeros, one sum.

namespace rastrel::RASTREL_TARGET {

/// The bits of a strip from a position on. Behind the strip's end they are of no particular value.
class BitReader {
public:
    explicit BitReader(std::span<const unsigned char> strip) noexcept
        : bytes_(strip.data()), size_(std::uint64_t{strip.size()} * 8) {}

    /// The next 57 bits at the top of the number.
    [[nodiscard]] std::uint64_t peek() const noexcept {
        std::uint64_t bytes = 0;
        std::memcpy(&bytes, bytes_ + (at_ >> 3), sizeof bytes);
        return __builtin_bswap64(bytes) << (at_ & 7);
    }
    void skip(unsigned bits) noexcept { at_ += bits; }
    /// Whether `bits` more lie inside the strip.
    [[nodiscard]] bool holds(std::uint64_t bits) const noexcept { return at_ + bits <= size_; }

private:
    const unsigned char* bytes_;
    std::uint64_t size_;
    std::uint64_t at_ = 0;
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
constexpr std::uint64_t kFewestBits = 6;

/// One pixel's difference from its prediction. `sound` is cleared by a magnitude that no encoder writes; widths are
/// bounded as long as that is heeded.
inline int decodeDifference(BitReader& reader, Carry& carry, bool& sound) noexcept {
    const int extra = carry.run < 3 ? 2 : 0;
    const int length = 32 - __builtin_clz(static_cast<unsigned>(carry.last) | 1U);
    const int width = length - extra > 2 + extra ? length - extra : 2 + extra;
    const auto n = static_cast<unsigned>(width);
    const std::uint64_t bits = reader.peek();
    const auto sign = static_cast<int>(static_cast<std::int64_t>(bits) >> 63);
    const auto low = static_cast<int>(bits >> 61 & 3);
    const auto zeros = static_cast<unsigned>(__builtin_clzll(bits << 3 | 1));
    int magnitude = 0;
    if (zeros < kMostZeros) [[likely]] {
        magnitude = static_cast<int>(zeros << n | static_cast<unsigned>(bits << (4 + zeros) >> (64 - n)));
        reader.skip(4 + zeros + n);
    } else {
        const std::uint64_t written = bits << (3 + kMostZeros);
        const auto high = static_cast<unsigned>(written >> (64 - (kWrittenHigh - n)));
        const auto plain = static_cast<unsigned>(written << (kWrittenHigh - n + 1) >> (64 - n));
        magnitude = static_cast<int>(high << n | plain);
        reader.skip(3 + kMostZeros + kWrittenHigh + 1);
    }
    sound = magnitude <= kMostMagnitude;
    const int step = (magnitude ^ sign) + carry.mean;
    carry.last = magnitude;
    carry.mean = (3 * step + carry.mean) >> 5;
    carry.run = magnitude > kSmallMagnitude ? 0 : carry.run + 1;
    return 4 * step + low;
}

/// What a pixel is expected to be from its neighbours of the same colour: two to the left, two up, both. Noise decides
/// which case applies, so a branch would be guessed wrong: all are computed and masks choose.
inline int predict(int west, int north, int corner) noexcept {
    const int fromWest = west - corner;
    const int fromNorth = north - corner;
    const int farWest = fromWest < 0 ? -fromWest : fromWest;
    const int farNorth = fromNorth < 0 ? -fromNorth : fromNorth;
    // The corner lies strictly between the two where their distances from it have opposite signs.
    const int between = (fromWest * fromNorth) >> 31;
    const int steep = ((32 - farWest) | (32 - farNorth)) >> 31;
    const int mean = (west + north) >> 1;
    const int inside = mean + ((west + north - corner - mean) & steep);
    const int westIsFar = (farNorth - farWest) >> 31;
    const int outside = north + ((west - north) & westIsFar);
    return outside + ((inside - outside) & between);
}

/// One row. `Checked` looks at the strip's end at every pixel, otherwise the caller has. `First` is one of the two rows
/// with none of its colours above; `above` is the row two up in all others. Returns the samples decoded: fewer than
/// `width` where the strip ends or breaks its rules.
template <bool Checked, bool First>
std::uint32_t decodeRow(BitReader& reader, const std::uint16_t* above, std::uint32_t width,
                        std::uint16_t* row) noexcept {
    const auto pixel = [&](Carry& carry, std::uint32_t column, int prediction) noexcept {
        if constexpr (Checked) {
            if (!reader.holds(kFewestBits)) return false;
        }
        bool sound = true;
        const int value = prediction + decodeDifference(reader, carry, sound);
        if (!sound || value < 0 || value > 4095) [[unlikely]]
            return false;
        if constexpr (Checked) {
            if (!reader.holds(0)) return false;
        }
        row[column] = static_cast<std::uint16_t>(value);
        return true;
    };
    const auto expected = [&](std::uint32_t column) noexcept {
        const int west = row[column - 2];
        if constexpr (First) {
            return west;
        } else {
            return predict(west, above[column], above[column - 2]);
        }
    };
    Carry even;
    Carry odd;
    if (width == 0 || !pixel(even, 0, First ? 0 : above[0])) return 0;
    if (width == 1 || !pixel(odd, 1, First ? 0 : above[1])) return 1;
    std::uint32_t column = 2;
    for (; column + 1 < width; column += 2) {
        if (!pixel(even, column, expected(column))) return column;
        if (!pixel(odd, column + 1, expected(column + 1))) return column + 1;
    }
    if (column < width && pixel(even, column, expected(column))) ++column;
    return column;
}

inline std::uint64_t decode(std::span<const unsigned char> strip, std::uint32_t width, std::uint32_t height,
                            std::uint16_t* mosaic) noexcept {
    constexpr std::size_t kHead = 7;
    if (strip.size() <= kHead) return 0;
    BitReader reader(strip.subspan(kHead));
    std::uint64_t done = 0;
    for (std::uint32_t y = 0; y < height; ++y) {
        std::uint16_t* const row = mosaic + std::size_t{y} * width;
        const bool safe = reader.holds(kMostBits * width);
        std::uint32_t decoded = 0;
        if (y < 2) {
            decoded = safe ? decodeRow<false, true>(reader, nullptr, width, row)
                           : decodeRow<true, true>(reader, nullptr, width, row);
        } else {
            const std::uint16_t* const above = row - 2 * std::size_t{width};
            decoded = safe ? decodeRow<false, false>(reader, above, width, row)
                           : decodeRow<true, false>(reader, above, width, row);
        }
        done += decoded;
        if (decoded < width) break;
    }
    return done;
}

} // namespace rastrel::RASTREL_TARGET
