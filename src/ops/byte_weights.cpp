#include "ops/byte_weights.h"

#include <algorithm>
#include <cmath>

#include "ops/quick_weights.h"

namespace rastrel {
namespace {

constexpr double kLargestByte = 127.0;
constexpr double kLargestSum = 32767.0;
constexpr std::uint8_t kMostShift = 7;

bool isInteger(double value) noexcept { return value == std::floor(value); }

} // namespace

ByteRule appendByteWeights(std::vector<std::int8_t>& bytes, const double* weights, std::size_t count, double sum) {
    if (count == 0 || !isShortBinary(weights, count, sum)) return {};
    ByteRule rule{0};
    double largest = 0.0;
    double absolute = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        const double weight = weights[i] / sum;
        largest = std::max(largest, std::fabs(weight));
        absolute += std::fabs(weight);
        while (!isInteger(std::ldexp(weight, rule.shift))) {
            if (++rule.shift > kMostShift) return {};
        }
    }
    const double half = std::floor(std::ldexp(0.5, rule.shift));
    if (std::ldexp(largest, rule.shift) > kLargestByte) return {};
    if (255.0 * std::ldexp(absolute, rule.shift) + half > kLargestSum) return {};
    for (std::size_t i = 0; i < count; ++i)
        bytes.push_back(static_cast<std::int8_t>(std::ldexp(weights[i] / sum, rule.shift)));
    return rule;
}

} // namespace rastrel
