/// @file owned_text.h
/// Wide strings on the C heap, as the image's name is one.
#pragma once

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>

namespace rastrel {

struct FreeText {
    void operator()(wchar_t* text) const noexcept { std::free(text); }
};
/// A wide string allocated with `malloc`.
using OwnedText = std::unique_ptr<wchar_t, FreeText>;

/// A copy on the C heap; null for null and when memory cannot be had.
[[nodiscard]] inline OwnedText duplicateText(const wchar_t* text) noexcept {
    if (text == nullptr) return nullptr;
    const std::size_t bytes = (std::wcslen(text) + 1) * sizeof(wchar_t);
    auto* copy = static_cast<wchar_t*>(std::malloc(bytes));
    if (copy != nullptr) std::memcpy(copy, text, bytes);
    return OwnedText(copy);
}

} // namespace rastrel
