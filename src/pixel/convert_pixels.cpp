#include "pixel/convert_pixels.h"

#include <algorithm>

namespace rastrel {
namespace {

constexpr ConvertKernelSet kKernelSets[] = {{"baseline", &baseline::kConvertCells}};

} // namespace

std::span<const ConvertKernelSet> availableConvertKernels() noexcept { return kKernelSets; }

ConvertRun ConvertKernelSet::selectConvert(unsigned char destinationModel, unsigned char sourceModel, bool sourceOrder,
                                           bool destinationOrder) const noexcept {
    const std::size_t from = layoutIndex(sourceModel, sourceOrder);
    const std::size_t to = layoutIndex(destinationModel, destinationOrder);
    return from == kNoLayout || to == kNoLayout ? nullptr : (*cells)[from][to];
}

ConvertRun selectConvert(unsigned char destinationModel, unsigned char sourceModel, bool sourceOrder,
                         bool destinationOrder) noexcept {
    return availableConvertKernels().back().selectConvert(destinationModel, sourceModel, sourceOrder, destinationOrder);
}

void ConvertPixels(void* destination, unsigned char destinationModel, const void* source, unsigned char sourceModel,
                   bool sourceOrder, bool destinationOrder, std::size_t count) {
    const ConvertRun run = selectConvert(destinationModel, sourceModel, sourceOrder, destinationOrder);
    if (run != nullptr) run(destination, source, std::max<std::size_t>(count, 1));
}

} // namespace rastrel
