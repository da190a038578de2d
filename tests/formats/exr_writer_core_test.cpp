/// OpenEXR files written here, read back by the library itself and through the image.
#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <limits>

#include <OpenEXR/ImfCompression.h>

#include "formats/exr.h"
#include "support/exr_files.h"
#include "support/images.h"
#include "support/open_image.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

TEST(ExrWriter, TheHeaderIsAsTold) {
    OpenImage image;
    ASSERT_EQ(image.Create(13, 45, CM_RGB8), 0U);
    image.transposed = 1; // the stored picture is written
    const ScratchStream stream;
    ASSERT_TRUE(image.WriteEXR(stream));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.progress, 44U * 1000 / 45);
    const ExrBytes bytes = stream.bytes();
    MemorySource source(bytes);
    const Imf::InputFile file(source, 0);
    EXPECT_TRUE(file.isComplete());
    const Imf::Header& header = file.header();
    const Imath::Box2i window(Imath::V2i(0, 0), Imath::V2i(12, 44));
    EXPECT_EQ(header.dataWindow(), window);
    EXPECT_EQ(header.displayWindow(), window);
    EXPECT_EQ(header.pixelAspectRatio(), 1.0F);
    EXPECT_EQ(header.screenWindowCenter(), Imath::V2f(0.0F, 0.0F));
    EXPECT_EQ(header.screenWindowWidth(), 1.0F);
    EXPECT_EQ(header.lineOrder(), Imf::INCREASING_Y);
    EXPECT_EQ(header.compression(), Imf::PIZ_COMPRESSION);
    EXPECT_FALSE(header.hasTileDescription());
    std::string names;
    for (auto channel = header.channels().begin(); channel != header.channels().end(); ++channel) {
        names += channel.name();
        EXPECT_EQ(channel.channel().type, Imf::FLOAT);
        EXPECT_EQ(channel.channel().xSampling, 1);
        EXPECT_EQ(channel.channel().ySampling, 1);
        EXPECT_FALSE(channel.channel().pLinear);
    }
    EXPECT_EQ(names, "ABGR");
}

/// Bit patterns, not values: infinities, NaN, negative zero and denormals come back too.
TEST(ExrWriter, FloatsComeBackBitForBit) {
    for (const auto& [width, height] : {std::pair{1U, 1U}, {7U, 5U}, {40U, 33U}, {3U, 97U}}) {
        OpenImage image;
        image.Create(width, height, CM_ARGBFP32);
        Noise noise(width);
        std::vector<std::uint32_t> bits(std::size_t{width} * height * 4);
        for (std::uint32_t& word : bits)
            word = noise.next() << 16 | (noise.next() & 0xFFFF);
        bits[0] = std::bit_cast<std::uint32_t>(std::numeric_limits<float>::infinity());
        bits[1] = 0x80000000;
        bits[2] = 1;
        bits[3] = 0x7FC01234;
        ASSERT_TRUE(image.pixels.Write(0, bits.data(), bits.size() * 4));
        const ScratchStream stream;
        ASSERT_TRUE(image.WriteEXR(stream));
        OpenImage back;
        ASSERT_TRUE(back.ReadEXR(stream));
        EXPECT_EQ(back.width, width);
        EXPECT_EQ(back.height, height);
        EXPECT_TRUE(bytesOf(back) == bytesOf(image));
    }
}

TEST(ExrWriter, EightBitsBecomeTwoHundredFiftyFifths) {
    OpenImage image;
    image.Create(256, 1, CM_ARGB8);
    for (long v = 0; v < 256; ++v) {
        pixel_argb8 pixel{static_cast<unsigned char>(v), static_cast<unsigned char>(255 - v),
                          static_cast<unsigned char>(v / 2), 255};
        image.WritePixel(pixel, v, 0, true);
    }
    const ScratchStream stream;
    ASSERT_TRUE(image.WriteEXR(stream));
    OpenImage back;
    ASSERT_TRUE(back.ReadEXR(stream));
    for (long v = 0; v < 256; ++v) {
        pixel_argbfp32 pixel{};
        back.ReadPixel(pixel, v, 0, true);
        EXPECT_FLOAT_EQ(pixel.b, static_cast<float>(v) / 255.0F);
        EXPECT_FLOAT_EQ(pixel.g, static_cast<float>(255 - v) / 255.0F);
        EXPECT_FLOAT_EQ(pixel.r, static_cast<float>(v / 2) / 255.0F);
        EXPECT_FLOAT_EQ(pixel.a, 1.0F);
    }
}

