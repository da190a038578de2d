// Weighted sums of many rows with AVX2: 16-bit multiply-adds of row pairs. Included inside the AVX2 region; no include
// guard.

/// Word pairs of one block of row pairs: 24 KiB.
constexpr std::size_t kCombinePairs = 3072;
constexpr std::size_t kMaxCombinePairs = kCombinePairs / 32;

inline bool isWordJob(const CombineJob& job) { return job.weights->wordRule.usable(); }

/// Jobs and their pairs of lines: pair k holds lines `first` + 2k and the next one. A line that is not there has weight
/// 0 in all sums; its neighbour stands in.
struct WordGroup {
    std::span<const CombineJob> jobs;
    const unsigned char* const* lines;
    std::ptrdiff_t first;
    std::size_t begin, end; ///< lines that are there

    [[nodiscard]] std::size_t pairs() const {
        return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(end) - first + 1) / 2;
    }
    [[nodiscard]] const unsigned char* line(std::ptrdiff_t index) const {
        return lines[std::clamp(index, static_cast<std::ptrdiff_t>(begin), static_cast<std::ptrdiff_t>(end) - 1)];
    }
};

/// Where a job's pairs start among the lines: at an even row of the image, its first line or the one before it.
inline std::ptrdiff_t pairStart(const CombineJob& job) {
    return static_cast<std::ptrdiff_t>(job.firstLine) - (job.weights->top % 2 != 0 ? 1 : 0);
}

/// As many of the next jobs as a block holds lines for and as start at its pairs; none when the first needs other
/// loops.
inline WordGroup nextWordGroup(std::span<const CombineJob> jobs, const unsigned char* const* lines) {
    const CombineJob& front = jobs.front();
    WordGroup group{{}, lines, pairStart(front), front.firstLine, front.firstLine};
    std::size_t count = 0;
    for (; count < jobs.size() && isWordJob(jobs[count]); ++count) {
        const CombineJob& job = jobs[count];
        WordGroup grown = group;
        grown.end = std::max(group.end, job.firstLine + job.weights->weights.size());
        const std::ptrdiff_t offset = pairStart(job) - group.first;
        if (job.firstLine < group.begin || offset % 2 != 0 || grown.pairs() > kMaxCombinePairs) break;
        group = grown;
    }
    group.jobs = jobs.first(count);
    return group;
}

/// The second attempt at 32 samples, and the definition where that is in doubt as well.
inline __m256i refinedChunk(WordSums sums, const CombineJob& job, const std::int32_t* pairs, std::size_t stride,
                            const unsigned char* const* lines, std::size_t column) {
    const RowWeights& weights = *job.weights;
    sums.refine(sumWords(pairs, stride, weights.words.fine, 0), weights.wordRule);
    const QuickSums quick = sums.scaled(weights.wordRule.shift);
    unsigned char bytes[32];
    auto* const whole = reinterpret_cast<__m256i*>(bytes);
    _mm256_storeu_si256(whole, quick.sideBySide());
    for (std::uint32_t doubts = quick.doubts(weights.wordRule.fineThreshold); doubts != 0; doubts &= doubts - 1) {
        const std::size_t sample = sampleOfPairs(static_cast<unsigned>(__builtin_ctz(doubts)));
        bytes[sample] = definedCombine(lines + job.firstLine, column + sample, weights.weights);
    }
    return _mm256_loadu_si256(whole);
}

/// Columns `column` to `column` + 32 `chunks` - 1 of a group's outputs.
inline void combineWordBlock(const WordGroup& group, std::size_t column, std::size_t chunks, std::int32_t* block) {
    const std::size_t stride = chunks * 32;
    for (std::size_t pair = 0; pair < group.pairs(); ++pair) {
        const std::ptrdiff_t line = group.first + static_cast<std::ptrdiff_t>(2 * pair);
        const unsigned char* const upper = group.line(line) + column;
        const unsigned char* const lower = group.line(line + 1) + column;
        storePairs(block + pair * stride, upper, lower, stride);
    }
    for (const CombineJob& job : group.jobs) {
        const WordRule rule = job.weights->wordRule;
        const __m256i threshold = words(rule.coarseThreshold);
        const std::int32_t* const pairs = block + static_cast<std::size_t>(pairStart(job) - group.first) / 2 * stride;
        for (std::size_t at = 0; at < stride; at += 32) {
            const WordSums sums = sumWords(pairs + at, stride, job.weights->words.coarse, rule.coarseBias);
            const QuickSums quick = sums.scaled(rule.shift);
            __m256i bytes = quick.sideBySide();
            if (quick.inDoubt(threshold)) bytes = refinedChunk(sums, job, pairs + at, stride, group.lines, column + at);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.destination + column + at), bytes);
        }
    }
}

inline void combineWordGroup(const WordGroup& group, std::size_t samples) {
    alignas(32) std::int32_t block[kCombinePairs];
    const std::size_t chunks = kMaxCombinePairs / group.pairs();
    std::size_t column = 0;
    while (samples - column >= 32) {
        const std::size_t part = std::min(chunks, (samples - column) / 32);
        combineWordBlock(group, column, part, block);
        column += part * 32;
    }
    // The last chunk overlaps the one before it: the same bytes are written twice.
    if (column != samples) combineWordBlock(group, samples - 32, 1, block);
}
