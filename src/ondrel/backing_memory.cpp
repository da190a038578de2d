#include "ondrel/backing.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "ondrel/kept_pages.h"

namespace ondrel {
namespace {

/// From this size on a block takes pages from the system, below it uses the C heap.
constexpr std::uint64_t kPageBlock = kLargePage;
constexpr std::uint64_t kSmallestGrowth = 64;
constexpr std::uint64_t kLargest = static_cast<std::uint64_t>(std::numeric_limits<std::ptrdiff_t>::max());

/// Memory of one block, from the heap or in pages.
struct Chunk {
    unsigned char* address = nullptr;
    std::uint64_t bytes = 0;
    /// Bytes from here on are known to be zero.
    std::uint64_t zeroFrom = 0;
    bool inPages = false;
};

Chunk takeHeap(std::uint64_t bytes, bool clear) {
    const auto allocate = [&] { return clear ? std::calloc(1, bytes) : std::malloc(bytes); };
    void* address = allocate();
    if (address == nullptr && dropKeptPages()) address = allocate();
    if (address == nullptr) return {};
    return {static_cast<unsigned char*>(address), bytes, clear ? 0 : bytes, false};
}

/// At least `bytes` bytes, the first `bytes` of them zero when `clear` is set; a null address when there are none.
Chunk takeChunk(std::uint64_t bytes, bool clear) {
    if (bytes > kLargest) return {};
    if (bytes < kPageBlock) return takeHeap(bytes, clear);
    const TakenPages taken = takePages(bytes);
    if (taken.pages.address == nullptr) return {};
    Chunk chunk{taken.pages.address, taken.pages.bytes, taken.zeroed ? 0 : taken.pages.bytes, true};
    if (clear && !taken.zeroed) std::memset(chunk.address, 0, bytes);
    return chunk;
}

void giveChunk(const Chunk& chunk) {
    if (chunk.inPages) {
        givePages({chunk.address, chunk.bytes});
    } else {
        std::free(chunk.address);
    }
}

class MemoryBacking final : public Backing {
public:
    ~MemoryBacking() override { giveChunk(chunk_); }

    [[nodiscard]] bool swapped() const noexcept override { return false; }
    [[nodiscard]] std::unique_ptr<Backing> emptyTwin() const noexcept override { return newMemoryBacking(); }
    [[nodiscard]] bool create(std::uint64_t size, bool clear) noexcept override;
    void drop() noexcept override { replaceChunk({}, 0); }
    [[nodiscard]] bool resize(std::uint64_t size) noexcept override;
    [[nodiscard]] bool extend(std::uint64_t size) noexcept override;

    [[nodiscard]] bool read(std::uint64_t position, void* buffer, std::uint64_t size) const noexcept override {
        if (size != 0) std::memcpy(buffer, chunk_.address + position, size);
        return true;
    }
    // The source may be a part of this very block.
    [[nodiscard]] bool write(std::uint64_t position, const void* buffer, std::uint64_t size) noexcept override {
        if (size != 0) std::memmove(chunk_.address + position, buffer, size);
        return true;
    }
    [[nodiscard]] unsigned char* inPlace() const noexcept override { return size_ == 0 ? nullptr : chunk_.address; }
    [[nodiscard]] unsigned char* data() noexcept override { return inPlace(); }
    void flush() noexcept override {}

private:
    void replaceChunk(const Chunk& chunk, std::uint64_t size) {
        giveChunk(chunk_);
        chunk_ = chunk;
        setSize(size);
    }
    /// Whoever sees the block may write all of it.
    void setSize(std::uint64_t size) {
        size_ = size;
        chunk_.zeroFrom = std::max(chunk_.zeroFrom, size);
    }
    [[nodiscard]] bool setCapacity(std::uint64_t capacity);
    void giveBackSurplus();

    Chunk chunk_;
};

bool MemoryBacking::create(std::uint64_t size, bool clear) noexcept {
    if (size == 0) {
        drop();
        return true;
    }
    // Memory that was in use is cleared several times faster than fresh memory is faulted in.
    const bool fits = size <= chunk_.bytes && chunk_.bytes - size <= size / 4;
    if (fits && chunk_.address != nullptr) {
        if (clear) std::memset(chunk_.address, 0, std::min(size, chunk_.zeroFrom));
        setSize(size);
        return true;
    }
    drop();
    const Chunk chunk = takeChunk(size, clear);
    if (chunk.address == nullptr) return false;
    replaceChunk(chunk, size);
    return true;
}

/// Moves the contents to a chunk of at least `capacity` bytes.
bool MemoryBacking::setCapacity(std::uint64_t capacity) {
    if (!chunk_.inPages && capacity < kPageBlock) {
        void* const moved = std::realloc(chunk_.address, capacity);
        if (moved == nullptr) return false;
        chunk_ = {static_cast<unsigned char*>(moved), capacity, capacity, false};
        return true;
    }
    Chunk chunk = takeChunk(capacity, false);
    if (chunk.address == nullptr) return false;
    const std::uint64_t front = std::min(size_, capacity);
    if (front != 0) std::memcpy(chunk.address, chunk_.address, front);
    replaceChunk(chunk, front);
    return true;
}

bool MemoryBacking::resize(std::uint64_t size) noexcept {
    if (size == 0) {
        drop();
        return true;
    }
    if (size > chunk_.bytes && !setCapacity(size)) return false;
    if (size > size_) {
        const std::uint64_t dirtyEnd = std::min(size, chunk_.zeroFrom);
        if (dirtyEnd > size_) std::memset(chunk_.address + size_, 0, dirtyEnd - size_);
    }
    setSize(size);
    giveBackSurplus();
    return true;
}

/// After shrinking to less than half, the rest goes back to the system.
void MemoryBacking::giveBackSurplus() {
    if (chunk_.bytes < kSmallestGrowth || size_ > chunk_.bytes / 2) return;
    if (chunk_.inPages && size_ >= kPageBlock) {
        Pages pages{chunk_.address, chunk_.bytes};
        trimPages(pages, size_);
        chunk_.bytes = pages.bytes;
        chunk_.zeroFrom = std::min(chunk_.zeroFrom, chunk_.bytes);
    } else {
        // Without memory for the smaller copy the block stays where it is, which is right as well.
        static_cast<void>(setCapacity(size_));
    }
}

bool MemoryBacking::extend(std::uint64_t size) noexcept {
    if (size > chunk_.bytes) {
        const std::uint64_t roomy = grownCapacity(std::max(chunk_.bytes, kSmallestGrowth / 2), size, kLargest);
        if (!setCapacity(roomy) && !setCapacity(size)) return false;
    }
    setSize(size);
    return true;
}

} // namespace

std::unique_ptr<Backing> newMemoryBacking() noexcept {
    return std::unique_ptr<Backing>(new (std::nothrow) MemoryBacking);
}

std::uint64_t grownCapacity(std::uint64_t capacity, std::uint64_t needed, std::uint64_t largestStep) noexcept {
    const std::uint64_t step = std::min(capacity, largestStep);
    if (capacity > kLargest - step) return needed;
    return std::max(needed, capacity + step);
}

} // namespace ondrel
