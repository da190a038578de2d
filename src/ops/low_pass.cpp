#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <typeinfo>
#include <utility>
#include <vector>

#include "ops/image_rows.h"
#include "ops/kernel_set.h"
#include "ops/low_pass_weights.h"
#include "ops/operation_guards.h"
#include "ops/row_smoother.h"
#include "rastrel/rastrel.h"

namespace rastrel {
namespace {

/// A window of rows that needs more memory than this is refused.
constexpr std::uint64_t kMaxRingBytes = std::uint64_t{1} << 30;

/// What rows that are made together may take beside it.
constexpr std::uint64_t kMaxTogetherBytes = std::uint64_t{1} << 26;

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

/// Rows that are made together when nobody can tell the order: the higher the window, the more, because each time all
/// of its rows are read. Fewer again where a row alone takes milliseconds, since a cancel waits for all of them.
constexpr std::int64_t rowsTogether(std::int64_t taps) noexcept { return taps > 16 && taps <= 1024 ? 32 : 16; }

template <class Pixel>
class LowPassRun {
public:
    LowPassRun(Rastrel& image, const PlainBlock<Pixel>& block, const Smoothing& smoothing)
        : width_(static_cast<std::int64_t>(image.GetWidth())), height_(static_cast<std::int64_t>(image.GetHeight())),
          smoothing_(smoothing), reader_(image, block, 0, width_ - 1), writer_(image, block, 0, width_ - 1),
          fixed_(fixedPointWeights(smoothing.across.weights)), unobserved_(typeid(image) == typeid(Rastrel)) {
        // A negative sum leaves the sample of the row above, so each such row needs the one before it.
        const bool apart = std::all_of(fixed_.begin(), fixed_.end(), [](std::int32_t weight) { return weight >= 0; });
        together_ = unobserved_ && apart ? rowsTogether(smoothing.across.taps.count()) : 1;
    }

    void run(const Progress& progress, const Cancel& cancel) {
        if (!makeRing() || !fillRing(cancel)) return;
        for (std::int64_t y = 0; y < height_;) {
            progress.set(static_cast<std::uint64_t>(y), static_cast<std::uint64_t>(height_));
            const std::int64_t count = rowsFrom(y);
            for (std::int64_t i = 1; i < count; ++i) {
                if (cancel.requested()) return;
                filterRow(entering(y + i), lineAt(smoothing_.across.taps.count() + i - 1));
            }
            if (cancel.requested()) return;
            makeRows(y, count);
            y += count;
            std::rotate(ring_.begin(), ring_.begin() + count, ring_.end());
            filterRow(entering(y), lineAt(smoothing_.across.taps.count() - 1));
        }
    }

private:
    static constexpr unsigned kChannels = sizeof(Pixel);

    static unsigned char* samples(Pixel* row) noexcept { return reinterpret_cast<unsigned char*>(row); }
    static const unsigned char* samples(const Pixel* row) noexcept {
        return reinterpret_cast<const unsigned char*>(row);
    }

    [[nodiscard]] Pixel* lineAt(std::int64_t place) const noexcept { return ring_[static_cast<std::size_t>(place)]; }

    /// The row that enters the window of row `y`, as a row of the image, which reflects those outside it. The bottom
    /// row is repeated where the top row is not.
    [[nodiscard]] std::int64_t entering(std::int64_t y) const noexcept {
        const std::int64_t s = y + smoothing_.across.taps.last;
        return s < height_ ? s : 2 * height_ - 1 - s;
    }

    /// How many rows from `y` on can be made together: no row that enters may be one of those that precede its own,
    /// since it would hold its new value by then.
    [[nodiscard]] std::int64_t rowsFrom(std::int64_t y) const noexcept {
        const std::int64_t most = std::min(together_, height_ - y);
        std::int64_t count = 1;
        for (; count < most; ++count) {
            const auto row =
                static_cast<std::int64_t>(reflectedIndex(entering(y + count), static_cast<std::uint64_t>(height_)));
            if (row >= y && row < y + count) break;
        }
        return count;
    }

    /// False for an image without pixels and for a window that is too large.
    bool makeRing() {
        if (width_ == 0 || height_ == 0) return false;
        const auto rowPixels = static_cast<std::uint64_t>(width_);
        const auto rowsIn = [rowPixels](std::uint64_t bytes) {
            return static_cast<std::int64_t>(bytes / sizeof(Pixel) / rowPixels);
        };
        const std::int64_t window = smoothing_.across.taps.count();
        if (window > rowsIn(kMaxRingBytes)) return false;
        together_ = std::clamp<std::int64_t>(rowsIn(kMaxTogetherBytes), 1, together_);
        const auto lines = static_cast<std::uint64_t>(window + together_ - 1);
        ringPixels_.resize(lines * rowPixels);
        row_.resize(rowPixels);
        outputs_.resize(static_cast<std::uint64_t>(together_) * rowPixels);
        for (std::uint64_t line = 0; line < lines; ++line)
            ring_.push_back(ringPixels_.data() + line * rowPixels);
        return true;
    }

    /// The rows around row 0. False when cancelled. A window that is higher than the image holds rows more than once:
    /// they are smoothed once, unless somebody could tell by the reads.
    bool fillRing(const Cancel& cancel) {
        const TapRange& taps = smoothing_.across.taps;
        std::vector<Pixel*> known(unobserved_ ? static_cast<std::size_t>(height_) : 0);
        for (std::int64_t k = 0; k < taps.count(); ++k) {
            if (cancel.requested()) return false;
            const std::int64_t s = taps.first + k;
            Pixel* const line = lineAt(k);
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
        const Pixel* const row = reader_.read(s, row_.data());
        smoother_.smooth(samples(to), samples(row), static_cast<std::uint64_t>(width_), kChannels, smoothing_.along);
    }

    void makeRows(std::int64_t y, std::int64_t count) {
        lines_.clear();
        for (Pixel* line : ring_)
            lines_.push_back(samples(line));
        destinations_.clear();
        for (std::int64_t i = 0; i < count; ++i) {
            Pixel* const buffer = outputs_.data() + i * width_;
            destinations_.push_back(samples(together_ == 1 ? buffer : writer_.line(y + i, buffer)));
        }
        const std::size_t rowSamples = static_cast<std::size_t>(width_) * kChannels;
        kernels().smoothColumns8(destinations_, lines_.data(), rowSamples, fixed_);
        for (std::int64_t i = 0; i < count; ++i)
            writer_.write(y + i, reinterpret_cast<Pixel*>(destinations_[static_cast<std::size_t>(i)]));
    }

    std::int64_t width_, height_;
    const Smoothing& smoothing_;
    RowReader<Pixel> reader_;
    RowWriter<Pixel> writer_;
    std::vector<std::int32_t> fixed_;
    bool unobserved_;           ///< no derived class looks on
    std::int64_t together_ = 1; ///< rows that are made together
    std::vector<Pixel> ringPixels_;
    std::vector<Pixel*> ring_; ///< the window's rows in order, then room for those that enter
    std::vector<const unsigned char*> lines_;
    std::vector<unsigned char*> destinations_;
    std::vector<Pixel> row_;
    RowSmoother<unsigned char> smoother_;
    std::vector<Pixel> outputs_; ///< keeps its contents: see `smoothColumns8` about negative sums
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
    } catch (const std::exception&) {
        // Rows that memory cannot be had for stay as they are: the call reports nothing but its end.
    }
    return true;
}
