/// Setting the exposure curve, by hand and from the image's brightness.
#include <algorithm>
#include <array>
#include <cstdint>
#include <typeinfo>

#include "image/image_state.h"
#include "image/stored_bytes.h"
#include "ops/brightness_histogram.h"
#include "ops/image_rows.h"
#include "pixel/color_model.h"
#include "pixel/convert_pixels.h"
#include "rastrel/rastrel.h"

namespace {

using rastrel::BrightnessHistogram;

/// Counts stored rows straight from the pixel block, with the bytes that single reads would give.
class RowCounter {
public:
    RowCounter(Rastrel& image, BrightnessHistogram& histogram) noexcept
        : stored_(image.pixels), histogram_(histogram), width_(image.width), model_(image.colormodel),
          order_(image.componentOrder != 0), inPlace_(model_ == CM_ARGB8 && order_),
          bits_(rastrel::isOneBit(model_) ? 1 : rastrel::colorModel(model_).bytesPerPixel * 8U) {}

    /// False when there is no memory for a piece of the row.
    [[nodiscard]] bool add(std::uint64_t y) noexcept {
        if (!rastrel::isConvertible(model_)) return true; // no pixel of these models reads as anything
        for (std::uint64_t x = 0; x < width_; x += kPiece) {
            if (!addPiece(y * width_ + x, std::min<std::uint64_t>(kPiece, width_ - x))) return false;
        }
        return true;
    }

private:
    /// Pixels that are converted at a time.
    static constexpr std::uint64_t kPiece = 2048;

    [[nodiscard]] bool addPiece(std::uint64_t index, std::uint64_t count) noexcept {
        // A 1-bit piece starts with the byte that holds its first bit.
        const std::uint64_t skipped = bits_ == 1 ? index % 8 : 0;
        const std::uint64_t first = bits_ == 1 ? index / 8 : index * (bits_ / 8);
        const auto size = static_cast<std::size_t>(((skipped + count) * bits_ + 7) / 8);
        const unsigned char* const bytes = stored_.at(first, size);
        if (bytes == nullptr) return false;
        if (inPlace_) {
            histogram_.add(bytes, static_cast<std::size_t>(count));
            return true;
        }
        rastrel::ConvertPixels(piece_.data(), CM_ARGB8, bytes, model_, order_, true,
                               static_cast<std::size_t>(skipped + count));
        histogram_.add(piece_.data() + skipped, static_cast<std::size_t>(count));
        return true;
    }

    rastrel::StoredBytes stored_;
    BrightnessHistogram& histogram_;
    std::uint64_t width_;
    std::uint8_t model_;
    bool order_;
    bool inPlace_;
    unsigned bits_; ///< of one stored pixel
    std::array<pixel_argb8, kPiece + 8> piece_;
};

/// The first bin from 0 upwards at which the running sum reaches `share`; the last bin when none before it does.
std::size_t binFromBelow(const BrightnessHistogram& histogram, std::uint64_t share) noexcept {
    std::uint64_t sum = 0;
    for (std::size_t bin = 0; bin < BrightnessHistogram::kBins - 1; ++bin) {
        sum += histogram[bin];
        if (sum >= share) return bin;
    }
    return BrightnessHistogram::kBins - 1;
}

/// The first bin from the top downwards at which the running sum reaches `share`; bin 0 when none above it does.
std::size_t binFromAbove(const BrightnessHistogram& histogram, std::uint64_t share) noexcept {
    std::uint64_t sum = 0;
    for (std::size_t bin = BrightnessHistogram::kBins - 1; bin > 0; --bin) {
        sum += histogram[bin];
        if (sum >= share) return bin;
    }
    return 0;
}

void setPoints(LookUpTable& table, double black, double mid, double white, double amount) {
    table.Init(1);
    table.black = black;
    table.mid = mid;
    table.white = white;
    table.amount = amount;
    table.Refresh();
}

/// Takes the points from a measured histogram. The strength stays 0: setting it is the host's decision.
void setMeasuredPoints(LookUpTable& table, const BrightnessHistogram& histogram) {
    const std::uint64_t clipped = histogram.total() / 255;
    const std::size_t low = binFromBelow(histogram, clipped);
    const std::size_t median = binFromBelow(histogram, histogram.total() >> 1);
    const std::size_t high = binFromAbove(histogram, clipped);
    if (low < high)
        setPoints(table, static_cast<double>(low) / 2550.0, static_cast<double>(median) / 2550.0,
                  static_cast<double>(high) / 2550.0, 0.0);
    else
        table.Init(0);
}

} // namespace

bool Rastrel::SetExposure(double blackPoint, double whitePoint) {
    setPoints(lookUpTable, blackPoint, (blackPoint + whitePoint) * 0.5, whitePoint, 1.0);
    return true;
}

bool Rastrel::SetExposure(double blackPoint, double midPoint, double whitePoint) {
    setPoints(lookUpTable, blackPoint, midPoint, whitePoint, 1.0);
    return true;
}

bool Rastrel::SetExposure(double amount) {
    lookUpTable.amount = amount;
    lookUpTable.Refresh();
    return true;
}

bool Rastrel::AutoExposure() {
    const rastrel::Busy busy(busyCount);
    const rastrel::Progress done(progress);
    const rastrel::Cancel cancel(cancelRequested);
    done.set(0);
    BrightnessHistogram histogram;
    if (!histogram.ready()) return false;
    if (!cancel.requested()) rastrel::loadPixels(*this);

    // Only the class itself is known to read its pixels as this file does.
    const bool direct = typeid(*this) == typeid(Rastrel);
    RowCounter counter(*this, histogram);
    const std::uint64_t rows = height;
    for (std::uint64_t y = 0; y < rows; ++y) {
        if (cancel.requested()) return false;
        if (direct) {
            if (!counter.add(y)) return false;
        } else {
            for (std::uint64_t x = 0; x < width; ++x) {
                pixel_argb8 pixel{};
                ReadPixel(pixel, static_cast<long>(x), static_cast<long>(y), true);
                histogram.add(&pixel, 1);
            }
        }
        done.set(y, rows);
    }
    setMeasuredPoints(lookUpTable, histogram);
    return true;
}
