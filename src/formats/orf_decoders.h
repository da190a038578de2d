/// @file orf_decoders.h
/// The decoder of compressed raw strips, for every instruction set that this machine may have.
#pragma once

#include <cstdint>
#include <span>

namespace rastrel {

/// One implementation. The strip is followed by `kOrfStripSlack` readable bytes; the mosaic is filled from its front
/// and the number of decoded samples returned.
struct OrfDecoder {
    const char* name;
    std::uint64_t (*decode)(std::span<const unsigned char> strip, std::uint32_t width, std::uint32_t height,
                            std::uint16_t* mosaic) noexcept;
};

extern const OrfDecoder kOrfDecoderBaseline;
extern const OrfDecoder kOrfDecoderBmi2; ///< only for machines with BMI 2 and LZCNT

/// What the library uses on this machine.
[[nodiscard]] const OrfDecoder& orfDecoder() noexcept;
/// All that this machine can run; they give the same samples.
[[nodiscard]] std::span<const OrfDecoder* const> availableOrfDecoders() noexcept;

} // namespace rastrel
