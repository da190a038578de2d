/// @file convert_rules.h
/// The per-pixel rules of colour-model conversion: scale, grey, threshold. docs/color_models.md tells them in words,
/// with the order of evaluation that makes their results the same bits everywhere.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

namespace rastrel {

/// White and full opacity: the largest value of an integer sample, 1.0 of a floating one.
template <class Sample>
inline constexpr Sample kFullScale = std::numeric_limits<Sample>::max();
template <>
inline constexpr float kFullScale<float> = 1.0F;
template <>
inline constexpr double kFullScale<double> = 1.0;

/// What a conversion between these samples computes in: double as soon as one side is, else single.
template <class To, class From>
using Working = std::conditional_t<std::is_same_v<To, double> || std::is_same_v<From, double>, double, float>;

/// One step of an integer sample in a floating model.
template <class Float, class Integer>
inline constexpr Float kUnitOf = Float(1) / Float(kFullScale<Integer>);

/// Floating values below `low` become 0 and from `high` on the maximum of an integer sample.
template <class Integer, class Float>
struct ClampLimits {
    static constexpr Float maximum = Float(kFullScale<Integer>);
    static constexpr Float low = static_cast<Float>(0.5 / kFullScale<Integer>);
    static constexpr Float high = static_cast<Float>((kFullScale<Integer> - 0.5) / kFullScale<Integer>);
};

/// The weighted sum 3 R + 4 G + B of integer channels is held shifted left by this much.
template <class Integer>
inline constexpr unsigned kGreyShift = sizeof(Integer) == 1 ? 5 : 13;

/// One step of that shifted sum in a floating model.
template <class Float, class Integer>
inline constexpr Float
    kGreyUnitOf = static_cast<Float>(1.0 / (std::uint64_t{8} * kFullScale<Integer> << kGreyShift<Integer>));

/// `scaled` + 0.5 truncated; 0 where `value` is below `low` or not a number, the maximum from `high` on.
template <class To, class Float>
[[nodiscard]] constexpr To roundClamped(Float value, Float low, Float high, Float scaled) noexcept {
    // Choices, not branches: loops over this become vector code. The number that is converted is always in range.
    const Float fromLow = value >= low ? scaled + Float(0.5) : Float(0);
    return static_cast<To>(static_cast<std::int32_t>(value >= high ? Float(kFullScale<To>) : fromLow));
}

/// One sample in another depth. Between floating types a plain copy of the number, without clamping.
template <class To, class From>
[[nodiscard]] constexpr To scaleSample(From value) noexcept {
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else if constexpr (std::is_integral_v<To> && std::is_integral_v<From>) {
        if constexpr (sizeof(To) > sizeof(From))
            return static_cast<To>(value * 257);
        else
            return static_cast<To>(value >> 8);
    } else if constexpr (std::is_integral_v<From>) {
        return static_cast<To>(value) * kUnitOf<To, From>;
    } else if constexpr (std::is_integral_v<To>) {
        using Limits = ClampLimits<To, From>;
        return roundClamped<To>(value, Limits::low, Limits::high, value * Limits::maximum);
    } else {
        return static_cast<To>(value);
    }
}

/// Grey of a colour: 3/8 red + 1/2 green + 1/8 blue. Integer channels in fixed point; floating ones as
/// (red term + green term) + blue term.
template <class To, class From>
[[nodiscard]] constexpr To greyOf(From red, From green, From blue) noexcept {
    if constexpr (std::is_integral_v<From>) {
        const std::uint32_t sum = (3U * red + 4U * green + blue) << kGreyShift<From>;
        if constexpr (!std::is_integral_v<To>) {
            return static_cast<To>(sum) * kGreyUnitOf<To, From>;
        } else if constexpr (sizeof(From) == 1) {
            const std::uint32_t grey16 = sum + (sum >> 8);
            return static_cast<To>(sizeof(To) == 1 ? grey16 >> 8 : grey16);
        } else {
            return static_cast<To>(sizeof(To) == 1 ? sum >> 24 : sum >> 16);
        }
    } else if constexpr (std::is_integral_v<To>) {
        constexpr From kMaximum = From(kFullScale<To>);
        const From sum =
            red * (kMaximum * From(0.375)) + green * (kMaximum * From(0.5)) + blue * (kMaximum * From(0.125));
        return roundClamped<To>(sum, From(0.5), kMaximum - From(0.5), sum);
    } else {
        using W = Working<To, From>;
        return static_cast<To>(W(red) * W(0.375) + W(green) * W(0.5) + W(blue) * W(0.125));
    }
}

/// Whether a grey counts as white in a 1-bit model. What is not a number is black.
template <class Sample>
[[nodiscard]] constexpr bool isWhite(Sample grey) noexcept {
    if constexpr (std::is_integral_v<Sample>)
        return grey > kFullScale<Sample> / 2;
    else
        return grey >= Sample(0.5);
}

/// A colour's 1-bit value is decided on its 16-bit grey.
template <class Sample>
[[nodiscard]] constexpr bool isWhite(Sample red, Sample green, Sample blue) noexcept {
    return isWhite(greyOf<std::uint16_t>(red, green, blue));
}

} // namespace rastrel
