// The host code that README.md shows, between the two marks, word for word.
// [readme]
#include <algorithm>

#include "rastrel/rastrel.h"

/// Writes a preview, 320 pixels wide, of an image file: `format` is "jpg", "tif", "psb" or "exr".
bool writePreview(const char* source, const char* target, const char* format) {
    Rastrel photo;
    if (photo.Read(source) != 0 || !photo.GetReady()) return false; // the content tells the format
    const long width = static_cast<long>(photo.GetWidth());
    const long height = static_cast<long>(photo.GetHeight());
    const long previewHeight = std::max(1L, 320 * height / width);

    Rastrel preview;
    preview.Create(320, static_cast<unsigned long>(previewHeight), CM_RGB8);
    constexpr unsigned char kTriangle = 2;
    photo.StretchBlt(preview, 0, 319, 0, previewHeight - 1, 0, width - 1, 0, height - 1, kTriangle, 0.0);

    preview.exif = photo.exif; // camera, time, place and every other tag
    return preview.Write(target, format) == 0;
}
// [readme]

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "support/scratch_file.h"

namespace {

using testing_support::ScratchFile;

std::string textOf(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

/// What lies between the first `begin` and the next `end`.
std::string between(const std::string& text, const std::string& begin, const std::string& end) {
    const std::size_t first = text.find(begin);
    if (first == std::string::npos) return "no " + begin;
    const std::size_t last = text.find(end, first + begin.size());
    return last == std::string::npos ? "no " + end : text.substr(first + begin.size(), last - first - begin.size());
}

TEST(Readme, ShowsThisCode) {
    const std::string folder = RASTREL_SOURCE_DIR;
    EXPECT_EQ(between(textOf(folder + "/README.md"), "```cpp\n", "```"),
              between(textOf(folder + "/tests/readme_test.cpp"), "// [readme]\n", "// [readme]"));
}

TEST(Readme, WritesAPreview) {
    Rastrel photo;
    photo.Create(640, 400, CM_RGB8);
    for (long y = 0; y < 400; ++y)
        for (long x = 0; x < 640; ++x)
            photo.SetPixel(x, y, 255, 200, static_cast<unsigned char>(y / 2), 10);
    const ScratchFile source(".tif");
    const ScratchFile target(".tif");
    ASSERT_EQ(photo.Write(source.path().c_str(), "tif"), 0U);

    ASSERT_TRUE(writePreview(source.path().c_str(), target.path().c_str(), "tif"));

    Rastrel preview;
    ASSERT_EQ(preview.Read(target.path().c_str()), 0U);
    EXPECT_EQ(preview.GetWidth(), 320U);
    EXPECT_EQ(preview.GetHeight(), 200U);
    const pixel_argb8 middle = preview.GetPixelARGB8(160L, 100L);
    EXPECT_EQ(middle.r, 200);
    EXPECT_NEAR(middle.g, 100, 1);
    EXPECT_EQ(middle.b, 10);
}

TEST(Readme, RefusesAMissingFile) { EXPECT_FALSE(writePreview("no/such/file.tif", "preview.tif", "tif")); }

} // namespace
