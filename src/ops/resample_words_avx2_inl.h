// Windows of many weights with AVX2: 16-bit multiply-adds of pairs of pixels. Included inside the AVX2 region; no
// include guard.

/// Source pixels that are held as pairs of words: 10 KiB.
constexpr std::size_t kWordTilePixels = 160;
/// From one pair of pixels to the next: a pair of words for each channel of all rows.
constexpr std::size_t kPixelPair = kBandRows * 4;

/// Stores four pixels of two rows as words: each channel of one pixel beside that of the next.
inline void storeWordPairs(std::int32_t* to, __m256i pixels) {
    constexpr char kNone = -128;
    const __m128i front = _mm_setr_epi8(0, kNone, 4, kNone, 1, kNone, 5, kNone, 2, kNone, 6, kNone, 3, kNone, 7, kNone);
    const __m128i back =
        _mm_setr_epi8(8, kNone, 12, kNone, 9, kNone, 13, kNone, 10, kNone, 14, kNone, 11, kNone, 15, kNone);
    _mm256_store_si256(reinterpret_cast<__m256i*>(to), _mm256_shuffle_epi8(pixels, _mm256_broadcastsi128_si256(front)));
    _mm256_store_si256(reinterpret_cast<__m256i*>(to + kPixelPair),
                       _mm256_shuffle_epi8(pixels, _mm256_broadcastsi128_si256(back)));
}

/// One output pixel of a band from its pairs of words; sum k holds rows 2k and 2k + 1.
inline WordSums bandSums(const std::int32_t* pairs, const std::int32_t* weights, std::size_t count, std::int32_t bias) {
    return sumWords(pairs, kPixelPair, weights, count, bias);
}

/// The second attempt at a column, and the definition where that is in doubt as well. All registers are refined: to
/// choose among them costs as much.
inline void refineColumn(Column& column, WordSums sums, const Band& band, const std::int32_t* pairs,
                         const ResamplePlan& plan, const ResamplePlan::Window& window) {
    sums.refine(bandSums(pairs, plan.fine(window), window.pairs(), 0), window.wordRule);
    const QuickSums quick = sums.scaled(window.wordRule.shift);
    column.store(quick.sideBySide());
    settleColumn(column, band, plan, window, quick.doubts(window.wordRule.fineThreshold));
}

/// `pairs` starts with the pair that holds the window's first pixel.
inline void makeWordColumn(Column& column, const Band& band, const std::int32_t* pairs, const ResamplePlan& plan,
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
    alignas(32) std::int32_t tile[kWordTilePixels / 2 * kPixelPair];
    forEachFour(band, part.begin, part.end - part.begin,
                [&tile](std::size_t pair, std::size_t group, const __m256i& four) {
                    storeWordPairs(tile + 2 * group * kPixelPair + 8 * pair, four);
                });
    makeColumns(band, plan, output, output + part.outputs, [&](Column& column, const ResamplePlan::Window& window) {
        makeWordColumn(column, band, tile + (window.first - part.begin) / 2 * kPixelPair, plan, window);
    });
    return part.outputs;
}
