#include "platform/exact_math.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace rastrel {
namespace {

/// An unevaluated sum; `low` is at most half a unit in the last place of `high`.
struct Pair {
    double high, low;
};

/// a + b without an error, for |a| >= |b| or a == 0.
constexpr Pair quickSum(double a, double b) noexcept {
    const double sum = a + b;
    return {sum, b - (sum - a)};
}

/// a + b without an error.
constexpr Pair exactSum(double a, double b) noexcept {
    const double sum = a + b;
    const double part = sum - a;
    return {sum, (a - (sum - part)) + (b - part)};
}

/// The upper and the lower 26 bits.
constexpr Pair halves(double a) noexcept {
    const double scaled = a * 134217729.0; // 2^27 + 1
    const double high = scaled - (scaled - a);
    return {high, a - high};
}

/// a * b without an error. No fused operation: it is a slow library call where the processor lacks it.
constexpr Pair exactProduct(double a, double b) noexcept {
    const double product = a * b;
    const Pair x = halves(a);
    const Pair y = halves(b);
    return {product, ((x.high * y.high - product) + x.high * y.low + x.low * y.high) + x.low * y.low};
}

constexpr Pair operator+(Pair a, Pair b) noexcept {
    const Pair high = exactSum(a.high, b.high);
    const Pair low = exactSum(a.low, b.low);
    const Pair first = quickSum(high.high, high.low + low.high);
    return quickSum(first.high, first.low + low.low);
}

constexpr Pair operator-(Pair a) noexcept { return {-a.high, -a.low}; }

constexpr Pair operator*(Pair a, Pair b) noexcept {
    const Pair product = exactProduct(a.high, b.high);
    return quickSum(product.high, product.low + (a.high * b.low + a.low * b.high));
}

constexpr Pair operator/(Pair a, double divisor) noexcept {
    const double first = a.high / divisor;
    const Pair product = exactProduct(first, divisor);
    return quickSum(first, ((a.high - product.high) - product.low + a.low) / divisor);
}

// Pi / 32 and ln 2 / 32, each the sum of three doubles.
constexpr double kPi32[] = {0x1.921fb54442d18p-4, 0x1.1a62633145c07p-58, -0x1.f1976b7ed8fbcp-114};
constexpr double kLn2By32[] = {0x1.62e42fefa39efp-6, 0x1.abc9e3b39803fp-61, 0x1.7b57a079a1934p-116};

/// Power series, for |x| below 2: 1e-31 of the result or better.
constexpr Pair sineSeries(Pair x) noexcept {
    const Pair square = -(x * x);
    Pair term = x;
    Pair sum = x;
    for (int n = 2; n < 32; n += 2) {
        term = term * square / (n * (n + 1.0));
        sum = sum + term;
    }
    return sum;
}

constexpr Pair cosineSeries(Pair x) noexcept {
    const Pair square = -(x * x);
    Pair term = {1.0, 0.0};
    Pair sum = term;
    for (int n = 1; n < 31; n += 2) {
        term = term * square / (n * (n + 1.0));
        sum = sum + term;
    }
    return sum;
}

constexpr Pair exponentialSeries(Pair x) noexcept {
    Pair term = {1.0, 0.0};
    Pair sum = term;
    for (int n = 1; n < 30; ++n) {
        term = term * x / n;
        sum = sum + term;
    }
    return sum;
}

constexpr Pair multiple(const double (&unit)[3], int count) noexcept {
    const Pair product = exactProduct(unit[0], count);
    return quickSum(product.high, product.low + unit[1] * count);
}

/// sin(i * pi / 32) for a quarter turn, both ends included.
constexpr auto kSines = [] {
    std::array<Pair, 17> table{};
    for (int i = 0; i < 17; ++i)
        table[static_cast<std::size_t>(i)] = sineSeries(multiple(kPi32, i));
    return table;
}();

/// 2^(i / 32).
constexpr auto kPowers = [] {
    std::array<Pair, 32> table{};
    for (int i = 0; i < 32; ++i)
        table[static_cast<std::size_t>(i)] = exponentialSeries(multiple(kLn2By32, i));
    return table;
}();

/// x - count * unit, to about 2^-100 of the unit and at least 2^-60 of itself.
Pair reduced(double x, double count, const double (&unit)[3]) noexcept {
    const Pair first = exactProduct(count, unit[0]);
    const Pair second = exactProduct(count, unit[1]);
    const Pair rest = exactSum(x - first.high, -first.low);
    return rest + -(second + Pair{count * unit[2], 0.0});
}

/// The same for pi / 32 and counts below 2^20, at a third of the cost: the first two parts have 33 bits, so that their
/// multiples are exact. Not good enough next to a multiple of the unit, where nearly everything cancels.
Pair reducedQuickly(double x, double count) noexcept {
    constexpr double kParts[] = {0x1.921fb544p-4, 0x1.0b4611a6p-38, 0x1.3198a2e037073p-73};
    const Pair sum = exactSum(x - count * kParts[0], -(count * kParts[1]));
    return quickSum(sum.high, sum.low - count * kParts[2]);
}

Pair reducedAngle(double x, double count) noexcept {
    if (std::fabs(count) < 0x1p20) {
        const Pair r = reducedQuickly(x, count);
        if (std::fabs(r.high) > 0x1p-20) return r;
    }
    return reduced(x, count, kPi32);
}

/// Whether `high` + `low` rounds to one double however the sum is off by up to 2^-59 of itself.
bool roundsSafely(double high, double low, double& result) noexcept {
    const double error = std::fabs(high) * 0x1p-59;
    result = high + (low - error);
    return result == high + (low + error);
}

/// sin(turn + r) from sine and cosine of the turn. The first attempt keeps only what matters in pairs.
double sineNear(Pair sine, Pair cosine, Pair r) noexcept {
    const double square = r.high * r.high;
    const double sineRest = // sin(r) - r
        r.high * square * (-1.0 / 6 + square * (1.0 / 120 + square * (-1.0 / 5040 + square * (1.0 / 362880))));
    const double cosineRest = // cos(r) - 1
        square * (-0.5 + square * (1.0 / 24 + square * (-1.0 / 720 + square * (1.0 / 40320 - square / 3628800))));
    const Pair linear = exactProduct(cosine.high, r.high);
    const Pair sum = exactSum(sine.high, linear.high);
    const double low = sum.low + (linear.low + sine.low + cosine.low * r.high + cosine.high * r.low +
                                  (cosine.high * sineRest + sine.high * cosineRest));
    double result;
    if (roundsSafely(sum.high, low, result)) return result;
    const Pair exact = sine * cosineSeries(r) + cosine * sineSeries(r);
    return exact.high + exact.low;
}

/// sin(x + quarters * pi / 2) for |x| from 2^-30 to 2^40.
double sineOfTurn(double x, unsigned quarters) noexcept {
    const double count = std::floor(x * (1.0 / kPi32[0]) + 0.5);
    const Pair r = reducedAngle(x, count);
    const auto steps = (static_cast<std::uint64_t>(static_cast<std::int64_t>(count)) + 16 * quarters) & 63;
    const std::size_t step = steps & 15;
    const Pair sine = kSines[step];
    const Pair cosine = kSines[16 - step];
    switch (steps >> 4) {
    case 0:
        return sineNear(sine, cosine, r);
    case 1:
        return sineNear(cosine, -sine, r);
    case 2:
        return -sineNear(sine, cosine, r);
    default:
        return -sineNear(cosine, -sine, r);
    }
}

} // namespace

