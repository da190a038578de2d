/// @file resample_plan.h
/// Which source samples make an output sample, and with what weights: computed once, used for every row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ops/byte_quads.h"
#include "ops/filter_kernels.h"
#include "ops/quick_weights.h"
#include "ops/word_weights.h"

namespace rastrel {

/// A chosen filter with its support.
struct Filter {
    Filter(unsigned char filterType, double parameter) noexcept
        : lo(0.0), hi(0.0), kernel(selectFilterKernel(filterType, lo, hi, parameter)) {}

    double lo;
    double hi;
    FilterSelection kernel;
};

/// A filter's kernel with a small table of its last results by argument: ratios like 4 or 2 / 3 meet few different
/// arguments, so it saves most of their sines. All kernels are even, to the last bit.
class RememberingKernel {
public:
    explicit RememberingKernel(const Filter& filter) noexcept : filter_(filter) {}

    [[nodiscard]] const Filter& filter() const noexcept { return filter_; }
    [[nodiscard]] double operator()(double x) noexcept;

private:
    struct Entry {
        double distance = 0.0;
        double weight = 0.0;
        bool used = false;
    };
    static constexpr std::size_t kSlots = 256;

    Filter filter_;
    Entry entries_[kSlots];
};

/// The weights of a run of output samples of one line.
class ResamplePlan {
public:
    /// The window of one output: source samples `first` to `first + count - 1`, their raw weights in source order from
    /// `offset` on, and the sum of these. A window may be empty. The quick weights stand at the same offset.
    struct Window {
        std::uint64_t first;
        std::uint64_t count;
        std::size_t offset;
        double sum;
        QuickRule rule;
        WordRule wordRule; ///< usable only for windows of many weights that quick ones leave in doubt at times
        std::size_t wordOffset;

        /// Pairs of samples under the window, counted from the line's even samples on.
        [[nodiscard]] std::size_t pairs() const noexcept {
            return static_cast<std::size_t>((first % 2 + count + 1) / 2);
        }
    };

    /// Plans outputs from `firstOutput` up to below `endOutput`, as many as `maxWeights` allow and at least one. Both
    /// counts are at least 1 and differ; the filter has a kernel whose support is a number. Throws std::bad_alloc.
    void build(std::uint64_t sourceCount, std::uint64_t outputCount, const Filter& filter, std::uint64_t firstOutput,
               std::uint64_t endOutput, std::uint64_t maxWeights);

    [[nodiscard]] std::uint64_t firstOutput() const noexcept { return firstOutput_; }
    [[nodiscard]] const std::vector<Window>& windows() const noexcept { return windows_; }
    [[nodiscard]] const double* weights(const Window& window) const noexcept { return weights_.data() + window.offset; }
    [[nodiscard]] const float* quick(const Window& window) const noexcept { return quick_.data() + window.offset; }
    /// Outputs, counted from the first one planned, that can be made by fours; in order, apart from each other.
    [[nodiscard]] const std::vector<ByteQuad>& quads() const noexcept { return quads_; }
    /// The outputs, in order, at which windows of words begin or end; after them the number of all outputs.
    [[nodiscard]] const std::vector<std::size_t>& turns() const noexcept { return turns_; }
    [[nodiscard]] const std::int32_t* coarse(const Window& window) const noexcept {
        return words_.coarse.data() + window.wordOffset;
    }
    [[nodiscard]] const std::int32_t* fine(const Window& window) const noexcept {
        return words_.fine.data() + window.wordOffset;
    }

private:
    void reserve(std::size_t count);
    void addWords(Window& window);
    void addQuads(std::uint64_t sourceCount);
    void addTurns();

    std::uint64_t firstOutput_ = 0;
    std::vector<Window> windows_;
    std::vector<double> weights_;
    std::vector<float> quick_;
    std::vector<ByteQuad> quads_;
    std::vector<std::size_t> turns_;
    WordWeights words_;
    std::vector<double> normalised_; ///< of the window that is being added
};

/// Weights kept for one line at most, unless a single window needs more: 32 MiB.
inline constexpr std::uint64_t kMaxPlannedWeights = std::uint64_t{1} << 22;

/// The normalised weights of rows `top` to `top` + size - 1 for one output row.
struct RowWeights {
    std::int64_t top = 0;
    std::vector<double> weights;
    std::vector<float> quick;
    QuickRule rule;
    std::vector<std::int8_t> bytes;
    ByteRule byteRule;
    WordWeights words; ///< in pairs that start with even rows
    WordRule wordRule; ///< usable only for many weights that quick ones leave in doubt at times

    /// Rows of `first`..`last` under the kernel around `centre`, widened by `scale` when that is above 1. False when
    /// the window lies outside these rows. Throws std::bad_alloc.
    [[nodiscard]] bool build(std::int64_t first, std::int64_t last, double centre, double scale,
                             RememberingKernel& kernel);
};

} // namespace rastrel
