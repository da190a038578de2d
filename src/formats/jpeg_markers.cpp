#include "formats/jpeg_markers.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "formats/byte_order.h"
#include "formats/exif_record.h"
#include "platform/file.h"

namespace rastrel {
namespace {

constexpr std::uint8_t kLead = 0xFF; ///< first byte of every marker; repeated ones are fill bytes
constexpr std::uint8_t kStuffed = 0x00;
constexpr std::uint8_t kTemporary = 0x01;
constexpr std::uint8_t kTables = 0xC4;
constexpr std::uint8_t kExtension = 0xC8;
constexpr std::uint8_t kConditioning = 0xCC;
constexpr std::uint8_t kImageStart = 0xD8;
constexpr std::uint8_t kImageEnd = 0xD9;
constexpr std::uint8_t kScan = 0xDA;
constexpr std::uint8_t kApp0 = 0xE0;
constexpr std::uint8_t kApp1 = 0xE1;

constexpr std::size_t kFirstPiece = 4096; ///< what most headers fit into
constexpr std::size_t kPiece = 65536;

constexpr bool isFrame(std::uint8_t marker) noexcept {
    return marker >= 0xC0 && marker <= 0xCF && marker != kTables && marker != kExtension && marker != kConditioning;
}
constexpr bool isRestart(std::uint8_t marker) noexcept { return marker >= 0xD0 && marker <= 0xD7; }
/// The first four bytes of a file that is read at all: with fill bytes among them it is none.
constexpr bool isJpegStart(const unsigned char (&start)[4]) noexcept {
    return start[0] == kLead && start[1] == kImageStart && start[2] == kLead &&
           (start[3] == kApp0 || start[3] == kApp1);
}
/// Markers that are not followed by a length.
constexpr bool standsAlone(std::uint8_t marker) noexcept {
    return isRestart(marker) || marker == kImageStart || marker == kTemporary;
}

/// Forward reading, of a stream in pieces or of memory in one.
class PieceReader {
public:
    explicit PieceReader(FILE* stream)
        : stream_(stream), buffer_(std::make_unique_for_overwrite<unsigned char[]>(kPiece)), bytes_(buffer_.get()) {}
    explicit PieceReader(std::span<const unsigned char> memory) : bytes_(memory.data()), end_(memory.size()) {}

    [[nodiscard]] bool byte(std::uint8_t& value) {
        if (at_ == end_ && !refill(kFirstPiece)) return false;
        value = bytes_[at_++];
        return true;
    }
    [[nodiscard]] bool bytes(unsigned char* to, std::size_t count) {
        while (count != 0) {
            if (at_ == end_ && !refill(std::max(std::min(count, kPiece), kFirstPiece))) return false;
            const std::size_t part = std::min(count, end_ - at_);
            std::memcpy(to, bytes_ + at_, part);
            at_ += part;
            to += part;
            count -= part;
        }
        return true;
    }
    /// Moves forward; whether there is anything is for the next read to find out.
    [[nodiscard]] bool skip(std::uint64_t count) {
        const std::uint64_t part = std::min<std::uint64_t>(count, end_ - at_);
        at_ += static_cast<std::size_t>(part);
        return count == part || stream_ == nullptr || seek(stream_, static_cast<std::int64_t>(count - part), SEEK_CUR);
    }
    /// Moves behind the next FF byte.
    [[nodiscard]] bool skipPastLead() {
        for (;;) {
            if (at_ == end_ && !refill(kPiece)) return false;
            const void* const found = std::memchr(bytes_ + at_, kLead, end_ - at_);
            at_ = found == nullptr ? end_
                                   : static_cast<std::size_t>(static_cast<const unsigned char*>(found) - bytes_) + 1;
            if (found != nullptr) return true;
        }
    }

private:
    [[nodiscard]] bool refill(std::size_t size) {
        if (stream_ == nullptr) return false;
        at_ = 0;
        end_ = std::fread(buffer_.get(), 1, size, stream_);
        return end_ != 0;
    }

    FILE* stream_ = nullptr;
    std::unique_ptr<unsigned char[]> buffer_; ///< of a stream
    const unsigned char* bytes_;
    std::size_t at_ = 0;
    std::size_t end_ = 0;
};

/// The frame header in a segment's body; nothing for one that is cut short or has no size.
std::optional<JpegFrame> parseFrame(std::uint8_t marker, const std::vector<unsigned char>& body) {
    constexpr std::size_t kFixed = 6;
    constexpr std::size_t kComponent = 3;
    if (body.size() < kFixed) return std::nullopt;
    JpegFrame frame;
    frame.marker = marker;
    frame.height = loadNumber<std::uint16_t>(body.data() + 1, ByteOrder::big);
    frame.width = loadNumber<std::uint16_t>(body.data() + 3, ByteOrder::big);
    frame.components = body[5];
    if (frame.width == 0 || frame.height == 0 || frame.components == 0 ||
        body.size() < kFixed + kComponent * frame.components)
        return std::nullopt;
    const auto factors = [&](std::size_t component) {
        const unsigned char both = body[kFixed + kComponent * component + 1];
        return std::pair<std::uint64_t, std::uint64_t>(std::max(both >> 4, 1), std::max(both & 15, 1));
    };
    std::uint64_t across = 1;
    std::uint64_t down = 1;
    for (std::size_t i = 0; i < frame.components; ++i) {
        across = std::max(across, factors(i).first);
        down = std::max(down, factors(i).second);
    }
    const auto blocksAlong = [](std::uint64_t side, std::uint64_t factor, std::uint64_t most) {
        return (side * factor + 8 * most - 1) / (8 * most);
    };
    for (std::size_t i = 0; i < frame.components; ++i)
        frame.blocks +=
            blocksAlong(frame.width, factors(i).first, across) * blocksAlong(frame.height, factors(i).second, down);
    return frame;
}

class Walk {
public:
    template <class Source>
    Walk(const Source& source, JpegWalk goal, JpegSegments& segments) : in_(source), goal_(goal), segments_(segments) {}

