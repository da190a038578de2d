/// @file handle_table_posix.h
/// Handle values for objects: a value that was closed is never valid again, nor one that was made up.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

namespace rastrel {

/// Maps handle values to owners of objects. A value is a slot number, a count of how often the slot was used, and the
/// kind of table in the low two bits, so that tables do not mistake each other's values. Not locked.
template <class Owner, unsigned Kind>
class HandleTable {
public:
    /// A new value for the object; null when the table cannot grow.
    [[nodiscard]] void* open(Owner object) noexcept {
        if (free_ == kNone && !grow()) return nullptr;
        const std::uint32_t index = free_;
        Slot& slot = slots_[index];
        free_ = slot.nextFree;
        slot.object = std::move(object);
        slot.used = true;
        return valueOf(index);
    }
    /// The owner behind a value; null for one that is not open.
    [[nodiscard]] Owner* find(void* value) noexcept {
        const auto bits = reinterpret_cast<std::uintptr_t>(value);
        const std::uint64_t index = (bits >> 2 & kIndexMask) - 1; // wraps to a huge index for slot number 0
        if (index >= slots_.size() || !slots_[index].used) return nullptr;
        return valueOf(static_cast<std::uint32_t>(index)) == value ? &slots_[index].object : nullptr;
    }
    /// Makes a value invalid and hands out what it owned; an empty owner for one that is not open.
    [[nodiscard]] Owner close(void* value) noexcept {
        if (find(value) == nullptr) return Owner{};
        const auto index = static_cast<std::uint32_t>((reinterpret_cast<std::uintptr_t>(value) >> 2 & kIndexMask) - 1);
        Slot& slot = slots_[index];
        slot.used = false;
        ++slot.generation;
        slot.nextFree = free_;
        free_ = index;
        return std::exchange(slot.object, Owner{});
    }

private:
    static constexpr unsigned kIndexBits = 24;
    static constexpr std::uint64_t kIndexMask = (1ULL << kIndexBits) - 1;
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    struct Slot {
        Owner object{};
        std::uint64_t generation = 1;
        std::uint32_t nextFree = kNone;
        bool used = false;
    };

    [[nodiscard]] void* valueOf(std::uint32_t index) const noexcept {
        const std::uint64_t bits = slots_[index].generation << kIndexBits | (index + 1);
        return reinterpret_cast<void*>(static_cast<std::uintptr_t>(bits << 2 | Kind));
    }
    [[nodiscard]] bool grow() noexcept {
        if (slots_.size() + 1 >= kIndexMask) return false;
        try {
            slots_.emplace_back();
        } catch (const std::bad_alloc&) {
            return false;
        }
        free_ = static_cast<std::uint32_t>(slots_.size() - 1);
        return true;
    }

    std::vector<Slot> slots_;
    std::uint32_t free_ = kNone;
};

} // namespace rastrel
