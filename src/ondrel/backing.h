/// @file backing.h
/// What holds a block's bytes: memory or a temporary file.
#pragma once

#include <cstdint>
#include <memory>

namespace ondrel {

/// The bytes of one block. Callers check ranges: every position and size given here lies inside `size()`.
///
/// Threads: `read`, `write` on disjoint ranges, `inPlace`, `data` and `size` may run together; everything else needs
/// the backing for itself. Nothing throws; false and null mean that the system refused.
class Backing {
public:
    Backing() = default;
    Backing(const Backing&) = delete;
    Backing& operator=(const Backing&) = delete;
    virtual ~Backing() = default;

    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }
    [[nodiscard]] virtual bool swapped() const noexcept = 0;

    /// An empty backing with the same settings; null when there is no memory for the object.
    [[nodiscard]] virtual std::unique_ptr<Backing> emptyTwin() const noexcept = 0;
    /// New contents of `size` bytes, zero when `clear` is set. Empty afterwards when this fails.
    [[nodiscard]] virtual bool create(std::uint64_t size, bool clear) noexcept = 0;
    /// Releases the contents.
    virtual void drop() noexcept = 0;
    /// Grows with zero bytes or shrinks, to exactly `size`. Nothing changed when this fails.
    [[nodiscard]] virtual bool resize(std::uint64_t size) noexcept = 0;
    /// Grows to `size` with room for more; the new bytes are undefined. Nothing changed when this fails.
    [[nodiscard]] virtual bool extend(std::uint64_t size) noexcept = 0;

    [[nodiscard]] virtual bool read(std::uint64_t position, void* buffer, std::uint64_t size) const noexcept = 0;
    [[nodiscard]] virtual bool write(std::uint64_t position, const void* buffer, std::uint64_t size) noexcept = 0;
    /// All bytes, if they lie in the address space already; otherwise null.
    [[nodiscard]] virtual unsigned char* inPlace() const noexcept = 0;
    /// All bytes, brought into the address space. Null when empty or when the system refuses.
    [[nodiscard]] virtual unsigned char* data() noexcept = 0;
    /// Begins writing what the system still holds in its cache.
    virtual void flush() noexcept = 0;

protected:
    std::uint64_t size_ = 0;
};

[[nodiscard]] std::unique_ptr<Backing> newMemoryBacking() noexcept;
/// `resident`: bytes at the front of the file that are kept mapped.
[[nodiscard]] std::unique_ptr<Backing> newFileBacking(std::uint64_t resident) noexcept;
/// Changes the limit of a backing made by `newFileBacking`.
void setResident(Backing& fileBacking, std::uint64_t resident) noexcept;

/// The capacity to ask for when a backing of `capacity` bytes must hold `needed`: doubles, by at most `largestStep`.
[[nodiscard]] std::uint64_t grownCapacity(std::uint64_t capacity, std::uint64_t needed,
                                          std::uint64_t largestStep) noexcept;

} // namespace ondrel
