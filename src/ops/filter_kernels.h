/// @file filter_kernels.h
/// The seven filters that resampling and smoothing choose from.
#pragma once

#include <cstdint>

namespace rastrel {

/// A filter kernel k(x), and whether its code was a known one: that is what it converts to. An unknown code has the
/// Gaussian's kernel.
class FilterSelection {
public:
    enum class Shape : std::uint8_t { none, box, triangle, gaussian, lanczos };

    FilterSelection(Shape shape, double lobes, bool known) noexcept : lobes_(lobes), shape_(shape), known_(known) {}

    operator bool() const noexcept { return known_; }
    /// False for code 0: callers take the nearest sample or copy.
    [[nodiscard]] bool hasKernel() const noexcept { return shape_ != Shape::none; }
    [[nodiscard]] Shape shape() const noexcept { return shape_; }
    /// k(x); 0 outside the support, whose ends belong to it. The box is 1 everywhere: callers look at its support only.
    /// The same double on every system.
    [[nodiscard]] double operator()(double x) const noexcept;

private:
    double lobes_;
    Shape shape_;
    bool known_;
};

/// The kernel of a filter code: 0 none, 1 box, 2 triangle, 3 Gaussian, 5 and 6 Lanczos with two and three lobes,
/// 7 Lanczos with `parameter` lobes, every other code the Gaussian. `lo` and `hi` receive the ends of its support,
/// in source samples at scale 1; code 0 leaves them as they are.
FilterSelection selectFilterKernel(unsigned char filterType, double& lo, double& hi, double parameter) noexcept;

} // namespace rastrel
