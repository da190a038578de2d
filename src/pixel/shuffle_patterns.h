/// @file shuffle_patterns.h
/// Byte shuffles between the memory layouts of eight-pixel blocks and the channel order B, G, R, A, as constants for
/// 256-bit registers whose two halves shuffle apart. An entry of 0x80 makes a zero byte.
#pragma once

#include <cstddef>

#include "pixel/pixel_layout.h"

namespace rastrel {

struct alignas(32) ShufflePattern {
    unsigned char at[32];
};

namespace detail {

inline constexpr unsigned char kZeroByte = 0x80;

/// Where the n-th of B, G, R, A lies in a pixel of the layout.
template <class Layout>
constexpr std::size_t positionOf(std::size_t channel) noexcept {
    const std::size_t positions[] = {Layout::b, Layout::g, Layout::r, Layout::a};
    return positions[channel];
}

} // namespace detail

/// From memory to B, G, R, A. Each half takes 16 / (4 x sample size) pixels; those of the lower half begin at byte 0,
/// those of the upper half at byte `upperOffset` (three-channel pixels are loaded so that no byte behind them is read).
/// Missing alpha becomes zero.
template <class Layout>
constexpr ShufflePattern gatherPattern(std::size_t upperOffset) noexcept {
    constexpr std::size_t kSample = sizeof(typename Layout::Sample);
    ShufflePattern pattern{};
    for (std::size_t i = 0; i < 32; ++i) {
        const std::size_t pixel = i % 16 / (4 * kSample);
        const std::size_t channel = i / kSample % 4;
        const std::size_t offset = i < 16 ? 0 : upperOffset;
        const bool missing = channel == 3 && !Layout::hasAlpha;
        pattern.at[i] = missing
                            ? detail::kZeroByte
                            : static_cast<unsigned char>(offset + pixel * Layout::bytes +
                                                         detail::positionOf<Layout>(channel) * kSample + i % kSample);
    }
    return pattern;
}

/// From B, G, R, A to memory: each half's pixels packed at its front, zeros behind them.
template <class Layout>
constexpr ShufflePattern scatterPattern() noexcept {
    constexpr std::size_t kSample = sizeof(typename Layout::Sample);
    ShufflePattern pattern{};
    for (unsigned char& entry : pattern.at)
        entry = detail::kZeroByte;
    for (std::size_t half = 0; half < 2; ++half)
        for (std::size_t pixel = 0; pixel < 4 / kSample; ++pixel)
            for (std::size_t channel = 0; channel < Layout::channels; ++channel) {
                // Three-channel layouts hold B, G, R; alpha stays behind.
                const std::size_t target = pixel * Layout::bytes + detail::positionOf<Layout>(channel) * kSample;
                const std::size_t origin = (pixel * 4 + channel) * kSample;
                for (std::size_t byte = 0; byte < kSample; ++byte)
                    pattern.at[half * 16 + target + byte] = static_cast<unsigned char>(origin + byte);
            }
    return pattern;
}

/// From eight grey samples, the same in both halves, to B, G, R and a zero alpha of the pixels from `first` on.
template <class Sample>
constexpr ShufflePattern spreadPattern(std::size_t first) noexcept {
    ShufflePattern pattern{};
    for (std::size_t i = 0; i < 32; ++i) {
        const std::size_t pixel = first + i / (4 * sizeof(Sample));
        const bool alpha = i / sizeof(Sample) % 4 == 3;
        pattern.at[i] =
            alpha ? detail::kZeroByte : static_cast<unsigned char>(pixel * sizeof(Sample) + i % sizeof(Sample));
    }
    return pattern;
}

/// Whether the layout lies in memory as B, G, R, A already.
template <class Layout>
inline constexpr bool kIsBgra = Layout::hasAlpha&& Layout::b == 0 && Layout::g == 1 && Layout::r == 2;

} // namespace rastrel
