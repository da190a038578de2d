/// @file orf_files.h
/// Olympus raw files made by hand: the strip's encodings and the container.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "support/tiff_bytes.h"

namespace testing_support {

/// A mosaic of 12-bit values, row-major; even rows are red, green, odd rows green, blue.
struct Mosaic {
    std::uint32_t width = 0, height = 0;
    std::vector<std::uint16_t> values;

    Mosaic(std::uint32_t columns, std::uint32_t rows)
        : width(columns), height(rows), values(std::size_t{columns} * rows) {}
    std::uint16_t& at(std::uint32_t x, std::uint32_t y) { return values[std::size_t{y} * width + x]; }
    [[nodiscard]] std::uint16_t at(std::uint32_t x, std::uint32_t y) const {
        return values[std::size_t{y} * width + x];
    }
};

/// 16-bit words with the value in their upper twelve bits.
inline Bytes encodeWords(const Mosaic& mosaic, bool big) {
    OrderedBytes out{big, {}};
    for (const std::uint16_t value : mosaic.values)
        out.u16(static_cast<std::uint32_t>(value) << 4);
    return out.bytes;
}

/// Two values in three bytes, low part first, a pad byte after every ten.
inline Bytes encodePackedWithPads(const Mosaic& mosaic) {
    Bytes out;
    const auto value = [&](std::size_t i) -> unsigned { return i < mosaic.values.size() ? mosaic.values[i] : 0U; };
    for (std::size_t i = 0; i < mosaic.values.size(); i += 10) {
        for (std::size_t j = i; j < i + 10; j += 2) {
            out.push_back(static_cast<unsigned char>(value(j)));
            out.push_back(static_cast<unsigned char>(value(j) >> 8 | (value(j + 1) & 15) << 4));
            out.push_back(static_cast<unsigned char>(value(j + 1) >> 4));
        }
        out.push_back(0);
    }
    return out;
}

/// Bits from the most significant one on.
class BitSink {
public:
    void put(std::uint64_t value, unsigned bits) {
        for (unsigned i = bits; i-- > 0;)
            bit(static_cast<unsigned>(value >> i & 1));
    }
    void bit(unsigned value) {
        if (used_ == 0) bytes_.push_back(0);
        bytes_.back() = static_cast<unsigned char>(bytes_.back() | value << (7 - used_));
        used_ = (used_ + 1) % 8;
    }
    [[nodiscard]] const Bytes& bytes() const { return bytes_; }

private:
    Bytes bytes_;
    unsigned used_ = 0;
};

/// A stream of 12-bit values in 32-bit words, little-endian.
inline Bytes encodePackedWords(const Mosaic& mosaic) {
    BitSink bits;
    for (const std::uint16_t value : mosaic.values)
        bits.put(value, 12);
    Bytes out = bits.bytes();
    while (out.size() % 4 != 0)
        out.push_back(0);
    for (std::size_t i = 0; i < out.size(); i += 4)
        std::reverse(out.begin() + static_cast<std::ptrdiff_t>(i), out.begin() + static_cast<std::ptrdiff_t>(i) + 4);
    return out;
}

/// What a pixel is expected to be from the mosaic's earlier ones.
inline int predictedValue(const Mosaic& mosaic, std::uint32_t x, std::uint32_t y) {
    if (x < 2 && y < 2) return 0;
    if (y < 2) return mosaic.at(x - 2, y);
    if (x < 2) return mosaic.at(x, y - 2);
    const int west = mosaic.at(x - 2, y);
    const int north = mosaic.at(x, y - 2);
    const int corner = mosaic.at(x - 2, y - 2);
    const bool between = (west < corner && corner < north) || (north < corner && corner < west);
    if (!between) return std::abs(west - corner) > std::abs(north - corner) ? west : north;
    return std::abs(west - corner) > 32 || std::abs(north - corner) > 32 ? west + north - corner : (west + north) >> 1;
}

/// The compressed code: seven bytes of head, then differences from the prediction.
inline Bytes encodeCompressed(const Mosaic& mosaic) {
    struct Carry {
        int last = 0, mean = 0, run = 0;
    };
    BitSink bits;
    bits.put(0, 7 * 8);
    for (std::uint32_t y = 0; y < mosaic.height; ++y) {
        Carry carries[2];
        for (std::uint32_t x = 0; x < mosaic.width; ++x) {
            Carry& carry = carries[x % 2];
            const unsigned extra = carry.run < 3 ? 2 : 0;
            unsigned n = 2 + extra;
            while (carry.last >> (n + extra) != 0)
                ++n;
            const int difference = mosaic.at(x, y) - predictedValue(mosaic, x, y);
            const int step = difference >> 2;
            const int rest = step - carry.mean;
            const int magnitude = rest < 0 ? -1 - rest : rest;
            const auto high = static_cast<unsigned>(magnitude) >> n;
            bits.bit(rest < 0 ? 1 : 0);
            bits.put(static_cast<unsigned>(difference & 3), 2);
            if (high < 12) {
                bits.put(1, high + 1);
            } else {
                bits.put(0, 12);
                bits.put(high, 15 - n);
                bits.bit(0);
            }
            bits.put(static_cast<unsigned>(magnitude) & ((1U << n) - 1), n);
            carry.last = magnitude;
            carry.mean = (3 * step + carry.mean) >> 5;
            carry.run = magnitude > 16 ? 0 : carry.run + 1;
        }
    }
    return bits.bytes();
}

/// A raw file: header, strip, EXIF directory, main directory.
struct OrfFile {
    bool big = false;
    std::uint32_t width = 0, height = 0;
    std::uint16_t bits = 16;
    std::uint16_t number = 0x4F52; ///< behind the byte-order mark
    Bytes strip;
    std::vector<TiffEntry> extra; ///< entries added, or put in place of those of the same tag
    std::vector<std::uint16_t> without;
    std::vector<TiffEntry> exif;

    OrfFile() = default;
    OrfFile(const Mosaic& mosaic, Bytes coded, bool bigEndian = false)
        : big(bigEndian), width(mosaic.width), height(mosaic.height), strip(std::move(coded)) {}

    [[nodiscard]] Bytes build() const {
        OrderedBytes out{big, {}};
        out.bytes = big ? Bytes{'M', 'M'} : Bytes{'I', 'I'};
        out.u16(number);
        out.u32(0);
        const std::size_t place = out.bytes.size();
        out.append(strip);
        std::vector<TiffEntry> entries = {longs(256, {width}), longs(257, {height}), shorts(258, {bits}),
                                          shorts(259, {1}),    shorts(262, {1}),     longs(273, {place}),
                                          shorts(277, {1}),    longs(278, {height}), longs(279, {strip.size()})};
        if (!exif.empty()) entries.push_back(longs(34665, {appendDirectory(out, exif)}));
        const auto drop = [&](std::uint16_t tag) {
            entries.erase(std::remove_if(entries.begin(), entries.end(),
                                         [&](const TiffEntry& entry) { return entry.tag == tag; }),
                          entries.end());
        };
        for (const TiffEntry& entry : extra) {
            drop(entry.tag);
            entries.push_back(entry);
        }
        for (const std::uint16_t tag : without)
            drop(tag);
        std::stable_sort(entries.begin(), entries.end(),
                         [](const TiffEntry& a, const TiffEntry& b) { return a.tag < b.tag; });
        out.patch32(4, appendDirectory(out, entries));
        return out.bytes;
    }
};

} // namespace testing_support
