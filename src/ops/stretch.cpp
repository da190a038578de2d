#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <typeinfo>
#include <vector>

#include "image/image_state.h"
#include "ops/image_rows.h"
#include "ops/kernel_set.h"
#include "ops/line_resampler.h"
#include "ops/operation_guards.h"
#include "ops/resample_plan.h"
#include "rastrel/rastrel.h"

namespace rastrel {
namespace {

/// One axis of a request, ends in order.
struct Axis {
    std::int64_t source;
    std::int64_t destination;
    std::uint64_t sourceCount;
    std::uint64_t destinationCount;
    std::uint64_t first = 0; ///< destination pixels first..end - 1 can be on the destination image
    std::uint64_t end = 0;

    Axis(std::int64_t s1, std::int64_t s2, std::int64_t d1, std::int64_t d2) noexcept
        : source(std::min(s1, s2)), destination(std::min(d1, d2)),
          sourceCount(static_cast<std::uint64_t>(std::max(s1, s2) - source) + 1),
          destinationCount(static_cast<std::uint64_t>(std::max(d1, d2) - destination) + 1) {}

    [[nodiscard]] double ratio() const noexcept {
        return static_cast<double>(sourceCount) / static_cast<double>(destinationCount);
    }

    /// Leaves out what lies so far outside an image of sides up to `extent` that no orientation brings it back: a
    /// rectangle of any size costs no more than the image that it is drawn on.
    void clip(std::int64_t extent) noexcept {
        const std::int64_t low = std::max<std::int64_t>(-extent - destination, 0);
        const std::int64_t count = static_cast<std::int64_t>(destinationCount);
        first = static_cast<std::uint64_t>(std::min(low, count));
        end = static_cast<std::uint64_t>(std::clamp<std::int64_t>(2 * extent - destination, low, std::max(low, count)));
        end = std::max(first, std::min(end, destinationCount));
    }

    /// On an axis that is not scaled, only what is wanted needs to be read.
    void narrow() noexcept {
        if (sourceCount != destinationCount) return;
        source += static_cast<std::int64_t>(first);
        destination += static_cast<std::int64_t>(first);
        sourceCount = destinationCount = end - first;
        first = 0;
        end = destinationCount;
    }
};

/// What one call does.
struct Job {
    Axis columns;
    Axis rows;
    unsigned char filterType;
    double parameter;
    Progress progress;
    Cancel cancel;
};

/// Longest source line that is read when it is longer than the source is wide (the rest of it is reflections).
constexpr std::uint64_t kMaxReflectedLine = std::uint64_t{1} << 24;

/// Rows that are read and filtered together when nobody can tell the order.
constexpr std::size_t kBand = 8;

/// Destination rows that are made together then, and the source rows that they may span.
constexpr std::size_t kOutputs = 16;
constexpr double kRowsAhead = 16.0;

/// Bytes of an output that is written past the caches.
constexpr std::uint64_t kLargeOutput = std::uint64_t{16} << 20;

template <class Pixel>
class Stretch {
public:
    Stretch(Rastrel& source, Rastrel& destination, const PlainBlock<Pixel>& from, const PlainBlock<Pixel>& to,
            std::size_t band, const Job& job)
        : source_(source), job_(job), band_(band),
          reader_(source, from, job.columns.source,
                  job.columns.source + static_cast<std::int64_t>(job.columns.sourceCount) - 1),
          writer_(destination, to, job.columns.destination + static_cast<std::int64_t>(job.columns.first),
                  job.columns.destination + static_cast<std::int64_t>(job.columns.end) - 1),
          width_(job.columns.end - job.columns.first),
          streams_(width_ * (job.rows.end - job.rows.first) * sizeof(Pixel) >= kLargeOutput) {}

    void run() {
        const Filter filter(job_.filterType, job_.parameter);
        const Axis& columns = job_.columns;
        if (!resampler_.prepare({columns.sourceCount, columns.destinationCount, columns.first, width_, kChannels},
                                job_.filterType, job_.parameter))
            return;
        if (!filter.kernel.hasKernel() || job_.rows.sourceCount == job_.rows.destinationCount)
            pickRows();
        else if (!std::isnan(filter.lo))
            filterRows(filter);
    }

private:
    static constexpr unsigned kChannels = sizeof(Pixel);

    static unsigned char* samples(Pixel* row) noexcept { return reinterpret_cast<unsigned char*>(row); }
    static const unsigned char* samples(const Pixel* row) noexcept {
        return reinterpret_cast<const unsigned char*>(row);
    }

