#include "platform/path_posix.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>

#include "platform/file.h"

namespace rastrel {
namespace {

// A byte that belongs to no UTF-8 sequence travels as a lone low surrogate, which no valid text holds.
constexpr std::uint32_t kByteEscape = 0xDC00;

void useSlashes(char* path) noexcept { std::replace(path, path + std::strlen(path), '\\', '/'); }

/// Appends the UTF-8 form of a code point; null when it has none.
char* encode(char* to, std::uint32_t code) noexcept {
    const auto put = [&to](std::uint32_t byte) { *to++ = static_cast<char>(static_cast<unsigned char>(byte)); };
    if (code >= kByteEscape + 0x80 && code <= kByteEscape + 0xFF) {
        put(code - kByteEscape);
    } else if ((code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF) {
        return nullptr;
    } else if (code < 0x80) {
        put(code);
    } else if (code < 0x800) {
        put(0xC0 | code >> 6);
        put(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        put(0xE0 | code >> 12);
        put(0x80 | (code >> 6 & 0x3F));
        put(0x80 | (code & 0x3F));
    } else {
        put(0xF0 | code >> 18);
        put(0x80 | (code >> 12 & 0x3F));
        put(0x80 | (code >> 6 & 0x3F));
        put(0x80 | (code & 0x3F));
    }
    return to;
}

/// The code point at the front of a terminated text, and how many bytes it takes; a byte that starts no shortest-form
/// sequence is escaped alone.
std::uint32_t decode(const unsigned char* from, std::size_t& length) noexcept {
    const std::uint32_t lead = from[0];
    length = lead < 0x80 ? 1 : lead >= 0xC2 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
    if (length == 1) return lead;
    if (lead < 0xC2) length = 0;
    std::uint32_t code = length == 2 ? lead & 0x1F : length == 3 ? lead & 0x0F : lead & 0x07;
    for (std::size_t i = 1; i < length; ++i) {
        if ((from[i] & 0xC0) != 0x80) {
            length = 0;
            break;
        }
        code = code << 6 | (from[i] & 0x3FU);
    }
    const bool shortest = length == 2 || (length == 3 && code >= 0x800) || (length == 4 && code >= 0x10000);
    if (shortest && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF)) return code;
    length = 1;
    return kByteEscape + lead;
}

} // namespace

CHeapText systemPath(const char* path) noexcept {
    if (path == nullptr) return nullptr;
    CHeapText copy(strdup(path));
    if (copy) useSlashes(copy.get());
    return copy;
}

CHeapText systemPath(const wchar_t* path) noexcept {
    if (path == nullptr) return nullptr;
    const std::size_t characters = std::wcslen(path);
    CHeapText bytes(static_cast<char*>(std::malloc(characters * 4 + 1)));
    if (!bytes) return nullptr;
    char* end = bytes.get();
    for (std::size_t i = 0; i < characters; ++i) {
        end = encode(end, static_cast<std::uint32_t>(path[i]));
        if (end == nullptr) return nullptr;
    }
    *end = '\0';
    useSlashes(bytes.get());
    return bytes;
}

wchar_t* widenPath(const char* path) noexcept {
    if (path == nullptr) return nullptr;
    const std::size_t bytes = std::strlen(path);
    auto* wide = static_cast<wchar_t*>(std::malloc((bytes + 1) * sizeof(wchar_t)));
    if (wide == nullptr) return nullptr;
    const auto* from = reinterpret_cast<const unsigned char*>(path);
    wchar_t* to = wide;
    for (std::size_t length = 0; *from != 0; from += length)
        *to++ = static_cast<wchar_t>(decode(from, length));
    *to = L'\0';
    return wide;
}

} // namespace rastrel
