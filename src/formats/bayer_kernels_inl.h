// The steps of the mosaic interpolation, compiled once per instruction set: no include guard, no includes. Whoever
// includes this defines RASTREL_TARGET. Plain loops over neighbouring sites: the compiler makes vectors of them.

namespace rastrel::RASTREL_TARGET {

inline int absolute(int value) noexcept { return value < 0 ? -value : value; }
inline int sample(int value) noexcept { return value < 0 ? 0 : value > 65535 ? 65535 : value; }

/// Both neighbours of the other parity: of column 2 i the ones at i - 1 and i, of column 2 i + 1 those at i and i + 1.
inline std::ptrdiff_t leftOf(bool odd) noexcept { return odd ? 0 : -1; }

/// Green between two greens a step away, bent as the site's own colour is between two of its kind two steps away.
inline std::uint16_t bentMean(int before, int after, int own, int before2, int after2) noexcept {
    return static_cast<std::uint16_t>(sample((2 * (before + after) + 2 * own - before2 - after2 + 2) >> 2));
}

inline void estimate(const BayerRow& above2, const BayerRow& above, const BayerRow& row, const BayerRow& below,
                     const BayerRow& below2, std::ptrdiff_t count, bool odd) {
    const std::uint16_t* const color = row.color;
    const std::uint16_t* const left = row.green + leftOf(odd);
    std::uint16_t* const alongRow = row.greenAlongRow;
    for (std::ptrdiff_t i = -3; i < count + 3; ++i)
        alongRow[i] = bentMean(left[i], left[i + 1], color[i], color[i - 1], color[i + 1]);

    const std::uint16_t* const up = above.green;
    const std::uint16_t* const down = below.green;
    const std::uint16_t* const up2 = above2.color;
    const std::uint16_t* const down2 = below2.color;
    std::uint16_t* const alongColumn = row.greenAlongColumn;
    for (std::ptrdiff_t i = -3; i < count + 3; ++i)
        alongColumn[i] = bentMean(up[i], down[i], color[i], up2[i], down2[i]);
}

/// Half the distance of two differences between a colour and its green.
inline std::uint16_t variation(int color1, int green1, int color2, int green2) noexcept {
    return static_cast<std::uint16_t>(absolute((color1 - green1) - (color2 - green2)) >> 1);
}

inline void vary(const BayerRow& above2, const BayerRow& row, std::ptrdiff_t count) {
    const std::uint16_t* const color = row.color;
    const std::uint16_t* const alongRow = row.greenAlongRow;
    std::uint16_t* const rowVariation = row.rowVariation;
    for (std::ptrdiff_t i = -2; i < count + 2; ++i)
        rowVariation[i] = variation(color[i], alongRow[i], color[i + 1], alongRow[i + 1]);

    const std::uint16_t* const alongColumn = row.greenAlongColumn;
    const std::uint16_t* const colorAbove = above2.color;
    const std::uint16_t* const alongColumnAbove = above2.greenAlongColumn;
    std::uint16_t* const columnVariation = above2.columnVariation;
    for (std::ptrdiff_t i = -2; i < count + 2; ++i)
        columnVariation[i] = variation(colorAbove[i], alongColumnAbove[i], color[i], alongColumn[i]);
}

inline void decide(const BayerRow& above2, const BayerRow& above, const BayerRow& row, const BayerRow& below,
                   const BayerRow& below2, std::ptrdiff_t count, bool odd) {
    const std::ptrdiff_t left = leftOf(odd);
    const std::uint16_t* const __restrict rows = row.rowVariation;
    const std::uint16_t* const __restrict rowsAbove2 = above2.rowVariation;
    const std::uint16_t* const __restrict rowsBelow2 = below2.rowVariation;
    const std::uint16_t* const __restrict rowsAbove = above.rowVariation + left;
    const std::uint16_t* const __restrict rowsBelow = below.rowVariation + left;
    const std::uint16_t* const __restrict columns = row.columnVariation;
    const std::uint16_t* const __restrict columnsAbove2 = above2.columnVariation;
    const std::uint16_t* const __restrict columnsAbove = above.columnVariation + left;
    const std::uint16_t* const __restrict alongRow = row.greenAlongRow;
    const std::uint16_t* const __restrict alongColumn = row.greenAlongColumn;
    std::uint16_t* const __restrict green = row.colorGreen;
    for (std::ptrdiff_t i = -1; i < count + 1; ++i) {
        const int across = 3 * (rows[i - 1] + rows[i]) + rowsAbove2[i - 1] + rowsAbove2[i] + rowsBelow2[i - 1] +
                           rowsBelow2[i] + rowsAbove[i] + rowsBelow[i];
        const int down = 3 * (columnsAbove2[i] + columns[i]) + columnsAbove2[i - 1] + columns[i - 1] +
                         columnsAbove2[i + 1] + columns[i + 1] + columnsAbove[i] + columnsAbove[i + 1];
        const int fromRow = alongRow[i];
        const int fromColumn = alongColumn[i];
        const int mean = (fromRow + fromColumn) >> 1;
        const int best = across < down ? fromRow : fromColumn;
        green[i] = static_cast<std::uint16_t>(across == down ? mean : best);
    }
}

/// Four words of each kind, one after another in turn.
inline void storeWords(__m128i first, __m128i second, __m128i third, std::uint16_t* to) noexcept {
    const __m128 a = _mm_castsi128_ps(first);
    const __m128 b = _mm_castsi128_ps(second);
    const __m128 c = _mm_castsi128_ps(third);
    const __m128 low = _mm_unpacklo_ps(a, b);  // a0 b0 a1 b1
    const __m128 high = _mm_unpackhi_ps(a, b); // a2 b2 a3 b3
    const __m128 c0a1 = _mm_shuffle_ps(c, low, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 b1c1 = _mm_shuffle_ps(low, c, _MM_SHUFFLE(1, 1, 3, 3));
    const __m128 c2a3 = _mm_shuffle_ps(c, high, _MM_SHUFFLE(2, 2, 2, 2));
    const __m128 b3c3 = _mm_shuffle_ps(high, c, _MM_SHUFFLE(3, 3, 3, 3));
    float* const words = reinterpret_cast<float*>(to);
    _mm_storeu_ps(words, _mm_shuffle_ps(low, c0a1, _MM_SHUFFLE(2, 0, 1, 0)));
    _mm_storeu_ps(words + 4, _mm_shuffle_ps(b1c1, high, _MM_SHUFFLE(1, 0, 2, 0)));
    _mm_storeu_ps(words + 8, _mm_shuffle_ps(c2a3, b3c3, _MM_SHUFFLE(2, 0, 2, 0)));
}

inline __m128i loadSamples(const std::uint16_t* from) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

/// Red, green and blue of the even columns, then of the odd ones.
struct Planes {
    const std::uint16_t *red0, *green0, *blue0, *red1, *green1, *blue1;
};

/// Interleaves `pairs` pairs of pixels.
inline void storePairs(const Planes& from, std::ptrdiff_t pairs, std::uint16_t* rgb) {
    std::ptrdiff_t i = 0;
    for (; i + 8 <= pairs; i += 8) {
        const __m128i red0 = loadSamples(from.red0 + i);
        const __m128i green0 = loadSamples(from.green0 + i);
        const __m128i blue0 = loadSamples(from.blue0 + i);
        const __m128i red1 = loadSamples(from.red1 + i);
        const __m128i green1 = loadSamples(from.green1 + i);
        const __m128i blue1 = loadSamples(from.blue1 + i);
        storeWords(_mm_unpacklo_epi16(red0, green0), _mm_unpacklo_epi16(blue0, red1), _mm_unpacklo_epi16(green1, blue1),
                   rgb + 6 * i);
        storeWords(_mm_unpackhi_epi16(red0, green0), _mm_unpackhi_epi16(blue0, red1), _mm_unpackhi_epi16(green1, blue1),
                   rgb + 6 * i + 24);
    }
    for (; i < pairs; ++i) {
        const std::uint16_t pixels[6] = {from.red0[i], from.green0[i], from.blue0[i],
                                         from.red1[i], from.green1[i], from.blue1[i]};
        std::memcpy(rgb + 6 * i, pixels, sizeof pixels);
    }
}

/// The other colour at colour sites `begin` to `end`: green plus the mean difference of the two sites along the
/// diagonal that changes less.
inline void otherColor(const BayerRow& above, const BayerRow& row, const BayerRow& below, std::ptrdiff_t begin,
                       std::ptrdiff_t end, bool odd, std::uint16_t* __restrict to) {
    const std::ptrdiff_t left = leftOf(odd);
    const std::uint16_t* const __restrict green = row.colorGreen;
    const std::uint16_t* const __restrict colorAbove = above.color + left;
    const std::uint16_t* const __restrict greenAbove = above.colorGreen + left;
    const std::uint16_t* const __restrict colorBelow = below.color + left;
    const std::uint16_t* const __restrict greenBelow = below.colorGreen + left;
    for (std::ptrdiff_t i = begin; i < end; ++i) {
        const int own = green[i];
        const int falling = colorAbove[i] - greenAbove[i] + colorBelow[i + 1] - greenBelow[i + 1];
        const int rising = colorAbove[i + 1] - greenAbove[i + 1] + colorBelow[i] - greenBelow[i];
        const int changeFalling =
            absolute(colorAbove[i] - colorBelow[i + 1]) + absolute(2 * own - greenAbove[i] - greenBelow[i + 1]);
        const int changeRising =
            absolute(colorAbove[i + 1] - colorBelow[i]) + absolute(2 * own - greenAbove[i + 1] - greenBelow[i]);
        const int best = changeFalling < changeRising ? 2 * falling : 2 * rising;
        const int difference = (changeFalling == changeRising ? falling + rising : best) >> 2;
        to[i - begin] = static_cast<std::uint16_t>(sample(own + difference));
    }
}

/// Both colours at green sites `begin` to `end`: the row's own from the sites beside, the other one from above and
/// below.
inline void colorsAtGreen(const BayerRow& above, const BayerRow& row, const BayerRow& below, std::ptrdiff_t begin,
                          std::ptrdiff_t end, bool odd, std::uint16_t* __restrict own,
                          std::uint16_t* __restrict other) {
    const std::ptrdiff_t left = odd ? -1 : 0;
    const std::uint16_t* const __restrict green = row.green;
    const std::uint16_t* const __restrict color = row.color + left;
    const std::uint16_t* const __restrict colorGreen = row.colorGreen + left;
    const std::uint16_t* const __restrict colorAbove = above.color;
    const std::uint16_t* const __restrict greenAbove = above.colorGreen;
    const std::uint16_t* const __restrict colorBelow = below.color;
    const std::uint16_t* const __restrict greenBelow = below.colorGreen;
    for (std::ptrdiff_t i = begin; i < end; ++i) {
        const int beside = color[i] - colorGreen[i] + color[i + 1] - colorGreen[i + 1];
        const int across = colorAbove[i] - greenAbove[i] + colorBelow[i] - greenBelow[i];
        own[i - begin] = static_cast<std::uint16_t>(sample(green[i] + (beside >> 1)));
        other[i - begin] = static_cast<std::uint16_t>(sample(green[i] + (across >> 1)));
    }
}

inline void emit(const BayerRow& above, const BayerRow& row, const BayerRow& below, std::uint32_t width, bool odd,
                 std::uint16_t* rgb) {
    constexpr std::ptrdiff_t kBlock = 512; // sites whose planes stay in the first-level cache
    std::uint16_t atColor[kBlock];
    std::uint16_t ownAtGreen[kBlock];
    std::uint16_t otherAtGreen[kBlock];
    const std::ptrdiff_t sites = (static_cast<std::ptrdiff_t>(width) + 1) / 2;
    for (std::ptrdiff_t begin = 0; begin < sites; begin += kBlock) {
        const std::ptrdiff_t end = sites - begin < kBlock ? sites : begin + kBlock;
        otherColor(above, row, below, begin, end, odd, atColor);
        colorsAtGreen(above, row, below, begin, end, odd, ownAtGreen, otherAtGreen);
        const std::uint16_t* const color = row.color + begin;
        const std::uint16_t* const colorGreen = row.colorGreen + begin;
        const std::uint16_t* const green = row.green + begin;
        const Planes planes = odd ? Planes{otherAtGreen, green, ownAtGreen, atColor, colorGreen, color}
                                  : Planes{color, colorGreen, atColor, ownAtGreen, green, otherAtGreen};
        std::uint16_t* const to = rgb + 6 * begin;
        const bool half = end == sites && width % 2 != 0;
        const std::ptrdiff_t pairs = end - begin - (half ? 1 : 0);
        storePairs(planes, pairs, to);
        if (half) {
            to[6 * pairs] = planes.red0[pairs];
            to[6 * pairs + 1] = planes.green0[pairs];
            to[6 * pairs + 2] = planes.blue0[pairs];
        }
    }
}

} // namespace rastrel::RASTREL_TARGET
