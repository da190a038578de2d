#include "ops/filter_kernels.h"

#include "platform/exact_math.h"

namespace rastrel {
namespace {

constexpr double kPi = 3.141592653589793;

/// sin(t) / t.
double sineQuotient(double t) noexcept { return t == 0.0 ? 1.0 : exactSine(t) / t; }

double triangle(double x) noexcept {
    if (x < -1.0 || x > 1.0) return 0.0;
    return x < 0.0 ? x + 1.0 : 1.0 - x;
}

double gaussian(double x) noexcept {
    if (x < -2.0 || x > 2.0) return 0.0;
    return exactExponential((x + x) * (x + x) / -kPi);
}

double lanczos(double x, double lobes) noexcept {
    if (x < -lobes || x > lobes) return 0.0;
    const double t = kPi * x;
    return sineQuotient(t) * sineQuotient(t / lobes);
}

} // namespace

double FilterSelection::operator()(double x) const noexcept {
    switch (shape_) {
    case Shape::none:
        return 0.0;
    case Shape::box:
        return 1.0;
    case Shape::triangle:
        return triangle(x);
    case Shape::gaussian:
        return gaussian(x);
    case Shape::lanczos:
        return lanczos(x, lobes_);
    }
    return 0.0;
}

FilterSelection selectFilterKernel(unsigned char filterType, double& lo, double& hi, double parameter) noexcept {
    using Shape = FilterSelection::Shape;
    const auto select = [&lo, &hi](Shape shape, double reach, bool known) {
        lo = -reach;
        hi = reach;
        return FilterSelection(shape, reach, known);
    };
    switch (filterType) {
    case 0:
        return {Shape::none, 0.0, true};
    case 1:
        return select(Shape::box, 0.5, true);
    case 2:
        return select(Shape::triangle, 1.0, true);
    case 3:
        return select(Shape::gaussian, 2.0, true);
    case 5:
        return select(Shape::lanczos, 2.0, true);
    case 6:
        return select(Shape::lanczos, 3.0, true);
    case 7:
        return select(Shape::lanczos, parameter, true);
    default:
        return select(Shape::gaussian, 2.0, false);
    }
}

} // namespace rastrel
