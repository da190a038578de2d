// Weighted sums of rows whose weights are short binary fractions with AVX2: bytes, exact in 16 bits. Included inside
// the AVX2 region; no include guard.

/// Samples of a line that all outputs are made of before the next ones are looked at.
constexpr std::size_t kByteBlock = 2048;
/// Lines of one output.
constexpr std::size_t kMaxByteLines = 128;

/// One output and the pairs of lines that it is made of; an odd last line stands beside itself, with weight 0.
struct ByteJob {
    unsigned char* destination;
    const unsigned char* const* lines;
    std::size_t count;
    __m256i weights[kMaxByteLines / 2];
    __m256i half;
    __m128i shift;
    bool stream;

    explicit ByteJob(const CombineJob& job, const unsigned char* const* all) noexcept
        : destination(job.destination), lines(all + job.firstLine), count(job.weights->weights.size()),
          half(_mm256_set1_epi16(static_cast<short>((1 << job.weights->byteRule.shift) >> 1))),
          shift(_mm_cvtsi32_si128(job.weights->byteRule.shift)), stream(job.stream) {
        for (std::size_t i = 0; i < count; i += 2) {
            std::int16_t both = 0;
            std::memcpy(&both, job.weights->bytes.data() + i, std::min<std::size_t>(2, count - i));
            weights[i / 2] = _mm256_set1_epi16(both);
        }
    }
};

inline __m256i loadSamples(const unsigned char* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// 32 samples of one output from column `at` on. `Lines` is the number of lines, 0 for any.
template <std::size_t Lines>
__m256i byteChunk(const ByteJob& job, std::size_t at) {
    const std::size_t count = Lines != 0 ? Lines : job.count;
    __m256i front = job.half;
    __m256i back = job.half;
    for (std::size_t i = 0; i < count; i += 2) {
        const __m256i upper = loadSamples(job.lines[i] + at);
        const __m256i lower = loadSamples(job.lines[std::min(i + 1, count - 1)] + at);
        const __m256i weight = job.weights[i / 2];
        front = _mm256_add_epi16(front, _mm256_maddubs_epi16(_mm256_unpacklo_epi8(upper, lower), weight));
        back = _mm256_add_epi16(back, _mm256_maddubs_epi16(_mm256_unpackhi_epi8(upper, lower), weight));
    }
    return _mm256_packus_epi16(_mm256_sra_epi16(front, job.shift), _mm256_sra_epi16(back, job.shift));
}

template <std::size_t Lines>
void combineBytes(const ByteJob& job, std::size_t begin, std::size_t end) {
    if (job.stream && reinterpret_cast<std::uintptr_t>(job.destination + begin) % 32 == 0) {
        for (std::size_t at = begin; at < end; at += 32)
            _mm256_stream_si256(reinterpret_cast<__m256i*>(job.destination + at), byteChunk<Lines>(job, at));
    } else {
        for (std::size_t at = begin; at < end; at += 32)
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(job.destination + at), byteChunk<Lines>(job, at));
    }
}

/// Columns `begin` to `end` - 1, a multiple of 32 of them.
inline void combineByteColumns(const ByteJob& job, std::size_t begin, std::size_t end) {
    switch (job.count) {
    case 2:
        combineBytes<2>(job, begin, end);
        break;
    case 4:
        combineBytes<4>(job, begin, end);
        break;
    case 8:
        combineBytes<8>(job, begin, end);
        break;
    default:
        combineBytes<0>(job, begin, end);
        break;
    }
}

/// Whether an output can be made here.
inline bool isByteJob(const CombineJob& job) {
    return job.weights->byteRule.usable() && job.weights->weights.size() <= kMaxByteLines;
}

/// Outputs that are all made of bytes; at least 32 samples.
inline void combineByteJobs(std::span<const CombineJob> jobs, const unsigned char* const* lines, std::size_t samples) {
    const std::size_t whole = samples / 32 * 32;
    for (std::size_t begin = 0; begin < whole; begin += kByteBlock) {
        for (const CombineJob& job : jobs)
            combineByteColumns(ByteJob(job, lines), begin, std::min(begin + kByteBlock, whole));
    }
    // The last 32 samples overlap those before: the same bytes are written twice.
    if (whole == samples) return;
    for (const CombineJob& job : jobs)
        combineByteColumns(ByteJob(job, lines), samples - 32, samples);
}
