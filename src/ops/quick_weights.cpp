#include "ops/quick_weights.h"

#include <algorithm>
#include <cmath>

namespace rastrel {
namespace {

constexpr double kScale = 65536.0;

bool isMultipleOf(double value, double step) noexcept {
    const double steps = value / step; // exact: the step is a power of two
    return steps == std::floor(steps);
}

bool isPowerOfTwo(double value) noexcept {
    int exponent = 0;
    return value > 0.0 && std::frexp(value, &exponent) == 0.5;
}

/// All weights 1: the definition divides an integer by their number, and what is no half is far from one.
bool isBox(const double* weights, std::size_t count, double sum) noexcept {
    return sum == static_cast<double>(count) &&
           std::all_of(weights, weights + count, [](double weight) { return weight == 1.0; });
}

} // namespace

bool isShortBinary(const double* weights, std::size_t count, double sum) noexcept {
    return isPowerOfTwo(sum) && std::all_of(weights, weights + count, [sum](double weight) {
               return std::fabs(weight) <= 1.0 && isMultipleOf(weight, 0x1p-20) && isMultipleOf(weight / sum, 0x1p-12);
           });
}

QuickRule appendQuickWeights(std::vector<float>& quick, const double* weights, std::size_t count, double sum) {
    double absolute = 0.0;
    double total = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        const double weight = weights[i] / sum;
        absolute += std::fabs(weight);
        total += weight;
        const bool fits = std::fabs(weight) <= 4.0;
        quick.push_back(fits ? static_cast<float>(weight * kScale) : 0.0F);
    }
    // A sum that nearly cancels says nothing about the error of the definition itself.
    if (!(total >= absolute * 0.25) || !(absolute <= 4.0) || count == 0) return {};
    if (isShortBinary(weights, count, sum)) return {static_cast<float>(kScale / 2), 0};

    // Rounding of the weights, of each product and sum (fused or not, in any order), of the conversion to an integer;
    // the definition's own error is far below the last half.
    const double magnitude = (255.0 * absolute + 1.0) * kScale;
    const double error = std::ceil((static_cast<double>(count) + 4.0) * 0x1p-24 * magnitude + 1.0);
    if (error > kScale / 8) return {};
    const auto bias = static_cast<float>(kScale / 2 + error);
    if (isBox(weights, count, sum) && 4.0 * static_cast<double>(count) * error < kScale) return {bias, 0};
    return {bias, static_cast<std::uint32_t>(2.0 * error)};
}

} // namespace rastrel
