#include "formats/rational.h"

#include <cmath>

namespace rastrel {
namespace {

constexpr std::uint64_t kDenominatorLimit = 65537; ///< the first denominator that is too large
constexpr double kLargestReciprocal = 2147483647.0;

} // namespace

Rational toRational(double value) noexcept {
    const bool negative = value < 0.0;
    const std::uint64_t limit = negative ? 0x80000000U : 0xFFFFFFFFU;
    const auto half = [negative](std::uint64_t numerator) {
        return static_cast<std::uint32_t>(negative ? 0 - numerator : numerator);
    };
    double x = std::fabs(value);
    if (std::isnan(x)) return {0, 1};
    if (x >= static_cast<double>(limit)) return {half(limit), 1};

    // Convergents h / k of the continued fraction: the last one and the one before.
    std::uint64_t h = 1;
    std::uint64_t k = 0;
    std::uint64_t hBefore = 0;
    std::uint64_t kBefore = 1;
    for (;;) {
        const auto a = static_cast<std::uint64_t>(x);
        const std::uint64_t hNext = a * h + hBefore;
        const std::uint64_t kNext = a * k + kBefore;
        if (hNext > limit) break;
        hBefore = h;
        kBefore = k;
        h = hNext;
        k = kNext;
        const auto whole = static_cast<double>(a);
        if (x == whole) break;
        x = 1.0 / (x - whole);
        if (x > kLargestReciprocal || k * static_cast<std::uint64_t>(x) + kBefore >= kDenominatorLimit) break;
    }
    return {half(h), static_cast<std::uint32_t>(k)};
}

} // namespace rastrel
