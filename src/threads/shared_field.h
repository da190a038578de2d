/// @file shared_field.h
/// Plain fields that two threads share.
#pragma once

#include <atomic>

namespace rastrel {

template <class T>
[[nodiscard]] T load(T& field) noexcept {
    return std::atomic_ref(field).load();
}
template <class T>
void store(T& field, T value) noexcept {
    std::atomic_ref(field).store(value);
}
/// Stores a value and returns the one before.
template <class T>
[[nodiscard]] T take(T& field, T value = T{}) noexcept {
    return std::atomic_ref(field).exchange(value);
}

} // namespace rastrel
