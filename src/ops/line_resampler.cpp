#include "ops/line_resampler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "ops/kernel_set.h"

namespace rastrel {
namespace {

/// Rows that pass through the kernels together.
constexpr std::size_t kBand = 8;

void resampleRows(unsigned char* const* destinations, const unsigned char* const* sources, std::size_t rowCount,
                  unsigned channels, const ResamplePlan& plan) {
    kernels().resampleRows8(destinations, sources, rowCount, channels, plan);
}
void resampleRows(unsigned short* const* destinations, const unsigned short* const* sources, std::size_t rowCount,
                  unsigned channels, const ResamplePlan& plan) {
    kernels().resampleRows16(destinations, sources, rowCount, channels, plan);
}

} // namespace

void LineResampler::plan(std::uint64_t firstOutput) {
    plan_.build(geometry_.sourceCount, geometry_.outputCount, filter_, firstOutput, geometry_.first + geometry_.count,
                kMaxPlannedWeights);
}

bool LineResampler::prepare(const LineGeometry& geometry, unsigned char filterType, double parameter) {
    geometry_ = geometry;
    filter_ = Filter(filterType, parameter);
    mode_ = geometry.sourceCount == geometry.outputCount ? Mode::copy
            : !filter_.kernel.hasKernel()                ? Mode::nearest
                                                         : Mode::filtered;
    if (mode_ != Mode::filtered) return true;
    if (std::isnan(filter_.lo)) return false;
    plan(geometry.first);
    return true;
}

template <class Sample>
void LineResampler::runNearest(Sample* destination, const Sample* source) const {
    const double ratio = static_cast<double>(geometry_.sourceCount) / static_cast<double>(geometry_.outputCount);
    const unsigned channels = geometry_.channels;
    for (std::uint64_t i = 0; i < geometry_.count; ++i) {
        const auto j = static_cast<std::uint64_t>(static_cast<double>(geometry_.first + i) * ratio);
        std::copy_n(source + std::min(j, geometry_.sourceCount - 1) * channels, channels, destination + i * channels);
    }
}

template <class Sample>
void LineResampler::run(Sample* const* destinations, const Sample* const* sources, std::size_t rowCount) {
    const unsigned channels = geometry_.channels;
    if (mode_ != Mode::filtered) {
        for (std::size_t row = 0; row < rowCount; ++row) {
            if (mode_ == Mode::nearest)
                runNearest(destinations[row], sources[row]);
            else
                std::memmove(destinations[row], sources[row] + geometry_.first * channels,
                             geometry_.count * channels * sizeof(Sample));
        }
        return;
    }
    if (plan_.firstOutput() != geometry_.first) plan(geometry_.first);
    for (std::uint64_t done = 0;;) {
        for (std::size_t band = 0; band < rowCount; band += kBand) {
            std::array<Sample*, kBand> parts{};
            const std::size_t rows = std::min(kBand, rowCount - band);
            for (std::size_t row = 0; row < rows; ++row)
                parts[row] = destinations[band + row] + done * channels;
            resampleRows(parts.data(), sources + band, rows, channels, plan_);
        }
        done += plan_.windows().size();
        if (done >= geometry_.count) return;
        plan(geometry_.first + done);
    }
}

template void LineResampler::run(unsigned char* const*, const unsigned char* const*, std::size_t);
template void LineResampler::run(unsigned short* const*, const unsigned short* const*, std::size_t);

} // namespace rastrel
