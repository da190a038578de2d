/// @file tiff_bytes.h
/// TIFF structures put together by hand, in either byte order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

using Bytes = std::vector<unsigned char>;

/// Appends numbers of one byte order.
struct OrderedBytes {
    bool big = false;
    Bytes bytes;

    void number(std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i)
            bytes.push_back(static_cast<unsigned char>(value >> 8 * (big ? size - 1 - i : i)));
    }
    void u16(std::uint32_t value) { number(value, 2); }
    void u32(std::uint64_t value) { number(value, 4); }
    void append(const Bytes& more) { bytes.insert(bytes.end(), more.begin(), more.end()); }
    void patch32(std::size_t position, std::uint64_t value) {
        OrderedBytes other{big, {}};
        other.u32(value);
        std::copy(other.bytes.begin(), other.bytes.end(), bytes.begin() + static_cast<std::ptrdiff_t>(position));
    }
};

/// One directory entry. `values` are numbers of `unit` bytes each; `offset` puts a false position in place of the real
/// one where it is not negative.
struct TiffEntry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    std::vector<std::uint64_t> values;
    int unit = 1;
    std::int64_t offset = -1;
};

inline TiffEntry shorts(std::uint16_t tag, std::vector<std::uint64_t> values) {
    const auto count = static_cast<std::uint32_t>(values.size());
    return {tag, 3, count, std::move(values), 2, -1};
}
inline TiffEntry longs(std::uint16_t tag, std::vector<std::uint64_t> values) {
    const auto count = static_cast<std::uint32_t>(values.size());
    return {tag, 4, count, std::move(values), 4, -1};
}
inline TiffEntry rational(std::uint16_t tag, std::uint32_t numerator, std::uint32_t denominator) {
    return {tag, 5, 1, {numerator, denominator}, 4, -1};
}
inline TiffEntry octets(std::uint16_t tag, std::uint16_t type, const std::string& text) {
    TiffEntry entry{tag, type, static_cast<std::uint32_t>(text.size()), {}, 1, -1};
    for (const char c : text)
        entry.values.push_back(static_cast<unsigned char>(c));
    return entry;
}
/// Text with its terminator.
inline TiffEntry ascii(std::uint16_t tag, const std::string& text) { return octets(tag, 2, text + '\0'); }

/// Appends a directory and behind it the values that do not fit into the entries; its position.
inline std::uint64_t appendDirectory(OrderedBytes& out, const std::vector<TiffEntry>& entries, std::uint64_t next = 0) {
    const std::uint64_t position = out.bytes.size();
    out.u16(static_cast<std::uint32_t>(entries.size()));
    std::size_t field = out.bytes.size() + 8;
    for (const TiffEntry& entry : entries) {
        out.u16(entry.tag);
        out.u16(entry.type);
        out.u32(entry.count);
        out.u32(0);
    }
    out.u32(next);
    for (const TiffEntry& entry : entries) {
        OrderedBytes value{out.big, {}};
        for (const std::uint64_t number : entry.values)
            value.number(number, entry.unit);
        if (entry.offset >= 0) {
            out.patch32(field, static_cast<std::uint64_t>(entry.offset));
        } else if (value.bytes.size() <= 4) {
            std::copy(value.bytes.begin(), value.bytes.end(), out.bytes.begin() + static_cast<std::ptrdiff_t>(field));
        } else {
            out.patch32(field, out.bytes.size());
            out.append(value.bytes);
        }
        field += 12;
    }
    return position;
}

/// A picture file: header, strips with a gap of `gap` bytes before each, sub-directories, main directory.
struct TiffPicture {
    bool big = false;
    std::uint32_t width = 0, height = 0;
    std::uint16_t samples = 1, bits = 8;
    std::uint32_t rowsPerStrip = 0; ///< 0: one strip
    std::uint32_t gap = 0;
    Bytes pixels;
    std::vector<TiffEntry> extra; ///< entries added to the main directory, or put in place of those of the same tag
    std::vector<std::uint16_t> without; ///< tags left out
    std::vector<TiffEntry> exif, gps, interoperability;
    std::uint64_t next = 0;

    /// Bytes of a picture with these sizes, counting up.
    void countUp() {
        pixels.resize(std::size_t{width} * height * samples * bits / 8);
        for (std::size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<unsigned char>(i * 7 + i / 251);
    }

    Bytes build() const {
        OrderedBytes out{big, {}};
        out.bytes = big ? Bytes{'M', 'M'} : Bytes{'I', 'I'};
        out.u16(42);
        out.u32(0);
        std::vector<std::uint64_t> offsets, sizes;
        const std::size_t line = std::size_t{width} * samples * bits / 8;
        const std::size_t stripSize = rowsPerStrip == 0 ? pixels.size() : rowsPerStrip * line;
        for (std::size_t done = 0; done < pixels.size() || offsets.empty();
             done += std::max<std::size_t>(stripSize, 1)) {
            out.append(Bytes(gap, 0xEE));
            const std::size_t size = std::min(stripSize, pixels.size() - done);
            offsets.push_back(out.bytes.size());
            sizes.push_back(size);
            out.bytes.insert(out.bytes.end(), pixels.begin() + static_cast<std::ptrdiff_t>(done),
                             pixels.begin() + static_cast<std::ptrdiff_t>(done + size));
        }
        std::vector<TiffEntry> entries = {longs(256, {width}),
                                          longs(257, {height}),
                                          shorts(258, std::vector<std::uint64_t>(samples, bits)),
                                          shorts(259, {1}),
                                          shorts(262, {samples == 1 ? 1U : 2U}),
                                          longs(273, offsets),
                                          shorts(277, {samples}),
                                          longs(278, {rowsPerStrip == 0 ? height : rowsPerStrip}),
                                          longs(279, sizes)};
        std::vector<TiffEntry> exifEntries = exif;
        if (!interoperability.empty()) exifEntries.push_back(longs(0xA005, {appendDirectory(out, interoperability)}));
        if (!exifEntries.empty()) entries.push_back(longs(34665, {appendDirectory(out, exifEntries)}));
        if (!gps.empty()) entries.push_back(longs(34853, {appendDirectory(out, gps)}));
        for (const TiffEntry& entry : extra) {
            const auto same = [&](const TiffEntry& other) { return other.tag == entry.tag; };
            entries.erase(std::remove_if(entries.begin(), entries.end(), same), entries.end());
            entries.push_back(entry);
        }
        for (const std::uint16_t tag : without)
            entries.erase(std::remove_if(entries.begin(), entries.end(),
                                         [&](const TiffEntry& other) { return other.tag == tag; }),
                          entries.end());
        std::stable_sort(entries.begin(), entries.end(),
                         [](const TiffEntry& a, const TiffEntry& b) { return a.tag < b.tag; });
        out.patch32(4, appendDirectory(out, entries, next));
        return out.bytes;
    }
};

} // namespace testing_support
