#include <algorithm>
#include <new>
#include <vector>

#include "formats/tag_values.h"
#include "formats/tiff_directory.h"

namespace rastrel {
namespace {

constexpr std::uint64_t kEntrySize = 12;
/// Larger values of the main directory (profiles, layers) stay in the file when no reader asks for them.
constexpr std::uint64_t kLargestUnaskedValue = 64 * 1024;
constexpr bool isAskedFor(std::uint16_t tag) noexcept {
    return tag == kTagStripOffsets || tag == kTagStripByteCounts || tag == kTagImageDescription || tag == kTagSoftware;
}

/// Reads the directories of one source. Nothing is allocated for a value that the source does not hold, and the values
/// of one directory together take no more memory than the source is long, however often they lie over one another.
class DirectoryParser {
public:
    explicit DirectoryParser(ByteReader& source) noexcept : source_(source) {}

    /// What a directory may get away with, and which values are kept.
    struct Rules {
        bool dropsMisplaced;   ///< a record whose values lie outside the source is left out; else the list is damaged
        bool dropsOverclaimed; ///< likewise a record of more bytes than the source has
        bool keepsAll;         ///< large values are kept too
    };

    /// Fills `list`; false for a directory that is damaged, that points at itself, or that was read before.
    [[nodiscard]] bool read(std::uint64_t position, TiffTagList& list, const Rules& rules) {
        list.clear();
        if (std::find(visited_.begin(), visited_.end(), position) != visited_.end()) return false;
        visited_.push_back(position);
        std::uint16_t count = 0;
        if (!source_.seek(position) || !source_.u16(count)) return false;
        const std::uint64_t size = count * kEntrySize;
        if (size > source_.remaining()) return false;
        std::vector<unsigned char> entries(static_cast<std::size_t>(size));
        if (!source_.bytes(entries.data(), size)) return false;
        // The last four bytes are often missing at a file's end.
        std::uint32_t next = 0;
        if (source_.remaining() >= 4 && (!source_.u32(next) || (next != 0 && next == position))) return false;

        budget_ = source_.size();
        _tiff_ifd_tag** end = &list.first;
        for (std::uint64_t entry = 0; entry < size; entry += kEntrySize) {
            const Result result = readEntry(entries.data() + entry, rules.keepsAll, end);
            if (result == Result::misplaced && !rules.dropsMisplaced) return false;
            if (result == Result::overclaimed && !rules.dropsOverclaimed) return false;
            if (*end != nullptr) end = &(*end)->next;
        }
        return !pointsAt(list, position);
    }

    /// Reads the directory that a record of `owner` points to; false when there is none or it is damaged.
    [[nodiscard]] bool readSub(const TiffTagList& owner, std::uint16_t tag, TiffTagList& list) {
        const _tiff_ifd_tag* pointer = owner.find(tag);
        if (pointer == nullptr) return false;
        const auto position = integerAt(*pointer, 0);
        if (!position || *position < 0 || !read(static_cast<std::uint64_t>(*position), list, {false, false, true})) {
            list.clear();
            return false;
        }
        return true;
    }

private:
    enum class Result : std::uint8_t { kept, passedOver, misplaced, overclaimed };

    /// Makes a record of an entry's twelve bytes at `*link`, which stays null when the record is not kept.
    [[nodiscard]] Result readEntry(const unsigned char* entry, bool keepAll, _tiff_ifd_tag** link) {
        const ByteOrder order = source_.order();
        const auto tag = loadNumber<std::uint16_t>(entry, order);
        auto type = loadNumber<std::uint16_t>(entry + 2, order);
        const auto count = loadNumber<std::uint32_t>(entry + 4, order);
        if (type == kTypeIfd && isDirectoryTag(tag)) type = kTypeLong;
        const std::uint64_t size = std::uint64_t{count} * _tiff_ifd_tag::typeSize(type);
        if (_tiff_ifd_tag::typeSize(type) == 0) return Result::passedOver;
        const bool inPlace = size <= 4;
        const std::uint64_t place = inPlace ? 0 : loadNumber<std::uint32_t>(entry + 8, order);
        if (size > source_.size()) return Result::overclaimed;
        if (!inPlace && !source_.slice(place, size)) return Result::misplaced;
        if (!keepAll && size > kLargestUnaskedValue && !isAskedFor(tag)) return Result::passedOver;
        if (!inPlace && size > budget_) return Result::overclaimed;

        auto* record = new _tiff_ifd_tag(tag, type, count);
        *link = record;
        if (!record->hasData) throw std::bad_alloc();
        if (inPlace) {
            std::copy_n(entry + 8, size, record->data);
        } else {
            budget_ -= size;
            if (!source_.seek(place) || !source_.bytes(record->data, size)) {
                *link = nullptr;
                delete record;
                return Result::misplaced;
            }
        }
        if (order != kNativeOrder) reverseNumbers(record->data, size, typeUnit(type));
        return Result::kept;
    }

    static bool pointsAt(const TiffTagList& list, std::uint64_t position) noexcept {
        for (const _tiff_ifd_tag* record = list.first; record != nullptr; record = record->next)
            if (isDirectoryTag(record->tag) && integerAt(*record, 0) == static_cast<std::int64_t>(position))
                return true;
        return false;
    }

    ByteReader& source_;
    std::vector<std::uint64_t> visited_;
    std::uint64_t budget_ = 0; ///< bytes of values that the present directory may still take
};

} // namespace

std::optional<std::uint64_t> CTiff::readHeader(ByteReader& source, std::uint16_t magic) noexcept {
    unsigned char mark[2];
    if (!source.seek(0) || !source.bytes(mark, 2)) return std::nullopt;
    if (mark[0] != mark[1] || (mark[0] != 'I' && mark[0] != 'M')) return std::nullopt;
    source.setOrder(mark[0] == 'I' ? ByteOrder::little : ByteOrder::big);
    std::uint16_t number = 0;
    std::uint32_t position = 0;
    if (!source.u16(number) || number != magic || !source.u32(position)) return std::nullopt;
    return position;
}

bool CTiff::readDirectories(ByteReader& source, std::uint64_t position, Damage damage) {
    DirectoryParser parser(source);
    exifTags.clear();
    gpsTags.clear();
    if (!parser.read(position, mainTags, {true, damage == Damage::dropsRecord, false})) return false;
    if (parser.readSub(mainTags, kTagExifDirectory, exifTags)) {
        if (_tiff_ifd_tag* pointer = exifTags.find(kTagInteroperabilityDirectory)) {
            TiffTagList list;
            if (parser.readSub(exifTags, kTagInteroperabilityDirectory, list) && !list.empty()) {
                pointer->subDirectory = new TiffTagList(std::move(list));
            } else {
                exifTags.remove(kTagInteroperabilityDirectory); // it would point into nothing in any other file
            }
        }
    }
    static_cast<void>(parser.readSub(mainTags, kTagGpsDirectory, gpsTags));
    return true;
}

} // namespace rastrel
