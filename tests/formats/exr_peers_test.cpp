/// OpenEXR files written here as other programs read them, and theirs as they are read here. Each test begins with what
/// can be seen without them; a program that is not on this machine is passed over.
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "support/images.h"
#include "support/open_image.h"
#include "support/other_programs.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

constexpr std::uint32_t kWidth = 45;
constexpr std::uint32_t kHeight = 67; // three blocks of rows

/// An image of noise, blue, green, red, alpha, and its bytes.
std::vector<unsigned char> fill(OpenImage& image) {
    image.Create(kWidth, kHeight, CM_ARGBFP32);
    image.componentOrder = 1;
    fillWithNoise(image, 7);
    return bytesOf(image);
}

std::vector<unsigned char> pixelsOf(const ScratchFile& file, unsigned char model) {
    OpenImage image;
    EXPECT_EQ(image.Read(file.path().c_str()), 0U);
    EXPECT_EQ(image.colormodel, model);
    EXPECT_EQ(image.width, kWidth);
    EXPECT_EQ(image.height, kHeight);
    return bytesOf(image);
}

/// One of the four floats of each pixel.
std::vector<unsigned char> channelOf(const std::vector<unsigned char>& pixels, std::size_t channel) {
    std::vector<unsigned char> plane;
    for (std::size_t at = 4 * channel; at + 4 <= pixels.size(); at += 16)
        plane.insert(plane.end(), pixels.begin() + static_cast<std::ptrdiff_t>(at),
                     pixels.begin() + static_cast<std::ptrdiff_t>(at + 4));
    return plane;
}

TEST(ExrPeers, TheHeaderIsAsItsPrintersTellIt) {
    OpenImage image;
    const auto pixels = fill(image);
    const ScratchFile ours(".exr");
    ASSERT_EQ(image.Write(ours.path().c_str(), "exr"), 0U);
    EXPECT_EQ(pixelsOf(ours, CM_ARGBFP32), pixels);
    if (programIsHere("exrheader")) {
        const std::string told = outputOf({"exrheader", quoted(ours)});
        for (const char* line : {"A, 32-bit floating-point, sampling 1 1", "B, 32-bit floating-point, sampling 1 1",
                                 "G, 32-bit floating-point, sampling 1 1", "R, 32-bit floating-point, sampling 1 1",
                                 "compression (type compression): piz", "dataWindow (type box2i): (0 0) - (44 66)",
                                 "lineOrder (type lineOrder): increasing y", "pixelAspectRatio (type float): 1",
                                 "screenWindowCenter (type v2f): (0 0)", "screenWindowWidth (type float): 1"})
            EXPECT_NE(told.find(line), std::string::npos) << line << "\n" << told;
    }
    if (programIsHere("exrinfo")) {
        // It ends with a status of no meaning.
        const std::string told = outputOf({"{ exrinfo -v", quoted(ours), "; true; }"});
        for (const char* line : {"parts: 1", "4 channels", "'piz'", "[ 0, 0 - 44 66 ] 45 x 67", "(increasing)"})
            EXPECT_NE(told.find(line), std::string::npos) << line << "\n" << told;
    }
}

TEST(ExrPeers, OpenImageIOReadsTheSameFloats) {
    OpenImage image;
    const auto pixels = fill(image);
    const ScratchFile ours(".exr");
    ASSERT_EQ(image.Write(ours.path().c_str(), "exr"), 0U);
    EXPECT_EQ(pixelsOf(ours, CM_ARGBFP32), pixels);
    if (!programIsHere("oiiotool")) return;
    constexpr std::array<const char*, 4> kNames{"B", "G", "R", "A"};
    for (std::size_t channel = 0; channel < kNames.size(); ++channel) {
        const ScratchFile plane(".tif");
        ASSERT_TRUE(
            runs({"oiiotool", quoted(ours), "--ch", kNames[channel], "-d float --compression none -o", quoted(plane)}));
        EXPECT_EQ(pixelsOf(plane, CM_GREYFP32), channelOf(pixels, channel)) << kNames[channel];
    }
}

TEST(ExrPeers, FilesThatOpenImageIOWrites) {
    OpenImage image;
    const auto pixels = fill(image);
    const ScratchFile ours(".exr");
    ASSERT_EQ(image.Write(ours.path().c_str(), "exr"), 0U);
    EXPECT_EQ(pixelsOf(ours, CM_ARGBFP32), pixels);
    if (!programIsHere("oiiotool")) return;
    for (const char* options : {"--compression none", "--compression zip", "--compression zips", "--compression rle",
                                "--compression piz", "--tile 16 16 --compression zip"}) {
        const ScratchFile theirs(".exr");
        ASSERT_TRUE(runs({"oiiotool", quoted(ours), "-d float", options, "-o", quoted(theirs)}));
        EXPECT_EQ(pixelsOf(theirs, CM_ARGBFP32), pixels) << options;
    }
}

} // namespace
