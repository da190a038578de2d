/// @file naive_lines.h
/// The line filters written down step by step, with no thought of speed: what the library must equal bit for bit.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/exact_math.h"

namespace naive {

inline constexpr double kPi = 3.141592653589793;

struct Support {
    bool kernel; ///< false: no kernel, the nearest sample
    double lo, hi;
};

inline Support supportOf(unsigned filterType, double parameter) {
    switch (filterType) {
    case 0:
        return {false, 0, 0};
    case 1:
        return {true, -0.5, 0.5};
    case 2:
        return {true, -1.0, 1.0};
    case 6:
        return {true, -3.0, 3.0};
    case 7:
        return {true, -parameter, parameter};
    default:
        return {true, -2.0, 2.0};
    }
}

inline double lanczos(double x, double lobes) {
    if (x < -lobes || x > lobes) return 0.0;
    const double t = kPi * x;
    const double first = t == 0.0 ? 1.0 : rastrel::exactSine(t) / t;
    const double u = kPi * x / lobes;
    const double second = u == 0.0 ? 1.0 : rastrel::exactSine(u) / u;
    return first * second;
}

inline double kernel(unsigned filterType, double x, double parameter) {
    switch (filterType) {
    case 1:
        return 1.0;
    case 2:
        return x < -1.0 || x > 1.0 ? 0.0 : x < 0.0 ? x + 1.0 : 1.0 - x;
    case 5:
        return lanczos(x, 2.0);
    case 6:
        return lanczos(x, 3.0);
    case 7:
        return lanczos(x, parameter);
    default:
        return x < -2.0 || x > 2.0 ? 0.0 : rastrel::exactExponential((x + x) * (x + x) / -kPi);
    }
}

/// Truncation of value + 0.5, clamped; no number gives 0.
template <class Sample>
Sample toSample(double value) {
    const double maximum = sizeof(Sample) == 1 ? 255.0 : 65535.0;
    const double shifted = std::trunc(value + 0.5);
    if (std::isnan(shifted) || shifted < 0.0) return 0;
    return static_cast<Sample>(shifted > maximum ? maximum : shifted);
}

template <class Sample>
Sample toSmoothedSample(double sum) {
    const double maximum = sizeof(Sample) == 1 ? 255.0 : 65535.0;
    if (sum < 0.5) return 0;
    if (sum >= maximum - 0.5) return static_cast<Sample>(maximum);
    return static_cast<Sample>(std::trunc(sum + 0.5));
}

template <class Sample>
std::vector<Sample> resample(const std::vector<Sample>& source, std::size_t destinationCount, std::size_t channels,
                             unsigned filterType, double parameter) {
    const auto sourceCount = static_cast<std::int64_t>(source.size() / channels);
    const auto count = static_cast<std::int64_t>(destinationCount);
    if (count == sourceCount) return source;
    std::vector<Sample> destination(destinationCount * channels);
    const Support support = supportOf(filterType, parameter);
    const double ratio = static_cast<double>(sourceCount) / static_cast<double>(count);
    for (std::int64_t i = 0; i < count; ++i) {
        const bool shrinking = count < sourceCount;
        const double centre = shrinking ? static_cast<double>(i) * ratio + (ratio - 1) * 0.5
                                        : static_cast<double>(i) * ratio - (1 - ratio) * 0.5;
        const double low = shrinking ? std::ceil(support.lo * ratio + centre) : std::ceil(centre + support.lo);
        const double high = shrinking ? std::floor(support.hi * ratio + centre) : std::floor(centre + support.hi);
        std::vector<double> weights;
        std::vector<std::int64_t> taps;
        for (std::int64_t j = 0; support.kernel && j < sourceCount; ++j) {
            if (static_cast<double>(j) < low || static_cast<double>(j) > high) continue;
            const double distance = static_cast<double>(j) - centre;
            weights.push_back(kernel(filterType, shrinking ? distance / ratio : distance, parameter));
            taps.push_back(j);
        }
        for (std::size_t c = 0; c < channels; ++c) {
            Sample& out = destination[static_cast<std::size_t>(i) * channels + c];
            if (!support.kernel) {
                std::int64_t j = static_cast<std::int64_t>(static_cast<double>(i) * ratio);
                if (j >= sourceCount) j = sourceCount - 1;
                out = source[static_cast<std::size_t>(j) * channels + c];
                continue;
            }
            double accumulator = 0.0;
            double sum = 0.0;
            for (std::size_t tap = 0; tap < taps.size(); ++tap) {
                accumulator += source[static_cast<std::size_t>(taps[tap]) * channels + c] * weights[tap];
                sum += weights[tap];
            }
            out = toSample<Sample>(accumulator / sum);
        }
    }
    return destination;
}

/// Reflects without repeating the edge, as often as it takes.
inline std::size_t reflect(std::int64_t s, std::int64_t count) {
    if (count == 1) return 0;
    while (s < 0 || s >= count)
        s = s < 0 ? -s : 2 * count - 2 - s;
    return static_cast<std::size_t>(s);
}

/// The taps of a smoothing kernel and their normalised weights.
struct Taps {
    std::int64_t first, last;
    std::vector<double> weights;
};

inline Taps tapsOf(double width, unsigned filterType, double parameter) {
    const Support support = supportOf(filterType, parameter);
    Taps taps{static_cast<std::int64_t>(std::ceil(width * support.lo)),
              static_cast<std::int64_t>(std::floor(width * support.hi)),
              {}};
    double sum = 0.0;
    for (std::int64_t m = taps.first; m <= taps.last; ++m) {
        taps.weights.push_back(kernel(filterType, static_cast<double>(m) / width, parameter));
        sum += taps.weights.back();
    }
    for (double& weight : taps.weights)
        weight /= sum;
    return taps;
}

template <class Sample>
std::vector<Sample> lowpass(const std::vector<Sample>& source, std::size_t channels, double width, unsigned filterType,
                            double parameter) {
    const Taps taps = tapsOf(width, filterType, parameter);
    const auto count = static_cast<std::int64_t>(source.size() / channels);
    std::vector<Sample> destination(source.size());
    for (std::int64_t i = 0; i < count; ++i) {
        for (std::size_t c = 0; c < channels; ++c) {
            double sum = 0.0;
            for (std::int64_t m = taps.first; m <= taps.last; ++m) {
                const std::size_t s = reflect(i + m, count);
                sum += taps.weights[static_cast<std::size_t>(m - taps.first)] * source[s * channels + c];
            }
            destination[static_cast<std::size_t>(i) * channels + c] = toSmoothedSample<Sample>(sum);
        }
    }
    return destination;
}

/// One output row from the rows under the kernel, the first of which is row `top`.
template <class Sample>
std::vector<Sample> resampleRows(const std::vector<std::vector<Sample>>& window, std::int64_t top, double centre,
                                 double scale, unsigned filterType, double parameter) {
    std::vector<double> weights;
    double sum = 0.0;
    for (std::size_t i = 0; i < window.size(); ++i) {
        const double distance = static_cast<double>(top + static_cast<std::int64_t>(i)) - centre;
        weights.push_back(kernel(filterType, scale > 1.0 ? distance / scale : distance, parameter));
        sum += weights.back();
    }
    for (double& weight : weights)
        weight /= sum;
    std::vector<Sample> out(window[0].size());
    for (std::size_t i = 0; i < out.size(); ++i) {
        double value = 0.0;
        for (std::size_t row = 0; row < window.size(); ++row)
            value += weights[row] * window[row][i];
        out[i] = toSample<Sample>(value);
    }
    return out;
}

/// The 8-bit vertical low-pass of one sample; `old` is what the output holds before.
inline unsigned char smoothColumn8(const std::vector<unsigned char>& column, const std::vector<double>& weights,
                                   unsigned char old) {
    std::int64_t sum = 0;
    for (std::size_t m = 0; m < weights.size(); ++m) {
        sum += static_cast<std::int64_t>(std::trunc(weights[m] * 65536.0)) * column[m];
    }
    if (sum < 0) return old;
    if (sum > 0xFF0000) return 255;
    return static_cast<unsigned char>((sum + 2048) >> 16);
}

} // namespace naive
