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

/// Weights of `Count` lines in registers, or of any number of lines in memory when it is 0: stores to the destination
/// could change those, so they are fetched again for each chunk.
template <std::size_t Count>
struct HeldWeights {
    __m256 weights[Count];
    explicit HeldWeights(const float* from) {
        for (std::size_t i = 0; i < Count; ++i)
            weights[i] = _mm256_broadcast_ss(from + i);
    }
    [[nodiscard]] __m256 at(std::size_t i) const { return weights[i]; }
    [[nodiscard]] static constexpr std::size_t count() { return Count; }
};

struct FetchedWeights {
    const float* weights;
    std::size_t size;
    [[nodiscard]] __m256 at(std::size_t i) const { return _mm256_broadcast_ss(weights + i); }
    [[nodiscard]] std::size_t count() const { return size; }
};

/// Sums of 32 floats over lines `stride` apart.
template <class Weights>
inline QuickSums sumLines(const float* floats, std::size_t stride, const Weights& weights, float bias) {
    __m256 a0 = _mm256_set1_ps(bias);
    __m256 a1 = a0, a2 = a0, a3 = a0;
    for (std::size_t line = 0; line < weights.count(); ++line, floats += stride) {
        const __m256 weight = weights.at(line);
        a0 = _mm256_fmadd_ps(_mm256_loadu_ps(floats), weight, a0);
        a1 = _mm256_fmadd_ps(_mm256_loadu_ps(floats + 8), weight, a1);
        a2 = _mm256_fmadd_ps(_mm256_loadu_ps(floats + 16), weight, a2);
        a3 = _mm256_fmadd_ps(_mm256_loadu_ps(floats + 24), weight, a3);
    }
    return toSums(a0, a1, a2, a3);
}

/// Calls `use(weights)` with up to nine weights held in registers, more fetched.
template <class Use>
void withWeights(const float* weights, std::size_t count, const Use& use) {
    switch (count) {
    case 1:
        use(HeldWeights<1>(weights));
        break;
    case 2:
        use(HeldWeights<2>(weights));
        break;
    case 3:
        use(HeldWeights<3>(weights));
        break;
    case 4:
        use(HeldWeights<4>(weights));
        break;
    case 5:
        use(HeldWeights<5>(weights));
        break;
    case 6:
        use(HeldWeights<6>(weights));
        break;
    case 7:
        use(HeldWeights<7>(weights));
        break;
    case 8:
        use(HeldWeights<8>(weights));
        break;
    case 9:
        use(HeldWeights<9>(weights));
        break;
    default:
        use(FetchedWeights{weights, count});
        break;
    }
}

/// The bytes of a chunk with the samples in doubt computed as defined.
inline __m256i settledChunk(const QuickSums& sums, const CombineJob& job, const unsigned char* const* lines,
                            std::size_t column) {
    unsigned char bytes[kChunk];
    auto* const whole = reinterpret_cast<__m256i*>(bytes);
    _mm256_storeu_si256(whole, sums.interleaved());
    for (std::uint32_t doubts = sums.doubts(job.weights->rule.threshold); doubts != 0; doubts &= doubts - 1) {
        const auto bit = static_cast<unsigned>(__builtin_ctz(doubts));
        const std::size_t sample = bit % 8 * 4 + bit / 8;
        bytes[sample] = definedCombine(lines + job.firstLine, column + sample, job.weights->weights);
    }
    return _mm256_loadu_si256(whole);
}

/// The lines of a block that one output is made of.
struct BlockLines {
    const float* first;
    std::size_t stride; ///< floats from line to line
};

/// One output's columns from `column` on, as many as a line of the block has.
template <class Weights>
void combineChunks(const CombineJob& job, const unsigned char* const* sources, const BlockLines& lines,
                   std::size_t column, const Weights& weights) {
    const QuickRule rule = job.weights->rule;
    const __m256i threshold = words(rule.threshold);
    unsigned char* const destination = job.destination + column;
    const bool stream = job.stream && reinterpret_cast<std::uintptr_t>(destination) % 32 == 0;
    for (std::size_t at = 0; at < lines.stride; at += kChunk) {
        // Sum k holds every fourth sample from sample k on.
        const QuickSums sums = sumLines(lines.first + at, lines.stride, weights, rule.bias);
        const __m256i bytes =
            sums.inDoubt(threshold) ? settledChunk(sums, job, sources, column + at) : sums.interleaved();
        auto* const to = reinterpret_cast<__m256i*>(destination + at);
        if (stream)
            _mm256_stream_si256(to, bytes);
        else
            _mm256_storeu_si256(to, bytes);
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
        const unsigned char* const from = group.lines[line] + column;
        for (std::size_t at = 0; at < stride; at += kChunk) {
            if (at % 64 == 0) prefetchSamples(from + at, stride);
            storeFourths(to + at, from + at);
        }
    }
    for (const CombineJob& job : group.jobs) {
        const std::vector<float>& weights = job.weights->quick;
        const BlockLines lines{block + (job.firstLine - group.first) * stride, stride};
        withWeights(weights.data(), weights.size(),
                    [&](const auto& held) { combineChunks(job, group.lines, lines, column, held); });
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
        if (isByteJob(job) || isWordJob(job) || !job.weights->rule.usable() || job.firstLine < group.first ||
            end - group.first > kMaxBlockLines)
            break;
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
        const auto other = std::find_if_not(jobs.begin(), jobs.end(), isByteJob);
        auto done = static_cast<std::size_t>(other - jobs.begin());
        if (done != 0) {
            combineByteJobs(jobs.first(done), lines, samples);
        } else if (const WordGroup wide = nextWordGroup(jobs, lines); !wide.jobs.empty()) {
            combineWordGroup(wide, samples);
            done = wide.jobs.size();
        } else if (const JobGroup group = nextGroup(jobs, lines); !group.jobs.empty()) {
            combineGroup(group, samples);
            done = group.jobs.size();
        } else {
            plain::combineRows8(jobs.first(1), lines, lineCount, samples);
            done = 1;
        }
        jobs = jobs.subspan(done);
    }
    _mm_sfence();
}
