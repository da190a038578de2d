// Eight rows of four channels side by side with AVX2. Included inside the AVX2 region; no include guard.

/// Rows that are filtered together.
constexpr std::size_t kBandRows = 8;
/// Two rows to a register.
constexpr std::size_t kRowPairs = kBandRows / 2;
/// Output pixels that are turned from columns into rows together.
constexpr std::size_t kTurned = 4;

/// A band of rows; pointers of rows that are not there repeat another one.
struct Band {
    unsigned char* destinations[kBandRows];
    const unsigned char* sources[kBandRows];
    std::uintptr_t ahead; ///< from a row to the one that takes its place in the next band, when that is known
};

/// Asks for the lines of the next band that hold its bytes `from` to `to` - 1.
inline void prefetchNextBand(const Band& band, std::size_t from, std::size_t to) {
    for (std::size_t at = (from + 63) / 64 * 64; at < to; at += 64) {
        for (const unsigned char* source : band.sources)
            _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<std::uintptr_t>(source + at) + band.ahead),
                         _MM_HINT_T0);
    }
}

/// Four pixels of each of two rows.
inline __m256i loadPair(const unsigned char* first, const unsigned char* second) {
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(second));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
}

/// Stores the halves of a register as 16 bytes of two rows.
inline void storePair(unsigned char* first, unsigned char* second, __m256i pixels) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(first), _mm256_castsi256_si128(pixels));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(second), _mm256_extracti128_si256(pixels, 1));
}

/// Calls `store(pair of rows, group of four, four pixels of both rows)` for `count` pixels from pixel `begin` on, the
/// last group filled with zeros.
template <class Store>
void forEachFour(const Band& band, std::size_t begin, std::size_t count, const Store& store) {
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        for (std::size_t pair = 0; pair < kRowPairs; ++pair) {
            const std::size_t at = (begin + i) * 4;
            store(pair, i / 4, loadPair(band.sources[2 * pair] + at, band.sources[2 * pair + 1] + at));
        }
    }
    if (i == count) return;
    for (std::size_t pair = 0; pair < kRowPairs; ++pair) {
        unsigned char rest[2][16] = {};
        std::memcpy(rest[0], band.sources[2 * pair] + (begin + i) * 4, (count - i) * 4);
        std::memcpy(rest[1], band.sources[2 * pair + 1] + (begin + i) * 4, (count - i) * 4);
        store(pair, i / 4, loadPair(rest[0], rest[1]));
    }
}

inline unsigned char definedBandSample(const Band& band, const ResamplePlan& plan, const ResamplePlan::Window& window,
                                       std::size_t row, std::size_t channel) {
    return definedResample(band.sources[row] + window.first * 4 + channel, 4, plan.weights(window), window);
}

/// An output pixel of all rows: rows 0, 2, 4, 6, then 1, 3, 5, 7.
struct Column {
    unsigned char bytes[32];

    [[nodiscard]] static std::size_t offsetOf(std::size_t row) { return row % 2 * 16 + row / 2 * 4; }
    [[nodiscard]] __m256i load() const { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes)); }
    void store(__m256i rows) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), rows); }
};

/// Computes the samples whose bits are set as defined; bits are those of `QuickSums::doubts`.
inline void settleColumn(Column& column, const Band& band, const ResamplePlan& plan, const ResamplePlan::Window& window,
                         std::uint32_t samples) {
    for (; samples != 0; samples &= samples - 1) {
        const auto bit = static_cast<unsigned>(__builtin_ctz(samples));
        const std::size_t row = bit / 4;
        column.bytes[Column::offsetOf(row) + bit % 4] = definedBandSample(band, plan, window, row, bit % 4);
    }
}

/// Writes `count` columns as pixels `output`.. of the rows.
inline void writeColumns(const Band& band, std::size_t output, const Column (&columns)[kTurned], std::size_t count) {
    if (count != kTurned) {
        for (std::size_t row = 0; row < kBandRows; ++row) {
            for (std::size_t i = 0; i < count; ++i)
                std::memcpy(band.destinations[row] + (output + i) * 4, columns[i].bytes + Column::offsetOf(row), 4);
        }
        return;
    }
    const __m256i low01 = _mm256_unpacklo_epi32(columns[0].load(), columns[1].load());
    const __m256i high01 = _mm256_unpackhi_epi32(columns[0].load(), columns[1].load());
    const __m256i low23 = _mm256_unpacklo_epi32(columns[2].load(), columns[3].load());
    const __m256i high23 = _mm256_unpackhi_epi32(columns[2].load(), columns[3].load());
    const __m256i rows[kRowPairs] = {_mm256_unpacklo_epi64(low01, low23), _mm256_unpackhi_epi64(low01, low23),
                                     _mm256_unpacklo_epi64(high01, high23), _mm256_unpackhi_epi64(high01, high23)};
    for (std::size_t pair = 0; pair < kRowPairs; ++pair)
        storePair(band.destinations[2 * pair] + output * 4, band.destinations[2 * pair + 1] + output * 4, rows[pair]);
}

/// The outputs of one tile: source pixels `begin` to `end` - 1 hold all their taps.
struct Tile {
    std::uint64_t begin, end;
    std::size_t outputs;
};

/// As many outputs from `output` on, at most up to `limit` - 1, as a tile of `pixels` from `begin` on holds; near
/// `expected` as a rule. Neither end of a window ever lies before that of the window before it.
inline Tile tileAt(const ResamplePlan& plan, std::size_t output, std::size_t limit, std::uint64_t begin,
                   std::uint64_t pixels, std::size_t expected) {
    const ResamplePlan::Window* const windows = plan.windows().data();
    const auto endOf = [windows](std::size_t i) { return windows[i].first + windows[i].count; };
    std::size_t end = std::min(output + expected, limit);
    while (end > output && endOf(end - 1) > begin + pixels)
        --end;
    while (end < limit && endOf(end) <= begin + pixels)
        ++end;
    return {begin, end == output ? begin : endOf(end - 1), end - output};
}

/// Makes outputs `output` to `end` - 1 with `make(column, window)`; meanwhile asks for the next band's pixels, a few at
/// a time: the processor drops what it is asked for all at once.
template <class Make>
void makeColumns(const Band& band, const ResamplePlan& plan, std::size_t output, std::size_t end, const Make& make) {
    const ResamplePlan::Window* const windows = plan.windows().data();
    Column columns[kTurned];
    while (output < end) {
        const std::size_t count = std::min(kTurned, end - output);
        for (std::size_t i = 0; i < count; ++i)
            make(columns[i], windows[output + i]);
        writeColumns(band, output, columns, count);
        const std::uint64_t first = windows[output].first;
        output += count;
        prefetchNextBand(band, first * 4, (output < plan.windows().size() ? windows[output].first : first) * 4);
    }
}