    [[nodiscard]] bool run() {
        unsigned char start[4];
        if (!in_.bytes(start, sizeof start) || !isJpegStart(start)) return false;
        std::uint8_t marker = start[3];
        bool scanned = false;
        while (marker != kImageEnd) {
            if (marker == kScan && found()) return true;
            Step step = standsAlone(marker) ? Step::done : segment(marker);
            scanned = scanned || (marker == kScan && step == Step::done);
            if (step == Step::done) step = marker == kScan ? nextAfterScan(marker) : next(marker);
            // A picture that was cut short is a picture all the same.
            if (step != Step::done) return step == Step::ended && scanned;
        }
        return true;
    }

private:
    enum class Step : std::uint8_t { done, wrong, ended };

    [[nodiscard]] bool found() const {
        switch (goal_) {
        case JpegWalk::forFrame:
            return segments_.frame.has_value();
        case JpegWalk::forExif:
            return segments_.hasExif;
        default:
            return false;
        }
    }

    /// Reads a marker, over fill bytes before it.
    [[nodiscard]] Step next(std::uint8_t& marker) {
        if (!in_.byte(marker)) return Step::ended;
        if (marker != kLead) return Step::wrong;
        if (!pastLeads(marker)) return Step::ended;
        return marker == kStuffed ? Step::wrong : Step::done;
    }

    /// Reads over entropy-coded data to the next marker that does not belong to it.
    [[nodiscard]] Step nextAfterScan(std::uint8_t& marker) {
        do {
            if (!in_.skipPastLead() || !pastLeads(marker)) return Step::ended;
        } while (marker == kStuffed || isRestart(marker));
        return Step::done;
    }

    /// The first byte that is not FF.
    [[nodiscard]] bool pastLeads(std::uint8_t& byte) {
        do {
            if (!in_.byte(byte)) return false;
        } while (byte == kLead);
        return true;
    }

    /// Reads over a segment and takes what it says.
    [[nodiscard]] Step segment(std::uint8_t marker) {
        unsigned char raw[2];
        if (!in_.bytes(raw, 2)) return Step::ended;
        const std::uint16_t length = loadNumber<std::uint16_t>(raw, ByteOrder::big);
        if (length < 2) return Step::wrong;
        const std::size_t size = length - 2U;
        const bool asked = (isFrame(marker) && !segments_.frame) || (marker == kApp1 && !segments_.hasExif);
        if (!asked) return in_.skip(size) ? Step::done : Step::ended;
        body_.resize(size);
        if (!in_.bytes(body_.data(), size)) return Step::ended;
        if (marker == kApp1) {
            takeExif();
        } else {
            segments_.frame = parseFrame(marker, body_);
        }
        return Step::done;
    }

    void takeExif() {
        constexpr std::size_t kMark = 6; // "Exif" and two zero bytes
        if (body_.size() < kMark || std::memcmp(body_.data(), "Exif", 4) != 0) return;
        segments_.hasExif = parseExifBlock(body_.data() + kMark, body_.size() - kMark, segments_.exif);
    }

    PieceReader in_;
    JpegWalk goal_;
    JpegSegments& segments_;
    std::vector<unsigned char> body_;
};

} // namespace

std::uint64_t JpegFrame::leastBytes() const noexcept {
    switch (marker) {
    case 0xC2: // progressive
    case 0xC3: // lossless
    case 0xC6:
    case 0xC7:
        return blocks / 8;
    case 0xC9: // arithmetic
    case 0xCA:
    case 0xCB:
    case 0xCD:
    case 0xCE:
    case 0xCF:
        return blocks / 32;
    default:
        return blocks / 4;
    }
}

bool JpegFrame::plausible(std::uint64_t fileSize) const noexcept {
    constexpr std::uint64_t kUnquestioned = 16 << 20;
    const std::uint64_t pixels = std::uint64_t{width} * height * (components == 1 ? 1 : 4);
    return pixels <= kUnquestioned || leastBytes() <= fileSize;
}

bool startsAsJpeg(FILE* stream) {
    unsigned char start[4];
    std::rewind(stream);
    return std::fread(start, 1, sizeof start, stream) == sizeof start && isJpegStart(start);
}

bool walkJpegMarkers(FILE* stream, JpegWalk walk, JpegSegments& segments) {
    std::rewind(stream);
    return Walk(stream, walk, segments).run();
}

bool walkJpegMarkers(std::span<const unsigned char> file, JpegSegments& segments) {
    return Walk(file, JpegWalk::everything, segments).run();
}

} // namespace rastrel
