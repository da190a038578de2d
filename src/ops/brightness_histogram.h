/// @file brightness_histogram.h
/// How many pixels have which brightness.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "rastrel/pixel.h"

namespace rastrel {

/// Counts pixels by 3 red + 6 green + blue, ten times their brightness: 0..2550. Pixels of alpha 0 do not count.
class BrightnessHistogram {
public:
    static constexpr std::size_t kBins = 2551;

    BrightnessHistogram() noexcept : parts_(new (std::nothrow) Parts{}) {}
    /// Whether there was memory for the counters; nothing else may be called without.
    [[nodiscard]] bool ready() const noexcept { return parts_ != nullptr; }

    /// Adds a run, at most 2^32 - 1 pixels. The pixels may have any alignment.
    void add(const void* pixels, std::size_t count) noexcept;
    /// Pixels counted.
    [[nodiscard]] std::uint64_t total() const noexcept { return total_; }
    /// The counter of a bin, modulo 2^32.
    [[nodiscard]] std::uint32_t operator[](std::size_t bin) const noexcept {
        return parts_->counters[0][bin] + parts_->counters[1][bin] + parts_->counters[2][bin] +
               parts_->counters[3][bin];
    }

private:
    /// Transparent pixels go to a spare bin behind the last one.
    static constexpr std::size_t kSpare = kBins;
    /// Neighbours go to different parts, so that equal ones do not wait for each other's counter. All four fit the
    /// first-level cache.
    struct Parts {
        std::uint32_t counters[4][kBins + 1];
    };
    std::unique_ptr<Parts> parts_;
    std::uint64_t total_ = 0;
};

} // namespace rastrel
