/// @file maybe_null.h
/// Objects that a caller may have left null.
#pragma once

namespace rastrel {

/// The object's address as it really is. Compilers take `this` for never null and drop every test of it; hosts rely on
/// the answers that a null object gives.
template <class T>
[[nodiscard]] inline T* maybeNull(T* object) noexcept {
    asm("" : "+r"(object));
    return object;
}

} // namespace rastrel
