// Weighted sums of rows with AVX2: single precision. Each block of columns is turned to floats once for all output rows
// that are made of it. Included inside the AVX2 region; no include guard.

/// Samples that go through together: four registers, one for each sample of a group of four.
constexpr std::size_t kChunk = 32;
/// Floats of one block of lines: 20 KiB.
constexpr std::size_t kBlockFloats = 5120;
constexpr std::size_t kMaxBlockLines = kBlockFloats / kChunk;

/// Every fourth sample of 32, from sample `Which` on, as floats.
template <int Which>
inline __m256 everyFourth(__m256i bytes) {
    constexpr char kNone = -128;
    const __m256i pick =
        _mm256_setr_epi8(Which, kNone, kNone, kNone, Which + 4, kNone, kNone, kNone, Which + 8, kNone, kNone, kNone,
                         Which + 12, kNone, kNone, kNone, Which, kNone, kNone, kNone, Which + 4, kNone, kNone, kNone,
                         Which + 8, kNone, kNone, kNone, Which + 12, kNone, kNone, kNone);
    return _mm256_cvtepi32_ps(_mm256_shuffle_epi8(bytes, pick));
}

inline void storeFourths(float* to, const unsigned char* from) {
    const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
    _mm256_storeu_ps(to, everyFourth<0>(bytes));
    _mm256_storeu_ps(to + 8, everyFourth<1>(bytes));
    _mm256_storeu_ps(to + 16, everyFourth<2>(bytes));
    _mm256_storeu_ps(to + 24, everyFourth<3>(bytes));
}

/// Sums of 32 samples, scaled by 2^16. Sums 0 and 1, 2 and 3 share the words of a register: the upper halves of one,
/// the lower of the other.
struct ChunkSums {
    __m256i sums[4];

    [[nodiscard]] __m256i bytes() const {
        const __m256i front = _mm256_blend_epi16(_mm256_srli_epi32(sums[0], 16), sums[1], 0xAA);
        const __m256i back = _mm256_blend_epi16(_mm256_srli_epi32(sums[2], 16), sums[3], 0xAA);
        const __m256i order = _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15, 0, 1, 8, 9, 2, 3,
                                               10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
        return _mm256_shuffle_epi8(_mm256_packus_epi16(front, back), order);
    }
    [[nodiscard]] __m256i frontFractions() const {
        return _mm256_blend_epi16(sums[0], _mm256_slli_epi32(sums[1], 16), 0xAA);
    }
    [[nodiscard]] __m256i backFractions() const {
        return _mm256_blend_epi16(sums[2], _mm256_slli_epi32(sums[3], 16), 0xAA);
    }
};

/// Sums of a chunk over the lines of a block.
inline ChunkSums sumChunk(const float* block, std::size_t lineStride, const float* weights, std::size_t count,
                          float bias) {
    __m256 a0 = _mm256_set1_ps(bias);
    __m256 a1 = a0, a2 = a0, a3 = a0;
    for (std::size_t line = 0; line < count; ++line, block += lineStride) {
        const __m256 weight = _mm256_broadcast_ss(weights + line);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(block), weight, a0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(block + 8), weight, a1);
        a2 = _mm256_fmadd_ps(_mm256_loadu_ps(block + 16), weight, a2);
        a3 = _mm256_fmadd_ps(_mm256_loadu_ps(block + 24), weight, a3);
    }
    return {{_mm256_cvtps_epi32(a0), _mm256_cvtps_epi32(a1), _mm256_cvtps_epi32(a2), _mm256_cvtps_epi32(a3)}};
}

/// Computes those samples of a chunk as defined whose fraction is below the threshold.
inline void settleDoubts(const ChunkSums& chunk, const CombineJob& job, const unsigned char* const* lines,
                         std::size_t column) {
    std::uint16_t fractions[2][16];
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(fractions[0]), chunk.frontFractions());
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(fractions[1]), chunk.backFractions());
    for (std::size_t half = 0; half < 2; ++half) {
        for (std::size_t i = 0; i < 16; ++i) {
            if (fractions[half][i] >= job.weights->rule.threshold) continue;
            const std::size_t sample = column + i / 2 * 4 + half * 2 + i % 2;
            job.destination[sample] = definedCombine(lines + job.firstLine, sample, job.weights->weights);
        }
    }
}

/// A run of jobs and the lines that they are made of, `first` to `end` - 1.
struct JobGroup {
    std::span<const CombineJob> jobs;
    const unsigned char* const* lines;
    std::size_t first;
    std::size_t end;
};

/// Columns `column` to `column` + 32 `chunks` - 1 of a group's outputs.
inline void combineBlock(const JobGroup& group, std::size_t column, std::size_t chunks, float* block) {
    const std::size_t stride = chunks * kChunk;
    for (std::size_t line = group.first; line < group.end; ++line) {
        float* const to = block + (line - group.first) * stride;
        for (std::size_t at = 0; at < stride; at += kChunk)
            storeFourths(to + at, group.lines[line] + column + at);
    }
    for (const CombineJob& job : group.jobs) {
        const RowWeights& weights = *job.weights;
        const __m256i threshold = _mm256_set1_epi16(static_cast<short>(weights.rule.threshold));
        const float* const first = block + (job.firstLine - group.first) * stride;
        for (std::size_t at = 0; at < stride; at += kChunk) {
            const ChunkSums sums =
                sumChunk(first + at, stride, weights.quick.data(), weights.quick.size(), weights.rule.bias);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.destination + column + at), sums.bytes());
            const __m256i lowest = _mm256_min_epu16(sums.frontFractions(), sums.backFractions());
            const __m256i doubts = _mm256_subs_epu16(threshold, lowest);
            if (_mm256_testz_si256(doubts, doubts) == 0) settleDoubts(sums, job, group.lines, column + at);
        }
    }
}

inline void combineGroup(const JobGroup& group, std::size_t samples) {
    float block[kBlockFloats];
    const std::size_t chunks = kMaxBlockLines / (group.end - group.first);
    std::size_t column = 0;
    while (samples - column >= kChunk) {
        const std::size_t part = std::min(chunks, (samples - column) / kChunk);
        combineBlock(group, column, part, block);
        column += part * kChunk;
    }
    // The last chunk overlaps the one before it: the same bytes are written twice.
    if (column != samples) combineBlock(group, samples - kChunk, 1, block);
}

/// As many of the next jobs as a block holds lines for; none when the first of them needs the plain loops.
inline JobGroup nextGroup(std::span<const CombineJob> jobs, const unsigned char* const* lines) {
    JobGroup group{{}, lines, jobs.front().firstLine, jobs.front().firstLine};
    std::size_t count = 0;
    for (; count < jobs.size(); ++count) {
        const CombineJob& job = jobs[count];
        const std::size_t end = std::max(group.end, job.firstLine + job.weights->weights.size());
        if (!job.weights->rule.usable() || job.firstLine < group.first || end - group.first > kMaxBlockLines) break;
        group.end = end;
    }
    group.jobs = jobs.first(count);
    return group;
}

inline void combineRows8(std::span<const CombineJob> jobs, const unsigned char* const* lines, std::size_t lineCount,
                         std::size_t samples) {
    if (samples < kChunk) {
        plain::combineRows8(jobs, lines, lineCount, samples);
        return;
    }
    while (!jobs.empty()) {
        const JobGroup group = nextGroup(jobs, lines);
        if (group.jobs.empty())
            plain::combineRows8(jobs.first(1), lines, lineCount, samples);
        else
            combineGroup(group, samples);
        jobs = jobs.subspan(std::max<std::size_t>(1, group.jobs.size()));
    }
}
