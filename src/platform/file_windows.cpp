#include <cstdlib>

#include "platform/file.h"
#include "rastrel/platform.h"

namespace rastrel {

std::FILE* openFile(const char* path, OpenMode mode) noexcept {
    if (path == nullptr) return nullptr;
    return _fsopen(path, mode == OpenMode::kWrite ? "wb" : "rb",
                   mode == OpenMode::kReadDenyWrite ? _SH_DENYWR : _SH_DENYNO);
}

std::FILE* openFile(const wchar_t* path, OpenMode mode) noexcept {
    if (path == nullptr) return nullptr;
    return _wfsopen(path, mode == OpenMode::kWrite ? L"wb" : L"rb",
                    mode == OpenMode::kReadDenyWrite ? _SH_DENYWR : _SH_DENYNO);
}

wchar_t* widenPath(const char* path) noexcept {
    if (path == nullptr) return nullptr;
    const int units = MultiByteToWideChar(CP_ACP, 0, path, -1, nullptr, 0);
    if (units <= 0) return nullptr;
    auto* wide = static_cast<wchar_t*>(std::malloc(static_cast<std::size_t>(units) * sizeof(wchar_t)));
    if (wide != nullptr) MultiByteToWideChar(CP_ACP, 0, path, -1, wide, units);
    return wide;
}

std::int64_t fileSize(std::FILE* stream) noexcept { return sizeBySeeking(stream); }

std::size_t readAt(std::FILE* stream, std::int64_t offset, void* buffer, std::size_t size) noexcept {
    return readFromPosition(stream, offset, buffer, size);
}

} // namespace rastrel
