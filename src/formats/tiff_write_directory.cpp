#include <limits>

#include "formats/byte_writer.h"
#include "formats/tag_values.h"
#include "formats/tiff_directory.h"

namespace rastrel {
namespace {

constexpr std::uint64_t kEntrySize = 12;
constexpr std::uint64_t kLargestPosition = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kMostEntries = std::numeric_limits<std::uint16_t>::max();

/// Appends one list, with its values and sub-directories, to what will stand at `base` of the file.
bool serialize(TiffTagList& list, std::uint64_t base, ByteWriter& out);

/// Appends what a record keeps outside its entry and remembers where.
bool serializeValue(_tiff_ifd_tag& record, std::uint64_t base, ByteWriter& out) {
    if (!record.hasData) return false;
    const std::uint64_t size = record.byteCount();
    if (record.subDirectory == nullptr && size <= 4) return true;
    const std::uint64_t place = base + out.size();
    if (place > kLargestPosition) return false;
    record.valueOffset = static_cast<std::int64_t>(place);
    if (record.subDirectory == nullptr) {
        out.numbers(record.data, size, typeUnit(record.type));
        return true;
    }
    record.type = kTypeLong;
    record.count = 1;
    return record.allocate() && setInteger(record, 0, record.valueOffset) && serialize(*record.subDirectory, base, out);
}

bool serialize(TiffTagList& list, std::uint64_t base, ByteWriter& out) {
    const std::uint32_t count = list.size();
    if (count > kMostEntries) return false;
    out.u16(static_cast<std::uint16_t>(count));
    std::uint64_t entry = out.size();
    out.zeros(count * kEntrySize + 4);
    for (_tiff_ifd_tag* record = list.first; record != nullptr; record = record->next)
        if (!serializeValue(*record, base, out)) return false;
    for (const _tiff_ifd_tag* record = list.first; record != nullptr; record = record->next, entry += kEntrySize) {
        out.patch16(entry, record->tag);
        out.patch16(entry + 2, record->type);
        out.patch32(entry + 4, record->count);
        if (record->byteCount() > 4) {
            out.patch32(entry + 8, static_cast<std::uint32_t>(record->valueOffset));
        } else {
            out.patchNumbers(entry + 8, record->data, record->byteCount(), typeUnit(record->type));
        }
    }
    return true;
}

} // namespace

std::uint64_t CTiff::directorySize(const TiffTagList& list) noexcept {
    std::uint64_t size = 2 + 4;
    for (const _tiff_ifd_tag* record = list.first; record != nullptr; record = record->next) {
        size += kEntrySize;
        if (record->subDirectory != nullptr) {
            size += directorySize(*record->subDirectory);
        } else if (record->byteCount() > 4) {
            size += record->byteCount();
        }
    }
    return size;
}

std::uint64_t CTiff::directoriesSize() const noexcept {
    std::uint64_t size = directorySize(mainTags);
    const auto addSub = [&](const TiffTagList& list, std::uint16_t tag) {
        if (list.empty()) return;
        size += directorySize(list);
        if (mainTags.find(tag) == nullptr) size += kEntrySize;
    };
    addSub(exifTags, kTagExifDirectory);
    addSub(gpsTags, kTagGpsDirectory);
    return size;
}

bool CTiff::writeDirectory(_universal_stream* stream, TiffTagList& list, bool bigEndian) {
    const std::int64_t place = _u_ftelli64(stream);
    if (place < 0) return false;
    ByteWriter out(bigEndian ? ByteOrder::big : ByteOrder::little);
    return serialize(list, static_cast<std::uint64_t>(place), out) && out.flushTo(stream);
}

bool CTiff::writeDirectories(_universal_stream* stream, bool bigEndian) {
    const auto writeSub = [&](TiffTagList& list, std::uint16_t tag) {
        if (list.empty()) return true;
        const std::int64_t place = _u_ftelli64(stream);
        if (place < 0 || !writeDirectory(stream, list, bigEndian)) return false;
        _tiff_ifd_tag* pointer = mainTags.find(tag);
        if (pointer == nullptr) pointer = mainTags.append(tag, kTypeLong, 1);
        return pointer != nullptr && setInteger(*pointer, 0, place);
    };
    exifTags.sort();
    gpsTags.sort();
    if (!writeSub(exifTags, kTagExifDirectory) || !writeSub(gpsTags, kTagGpsDirectory)) return false;
    mainTags.sort();
    const std::int64_t place = _u_ftelli64(stream);
    if (place < 0 || static_cast<std::uint64_t>(place) > kLargestPosition ||
        !writeDirectory(stream, mainTags, bigEndian))
        return false;
    unsigned char position[4];
    storeNumber(position, static_cast<std::uint32_t>(place), bigEndian ? ByteOrder::big : ByteOrder::little);
    return _u_fseeki64(stream, 4, SEEK_SET) == 0 && _u_fwrite(position, 1, 4, stream) == 4 &&
           _u_fseeki64(stream, 0, SEEK_END) == 0;
}

} // namespace rastrel
