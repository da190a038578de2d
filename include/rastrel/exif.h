/// @file exif.h
/// Metadata tags as they travel through TIFF, JPEG and PSB files.
#pragma once

#include <cstdint>

#include "rastrel/rastrel_api.h"

class TiffTagList;

/// One directory entry of a TIFF structure (TIFF 6.0, section 2), with its values in memory in native byte order.
class RASTREL_API _tiff_ifd_tag {
public:
    _tiff_ifd_tag() noexcept = default;
    /// A record of the given type with `count` zero values. `hasData` stays false when the memory cannot be had or
    /// the type is not 1..12.
    _tiff_ifd_tag(std::uint16_t tag, std::uint16_t type, std::uint32_t count) noexcept;
    /// Copies the record with its values and its sub-directory; `next` of the copy is null. Where the memory cannot be
    /// had `hasData` of the copy is false.
    _tiff_ifd_tag(const _tiff_ifd_tag& other) noexcept;
    /// As the copy constructor; `next` of this record stays.
    _tiff_ifd_tag& operator=(const _tiff_ifd_tag& other) noexcept;
    virtual ~_tiff_ifd_tag();

    /// Bytes of one value of a field type: 1, 2, 4 or 8; 0 for a type outside 1..12.
    static std::uint32_t typeSize(std::uint16_t type) noexcept;
    /// Bytes of all values: `count` x `typeSize(type)`.
    std::uint64_t byteCount() const noexcept;
    /// Drops the present values and allocates `byteCount()` zero bytes for the record's type and count.
    /// False, and `hasData` clear, when that cannot be done.
    bool allocate() noexcept;

    std::uint16_t tag = 0;         ///< TIFF tag number
    std::uint16_t type = 7;        ///< field type, 1 BYTE .. 12 DOUBLE
    std::uint32_t count = 0;       ///< number of values
    unsigned char* data = nullptr; ///< owned, `count` x size of one value bytes
    bool hasData = false;          ///< `data` is allocated (also for a count of 0)
    std::int64_t valueOffset = -1; ///< file position of the out-of-line value, -1 until written
    _tiff_ifd_tag* next = nullptr; ///< next record of the same directory

    /// The directory that the record's value points to, owned; null for every record that is no such pointer. Where it
    /// is set, the value is the directory's position in the file it came from, and a writer puts in the new one.
    TiffTagList* subDirectory = nullptr;
};

/// An owned, singly linked list of directory entries. Copies are deep; a copy for which memory runs out is empty.
class RASTREL_API TiffTagList {
public:
    TiffTagList() noexcept = default;
    TiffTagList(const TiffTagList& other) noexcept;
    TiffTagList(TiffTagList&& other) noexcept;
    TiffTagList& operator=(const TiffTagList& other) noexcept;
    TiffTagList& operator=(TiffTagList&& other) noexcept;
    ~TiffTagList();

    bool empty() const noexcept { return first == nullptr; }
    std::uint32_t size() const noexcept;
    void clear() noexcept;
    /// The first record of that number, or null.
    _tiff_ifd_tag* find(std::uint16_t tag) noexcept;
    const _tiff_ifd_tag* find(std::uint16_t tag) const noexcept;
    /// Appends a new record with `count` zero values; null when the memory cannot be had.
    _tiff_ifd_tag* append(std::uint16_t tag, std::uint16_t type, std::uint32_t count) noexcept;
    /// Appends a deep copy of a record; null when the memory cannot be had.
    _tiff_ifd_tag* append(const _tiff_ifd_tag& record) noexcept;
    /// Removes every record of that number.
    void remove(std::uint16_t tag) noexcept;
    /// Sorts by tag number; equal numbers keep their order.
    void sort() noexcept;

    _tiff_ifd_tag* first = nullptr; ///< head of the list, null when empty
};
