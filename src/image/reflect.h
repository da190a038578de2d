/// @file reflect.h
/// Coordinates outside an axis, brought back by mirror reflection without repeating the edge.
///
/// On an axis of n pixels the sequence for ..., -2, -1, 0, ..., n - 1, n, n + 1, ... is ..., 2, 1, 0, ..., n - 1,
/// n - 2, n - 3, ...: period 2n - 2. On an axis of one pixel every coordinate is 0.
#pragma once

#include <algorithm>
#include <cstdint>

namespace rastrel {

/// The place of a coordinate within the period of an axis of `n` > 1 pixels: 0 .. 2n - 3.
[[nodiscard]] constexpr std::uint64_t phaseOf(std::int64_t coordinate, std::uint32_t n) noexcept {
    const std::int64_t period = 2 * static_cast<std::int64_t>(n) - 2;
    const std::int64_t remainder = coordinate % period;
    return static_cast<std::uint64_t>(remainder < 0 ? remainder + period : remainder);
}

/// The stored coordinate, 0 .. n - 1, for any coordinate; `n` > 0.
[[nodiscard]] constexpr std::uint32_t reflect(std::int64_t coordinate, std::uint32_t n) noexcept {
    if (n == 1) return 0;
    const std::uint64_t phase = phaseOf(coordinate, n);
    return static_cast<std::uint32_t>(phase < n ? phase : 2 * static_cast<std::uint64_t>(n) - 2 - phase);
}

/// A stretch of stored pixels that a request covers contiguously, forwards or backwards.
struct Run {
    std::uint32_t first; ///< lowest stored coordinate
    std::uint32_t count;
    bool reversed; ///< the request takes `first + count - 1` first
};

/// Cuts `count` coordinates upwards from `start` into runs on an axis of `n` > 0 pixels and hands them to
/// `use(const Run&)` in the order of the request.
template <class Use>
constexpr void forEachRun(std::int64_t start, std::uint64_t count, std::uint32_t n, Use&& use) {
    if (n == 1) {
        for (; count != 0; --count)
            use(Run{0, 1, false});
        return;
    }
    const std::uint64_t period = 2 * static_cast<std::uint64_t>(n) - 2;
    std::uint64_t phase = phaseOf(start, n);
    while (count != 0) {
        const bool reversed = phase >= n;
        const std::uint64_t room = reversed ? period - phase : n - phase;
        const std::uint64_t length = std::min(room, count);
        // Backwards the pixels period - phase, period - phase - 1, ... follow; column 0 begins the next period.
        const std::uint64_t first = reversed ? period - phase - length + 1 : phase;
        use(Run{static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(length), reversed});
        count -= length;
        phase = (phase + length) % period;
    }
}

} // namespace rastrel
