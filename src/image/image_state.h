/// @file image_state.h
/// The plain fields that a running operation shares with other threads, seen through atomics.
#pragma once

#include <atomic>
#include <cstdint>

namespace rastrel {

/// Raises a busy counter for its own lifetime.
class Busy {
public:
    explicit Busy(std::uint32_t& counter) noexcept : counter_(counter) {
        std::atomic_ref(counter_).fetch_add(1, std::memory_order_relaxed);
    }
    ~Busy() { std::atomic_ref(counter_).fetch_sub(1, std::memory_order_relaxed); }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;

private:
    std::uint32_t& counter_;
};

/// The per-mille progress value of an image.
class Progress {
public:
    explicit Progress(std::uint32_t& value) noexcept : value_(&value) {}
    void set(std::uint64_t perMille) const noexcept {
        std::atomic_ref(*value_).store(static_cast<std::uint32_t>(perMille), std::memory_order_relaxed);
    }
    /// `done` x 1000 / `total`; nothing for a total of 0.
    void set(std::uint64_t done, std::uint64_t total) const noexcept {
        if (total != 0) set(done * 1000 / total);
    }

private:
    std::uint32_t* value_;
};

/// The cancel request of an image.
class Cancel {
public:
    explicit Cancel(unsigned char& flag) noexcept : flag_(&flag) {}
    [[nodiscard]] bool requested() const noexcept {
        return std::atomic_ref(*flag_).load(std::memory_order_relaxed) != 0;
    }

private:
    unsigned char* flag_;
};

} // namespace rastrel
