/// @file row_smoother.h
/// Smoothing of whole rows: the kernels see rows with as many pixels round them as the taps reach.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "ops/kernel_set.h"
#include "ops/low_pass_weights.h"

namespace rastrel {

inline void smoothPadded(unsigned char* destination, const unsigned char* padded, std::uint64_t pixels,
                         unsigned channels, const LowPassWeights& weights) {
    kernels().smoothRow8(destination, padded, pixels, channels, weights);
}
inline void smoothPadded(unsigned short* destination, const unsigned short* padded, std::uint64_t pixels,
                         unsigned channels, const LowPassWeights& weights) {
    kernels().smoothRow16(destination, padded, pixels, channels, weights);
}

/// Smooths rows; keeps its buffer from row to row.
template <class Sample>
class RowSmoother {
public:
    /// `pixels` pixels, reflected at both ends. The buffers lie apart. Throws std::bad_alloc before anything is
    /// written.
    void smooth(Sample* destination, const Sample* source, std::uint64_t pixels, unsigned channels,
                const LowPassWeights& weights) {
        const TapRange& taps = weights.taps;
        const auto before = static_cast<std::uint64_t>(std::max<std::int64_t>(-taps.first, 0));
        const auto after = static_cast<std::uint64_t>(std::max<std::int64_t>(taps.last, 0));
        if (taps.first > 0 || taps.last < 0 || pixels < 4 * (before + after) + 64) {
            part(destination, source, pixels, channels, weights, 0, pixels);
            return;
        }
        // Only the ends need reflected pixels: the rest is smoothed where it lies.
        padded_.resize(std::max<std::size_t>(padded_.size(), (before + after + weights.weights.size()) * channels));
        part(destination, source, pixels, channels, weights, 0, before);
        smoothPadded(destination + before * channels, source, pixels - before - after, channels, weights);
        part(destination, source, pixels, channels, weights, pixels - after, pixels);
    }

private:
    /// Outputs `begin` to `end` - 1 from a reflected copy of the pixels under their taps.
    void part(Sample* destination, const Sample* source, std::uint64_t pixels, unsigned channels,
              const LowPassWeights& weights, std::uint64_t begin, std::uint64_t end) {
        if (begin == end) return;
        const TapRange& taps = weights.taps;
        padded_.resize(std::max<std::size_t>(padded_.size(), (end - begin + weights.weights.size() - 1) * channels));
        Sample* to = padded_.data();
        const std::int64_t last = static_cast<std::int64_t>(end) + taps.last;
        for (std::int64_t s = static_cast<std::int64_t>(begin) + taps.first; s < last;) {
            const bool inside = s >= 0 && s < static_cast<std::int64_t>(pixels);
            const std::int64_t run = inside ? std::min(last, static_cast<std::int64_t>(pixels)) - s : 1;
            to = std::copy_n(source + reflectedIndex(s, pixels) * channels, static_cast<std::uint64_t>(run) * channels,
                             to);
            s += run;
        }
        smoothPadded(destination + begin * channels, padded_.data(), end - begin, channels, weights);
    }

    std::vector<Sample> padded_;
};

} // namespace rastrel