    /// Rows of the same height, or the nearest ones.
    void pickRows() {
        const Axis& rows = job_.rows;
        const double ratio = rows.ratio();
        std::vector<Pixel> scratch(job_.columns.sourceCount);
        std::vector<Pixel> buffer(width_);
        for (std::uint64_t k = rows.first; k < rows.end; ++k) {
            if (job_.cancel.requested()) return;
            const auto from =
                static_cast<std::int64_t>(static_cast<double>(k) * ratio + static_cast<double>(rows.source));
            const std::int64_t to = rows.destination + static_cast<std::int64_t>(k);
            Pixel* const line = writer_.line(to, buffer.data());
            unsigned char* const output = samples(line);
            const unsigned char* const input = samples(reader_.read(from, scratch.data()));
            resampler_.run(&output, &input, 1);
            writer_.write(to, line);
            job_.progress.set(k + 1, rows.destinationCount);
        }
    }

    /// The centre of destination row k among the source rows. The two forms differ in the last bit.
    [[nodiscard]] double centreOf(std::uint64_t k, double ratio) const noexcept {
        const double start = static_cast<double>(k) * ratio + static_cast<double>(job_.rows.source);
        return ratio > 1.0 ? start + (ratio - 1.0) * 0.5 : start - (1.0 - ratio) * 0.5;
    }

    /// Columns first, each source row once; then a moving window of the results. Windows reach beyond the source
    /// rectangle up to the image's edges; one that holds no row of the image leaves its destination row as it is.
    void filterRows(const Filter& filter) {
        const Axis& rows = job_.rows;
        const auto height = static_cast<std::int64_t>(source_.GetHeight());
        const double ratio = rows.ratio();
        RememberingKernel kernel(filter);
        makeRing(filter.hi - filter.lo, ratio, height);
        for (std::uint64_t k = rows.first; k < rows.end; ++k) {
            RowWeights& window = windows_[outputs_.size()];
            if (window.build(0, height - 1, centreOf(k, ratio), ratio, kernel) && !window.weights.empty()) {
                outputs_.push_back(rows.destination + static_cast<std::int64_t>(k));
                readRows(window.top, bottomOf(window), height);
            }
            if (outputs_.size() == windows_.size()) writeOutputs();
            if (outputs_.empty()) job_.progress.set(k, rows.destinationCount);
        }
        writeOutputs();
    }

    [[nodiscard]] static std::int64_t bottomOf(const RowWeights& window) noexcept {
        return window.top + static_cast<std::int64_t>(window.weights.size()) - 1;
    }

    /// Makes and writes the rows of `outputs_`.
    void writeOutputs() {
        if (outputs_.empty()) return;
        const std::int64_t top = windows_[0].top;
        lines_.clear();
        for (std::int64_t row = top; row <= bottomOf(windows_[outputs_.size() - 1]); ++row)
            lines_.push_back(ring_[slotOf(row)]);
        jobs_.clear();
        for (std::size_t i = 0; i < outputs_.size(); ++i) {
            Pixel* const line = writer_.line(outputs_[i], buffers_.data() + i * width_);
            const bool stream = streams_ && line != buffers_.data() + i * width_;
            jobs_.push_back({samples(line), static_cast<std::size_t>(windows_[i].top - top), &windows_[i], stream});
        }
        kernels().combineRows8(jobs_, lines_.data(), lines_.size(), width_ * kChannels);
        for (std::size_t i = 0; i < outputs_.size(); ++i)
            writer_.write(outputs_[i], reinterpret_cast<Pixel*>(jobs_[i].destination));
        outputs_.clear();
    }

    [[nodiscard]] std::size_t slotOf(std::int64_t row) const noexcept {
        return static_cast<std::size_t>(row) % ring_.size();
    }

    /// Room for the windows of all rows that are written together, and for a band that is read ahead.
    void makeRing(double support, double ratio, std::int64_t height) {
        const double together = std::clamp(std::trunc(kRowsAhead / ratio), 1.0, static_cast<double>(kOutputs));
        const auto outputs = band_ == 1 ? std::size_t{1} : static_cast<std::size_t>(together);
        const double reach = support * std::max(ratio, 1.0) + static_cast<double>(outputs) * ratio + 5.0;
        const double lines = std::trunc(std::clamp(reach, 1.0, static_cast<double>(height) + 1.0));
        windows_.resize(outputs);
        buffers_.resize(outputs * width_);
        ring_.assign(static_cast<std::size_t>(lines) + band_ - 1, nullptr);
        ringPixels_.resize(ring_.size() * width_);
        if (job_.columns.sourceCount != job_.columns.destinationCount)
            scratch_.resize(band_ * job_.columns.sourceCount);
    }

    /// Brings rows `top` to `bottom` into the ring, those that are not there yet.
    void readRows(std::int64_t top, std::int64_t bottom, std::int64_t height) {
        for (std::int64_t row = std::max(top, lastRead_ + 1); row <= bottom; row = lastRead_ + 1) {
            const std::int64_t ahead = std::min(row + static_cast<std::int64_t>(band_), height) - row;
            readBand(row, static_cast<std::size_t>(std::max<std::int64_t>(ahead, 1)));
        }
    }

