/// @file rational.h
/// Doubles as quotients of 32-bit numbers.
#pragma once

#include <cstdint>

namespace rastrel {

/// The two halves of a RATIONAL; those of an SRATIONAL and of a negative number in a RATIONAL are two's complements.
struct Rational {
    std::uint32_t numerator;
    std::uint32_t denominator;
};

/// The best quotient by continued fractions whose denominator stays below 65537: 72 gives 72/1, 0.3 gives 3/10.
///
/// The expansion also stops before a numerator that 32 bits do not hold. A magnitude beyond 32 bits gives the largest
/// number there is, not a number gives 0/1.
[[nodiscard]] Rational toRational(double value) noexcept;

} // namespace rastrel
