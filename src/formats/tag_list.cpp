#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

#include "rastrel/exif.h"

_tiff_ifd_tag::_tiff_ifd_tag(std::uint16_t number, std::uint16_t fieldType, std::uint32_t valueCount) noexcept
    : tag(number), type(fieldType), count(valueCount) {
    allocate();
}

_tiff_ifd_tag::_tiff_ifd_tag(const _tiff_ifd_tag& other) noexcept
    : tag(other.tag), type(other.type), count(other.count), valueOffset(other.valueOffset) {
    if (!other.hasData || !allocate()) return;
    std::copy_n(other.data, byteCount(), data);
    if (other.subDirectory == nullptr) return;
    subDirectory = new (std::nothrow) TiffTagList(*other.subDirectory);
    if (subDirectory == nullptr || subDirectory->empty() != other.subDirectory->empty()) hasData = false;
}

_tiff_ifd_tag& _tiff_ifd_tag::operator=(const _tiff_ifd_tag& other) noexcept {
    if (this == &other) return *this;
    _tiff_ifd_tag copy(other);
    tag = copy.tag;
    type = copy.type;
    count = copy.count;
    valueOffset = copy.valueOffset;
    hasData = copy.hasData;
    std::swap(data, copy.data);
    std::swap(subDirectory, copy.subDirectory);
    return *this;
}

_tiff_ifd_tag::~_tiff_ifd_tag() {
    delete[] data;
    delete subDirectory;
}

std::uint32_t _tiff_ifd_tag::typeSize(std::uint16_t type) noexcept {
    constexpr std::uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};
    return type < std::size(kSizes) ? kSizes[type] : 0;
}

std::uint64_t _tiff_ifd_tag::byteCount() const noexcept { return std::uint64_t{count} * typeSize(type); }

bool _tiff_ifd_tag::allocate() noexcept {
    delete[] data;
    data = nullptr;
    hasData = false;
    if (typeSize(type) == 0) return false;
    data = new (std::nothrow) unsigned char[byteCount()]();
    hasData = data != nullptr;
    return hasData;
}

TiffTagList::TiffTagList(const TiffTagList& other) noexcept {
    _tiff_ifd_tag** end = &first;
    for (const _tiff_ifd_tag* record = other.first; record != nullptr; record = record->next) {
        *end = new (std::nothrow) _tiff_ifd_tag(*record);
        if (*end == nullptr || (*end)->hasData != record->hasData) {
            clear();
            return;
        }
        end = &(*end)->next;
    }
}

TiffTagList::TiffTagList(TiffTagList&& other) noexcept : first(std::exchange(other.first, nullptr)) {}

TiffTagList& TiffTagList::operator=(const TiffTagList& other) noexcept {
    if (this != &other) *this = TiffTagList(other);
    return *this;
}

TiffTagList& TiffTagList::operator=(TiffTagList&& other) noexcept {
    if (this == &other) return *this;
    clear();
    first = std::exchange(other.first, nullptr);
    return *this;
}

TiffTagList::~TiffTagList() { clear(); }

std::uint32_t TiffTagList::size() const noexcept {
    std::uint32_t records = 0;
    for (const _tiff_ifd_tag* record = first; record != nullptr; record = record->next)
        ++records;
    return records;
}

void TiffTagList::clear() noexcept {
    while (first != nullptr)
        delete std::exchange(first, first->next);
}

_tiff_ifd_tag* TiffTagList::find(std::uint16_t tag) noexcept {
    _tiff_ifd_tag* record = first;
    while (record != nullptr && record->tag != tag)
        record = record->next;
    return record;
}

const _tiff_ifd_tag* TiffTagList::find(std::uint16_t tag) const noexcept {
    const _tiff_ifd_tag* record = first;
    while (record != nullptr && record->tag != tag)
        record = record->next;
    return record;
}

namespace {

/// Links a record that was just made to the end of the list; null, and the record gone, when it is not `complete`.
_tiff_ifd_tag* linkLast(TiffTagList& list, _tiff_ifd_tag* record, bool complete) noexcept {
    if (!complete) {
        delete record;
        return nullptr;
    }
    _tiff_ifd_tag** end = &list.first;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = record;
    return record;
}

/// Takes the first `count` records off `rest` and returns them, sorted and terminated.
_tiff_ifd_tag* takeSorted(_tiff_ifd_tag*& rest, std::uint32_t count) noexcept {
    if (count == 1) {
        _tiff_ifd_tag* record = std::exchange(rest, rest->next);
        record->next = nullptr;
        return record;
    }
    _tiff_ifd_tag* left = takeSorted(rest, count / 2);
    _tiff_ifd_tag* right = takeSorted(rest, count - count / 2);
    _tiff_ifd_tag* merged = nullptr;
    _tiff_ifd_tag** end = &merged;
    while (left != nullptr && right != nullptr) {
        _tiff_ifd_tag*& smaller = right->tag < left->tag ? right : left;
        *end = smaller;
        end = &smaller->next;
        smaller = smaller->next;
    }
    *end = left != nullptr ? left : right;
    return merged;
}

} // namespace

_tiff_ifd_tag* TiffTagList::append(std::uint16_t tag, std::uint16_t type, std::uint32_t count) noexcept {
    auto* record = new (std::nothrow) _tiff_ifd_tag(tag, type, count);
    return linkLast(*this, record, record != nullptr && record->hasData);
}

_tiff_ifd_tag* TiffTagList::append(const _tiff_ifd_tag& other) noexcept {
    auto* record = new (std::nothrow) _tiff_ifd_tag(other);
    return linkLast(*this, record, record != nullptr && record->hasData == other.hasData);
}

void TiffTagList::remove(std::uint16_t tag) noexcept {
    for (_tiff_ifd_tag** link = &first; *link != nullptr;) {
        if ((*link)->tag == tag) {
            delete std::exchange(*link, (*link)->next);
        } else {
            link = &(*link)->next;
        }
    }
}

void TiffTagList::sort() noexcept {
    const std::uint32_t records = size();
    if (records < 2) return;
    _tiff_ifd_tag* rest = first;
    first = takeSorted(rest, records);
}
