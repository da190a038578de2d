/// @file path_posix.h
/// Path strings between the wide form of the interface and the UTF-8 bytes of the file system.
#pragma once

#include <cstdlib>
#include <memory>

namespace rastrel {

struct CHeapDelete {
    void operator()(void* memory) const noexcept { std::free(memory); }
};
/// A terminated string on the C heap.
using CHeapText = std::unique_ptr<char, CHeapDelete>;

/// The bytes of a narrow path with `\` turned into `/`. Null for null or without memory.
[[nodiscard]] CHeapText systemPath(const char* path) noexcept;
/// A wide path as UTF-8 with `\` turned into `/`. Null for null, without memory, or when a code point has no UTF-8
/// form. U+DC80..U+DCFF stand for single bytes 0x80..0xFF that are not UTF-8, as `widenPath` makes them.
[[nodiscard]] CHeapText systemPath(const wchar_t* path) noexcept;

} // namespace rastrel
