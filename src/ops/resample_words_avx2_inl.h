// Windows of many weights with AVX2: 16-bit multiply-adds of pairs of pixels. Included inside the AVX2 region; no
// include guard.

/// Source pixels that are held as pairs of words: 10 KiB.
constexpr std::size_t kWordTilePixels = 160;
/// Words from one pair of pixels to the next: those of all rows.
constexpr std::size_t kWordPixelPair = kBandRows * 8;

/// Stores four pixels of two rows as words: each channel of one pixel beside that of the next.
inline void storeWordPairs(std::int16_t* to, __m256i pixels) {
    constexpr char kNone = -128;
    const __m128i front = _mm_setr_epi8(0, kNone, 4, kNone, 1, kNone, 5, kNone, 2, kNone, 6, kNone, 3, kNone, 7, kNone);
    const __m128i back =
        _mm_setr_epi8(8, kNone, 12, kNone, 9, kNone, 13, kNone, 10, kNone, 14, kNone, 11, kNone, 15, kNone);
    _mm256_store_si256(reinterpret_cast<__m256i*>(to), _mm256_shuffle_epi8(pixels, _mm256_broadcastsi128_si256(front)));
    _mm256_store_si256(reinterpret_cast<__m256i*>(to + kWordPixelPair),
                       _mm256_shuffle_epi8(pixels, _mm256_broadcastsi128_si256(back)));
}

inline __m256i loadWords(const std::int16_t* from) { return _mm256_load_si256(reinterpret_cast<const __m256i*>(from)); }

/// Adds a pair of one output pixel to the sums; sum k holds rows 2k and 2k + 1.
inline void addPair(WordSums& to, const std::int16_t* pair, std::int32_t weights) {
    const __m256i both = _mm256_set1_epi32(weights);
    to.sums[0] = addProducts(to.sums[0], loadWords(pair), both);
    to.sums[1] = addProducts(to.sums[1], loadWords(pair + 16), both);
    to.sums[2] = addProducts(to.sums[2], loadWords(pair + 32), both);
    to.sums[3] = addProducts(to.sums[3], loadWords(pair + 48), both);
}

/// One output pixel of a band from its pairs of words. Unrolled: the loop costs half as much as the sums otherwise.
inline WordSums bandSums(const std::int16_t* pairs, const std::int32_t* weights, std::size_t count, std::int32_t bias) {
    WordSums sums = WordSums::startingAt(bias);
    for (; count >= 4; count -= 4, pairs += 4 * kWordPixelPair, weights += 4) {
        addPair(sums, pairs, weights[0]);
        addPair(sums, pairs + kWordPixelPair, weights[1]);
        addPair(sums, pairs + 2 * kWordPixelPair, weights[2]);
        addPair(sums, pairs + 3 * kWordPixelPair, weights[3]);
    }
    switch (count) {
    case 3:
        addPair(sums, pairs + 2 * kWordPixelPair, weights[2]);
        [[fallthrough]];
    case 2:
        addPair(sums, pairs + kWordPixelPair, weights[1]);
        [[fallthrough]];
    case 1:
        addPair(sums, pairs, weights[0]);
        break;
    default:
        break;
    }
    return sums;
}

/// The second attempt at a column, and the definition where that is in doubt as well. All registers are refined: to
/// choose among them costs as much.
inline void refineColumn(Column& column, WordSums sums, const Band& band, const std::int16_t* pairs,
                         const ResamplePlan& plan, const ResamplePlan::Window& window) {
    sums.refine(bandSums(pairs, plan.fine(window), window.pairs(), 0), window.wordRule);
    const QuickSums quick = sums.scaled(window.wordRule.shift);
    column.store(quick.sideBySide());
    settleColumn(column, band, plan, window, quick.doubts(window.wordRule.fineThreshold));
}

/// `pairs` starts with the pair that holds the window's first pixel.
inline void makeWordColumn(Column& column, const Band& band, const std::int16_t* pairs, const ResamplePlan& plan,
                           const ResamplePlan::Window& window) {
    const WordRule& rule = window.wordRule;
    const WordSums sums = bandSums(pairs, plan.coarse(window), window.pairs(), rule.coarseBias);
    const QuickSums quick = sums.scaled(rule.shift);
    if (quick.inDoubt(words(rule.coarseThreshold)))
        refineColumn(column, sums, band, pairs, plan, window);
    else
        column.store(quick.sideBySide());
}

/// Makes outputs from `output` on, at most up to `limit` - 1, whose windows are words and lie within one tile: near
/// `expected` of them. Returns their number, 0 when no tile holds the first window.
inline std::size_t makeWordTile(const Band& band, const ResamplePlan& plan, std::size_t output, std::size_t limit,
                                std::size_t expected) {
    const Tile part = tileAt(plan, output, limit, plan.windows()[output].first / 2 * 2, kWordTilePixels, expected);
    alignas(32) std::int16_t tile[kWordTilePixels / 2 * kWordPixelPair];
    forEachFour(band, part.begin, part.end - part.begin,
                [&tile](std::size_t pair, std::size_t group, const __m256i& four) {
                    storeWordPairs(tile + 2 * group * kWordPixelPair + 16 * pair, four);
                });
    makeColumns(band, plan, output, output + part.outputs, [&](Column& column, const ResamplePlan::Window& window) {
        makeWordColumn(column, band, tile + (window.first - part.begin) / 2 * kWordPixelPair, plan, window);
    });
    return part.outputs;
}
