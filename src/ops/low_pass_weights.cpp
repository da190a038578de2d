#include "ops/low_pass_weights.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ops/filter_kernels.h"

namespace rastrel {

bool lowPassTaps(TapRange& taps, double width, unsigned char filterType, double parameter) noexcept {
    double lo = 0.0;
    double hi = 0.0;
    if (!selectFilterKernel(filterType, lo, hi, parameter).hasKernel()) return false;
    const double first = std::ceil(width * lo);
    const double last = std::floor(width * hi);
    constexpr auto kLimit = static_cast<double>(kMaxLowPassTaps);
    if (!(std::fabs(first) < kLimit) || !(std::fabs(last) < kLimit)) return false;
    taps = {static_cast<std::int64_t>(first), static_cast<std::int64_t>(last)};
    return taps.count() >= 1 && taps.count() <= kMaxLowPassTaps;
}

bool LowPassWeights::build(double width, unsigned char filterType, double parameter) {
    if (!lowPassTaps(taps, width, filterType, parameter)) return false;
    double lo = 0.0;
    double hi = 0.0;
    const FilterSelection kernel = selectFilterKernel(filterType, lo, hi, parameter);
    weights.resize(static_cast<std::size_t>(taps.count()));
    double sum = 0.0;
    for (std::int64_t m = 0; m < taps.count(); ++m) {
        const std::int64_t offset = taps.first + m;
        const double weight = kernel(offset == 0 ? 0.0 : static_cast<double>(offset) / width);
        weights[static_cast<std::size_t>(m)] = weight;
        sum += weight;
    }
    if (sum == 0.0 || !std::isfinite(sum)) return false;
    for (double& weight : weights)
        weight /= sum;
    quick.clear();
    rule = appendQuickWeights(quick, weights.data(), weights.size(), 1.0);
    words.clear();
    wordRule = words.append(weights, false);
    return true;
}

std::vector<std::int32_t> fixedPointWeights(const std::vector<double>& weights) {
    constexpr double kLow = std::numeric_limits<std::int32_t>::min();
    constexpr double kHigh = std::numeric_limits<std::int32_t>::max();
    std::vector<std::int32_t> fixed;
    fixed.reserve(weights.size());
    for (const double weight : weights) {
        fixed.push_back(static_cast<std::int32_t>(std::clamp(weight * 65536.0, kLow, kHigh)));
    }
    return fixed;
}

} // namespace rastrel
