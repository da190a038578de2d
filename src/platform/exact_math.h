/// @file exact_math.h
/// Sine, cosine and exponential that give the same doubles on every system.
///
/// C libraries differ in the last bit of about one result in a thousand, and filter weights are part of the bytes that
/// an operation gives. These use nothing but additions and multiplications of doubles, in pairs whose sum carries
/// about 100 bits, and round once: the result is the double nearest to the true value.
#pragma once

namespace rastrel {

/// sin(x) for |x| up to 2^40. Beyond, and for a value that is no number: 0.
[[nodiscard]] double exactSine(double x) noexcept;

/// cos(x) for |x| up to 2^40. Beyond, and for a value that is no number: 0.
[[nodiscard]] double exactCosine(double x) noexcept;

/// e^x for |x| up to 64. Beyond, and for a value that is no number: 0.
[[nodiscard]] double exactExponential(double x) noexcept;

} // namespace rastrel
