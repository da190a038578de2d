#include "formats/psb_planes.h"

#include "platform/cpu.h"

namespace rastrel {
namespace {

template <std::size_t Size>
void copySwapped(const unsigned char* from, unsigned char* to) {
    for (std::size_t i = 0; i < Size; ++i)
        to[i] = from[Size - 1 - i];
}

template <std::size_t Channels, std::size_t Size>
void gather(const unsigned char* pixels, std::size_t position, std::size_t count, unsigned char* plane) {
    pixels += position * Size;
    for (std::size_t i = 0; i < count; ++i)
        copySwapped<Size>(pixels + i * Channels * Size, plane + i * Size);
}

template <std::size_t Channels, std::size_t Size>
void merge(const unsigned char* const* planes, std::size_t count, unsigned char* pixels) {
    for (std::size_t i = 0; i < count; ++i)
        for (std::size_t c = 0; c < Channels; ++c)
            copySwapped<Size>(planes[Channels - 1 - c] + i * Size, pixels + (i * Channels + c) * Size);
}

} // namespace

const PlaneKernelSet kPlanesBaseline{"baseline",
                                     {{{&gather<1, 1>, &merge<1, 1>}, {&gather<1, 2>, &merge<1, 2>}},
                                      {{&gather<3, 1>, &merge<3, 1>}, {&gather<3, 2>, &merge<3, 2>}},
                                      {{&gather<4, 1>, &merge<4, 1>}, {&gather<4, 2>, &merge<4, 2>}}}};

std::span<const PlaneKernelSet* const> availablePlaneKernels() noexcept {
    static constexpr const PlaneKernelSet* kAll[] = {&kPlanesAvx2, &kPlanesBaseline};
    return std::span(kAll).subspan(cpuFeatures().avx2 ? 0 : 1);
}

const PlaneKernelSet& planeKernels() noexcept { return *availablePlaneKernels().front(); }

} // namespace rastrel
