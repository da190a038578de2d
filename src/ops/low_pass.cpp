#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <new>
#include <typeinfo>
#include <utility>
#include <vector>

#include "ops/image_rows.h"
#include "ops/kernel_set.h"
#include "ops/low_pass_weights.h"
#include "ops/operation_guards.h"
#include "rastrel/rastrel.h"

namespace rastrel {
namespace {

/// A window of rows that needs more memory than this is refused.
constexpr std::uint64_t kMaxRingBytes = std::uint64_t{1} << 30;

/// The filter of one call.
struct Smoothing {
    LowPassWeights along;
    LowPassWeights across;

    /// False when there is nothing to do. Throws std::bad_alloc.
    [[nodiscard]] bool prepare(double widthX, double widthY, unsigned char filterType, double parameter) {
        if (!(widthX > 1.0) && !(widthY > 1.0)) return false;
        return along.build(widthX, filterType, parameter) && across.build(widthY, filterType, parameter);
    }
};

template <class Pixel>
class LowPassRun {
public:
    LowPassRun(Rastrel& image, const PlainBlock<Pixel>& block, const Smoothing& smoothing)
        : width_(static_cast<std::int64_t>(image.GetWidth())), height_(static_cast<std::int64_t>(image.GetHeight())),
          smoothing_(smoothing), reader_(image, block, 0, width_ - 1), writer_(image, block, 0, width_ - 1),
          fixed_(fixedPointWeights(smoothing.across.weights)), unobserved_(typeid(image) == typeid(Rastrel)) {}

    void run(const Progress& progress, const Cancel& cancel) {
        const std::size_t lines = smoothing_.across.weights.size();
        const auto rowPixels = static_cast<std::size_t>(width_);
        if (width_ == 0 || height_ == 0 || lines * rowPixels > kMaxRingBytes / sizeof(Pixel)) return;
        ringPixels_.resize(lines * rowPixels);
        row_.resize(rowPixels);
        padded_.resize(rowPixels + smoothing_.along.weights.size() - 1);
        output_.resize(rowPixels);
        for (std::size_t line = 0; line < lines; ++line)
            ring_.push_back(ringPixels_.data() + line * rowPixels);

        if (!fillRing(cancel)) return;
        for (std::int64_t y = 0; y < height_; ++y) {
            progress.set(static_cast<std::uint64_t>(y), static_cast<std::uint64_t>(height_));
            if (cancel.requested()) return;
            makeRow(y);
            std::rotate(ring_.begin(), ring_.begin() + 1, ring_.end());
            // The bottom row is repeated where the top row is not, and may already hold its new value.
            const std::int64_t s = y + smoothing_.across.taps.last + 1;
            filterRow(s < height_ ? s : 2 * height_ - 1 - s, ring_.back());
        }
    }

private:
    static constexpr unsigned kChannels = sizeof(Pixel);

    static unsigned char* samples(Pixel* row) noexcept { return reinterpret_cast<unsigned char*>(row); }

    /// The rows around row 0. False when cancelled. A window that is higher than the image holds rows more than once:
    /// they are smoothed once, unless somebody could tell by the reads.
    bool fillRing(const Cancel& cancel) {
        const TapRange& taps = smoothing_.across.taps;
        std::vector<Pixel*> known(unobserved_ ? static_cast<std::size_t>(height_) : 0);
        for (std::int64_t k = 0; k < taps.count(); ++k) {
            if (cancel.requested()) return false;
            const std::int64_t s = taps.first + k;
            Pixel* const line = ring_[static_cast<std::size_t>(k)];
            if (!unobserved_) {
                filterRow(s < 0 ? -s : s, line);
                continue;
            }
            Pixel*& copy = known[static_cast<std::size_t>(reflectedIndex(s, static_cast<std::uint64_t>(height_)))];
            if (copy == nullptr)
                filterRow(s < 0 ? -s : s, line);
            else
                std::copy_n(copy, static_cast<std::size_t>(width_), line);
            copy = line;
        }
        return true;
    }

    /// Row `s` of the image, smoothed along the row. The image reflects rows outside it.
    void filterRow(std::int64_t s, Pixel* to) {
        const Pixel* row = reader_.read(s, row_.data());
        const auto count = static_cast<std::uint64_t>(width_);
        padRow(padded_.data(), row, count, 1, smoothing_.along.taps);
        kernels().smoothRow8(samples(to), samples(padded_.data()), count, kChannels, smoothing_.along.weights);
    }

    void makeRow(std::int64_t y) {
        lines_.clear();
        for (Pixel* line : ring_)
            lines_.push_back(samples(line));
        // Where a sum is negative the sample stays what the output line held before: that of the row above.
        kernels().smoothColumns8(samples(output_.data()), lines_.data(), output_.size() * kChannels, fixed_);
        writer_.write(y, output_.data());
    }

    std::int64_t width_, height_;
    const Smoothing& smoothing_;
    RowReader<Pixel> reader_;
    RowWriter<Pixel> writer_;
    std::vector<std::int32_t> fixed_;
    bool unobserved_; ///< no derived class looks on
    std::vector<Pixel> ringPixels_;
    std::vector<Pixel*> ring_; ///< the window's rows in order
    std::vector<const unsigned char*> lines_;
    std::vector<Pixel> row_;
    std::vector<Pixel> padded_;
    std::vector<Pixel> output_;
};

} // namespace
} // namespace rastrel

bool Rastrel::LowPass(double widthX, double widthY, unsigned char filterType, double parameter) {
    using namespace rastrel;
    const Cancel cancel(cancelRequested);
    if (cancel.requested()) return false;
    loadPixels(*this);
    const FlagRestorer restoreRotation(transposed);
    const FlagRestorer restoreX(mirrorX);
    const FlagRestorer restoreY(mirrorY);
    if (transposed != 0) std::swap(widthX, widthY);
    transposed = mirrorX = mirrorY = 0;
    const Busy busy(busyCount);
    const Completion completion{Progress(progress)};
    const auto smooth = [&]<class Pixel>(Pixel, const Smoothing& smoothing) {
        LowPassRun<Pixel>(*this, PlainBlock<Pixel>(*this, lineCache != nullptr), smoothing)
            .run(Progress(progress), cancel);
    };
    try {
        Smoothing smoothing;
        if (!smoothing.prepare(widthX, widthY, filterType, parameter)) return true;
        if (movesAsGrey(colormodel))
            smooth(static_cast<unsigned char>(0), smoothing);
        else
            smooth(pixel_argb8{}, smoothing);
    } catch (const std::bad_alloc&) {
        // Rows that memory cannot be had for stay as they are: the call reports nothing but its end.
    }
    return true;
}