TEST(ExrWriter, EveryColourModelGoesThroughTheLineLayer) {
    for (const unsigned char model : kAllModels) {
        if (model == CM_COLOR8 || model == CM_COLOR16 || model == CM_RGGB12) continue; // nothing converts these
        for (const unsigned char order : {'\0', '\1'}) {
            OpenImage image;
            image.Create(24, 9, model);
            image.componentOrder = order;
            fillWithNoise(image, model);
            const ScratchStream stream;
            ASSERT_TRUE(image.WriteEXR(stream)) << int{model};
            const std::vector<float> written = wholeExr(stream.bytes());
            for (long y = 0; y < 9; ++y) {
                std::vector<pixel_argbfp32> row(24);
                ASSERT_TRUE(image.ReadHLine(row.data(), 0, 23, y, true));
                EXPECT_EQ(std::memcmp(row.data(), written.data() + y * 24 * 4, 24 * 16), 0) << int{model};
            }
        }
    }
}

TEST(ExrWriter, AnUnloadedImageIsLoadedFirst) {
    OpenImage image;
    image.Create(6, 4, CM_RGB8);
    fillWithNoise(image, 1);
    const ScratchFile source(".tif");
    ASSERT_EQ(image.Write(source.widePath().c_str(), L"tif"), 0U);
    const ScratchStream expected;
    ASSERT_TRUE(image.WriteEXR(expected));
    ASSERT_EQ(image.Unload(), 0U);
    ASSERT_EQ(image.pixels.GetSize(), 0U);
    const ScratchStream stream;
    ASSERT_TRUE(image.WriteEXR(stream));
    EXPECT_EQ(stream.bytes(), expected.bytes());
}

TEST(ExrWriter, ImagesWithoutPixelsFail) {
    OpenImage image;
    EXPECT_FALSE(image.WriteEXR(ScratchStream()));
    image.Create(0, 5, CM_RGB8);
    EXPECT_FALSE(image.WriteEXR(ScratchStream()));
    image.Create(5, 0, CM_RGB8);
    EXPECT_FALSE(image.WriteEXR(ScratchStream()));
    image.Create(5, 5, 7);
    EXPECT_FALSE(image.WriteEXR(ScratchStream()));
    EXPECT_EQ(image.busyCount, 0U);
    const ScratchFile file;
    EXPECT_EQ(image.Write(file.widePath().c_str(), L"exr"), Rastrel::kWriteFailed);
}

struct CancelledAtRow : OpenImage {
    using OpenImage::operator=;
    bool ReadHLine(pixel_argbfp32* row, long x0, long x1, long y, bool order) override {
        ++rows;
        EXPECT_EQ(x0, 0);
        EXPECT_EQ(x1, static_cast<long>(width) - 1);
        EXPECT_TRUE(order);
        EXPECT_EQ(busyCount, 1U);
        EXPECT_EQ(progress, static_cast<std::uint32_t>(y * 1000 / static_cast<long>(height)));
        if (y == cancelAt) cancelRequested = 1;
        if (y == refuseAt) return false;
        return OpenImage::ReadHLine(row, x0, x1, y, order);
    }
    using OpenImage::ReadHLine;
    long cancelAt = -1;
    long refuseAt = -1;
    int rows = 0;
};

TEST(ExrWriter, RowsAreFetchedInOrderAndStopWhenCancelled) {
    CancelledAtRow image;
    image.Create(5, 8, CM_GREY8);
    EXPECT_TRUE(image.WriteEXR(ScratchStream()));
    EXPECT_EQ(image.rows, 8);
    image.rows = 0;
    image.cancelAt = 3;
    EXPECT_FALSE(image.WriteEXR(ScratchStream()));
    EXPECT_EQ(image.rows, 4);
    EXPECT_EQ(image.busyCount, 0U);
    CancelledAtRow refused;
    refused.Create(5, 8, CM_GREY8);
    refused.refuseAt = 2;
    EXPECT_FALSE(refused.WriteEXR(ScratchStream()));
    EXPECT_EQ(refused.busyCount, 0U);
}

TEST(ExrWriter, AstreamThatTakesNothingIsAfailure) {
    const ScratchFile file;
    OpenImage image;
    image.Create(50, 80, CM_ARGB8);
    fillWithNoise(image, 3);
    FILE* const stream = std::fopen(file.path().c_str(), "rb");
    ASSERT_NE(stream, nullptr);
    rastrel::ImagePort port = rastrel::portOf(image);
    bool written = true;
    try {
        written = rastrel::writeExr(stream, port);
    } catch (const std::exception&) {
        written = false;
    }
    EXPECT_FALSE(written);
    EXPECT_EQ(image.busyCount, 0U);
    std::fclose(stream);
}

/// A picture may be written behind what is in the file already.
TEST(ExrWriter, WritesAtTheStreamsPosition) {
    OpenImage image;
    image.Create(6, 4, CM_RGB8);
    fillWithNoise(image, 1);
    const ScratchStream plain;
    ASSERT_TRUE(image.WriteEXR(plain));
    EXPECT_EQ(std::ftell(plain) >= 0, true);
    EXPECT_EQ(plain.bytes().front(), 0x76);
}

} // namespace