    void readBand(std::int64_t row, std::size_t count) {
        const Axis& columns = job_.columns;
        const unsigned char* inputs[kBand];
        unsigned char* outputs[kBand];
        const bool direct = columns.sourceCount == columns.destinationCount;
        for (std::size_t i = 0; i < count; ++i, ++row) {
            const std::size_t slot = slotOf(row);
            Pixel* const place = ringPixels_.data() + slot * width_;
            outputs[i] = samples(place);
            inputs[i] = samples(reader_.read(row, direct ? place : scratch_.data() + i * columns.sourceCount));
            ring_[slot] = direct ? inputs[i] : outputs[i];
        }
        if (!direct) resampler_.run(outputs, inputs, count);
        lastRead_ = row - 1;
    }

    Rastrel& source_;
    const Job& job_;
    std::size_t band_;
    RowReader<Pixel> reader_;
    RowWriter<Pixel> writer_;
    std::uint64_t width_; ///< pixels of a destination row that are made
    bool streams_;        ///< the output is larger than the caches
    LineResampler resampler_;
    std::vector<const unsigned char*> ring_; ///< source row r, filtered, is at slot r mod size
    std::vector<RowWeights> windows_;        ///< of the rows that are written together
    std::vector<std::int64_t> outputs_;      ///< these rows
    std::vector<Pixel> buffers_;
    std::vector<const unsigned char*> lines_;
    std::vector<CombineJob> jobs_;
    std::vector<Pixel> ringPixels_;
    std::vector<Pixel> scratch_;
    std::int64_t lastRead_ = -1;
};

} // namespace
} // namespace rastrel

bool Rastrel::StretchBlt(Rastrel& destination, long dx1, long dx2, long dy1, long dy2, long sx1, long sx2, long sy1,
                         long sy2, unsigned char filterType, double parameter) {
    using namespace rastrel;
    loadPixels(*this);
    loadPixels(destination);
    const FlagRestorer restoreX(mirrorX);
    const FlagRestorer restoreY(mirrorY);
    const Busy busy(busyCount);
    const Completion completion{Progress(progress)};
    // Beyond these, sums of coordinates would leave 64 bits; no image is there.
    constexpr std::int64_t kFarthest = std::int64_t{1} << 60;
    for (const long end : {dx1, dx2, dy1, dy2, sx1, sx2, sy1, sy2}) {
        if (end < -kFarthest || end > kFarthest) return true;
    }
    const std::int64_t lastColumn = static_cast<std::int64_t>(GetWidth()) - 1;
    const std::int64_t lastRow = static_cast<std::int64_t>(GetHeight()) - 1;
    // Equal ends count as rising for columns and as falling for rows.
    const bool flipX = (sx1 > sx2 && dx1 <= dx2) || (sx1 <= sx2 && dx1 > dx2);
    const bool flipY = (sy1 < sy2 && dy1 >= dy2) || (sy1 >= sy2 && dy1 < dy2);
    Job job{flipX ? Axis(lastColumn - sx1, lastColumn - sx2, dx1, dx2) : Axis(sx1, sx2, dx1, dx2),
            flipY ? Axis(lastRow - sy1, lastRow - sy2, dy1, dy2) : Axis(sy1, sy2, dy1, dy2),
            filterType,
            parameter,
            Progress(progress),
            Cancel(cancelRequested)};
    if (flipX) mirrorX = mirrorX == 0;
    if (flipY) mirrorY = mirrorY == 0;

    const auto extent = static_cast<std::int64_t>(std::max(destination.GetWidth(), destination.GetHeight()));
    job.columns.clip(extent);
    job.rows.clip(extent);
    job.columns.narrow();
    if (job.columns.first == job.columns.end ||
        job.columns.sourceCount > std::max(kMaxReflectedLine, static_cast<std::uint64_t>(GetWidth())))
        return true;
    const bool apart = this != &destination;
    const auto stretch = [&]<class Pixel>(Pixel) {
        const PlainBlock<Pixel> from = apart ? PlainBlock<Pixel>(*this, lineCache != nullptr) : PlainBlock<Pixel>();
        const PlainBlock<Pixel> to =
            apart ? PlainBlock<Pixel>(destination, destination.lineCache != nullptr) : PlainBlock<Pixel>();
        const bool unobserved = apart && typeid(*this) == typeid(Rastrel) && typeid(destination) == typeid(Rastrel);
        Stretch<Pixel>(*this, destination, from, to, unobserved ? kBand : 1, job).run();
    };
    try {
        if (movesAsGrey(colormodel))
            stretch(static_cast<unsigned char>(0));
        else
            stretch(pixel_argb8{});
    } catch (const std::exception&) {
        // What memory cannot be had for stays as it is: the call reports nothing but its end.
    }
    return true;
}
