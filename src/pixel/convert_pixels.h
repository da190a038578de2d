/// @file convert_pixels.h
/// Runs of pixels from one colour model into another. The rules are told in docs/color_models.md.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "pixel/convert_cells.h"

namespace rastrel {

/// Converts a run of pixels; a count of 0 converts one. The order flags are the component-order flags of the two
/// buffers (set: channels in reversed order). The buffers may have any alignment, hold at least `count` pixels and do
/// not overlap. Writes nothing when a code is not one of the fourteen that convert. Cannot fail.
void ConvertPixels(void* destination, unsigned char destinationModel, const void* source, unsigned char sourceModel,
                   bool sourceOrder, bool destinationOrder, std::size_t count);

/// The routine that ConvertPixels would run, for callers with many runs of one kind; null when a code does not convert.
/// Its count is taken as it is.
[[nodiscard]] ConvertRun selectConvert(unsigned char destinationModel, unsigned char sourceModel, bool sourceOrder,
                                       bool destinationOrder) noexcept;

/// All cells as one instruction set has them.
struct ConvertKernelSet {
    std::string_view name;
    const ConvertTable* cells;

    /// As the free function of this name.
    [[nodiscard]] ConvertRun selectConvert(unsigned char destinationModel, unsigned char sourceModel, bool sourceOrder,
                                           bool destinationOrder) const noexcept;
};

/// The sets that this machine can run, the plain one first. The last one is in use.
[[nodiscard]] std::span<const ConvertKernelSet> availableConvertKernels() noexcept;

} // namespace rastrel
