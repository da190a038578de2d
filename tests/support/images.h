/// @file images.h
/// Images to test with: every colour model, filled with seeded noise.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "rastrel/rastrel.h"

namespace testing_support {

inline constexpr unsigned char kAllModels[] = {16, 32, 49, 50, 52, 56, 65, 66, 81, 82, 97, 98, 100, 104, 113, 114, 129};

/// A small generator with the same numbers on every system.
class Noise {
public:
    explicit Noise(std::uint64_t seed) noexcept : state_(seed * 2 + 1) {}
    std::uint32_t next() noexcept {
        state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<std::uint32_t>(state_ >> 33);
    }
    /// 0 .. bound - 1.
    std::uint32_t below(std::uint32_t bound) noexcept { return next() % bound; }
    unsigned char byte() noexcept { return static_cast<unsigned char>(next() >> 8); }

private:
    std::uint64_t state_;
};

/// Fills the pixel block with noise; floating-point samples get values from -0.25 to 1.25.
inline void fillWithNoise(Rastrel& image, std::uint64_t seed) {
    Noise noise(seed);
    unsigned char* bytes = image.pixels.GetData();
    const auto size = static_cast<std::size_t>(image.pixels.GetSize());
    const unsigned char model = image.colormodel;
    if (model == CM_GREYFP32 || model == CM_ARGBFP32) {
        for (std::size_t i = 0; i + 4 <= size; i += 4) {
            const float value = static_cast<float>(noise.below(1501)) / 1000.0f - 0.25f;
            std::memcpy(bytes + i, &value, 4);
        }
    } else if (model == CM_GREYFP64 || model == CM_ARGBFP64) {
        for (std::size_t i = 0; i + 8 <= size; i += 8) {
            const double value = static_cast<double>(noise.below(1500001)) / 1000000.0 - 0.25;
            std::memcpy(bytes + i, &value, 8);
        }
    } else {
        for (std::size_t i = 0; i < size; ++i)
            bytes[i] = noise.byte();
    }
}

/// The image's whole pixel block.
inline std::vector<unsigned char> bytesOf(const Rastrel& image) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(image.pixels.GetSize()));
    if (!bytes.empty()) image.pixels.Read(0, bytes.data(), bytes.size());
    return bytes;
}

} // namespace testing_support
