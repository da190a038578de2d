/// @file orf_samples.h
/// The strip of an Olympus raw file: 12-bit samples of a mosaic, one a pixel, in four encodings.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "formats/byte_order.h"

namespace rastrel {

/// How a strip holds its samples. Bits are numbered from the most significant.
enum class OrfEncoding : std::uint8_t {
    words,          ///< a 16-bit word each in the file's byte order, the sample in its upper twelve bits
    packedWithPads, ///< two samples in three bytes, low part first; a pad byte after every ten samples
    packedWords,    ///< a stream of 12-bit samples in 32-bit words that are little-endian in every file
    compressed,     ///< differences from a prediction, coded by their expected size
};

/// The encoding of a strip of `stripBytes` bytes for `width` x `height` samples: only its length tells.
[[nodiscard]] OrfEncoding orfEncoding(std::uint64_t width, std::uint64_t height, std::uint64_t stripBytes) noexcept;

/// Whether a strip of this many bytes can hold `width` x `height` samples at all.
[[nodiscard]] bool orfStripSuffices(std::uint64_t width, std::uint64_t height, std::uint64_t stripBytes) noexcept;

/// Bytes that must be readable, with any value, behind the end of a strip that is decoded.
inline constexpr std::size_t kOrfStripSlack = 32;

/// Decodes a strip into `mosaic`, `width` x `height` samples of 0..4095 in row-major order. The strip may be shorter
/// than its encoding wants and may hold anything: decoding stops at its end, or where the compressed code breaks its
/// own rules, and the rest of the mosaic keeps its values. Returns the number of samples decoded.
std::uint64_t decodeOrf(std::span<const unsigned char> strip, OrfEncoding encoding, ByteOrder order,
                        std::uint32_t width, std::uint32_t height, std::uint16_t* mosaic) noexcept;

} // namespace rastrel
