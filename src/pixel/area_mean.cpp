/// The mean of a rectangle with fractional coverage.
#include <cmath>
#include <cstdint>

#include "pixel/bilinear.h"
#include "pixel/sampling.h"
#include "rastrel/rastrel.h"

namespace {

/// The columns or rows of an area mean, with the share of each that counts.
class Coverage {
public:
    /// From `a` to `b` in either order, on an axis of `extent` pixels; at least 1.0 long. Ends that are not numbers
    /// cover nothing.
    Coverage(double a, double b, unsigned long extent) noexcept : first_(b < a ? b : a), last_(b < a ? a : b) {
        if (a != a || b != b) return;
        const auto end = static_cast<double>(static_cast<std::int64_t>(extent) - 1);
        if (first_ < 0.0) first_ = 0.0;
        if (last_ > end) last_ = end;
        if (last_ - first_ < 1.0) last_ = first_ + 1.0;
        low = rastrel::truncatedIndex(std::floor(first_));
        high = rastrel::truncatedIndex(std::floor(last_));
    }

    [[nodiscard]] double weight(std::int64_t index) const noexcept {
        if (index == low) {
            const double covered = std::ceil(first_) - first_;
            return covered == 0.0 ? 1.0 : covered;
        }
        return index == high ? last_ - std::floor(last_) : 1.0;
    }

    std::int64_t low = 0;
    std::int64_t high = -1;

private:
    double first_, last_;
};

/// Sums of channels and weights.
class AreaSum {
public:
    void add(const pixel_argb8& pixel, double columnWeight, double rowWeight) noexcept {
        b_ += pixel.b * columnWeight * rowWeight;
        g_ += pixel.g * columnWeight * rowWeight;
        r_ += pixel.r * columnWeight * rowWeight;
        a_ += pixel.a * columnWeight * rowWeight;
        weight_ += columnWeight * rowWeight;
    }
    /// The mean, truncated; 0 where it is not a number.
    [[nodiscard]] pixel_argb8 mean() const noexcept {
        const auto channel = [this](double sum) {
            const double mean = sum / weight_;
            return mean > 0.0 ? rastrel::sampleOf<unsigned char>(mean) : static_cast<unsigned char>(0);
        };
        return {channel(b_), channel(g_), channel(r_), channel(a_)};
    }

private:
    double b_ = 0.0, g_ = 0.0, r_ = 0.0, a_ = 0.0, weight_ = 0.0;
};

} // namespace

pixel_argb8 Rastrel::GetPixelARGB8(double x1, double y1, double x2, double y2) {
    const unsigned long displayedWidth = GetWidth();
    const unsigned long displayedHeight = GetHeight();
    const Coverage columns(x1, x2, displayedWidth);
    const Coverage rows(y1, y2, displayedHeight);
    AreaSum sum;
    for (std::int64_t x = columns.low; x <= columns.high; ++x) {
        const double columnWeight = columns.weight(x);
        const long column = rastrel::coordinateOf(x, displayedWidth);
        for (std::int64_t y = rows.low; y <= rows.high; ++y)
            sum.add(GetPixelARGB8(column, rastrel::coordinateOf(y, displayedHeight)), columnWeight, rows.weight(y));
    }
    return sum.mean();
}
