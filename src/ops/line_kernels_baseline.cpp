// The plain loops, written as the results are defined: the reference for every other kernel set.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "ops/kernel_set.h"
#include "ops/kernel_sets.h"
#include "ops/sample_rounding.h"

namespace rastrel {
namespace {

template <class Sample, unsigned Channels>
void resampleRow(Sample* destination, const Sample* source, const ResamplePlan& plan) {
    for (const ResamplePlan::Window& window : plan.windows()) {
        const double* weights = plan.weights(window);
        const Sample* pixel = source + window.first * Channels;
        double sums[Channels] = {};
        for (std::uint64_t tap = 0; tap < window.count; ++tap, pixel += Channels) {
            for (unsigned c = 0; c < Channels; ++c)
                sums[c] += pixel[c] * weights[tap];
        }
        for (unsigned c = 0; c < Channels; ++c)
            destination[c] = roundResampled<Sample>(sums[c] / window.sum);
        destination += Channels;
    }
}

template <class Sample>
void resampleRows(Sample* const* destinations, const Sample* const* sources, std::size_t rowCount, unsigned channels,
                  const ResamplePlan& plan) {
    for (std::size_t row = 0; row < rowCount; ++row) {
        switch (channels) {
        case 1:
            resampleRow<Sample, 1>(destinations[row], sources[row], plan);
            break;
        case 3:
            resampleRow<Sample, 3>(destinations[row], sources[row], plan);
            break;
        default:
            resampleRow<Sample, 4>(destinations[row], sources[row], plan);
            break;
        }
    }
}

/// Samples that are summed together: few enough for the sums to stay in the first-level cache.
inline constexpr std::size_t kSumBlock = 256;

/// Calls `finish(block start, sums, block length)` for each block of weighted sums over the rows.
template <class Sum, class Sample, class Weight, class Finish>
void sumRows(const Sample* const* rows, std::size_t samples, std::span<const Weight> weights, const Finish& finish) {
    Sum sums[kSumBlock];
    for (std::size_t start = 0; start < samples; start += kSumBlock) {
        const std::size_t length = std::min(kSumBlock, samples - start);
        std::fill_n(sums, length, Sum{});
        for (std::size_t row = 0; row < weights.size(); ++row) {
            const Sample* line = rows[row] + start;
            const auto weight = static_cast<Sum>(weights[row]);
            for (std::size_t i = 0; i < length; ++i)
                sums[i] += weight * static_cast<Sum>(line[i]);
        }
        finish(start, sums, length);
    }
}

template <class Sample>
void combineLines(Sample* destination, const Sample* const* rows, std::size_t samples,
                  std::span<const double> weights) {
    sumRows<double>(rows, samples, weights, [destination](std::size_t start, const double* sums, std::size_t length) {
        for (std::size_t i = 0; i < length; ++i)
            destination[start + i] = roundResampled<Sample>(sums[i]);
    });
}

template <class Sample>
void smoothRow(Sample* destination, const Sample* padded, std::size_t pixels, unsigned channels,
               std::span<const double> weights) {
    double sums[kSumBlock];
    const std::size_t samples = pixels * channels;
    for (std::size_t start = 0; start < samples; start += kSumBlock) {
        const std::size_t length = std::min(kSumBlock, samples - start);
        std::fill_n(sums, length, 0.0);
        for (std::size_t tap = 0; tap < weights.size(); ++tap) {
            const Sample* line = padded + start + tap * channels;
            for (std::size_t i = 0; i < length; ++i)
                sums[i] += weights[tap] * line[i];
        }
        for (std::size_t i = 0; i < length; ++i)
            destination[start + i] = roundSmoothed<Sample>(sums[i]);
    }
}

} // namespace

namespace plain {

void resampleRows8(unsigned char* const* destinations, const unsigned char* const* sources, std::size_t rowCount,
                   unsigned channels, const ResamplePlan& plan) {
    resampleRows(destinations, sources, rowCount, channels, plan);
}

void resampleRows16(unsigned short* const* destinations, const unsigned short* const* sources, std::size_t rowCount,
                    unsigned channels, const ResamplePlan& plan) {
    resampleRows(destinations, sources, rowCount, channels, plan);
}

void combineRows8(std::span<const CombineJob> jobs, const unsigned char* const* lines, std::size_t,
                  std::size_t samples) {
    for (const CombineJob& job : jobs)
        combineLines<unsigned char>(job.destination, lines + job.firstLine, samples, job.weights->weights);
}

void combineRows16(unsigned short* destination, const unsigned short* const* lines, std::size_t samples,
                   std::span<const double> weights) {
    combineLines(destination, lines, samples, weights);
}

void smoothRow8(unsigned char* destination, const unsigned char* padded, std::size_t pixels, unsigned channels,
                const LowPassWeights& kernel) {
    smoothRow(destination, padded, pixels, channels, kernel.weights);
}

void smoothRow16(unsigned short* destination, const unsigned short* padded, std::size_t pixels, unsigned channels,
                 const LowPassWeights& kernel) {
    smoothRow(destination, padded, pixels, channels, kernel.weights);
}

/// Sums wrap at 32 bits, as the 16.16 arithmetic of the definition does.
void smoothColumns8(std::span<unsigned char* const> destinations, const unsigned char* const* lines,
                    std::size_t samples, std::span<const std::int32_t> weights) {
    for (unsigned char* destination : destinations) {
        const auto finish = [destination](std::size_t start, const std::uint32_t* sums, std::size_t length) {
            for (std::size_t i = 0; i < length; ++i) {
                const auto sum = static_cast<std::int32_t>(sums[i]);
                if (sum < 0) continue;
                destination[start + i] = sum > 0xFF0000 ? 255 : static_cast<unsigned char>((sum + 2048) >> 16);
            }
        };
        sumRows<std::uint32_t>(lines++, samples, weights, finish);
    }
}

void smoothColumns16(unsigned short* destination, const unsigned short* const* rows, std::size_t samples,
                     std::span<const double> weights) {
    sumRows<double>(rows, samples, weights, [destination](std::size_t start, const double* sums, std::size_t length) {
        for (std::size_t i = 0; i < length; ++i)
            destination[start + i] = roundSmoothed<unsigned short>(sums[i]);
    });
}

} // namespace plain

constinit const KernelSet kBaselineKernels = {
    "baseline",        plain::resampleRows8, plain::resampleRows16, plain::combineRows8,    plain::combineRows16,
    plain::smoothRow8, plain::smoothRow16,   plain::smoothColumns8, plain::smoothColumns16,
};

} // namespace rastrel
