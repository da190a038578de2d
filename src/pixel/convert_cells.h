/// @file convert_cells.h
/// One run routine for each pair of layouts, and the sets of them that instruction sets bring.
#pragma once

#include <array>
#include <cstddef>

#include "pixel/pixel_layout.h"

namespace rastrel {

/// Converts `count` pixels; a count of 0 does nothing. The buffers may have any alignment and may not overlap. Bits of
/// a 1-bit destination's last byte that lie behind the run are kept.
using ConvertRun = void (*)(void* destination, const void* source, std::size_t count) noexcept;

/// cells[source][destination], both in the order of `Layouts`.
using ConvertTable = std::array<std::array<ConvertRun, Layouts::size>, Layouts::size>;

/// Makes the table of `Cell<Source, Destination>::run`.
template <template <class, class> class Cell>
struct ConvertTableOf {
    template <class Source, class... Destination>
    static constexpr auto row(LayoutList<Destination...>) noexcept {
        return std::array<ConvertRun, sizeof...(Destination)>{&Cell<Source, Destination>::run...};
    }
    template <class... Source>
    static constexpr ConvertTable all(LayoutList<Source...> layouts) noexcept {
        return {row<Source>(layouts)...};
    }
};

namespace baseline {
/// Plain loops: the reference for every other set, and what converts the last few pixels of their runs.
extern const ConvertTable kConvertCells;
} // namespace baseline

namespace avx2 {
/// Eight pixels at a time in 256-bit registers; null in builds for other processors. Call its cells only on a machine
/// with AVX2.
[[nodiscard]] const ConvertTable* convertCells() noexcept;
} // namespace avx2

} // namespace rastrel
