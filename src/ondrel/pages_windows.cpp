#include "ondrel/pages.h"

#include <limits>
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace ondrel {
namespace {

constexpr std::uint64_t kPage = 4096;

std::uint64_t roundUp(std::uint64_t bytes) { return (bytes + kPage - 1) / kPage * kPage; }

} // namespace

// Large pages need a privilege that hosts do not have, so page runs stay as the system aligns them (64 KiB).
Pages mapPages(std::uint64_t bytes) noexcept {
    if (bytes == 0 || bytes > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) - kPage) return {};
    const std::uint64_t wanted = roundUp(bytes);
    void* const address = VirtualAlloc(nullptr, wanted, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
    return address == nullptr ? Pages{} : Pages{static_cast<unsigned char*>(address), wanted};
}

void unmapPages(Pages pages) noexcept {
    if (pages.address != nullptr) VirtualFree(pages.address, 0, MEM_RELEASE);
}

void trimPages(Pages& pages, std::uint64_t bytes) noexcept {
    const std::uint64_t kept = roundUp(bytes);
    if (kept == 0 || kept >= pages.bytes) return;
    // The address range stays reserved until the run is released; its memory is free at once.
    if (VirtualFree(pages.address + kept, pages.bytes - kept, MEM_DECOMMIT)) pages.bytes = kept;
}

// MEM_RESET keeps the pages in the working set and only spares the system writing them to its paging file.
void markIdle(Pages pages) noexcept { VirtualAlloc(pages.address, pages.bytes, MEM_RESET, PAGE_READWRITE); }

} // namespace ondrel
