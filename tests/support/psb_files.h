/// @file psb_files.h
/// Big documents put together by hand.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "support/tiff_bytes.h"

namespace testing_support {

/// One image resource; `name` holds the bytes before the size as they stand in the file.
struct PsbPart {
    std::uint16_t id = 0;
    Bytes data;
    Bytes name = {0, 0};
};

/// A document. Its planes count up unless they are given.
struct PsbDocument {
    std::string signature = "8BPS";
    std::uint16_t version = 2, channels = 3;
    std::uint32_t height = 5, width = 7;
    std::uint16_t depth = 8, mode = 3;
    std::uint32_t colorData = 0;
    std::vector<PsbPart> resources;
    std::int64_t resourceLength = -1; ///< a false length where it is not negative
    Bytes layers;
    std::int64_t layerLength = -1;
    std::uint16_t compression = 0;
    Bytes planes;

    void countUp() {
        planes.resize(std::size_t{width} * height * channels * depth / 8);
        for (std::size_t i = 0; i < planes.size(); ++i)
            planes[i] = static_cast<unsigned char>(i * 7 + i / 251);
    }

    Bytes build() const {
        OrderedBytes out{true, Bytes(signature.begin(), signature.end())};
        out.u16(version);
        out.append(Bytes(6, 0));
        out.u16(channels);
        out.u32(height);
        out.u32(width);
        out.u16(depth);
        out.u16(mode);
        out.u32(colorData);
        OrderedBytes section{true, {}};
        for (const PsbPart& part : resources) {
            section.append({'8', 'B', 'I', 'M'});
            section.u16(part.id);
            section.append(part.name);
            section.u32(part.data.size());
            section.append(part.data);
            if (part.data.size() % 2 != 0) section.bytes.push_back(0);
        }
        out.u32(resourceLength < 0 ? section.bytes.size() : static_cast<std::uint64_t>(resourceLength));
        out.append(section.bytes);
        out.number(layerLength < 0 ? layers.size() : static_cast<std::uint64_t>(layerLength), 8);
        out.append(layers);
        out.u16(compression);
        out.append(planes);
        return out.bytes;
    }

    /// The pixels as an image holds them: the planes' samples in reversed order, those of two bytes little-endian.
    Bytes pixels() const {
        const std::size_t size = depth / 8U;
        const std::size_t count = std::size_t{width} * height;
        Bytes bytes;
        for (std::size_t i = 0; i < count; ++i)
            for (std::size_t c = 0; c < channels; ++c)
                for (std::size_t b = 0; b < size; ++b)
                    bytes.push_back(planes[((channels - 1 - c) * count + i) * size + size - 1 - b]);
        return bytes;
    }
};

/// The body of a resolution resource with 16.16 fixed numbers.
inline Bytes psbResolutions(std::uint32_t x, std::uint32_t y) {
    OrderedBytes out{true, {}};
    for (const std::uint32_t value : {x, y}) {
        out.u32(value);
        out.u16(1);
        out.u16(2);
    }
    return out.bytes;
}

} // namespace testing_support
