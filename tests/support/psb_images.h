/// @file psb_images.h
/// The colour models of big documents, and images and documents of each.
#pragma once

#include "support/images.h"
#include "support/open_image.h"
#include "support/psb_files.h"

namespace testing_support {

/// How a colour model lies in a document, and what it is read back as.
struct PsbLayout {
    unsigned char model;
    std::uint16_t channels, depth, mode;
    unsigned char readBack;
};
inline constexpr PsbLayout kPsbLayouts[] = {{49, 1, 8, 1, 49},   {50, 1, 16, 1, 50},  {81, 3, 8, 3, 81},
                                            {82, 3, 16, 3, 82},  {97, 4, 8, 3, 113},  {113, 4, 8, 3, 113},
                                            {98, 4, 16, 3, 114}, {114, 4, 16, 3, 114}};

/// An image of noise.
inline void makeNoise(OpenImage& image, unsigned width, unsigned height, unsigned char model) {
    image.Create(width, height, model);
    fillWithNoise(image, width * 7 + height + model);
}

/// A document whose samples count up.
inline PsbDocument psbDocument(const PsbLayout& layout = kPsbLayouts[2]) {
    PsbDocument made;
    made.channels = layout.channels;
    made.depth = layout.depth;
    made.mode = layout.mode;
    made.countUp();
    return made;
}

} // namespace testing_support
