#include "ondrel/pages.h"

#include <limits>
#include <sys/mman.h>
#include <unistd.h>

namespace ondrel {
namespace {

std::uint64_t roundUp(std::uint64_t bytes, std::uint64_t unit) { return (bytes + unit - 1) / unit * unit; }

std::uint64_t pageSize() {
    static const std::uint64_t size = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    return size;
}

/// A started large page costs as much as a whole one, but its 512 small pages cost far more to fault in one by one:
/// round up as long as that wastes at most an eighth.
std::uint64_t mappedSize(std::uint64_t bytes) {
    const std::uint64_t large = roundUp(bytes, kLargePage);
    return large - bytes <= bytes / 8 ? large : roundUp(bytes, pageSize());
}

unsigned char* mapAnonymous(std::uint64_t bytes) {
    void* const address = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return address == MAP_FAILED ? nullptr : static_cast<unsigned char*>(address);
}

} // namespace

Pages mapPages(std::uint64_t bytes) noexcept {
    if (bytes == 0 || bytes > static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) - 2 * kLargePage) {
        return {};
    }
    const std::uint64_t wanted = mappedSize(bytes);
    // The kernel aligns to small pages only: map more than is wanted and give back both ends.
    if (unsigned char* const start = mapAnonymous(wanted + kLargePage); start != nullptr) {
        const std::uint64_t front = (kLargePage - reinterpret_cast<std::uintptr_t>(start) % kLargePage) % kLargePage;
        if (front != 0) munmap(start, front);
        if (front != kLargePage) munmap(start + front + wanted, kLargePage - front);
        madvise(start + front, wanted, MADV_HUGEPAGE);
        return {start + front, wanted};
    }
    const std::uint64_t tight = roundUp(bytes, pageSize());
    unsigned char* const start = mapAnonymous(tight);
    return start == nullptr ? Pages{} : Pages{start, tight};
}

void unmapPages(Pages pages) noexcept {
    if (pages.address != nullptr) munmap(pages.address, pages.bytes);
}

void trimPages(Pages& pages, std::uint64_t bytes) noexcept {
    const std::uint64_t kept = roundUp(bytes, pageSize());
    if (kept == 0 || kept >= pages.bytes) return;
    if (munmap(pages.address + kept, pages.bytes - kept) == 0) pages.bytes = kept;
}

void markIdle(Pages pages) noexcept { madvise(pages.address, pages.bytes, MADV_FREE); }

} // namespace ondrel
