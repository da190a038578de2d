/// @file guarded_buffer.h
/// A buffer with marked bytes on both sides.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <vector>

/// `count` elements between two bands of guard bytes. The elements start with the guard pattern as well, so that what a
/// routine leaves alone can be told from what it writes.
template <class Element>
class GuardedBuffer {
public:
    explicit GuardedBuffer(std::size_t count) : count_(count), bytes_(count * sizeof(Element) + 2 * kBand, kGuard) {}

    [[nodiscard]] Element* data() { return reinterpret_cast<Element*>(bytes_.data() + kBand); }
    [[nodiscard]] std::vector<Element> contents() const {
        std::vector<Element> copy(count_);
        if (count_ != 0) std::memcpy(copy.data(), bytes_.data() + kBand, count_ * sizeof(Element));
        return copy;
    }
    /// No byte before or behind the elements has changed.
    [[nodiscard]] bool intact() const {
        const auto untouched = [](unsigned char byte) { return byte == kGuard; };
        return std::all_of(bytes_.begin(), bytes_.begin() + kBand, untouched) &&
               std::all_of(bytes_.end() - kBand, bytes_.end(), untouched);
    }
    /// Nothing was written at all.
    [[nodiscard]] bool untouched() const {
        return std::all_of(bytes_.begin(), bytes_.end(), [](unsigned char byte) { return byte == kGuard; });
    }

private:
    static constexpr std::ptrdiff_t kBand = 64;
    static constexpr unsigned char kGuard = 0xA5;
    std::size_t count_;
    std::vector<unsigned char> bytes_;
};
