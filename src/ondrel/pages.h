/// @file pages.h
/// Memory taken from the system in whole pages. Each system has its own source file.
#pragma once

#include <cstdint>

namespace ondrel {

/// A run of pages; empty when `address` is null.
struct Pages {
    unsigned char* address = nullptr;
    std::uint64_t bytes = 0;
};

/// Alignment of page runs and size of the large pages that they ask for.
inline constexpr std::uint64_t kLargePage = std::uint64_t{2} << 20;

/// At least `bytes` zero bytes, aligned to `kLargePage` where the address space allows, in large pages where the system
/// gives them. Empty when the system refuses.
[[nodiscard]] Pages mapPages(std::uint64_t bytes) noexcept;
void unmapPages(Pages pages) noexcept;
/// Gives back what lies behind the first `bytes` bytes, as far as whole pages allow, and shortens `pages` accordingly.
void trimPages(Pages& pages, std::uint64_t bytes) noexcept;
/// Tells the system that the contents are no longer needed: it may take the memory away when it runs short. The pages
/// stay usable; until they are written again they hold anything.
void markIdle(Pages pages) noexcept;

} // namespace ondrel
