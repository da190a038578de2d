#include "formats/tiff_strips.h"

#include <algorithm>

#include "platform/file.h"

namespace rastrel {

StripSequence::StripSequence(std::FILE* stream, const std::vector<CTiff::Strip>& strips, std::uint64_t fileSize,
                             std::uint64_t needed)
    : stream_(stream) {
    std::uint64_t start = 0;
    std::uint64_t held = 0;
    for (const CTiff::Strip& strip : strips) {
        if (start >= needed) break;
        const auto offset = static_cast<std::uint64_t>(strip.offset);
        const std::uint64_t size = std::min(static_cast<std::uint64_t>(strip.size), needed - start);
        const std::uint64_t inFile = offset < fileSize ? std::min(size, fileSize - offset) : 0;
        if (inFile > 0) pieces_.push_back({start, offset, inFile});
        held += inFile;
        start += size;
    }
    overlaps_ = held > fileSize;
    complete_ = held == needed;
}

void StripSequence::read(std::uint64_t position, unsigned char* buffer, std::uint64_t size) {
    const std::uint64_t end = position + size;
    auto piece = std::upper_bound(pieces_.begin(), pieces_.end(), position,
                                  [](std::uint64_t place, const Piece& other) { return place < other.start; });
    if (piece != pieces_.begin()) --piece;
    for (; piece != pieces_.end() && piece->start < end; ++piece) {
        const std::uint64_t from = std::max(position, piece->start);
        const std::uint64_t to = std::min(end, piece->start + piece->size);
        if (from >= to) continue;
        const auto place = static_cast<std::int64_t>(piece->offset + (from - piece->start));
        unsigned char* const target = buffer + (from - position);
        const auto wanted = static_cast<std::size_t>(to - from);
        const std::size_t got = readAt(stream_, place, target, wanted);
        std::fill(target + got, target + wanted, static_cast<unsigned char>(0));
    }
}

} // namespace rastrel
