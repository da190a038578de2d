#include "pixel/convert_pixels.h"

#include <algorithm>
#include <array>

#include "platform/cpu.h"

namespace rastrel {
namespace {

struct KernelList {
    std::array<ConvertKernelSet, 2> sets;
    std::size_t count;
};

KernelList listKernels() noexcept {
    KernelList list{{{{"baseline", &baseline::kConvertCells}}}, 1};
    const ConvertTable* wide = avx2::convertCells();
    if (wide != nullptr && cpuFeatures().avx2) list.sets[list.count++] = {"avx2", wide};
    return list;
}

} // namespace

std::span<const ConvertKernelSet> availableConvertKernels() noexcept {
    static const KernelList list = listKernels();
    return {list.sets.data(), list.count};
}

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
