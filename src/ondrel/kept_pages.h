/// @file kept_pages.h
/// Page runs that blocks have given back, kept for the next block.
///
/// Faulting in fresh memory in small pages costs several times the work that is then done on it, so the process keeps
/// up to `kKeptBytes` of released runs. All functions may be called from any thread at any time, also while static
/// objects are destroyed.
#pragma once

#include <cstdint>

#include "ondrel/pages.h"

namespace ondrel {

inline constexpr std::uint64_t kKeptBytes = std::uint64_t{256} << 20;

struct TakenPages {
    Pages pages;
    /// The pages come fresh from the system; otherwise they hold what their last owner left.
    bool zeroed = false;
};

/// A run of at least `bytes` bytes, kept or fresh; empty when the system refuses even after all kept runs are gone.
[[nodiscard]] TakenPages takePages(std::uint64_t bytes) noexcept;
/// Keeps the run, or returns it (or older ones) to the system when that would exceed the bound.
void givePages(Pages pages) noexcept;
/// Returns all kept runs to the system. False when there were none.
bool dropKeptPages() noexcept;
/// Bytes that are kept now.
[[nodiscard]] std::uint64_t keptBytes() noexcept;

} // namespace ondrel