double exactSine(double x) noexcept {
    if (!(std::fabs(x) <= 0x1p40)) return 0.0;
    if (std::fabs(x) < 0x1p-30) return x - x * x * x * (1.0 / 6);
    return sineOfTurn(x, 0);
}

double exactCosine(double x) noexcept {
    if (!(std::fabs(x) <= 0x1p40)) return 0.0;
    return std::fabs(x) < 0x1p-30 ? 1.0 : sineOfTurn(x, 1);
}

double exactExponential(double x) noexcept {
    if (!(std::fabs(x) <= 64.0)) return 0.0;
    const double count = std::floor(x * (1.0 / kLn2By32[0]) + 0.5);
    const Pair r = reduced(x, count, kLn2By32);
    const auto steps = static_cast<std::int64_t>(count);
    const Pair power = kPowers[static_cast<std::size_t>(steps & 31)];
    const auto exponent = static_cast<std::uint64_t>(1023 + (steps >> 5));
    const double scale = std::bit_cast<double>(exponent << 52);

    const double square = r.high * r.high;
    double rest = 1.0 / 40320; // becomes e^r - 1 - r
    for (const double factor : {1.0 / 5040, 1.0 / 720, 1.0 / 120, 1.0 / 24, 1.0 / 6, 0.5})
        rest = factor + r.high * rest;
    rest *= square;
    const Pair linear = exactProduct(power.high, r.high);
    const Pair sum = quickSum(power.high, linear.high);
    const double low = sum.low + (linear.low + power.low + power.low * r.high + power.high * r.low + power.high * rest);
    double result;
    if (roundsSafely(sum.high, low, result)) return result * scale;
    const Pair exact = power * exponentialSeries(r);
    return (exact.high + exact.low) * scale;
}

} // namespace rastrel
