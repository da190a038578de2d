/// @file expect_empty.h
/// What a reader that declines leaves behind.
#pragma once

#include <gtest/gtest.h>

#include "support/open_image.h"

namespace testing_support {

inline void expectEmpty(const OpenImage& image) {
    EXPECT_EQ(image.width, 0U);
    EXPECT_EQ(image.height, 0U);
    EXPECT_EQ(image.colormodel, 0);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    EXPECT_TRUE(image.exif.exifTags.empty());
    EXPECT_TRUE(image.exif.gpsTags.empty());
}

} // namespace testing_support
