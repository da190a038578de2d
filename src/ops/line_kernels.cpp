#include "ops/line_kernels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <exception>
#include <vector>

#include "ops/kernel_set.h"
#include "ops/line_resampler.h"
#include "ops/low_pass_weights.h"
#include "ops/resample_plan.h"
#include "ops/row_smoother.h"
#include "rastrel/pixel.h"

namespace rastrel {
namespace {

/// What the routines along a line need to know of a colour model; no channels for a code that they do not take.
struct LineModel {
    unsigned channels;
    unsigned bytesPerSample;
};

constexpr LineModel lineModel(unsigned char code) noexcept {
    switch (code) {
    case CM_GREY8:
    case CM_COLOR8:
        return {1, 1};
    case CM_RGB8:
        return {3, 1};
    case CM_ARGB8:
    case CM_RGBA8:
        return {4, 1};
    case CM_GREY16:
    case CM_COLOR16:
        return {1, 2};
    case CM_RGB16:
        return {3, 2};
    case CM_ARGB16:
    case CM_RGBA16:
        return {4, 2};
    default:
        return {0, 0};
    }
}

template <class Sample>
bool resampleLine(Sample* destination, std::uint64_t destinationCount, const Sample* source, std::uint64_t sourceCount,
                  unsigned channels, unsigned char filterType, double parameter) {
    if (destination == nullptr || source == nullptr || sourceCount == 0 || channels == 0) return false;
    try {
        LineResampler resampler;
        const LineGeometry geometry{sourceCount, destinationCount, 0, destinationCount, channels};
        if (!resampler.prepare(geometry, filterType, parameter)) return false;
        resampler.run(&destination, &source, 1);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

template <class Sample>
bool lowpassLine(Sample* destination, const Sample* source, std::uint64_t count, double width, unsigned char filterType,
                 unsigned channels, double parameter) {
    if (destination == nullptr || source == nullptr || channels == 0) return false;
    try {
        LowPassWeights kernel;
        if (!kernel.build(width, filterType, parameter)) return false;
        RowSmoother<Sample>().smooth(destination, source, count, channels, kernel);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

/// Whether the first `count` rows are there.
template <class Sample>
bool rowsGiven(const Sample* const* rows, std::size_t count) noexcept {
    return std::all_of(rows, rows + count, [](const Sample* row) { return row != nullptr; });
}

template <class Sample>
bool copyRow(Sample* destination, const Sample* const* rows, std::uint64_t sampleCount, std::int64_t firstRow,
             std::int64_t lastRow, double centre) {
    const double row = std::trunc(centre);
    if (!(row >= static_cast<double>(firstRow)) || !(row <= static_cast<double>(lastRow))) return false;
    const Sample* source = rows[static_cast<std::int64_t>(row) - firstRow];
    if (source == nullptr) return false;
    std::memmove(destination, source, sampleCount * sizeof(Sample));
    return true;
}

template <class Sample>
bool resampleVertical(Sample* destination, const Sample* const* rows, std::uint64_t sampleCount, std::int64_t firstRow,
                      std::int64_t lastRow, double centre, double scale, unsigned char filterType, double parameter) {
    if (sampleCount == 0 || destination == nullptr || rows == nullptr) return false;
    const Filter filter(filterType, parameter);
    if (!filter.kernel.hasKernel() || scale == 1.0) {
        return copyRow(destination, rows, sampleCount, firstRow, lastRow, centre);
    }
    try {
        RowWeights window;
        RememberingKernel kernel(filter);
        if (!window.build(firstRow, lastRow, centre, scale, kernel)) return false;
        if (!rowsGiven(rows, window.weights.size())) return false;
        if constexpr (sizeof(Sample) == 1) {
            const CombineJob job{destination, 0, &window};
            kernels().combineRows8({&job, 1}, rows, window.weights.size(), sampleCount);
        } else {
            kernels().combineRows16(destination, rows, sampleCount, window.weights);
        }
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

template <class Sample>
bool lowpassVertical(Sample* destination, const Sample* const* rows, std::uint64_t sampleCount, std::uint64_t rowCount,
                     double width, unsigned char filterType, double parameter) {
    if (sampleCount == 0 || destination == nullptr || rows == nullptr) return false;
    try {
        TapRange taps;
        if (!lowPassTaps(taps, width, filterType, parameter)) return false;
        if (static_cast<std::uint64_t>(taps.count()) > rowCount) return false;
        LowPassWeights kernel;
        if (!kernel.build(width, filterType, parameter) || !rowsGiven(rows, kernel.weights.size())) return false;
        if constexpr (sizeof(Sample) == 1) {
            kernels().smoothColumns8({&destination, 1}, rows, sampleCount, fixedPointWeights(kernel.weights));
        } else {
            kernels().smoothColumns16(destination, rows, sampleCount, kernel.weights);
        }
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

bool resample(unsigned char* destination, std::uint64_t destinationCount, const unsigned char* source,
              std::uint64_t sourceCount, char colormodel, unsigned char filterType, double parameter) {
    if (destinationCount == 0) return true;
    const LineModel model = lineModel(static_cast<unsigned char>(colormodel));
    if (model.bytesPerSample == 2) {
        return resample(reinterpret_cast<unsigned short*>(destination), destinationCount,
                        reinterpret_cast<const unsigned short*>(source), sourceCount, colormodel, filterType,
                        parameter);
    }
    return resampleLine(destination, destinationCount, source, sourceCount, model.channels, filterType, parameter);
}

bool resample(unsigned short* destination, std::uint64_t destinationCount, const unsigned short* source,
              std::uint64_t sourceCount, char colormodel, unsigned char filterType, double parameter) {
    if (destinationCount == 0) return true;
    const LineModel model = lineModel(static_cast<unsigned char>(colormodel));
    if (model.bytesPerSample == 1) {
        return resample(reinterpret_cast<unsigned char*>(destination), destinationCount,
                        reinterpret_cast<const unsigned char*>(source), sourceCount, colormodel, filterType, parameter);
    }
    return resampleLine(destination, destinationCount, source, sourceCount, model.channels, filterType, parameter);
}

bool lowpass(unsigned char* destination, const unsigned char* source, std::uint64_t count, double width,
             char filterType, unsigned char colormodel, double parameter) {
    if (count == 0) return true;
    const LineModel model = lineModel(colormodel);
    if (model.bytesPerSample == 2) {
        return lowpass(reinterpret_cast<unsigned short*>(destination), reinterpret_cast<const unsigned short*>(source),
                       count, width, filterType, colormodel, parameter);
    }
    return lowpassLine(destination, source, count, width, static_cast<unsigned char>(filterType), model.channels,
                       parameter);
}

bool lowpass(unsigned short* destination, const unsigned short* source, std::uint64_t count, double width,
             char filterType, unsigned char colormodel, double parameter) {
    if (count == 0) return true;
    const LineModel model = lineModel(colormodel);
    if (model.bytesPerSample == 1) {
        return lowpass(reinterpret_cast<unsigned char*>(destination), reinterpret_cast<const unsigned char*>(source),
                       count, width, filterType, colormodel, parameter);
    }
    return lowpassLine(destination, source, count, width, static_cast<unsigned char>(filterType), model.channels,
                       parameter);
}

bool resampleVertical8(unsigned char* destination, const unsigned char* const* rows, std::uint64_t sampleCount,
                       std::int64_t firstRow, std::int64_t lastRow, double centre, double scale,
                       unsigned char filterType, double parameter) {
    return resampleVertical(destination, rows, sampleCount, firstRow, lastRow, centre, scale, filterType, parameter);
}

bool resampleVertical16(unsigned short* destination, const unsigned short* const* rows, std::uint64_t sampleCount,
                        std::int64_t firstRow, std::int64_t lastRow, double centre, double scale,
                        unsigned char filterType, double parameter) {
    return resampleVertical(destination, rows, sampleCount, firstRow, lastRow, centre, scale, filterType, parameter);
}

bool lowpassVertical8(unsigned char* destination, const unsigned char* const* rows, std::uint64_t sampleCount,
                      std::uint64_t rowCount, double width, unsigned char filterType, double parameter) {
    return lowpassVertical(destination, rows, sampleCount, rowCount, width, filterType, parameter);
}

bool lowpassVertical16(unsigned short* destination, const unsigned short* const* rows, std::uint64_t sampleCount,
                       std::uint64_t rowCount, double width, unsigned char filterType, double parameter) {
    return lowpassVertical(destination, rows, sampleCount, rowCount, width, filterType, parameter);
}

} // namespace rastrel
