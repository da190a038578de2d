/// @file line_resampler.h
/// Resampling of many lines of one geometry.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ops/resample_plan.h"

namespace rastrel {

/// The geometry of turning lines of `sourceCount` pixels into lines of `outputCount`, and the part of the outputs that
/// is wanted.
struct LineGeometry {
    std::uint64_t sourceCount; ///< at least 1
    std::uint64_t outputCount; ///< at least 1
    std::uint64_t first;       ///< first wanted output
    std::uint64_t count;       ///< wanted outputs, at least 1
    unsigned channels;         ///< samples a pixel: 1, 3 or 4
};

/// Turns lines into lines with weights that are computed once, unless there are too many to keep.
class LineResampler {
public:
    /// False for a lobe count that is no number. Throws std::bad_alloc.
    [[nodiscard]] bool prepare(const LineGeometry& geometry, unsigned char filterType, double parameter);

    /// `rowCount` lines: `destinations[r]` receives the wanted outputs of the whole source line `sources[r]`.
    /// Samples are `unsigned char` or `unsigned short`. Throws std::bad_alloc, before anything is written, unless all
    /// weights are kept.
    template <class Sample>
    void run(Sample* const* destinations, const Sample* const* sources, std::size_t rowCount);

private:
    enum class Mode : std::uint8_t { copy, nearest, filtered };

    template <class Sample>
    void runNearest(Sample* destination, const Sample* source) const;
    void plan(std::uint64_t firstOutput);

    LineGeometry geometry_{};
    Filter filter_{0, 0.0};
    Mode mode_ = Mode::copy;
    ResamplePlan plan_;
};

} // namespace rastrel
