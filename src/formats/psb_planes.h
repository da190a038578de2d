/// @file psb_planes.h
/// Samples between pixels in memory and planes in a document.
///
/// Plane c of a document holds sample `channels` - 1 - c of every pixel; samples of two bytes are big-endian there and
/// little-endian in memory.
#pragma once

#include <cstddef>
#include <span>

namespace rastrel {

/// One implementation for one layout of pixels.
struct PlaneKernels {
    /// Takes sample `position` of each of `count` pixels into a plane.
    void (*gather)(const unsigned char* pixels, std::size_t position, std::size_t count, unsigned char* plane);
    /// Makes `count` pixels of all planes, given in the document's order.
    void (*merge)(const unsigned char* const* planes, std::size_t count, unsigned char* pixels);
};

/// The layouts of an instruction set: [0] grey, [1] three, [2] four samples; of one and of two bytes.
struct PlaneKernelSet {
    const char* name;
    PlaneKernels layouts[3][2];

    /// `channels` is 1, 3 or 4, `sampleSize` 1 or 2.
    [[nodiscard]] const PlaneKernels& of(std::size_t channels, std::size_t sampleSize) const noexcept {
        return layouts[channels == 1 ? 0 : channels - 2][sampleSize - 1];
    }
};

extern const PlaneKernelSet kPlanesBaseline;
extern const PlaneKernelSet kPlanesAvx2; ///< only for machines with AVX2

/// What the library uses on this machine.
[[nodiscard]] const PlaneKernelSet& planeKernels() noexcept;
/// All that this machine can run; they give the same bytes.
[[nodiscard]] std::span<const PlaneKernelSet* const> availablePlaneKernels() noexcept;

} // namespace rastrel
