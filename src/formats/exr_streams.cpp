/// @file exr_streams.cpp
/// C streams as the OpenEXR library wants them.
#include "formats/exr_streams.h"

#include <cstddef>
#include <cstring>
#include <stdexcept>

#include "platform/file.h"

namespace rastrel {

namespace {

std::uint64_t positionOf(std::FILE* stream) noexcept {
    const std::int64_t position = stream == nullptr ? 0 : tell(stream);
    return position < 0 ? 0 : static_cast<std::uint64_t>(position);
}

} // namespace

exrIStream::exrIStream(std::FILE* stream)
    : IStream(""), stream_(stream), start_(static_cast<std::int64_t>(positionOf(stream))) {}

exrIStream::~exrIStream() {
    // A stream that can no longer be positioned leaves nothing to restore.
    if (stream_ != nullptr) static_cast<void>(seek(stream_, start_));
}

bool exrIStream::read(char* buffer, int size) {
    lastBlock_ = size;
    if (size <= 0) {
        if (size < 0 || pixels_) cutShort_ = true;
        return false;
    }
    const auto wanted = static_cast<std::size_t>(size);
    const std::size_t got = stream_ == nullptr || atEnd_ ? 0 : std::fread(buffer, 1, wanted, stream_);
    if (got == wanted) return true;
    std::memset(buffer + got, 0, wanted - got);
    cutShort_ = true;
    atEnd_ = true;
    return false;
}

std::uint64_t exrIStream::tellg() { return positionOf(stream_); }

void exrIStream::seekg(std::uint64_t position) {
    if (stream_ == nullptr) return;
    atEnd_ = position > INT64_MAX || !seek(stream_, static_cast<std::int64_t>(position));
}

void exrIStream::clear() {
    if (stream_ != nullptr) std::clearerr(stream_);
}

exrOStream::exrOStream(std::FILE* stream) : OStream(""), stream_(stream) {}

void exrOStream::write(const char* buffer, int size) {
    if (stream_ == nullptr || size <= 0) return;
    if (std::fwrite(buffer, static_cast<std::size_t>(size), 1, stream_) == 1) return;
    failed_ = true;
    throw std::runtime_error("the stream takes no more bytes");
}

std::uint64_t exrOStream::tellp() { return positionOf(stream_); }

void exrOStream::seekp(std::uint64_t position) {
    if (stream_ == nullptr) return;
    if (position > INT64_MAX || !seek(stream_, static_cast<std::int64_t>(position))) failed_ = true;
}

} // namespace rastrel
