#include "platform/file.h"

#include "rastrel/platform.h"

namespace rastrel {

bool seek(std::FILE* stream, std::int64_t offset, int origin) noexcept {
    return stream != nullptr && _fseeki64(stream, offset, origin) == 0;
}

std::int64_t tell(std::FILE* stream) noexcept { return stream == nullptr ? -1 : _ftelli64(stream); }

std::int64_t sizeBySeeking(std::FILE* stream) noexcept {
    const std::int64_t position = tell(stream);
    if (position < 0 || !seek(stream, 0, SEEK_END)) return -1;
    const std::int64_t size = tell(stream);
    return seek(stream, position) ? size : -1;
}

std::size_t readFromPosition(std::FILE* stream, std::int64_t offset, void* buffer, std::size_t size) noexcept {
    const bool placed = stream != nullptr && (tell(stream) == offset || seek(stream, offset));
    return placed ? std::fread(buffer, 1, size, stream) : 0;
}

} // namespace rastrel
