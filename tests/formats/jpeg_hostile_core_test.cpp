/// Cut and changed JPEG files: a status, never a crash, with the busy counter as it was and nothing left in the image.
#include <gtest/gtest.h>

#include <chrono>

#include "support/cut_file.h"
#include "support/expect_empty.h"
#include "support/jpeg_files.h"
#include "support/open_image.h"

namespace {

using namespace testing_support;

/// Reads a stream in all four ways; whether the whole read accepted it.
bool survives(FILE* stream) {
    constexpr std::uint64_t kMost = 17 << 20; // bytes that a small file may ask for
    OpenImage image;
    const bool read = image.Read(stream) == 0;
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_LE(image.pixels.GetSize(), kMost);
    if (!read) expectEmpty(image);
    const bool part = image.Read(stream, 1, 1, 9, 9) == 0;
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_LE(image.pixels.GetSize(), kMost);
    if (!part) expectEmpty(image);
    image.Empty();
    static_cast<void>(image.PreReadJPEG(stream));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    Rastrel::_EXIF exif;
    static_cast<void>(OpenImage::ReadExifJPEG(stream, &exif));
    return read;
}

Bytes smallFile(bool progressive) {
    JpegRecipe recipe;
    recipe.width = 19;
    recipe.height = 10;
    recipe.progressive = progressive;
    recipe.restart = progressive ? 0 : 1;
    return withExif(makeJpeg(recipe), exifStructure("A view"));
}

TEST(HostileJpeg, EveryCut) {
    for (const bool progressive : {false, true}) {
        const Bytes whole = smallFile(progressive);
        const ScratchStream stream(whole);
        EXPECT_TRUE(survives(stream));
        forEveryCut(whole, [](FILE* cut) { static_cast<void>(survives(cut)); });
    }
}

TEST(HostileJpeg, EveryChangedByte) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    forEveryChange(smallFile(false), [](FILE* changed) { static_cast<void>(survives(changed)); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(HostileJpeg, ASmallFileThatClaimsTheLargestSizeIsDeclinedAtOnce) {
    for (const JpegRecipe& recipe : kJpegRecipes) {
        SCOPED_TRACE(recipe.name);
        Bytes file = makeJpeg(recipe);
        std::size_t frame = file.size();
        for (const unsigned char marker : Bytes{0xC0, 0xC1, 0xC2, 0xC9, 0xCA})
            frame = std::min(frame, markerPlace(file, marker));
        for (std::size_t i = frame + 5; i < frame + 9; i += 2) {
            file[i] = 65500 >> 8;
            file[i + 1] = 65500 & 255;
        }
        const auto start = std::chrono::steady_clock::now();
        const ScratchStream stream(file);
        OpenImage image;
        EXPECT_FALSE(image.ReadJPEG(stream));
        EXPECT_EQ(image.pixels.GetSize(), 0U);
        EXPECT_FALSE(image.ReadRectJPEG(stream, 0, 0, 5, 5));
        EXPECT_TRUE(image.PreReadJPEG(stream)); // a header is a header
        EXPECT_EQ(image.width, 65500U);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    }
}

TEST(HostileJpeg, AnEndlessRepetitionOfScansComesToAnEnd) {
    JpegRecipe recipe;
    recipe.width = recipe.height = 900;
    recipe.progressive = true;
    const Bytes plain = makeJpeg(recipe);
    // A scan that refines nothing, thousands of times: a table with one code for long runs of empty blocks.
    const Bytes table = jpegSegment(0xC4, {0x10, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0});
    Bytes scan = jpegSegment(0xDA, {1, 1, 0, 1, 5, 0x02});
    scan.insert(scan.end(), 24, static_cast<unsigned char>(0x00));
    Bytes added = table;
    for (int i = 0; i < 20000; ++i)
        added.insert(added.end(), scan.begin(), scan.end());
    const ScratchStream stream(withInserted(plain, plain.size() - 2, added));
    const auto start = std::chrono::steady_clock::now();
    OpenImage image;
    static_cast<void>(image.ReadJPEG(stream));
    EXPECT_FALSE(image.ReadRectJPEG(stream, 0, 0, 5, 5));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}

} // namespace
