/// @file sample_noise.h
/// Seeded sample lines of several characters: noise, two levels, ramps, flat.
#pragma once

#include <cstddef>
#include <limits>
#include <random>
#include <vector>

/// Random numbers that are the same on every system.
class Dice {
public:
    explicit Dice(unsigned seed) : engine_(seed) {}
    /// 0 .. bound - 1.
    [[nodiscard]] unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }
    /// first .. last.
    [[nodiscard]] int between(int first, int last) {
        return first + static_cast<int>(below(static_cast<unsigned>(last - first + 1)));
    }
    /// 0.0 .. 1.0.
    [[nodiscard]] double fraction() { return static_cast<double>(engine_()) / 4294967295.0; }

private:
    std::mt19937 engine_;
};

template <class Sample>
std::vector<Sample> sampleLine(Dice& dice, std::size_t count) {
    constexpr unsigned kMax = std::numeric_limits<Sample>::max();
    std::vector<Sample> line(count);
    const unsigned character = dice.below(5);
    const unsigned level = dice.below(kMax + 1);
    const unsigned step = 1 + dice.below(9);
    for (std::size_t i = 0; i < count; ++i) {
        unsigned value = level;
        switch (character) {
        case 0:
            value = dice.below(kMax + 1);
            break;
        case 1:
            value = dice.below(2) * kMax;
            break;
        case 2:
            value = static_cast<unsigned>(i) * step;
            break;
        case 3:
            value = i * step / 4 % 2 * kMax;
            break;
        default:
            break;
        }
        line[i] = static_cast<Sample>(value);
    }
    return line;
}
