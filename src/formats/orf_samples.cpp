/// @file orf_samples.cpp
/// The encodings of an Olympus raw strip; the packed ones are decoded here.
#include "formats/orf_samples.h"

#include <algorithm>
#include <array>

#include "formats/orf_decoders.h"
#include "platform/cpu.h"

namespace rastrel {

namespace {

/// Saturates instead of wrapping: the sizes come from a file.
std::uint64_t pixelCount(std::uint64_t width, std::uint64_t height) noexcept {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 60;
    return height != 0 && width > kMost / height ? kMost : width * height;
}

std::uint64_t decodeWords(std::span<const unsigned char> strip, ByteOrder order, std::uint64_t pixels,
                          std::uint16_t* mosaic) noexcept {
    const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(pixels, strip.size() / 2));
    const std::size_t low = order == ByteOrder::little ? 0 : 1;
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned word = strip[2 * i + low] | strip[2 * i + 1 - low] << 8;
        mosaic[i] = static_cast<std::uint16_t>(word >> 4);
    }
    return count;
}

std::uint64_t decodePackedWithPads(std::span<const unsigned char> strip, std::uint64_t pixels,
                                   std::uint16_t* mosaic) noexcept {
    constexpr std::size_t kGroupBytes = 16;
    constexpr std::size_t kGroupSamples = 10;
    std::uint64_t done = 0;
    for (std::size_t group = 0; group < strip.size() && done < pixels; group += kGroupBytes) {
        const std::size_t bytes = std::min(strip.size() - group, kGroupBytes - 1);
        for (std::size_t i = 0; i < kGroupSamples && done < pixels; ++i) {
            // The i-th sample begins in the middle of a byte when i is odd.
            const std::size_t at = i + i / 2;
            if (at + 2 > bytes) return done;
            const unsigned pair = strip[group + at] | strip[group + at + 1] << 8;
            mosaic[done++] = static_cast<std::uint16_t>(i % 2 == 0 ? pair & 0xFFF : pair >> 4);
        }
    }
    return done;
}

/// Twelve bytes hold three 32-bit words, that is eight samples.
std::uint64_t decodePackedWords(std::span<const unsigned char> strip, std::uint64_t pixels,
                                std::uint16_t* mosaic) noexcept {
    std::uint64_t bits = 0;
    unsigned held = 0;
    std::uint64_t done = 0;
    for (std::size_t at = 0; at + 4 <= strip.size() && done < pixels; at += 4) {
        bits = bits << 32 | loadNumber<std::uint32_t>(strip.data() + at, ByteOrder::little);
        for (held += 32; held >= 12 && done < pixels; held -= 12)
            mosaic[done++] = static_cast<std::uint16_t>(bits >> (held - 12) & 0xFFF);
    }
    return done;
}

} // namespace

OrfEncoding orfEncoding(std::uint64_t width, std::uint64_t height, std::uint64_t stripBytes) noexcept {
    const std::uint64_t pixels = pixelCount(width, height);
    if (stripBytes == 2 * pixels) return OrfEncoding::words;
    // A strip is below 2^60 bytes, or no product equals it.
    if (stripBytes < std::uint64_t{1} << 60) {
        if (5 * stripBytes == 8 * pixels) return OrfEncoding::packedWithPads;
        if (2 * stripBytes == 3 * pixels) return OrfEncoding::packedWords;
    }
    return OrfEncoding::compressed;
}

bool orfStripSuffices(std::uint64_t width, std::uint64_t height, std::uint64_t stripBytes) noexcept {
    // Six bits a sample are the least that any of the encodings takes.
    return pixelCount(width, height) / 4 * 3 <= stripBytes;
}

const OrfDecoder& orfDecoder() noexcept { return cpuFeatures().bmi2 ? kOrfDecoderBmi2 : kOrfDecoderBaseline; }

std::span<const OrfDecoder* const> availableOrfDecoders() noexcept {
    static constexpr std::array<const OrfDecoder*, 2> kDecoders{&kOrfDecoderBaseline, &kOrfDecoderBmi2};
    return std::span(kDecoders).first(cpuFeatures().bmi2 ? 2 : 1);
}

std::uint64_t decodeOrf(std::span<const unsigned char> strip, OrfEncoding encoding, ByteOrder order,
                        std::uint32_t width, std::uint32_t height, std::uint16_t* mosaic) noexcept {
    const std::uint64_t pixels = std::uint64_t{width} * height;
    switch (encoding) {
    case OrfEncoding::words:
        return decodeWords(strip, order, pixels, mosaic);
    case OrfEncoding::packedWithPads:
        return decodePackedWithPads(strip, pixels, mosaic);
    case OrfEncoding::packedWords:
        return decodePackedWords(strip, pixels, mosaic);
    case OrfEncoding::compressed:
        return orfDecoder().decode(strip, width, height, mosaic);
    }
    return 0;
}

} // namespace rastrel
