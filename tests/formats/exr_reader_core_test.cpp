/// OpenEXR files that the library itself has written, read through the image.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include <OpenEXR/ImfThreading.h>

#include "support/exr_files.h"
#include "support/images.h"
#include "support/open_image.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

std::vector<float> floatsOf(const OpenImage& image) {
    const std::vector<unsigned char> bytes = bytesOf(image);
    std::vector<float> floats(bytes.size() / sizeof(float));
    if (!floats.empty()) std::memcpy(floats.data(), bytes.data(), bytes.size());
    return floats;
}

/// An accepted file's fields, the stream's position and every pixel.
void expectPicture(const ExrPicture& made, bool exact = true) {
    const ExrBytes bytes = made.build();
    const ScratchStream stream(bytes);
    OpenImage image;
    image.componentOrder = 0;
    std::fseek(stream, 3, SEEK_SET);
    ASSERT_TRUE(image.ReadEXR(stream));
    EXPECT_EQ(std::ftell(stream), 0);
    EXPECT_EQ(image.width, static_cast<std::uint32_t>(made.width));
    EXPECT_EQ(image.height, static_cast<std::uint32_t>(made.height));
    EXPECT_EQ(image.colormodel, CM_ARGBFP32);
    EXPECT_EQ(image.componentOrder, 1);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.progress, static_cast<std::uint32_t>((made.height - 1) * 1000 / made.height));
    const std::vector<float> floats = floatsOf(image);
    ASSERT_EQ(floats.size(), static_cast<std::size_t>(made.width) * static_cast<std::size_t>(made.height) * 4);
    EXPECT_EQ(floats, wholeExr(bytes));
    if (!exact) return;
    for (int y = 0; y < made.height; ++y)
        for (int x = 0; x < made.width; ++x) {
            const std::array<float, 4> pixel = made.pixel(x, y);
            const std::size_t at = static_cast<std::size_t>(y * made.width + x) * 4;
            for (std::size_t i = 0; i < 4; ++i)
                ASSERT_EQ(floats[at + i], pixel[i]) << x << ", " << y << ", channel " << i;
        }
}

ExrPicture picture(int width, int height) {
    ExrPicture made;
    made.width = width;
    made.height = height;
    return made;
}

TEST(ExrReader, EveryCompression) {
    for (int code = Imf::NO_COMPRESSION; code < Imf::NUM_COMPRESSION_METHODS; ++code) {
        ExrPicture made = picture(37, 70);
        made.compression = static_cast<Imf::Compression>(code);
        SCOPED_TRACE(code);
        const bool lossy = code == Imf::B44_COMPRESSION || code == Imf::B44A_COMPRESSION ||
                           code == Imf::DWAA_COMPRESSION || code == Imf::DWAB_COMPRESSION;
        expectPicture(made, !lossy);
        made.order = Imf::DECREASING_Y;
        expectPicture(made, !lossy);
    }
}

TEST(ExrReader, EveryPixelType) {
    for (const Imf::PixelType type : {Imf::UINT, Imf::HALF, Imf::FLOAT}) {
        ExrPicture made = picture(9, 5);
        made.channels = {{"R", type}, {"G", type}, {"B", type}, {"A", type}};
        expectPicture(made);
    }
    ExrPicture mixed = picture(9, 5);
    mixed.channels = {{"R", Imf::HALF}, {"G", Imf::FLOAT}, {"B", Imf::UINT}, {"A", Imf::HALF}};
    expectPicture(mixed);
}

TEST(ExrReader, AbsentChannelsAreZeroAndOthersAreLeftOut) {
    ExrPicture made = picture(9, 5);
    made.channels = {{"R"}, {"G"}, {"B"}};
    expectPicture(made);
    made.channels = {{"G", Imf::FLOAT}};
    expectPicture(made);
    made.channels = {{"Y"}};
    expectPicture(made);
    made.channels = {{"R"}, {"G"}, {"B"}, {"A"}, {"Z", Imf::FLOAT}, {"left.R"}};
    expectPicture(made);
    made.tiled = true;
    expectPicture(made);
    made.channels = {{"Y"}};
    expectPicture(made);
    // Colour at half resolution beside the brightness.
    ExrPicture subsampled = picture(8, 6);
    subsampled.channels = {{"Y"}, {"BY", Imf::HALF, 2, 2}, {"RY", Imf::HALF, 2, 2}};
    expectPicture(subsampled);
}

TEST(ExrReader, Tiles) {
    for (const Imf::LevelMode levels : {Imf::ONE_LEVEL, Imf::MIPMAP_LEVELS, Imf::RIPMAP_LEVELS}) {
        for (const auto& [width, height] : {std::pair{16U, 16U}, {7U, 5U}, {64U, 3U}, {3U, 100U}}) {
            ExrPicture made = picture(33, 21);
            made.tiled = true;
            made.levels = levels;
            made.tileWidth = width;
            made.tileHeight = height;
            expectPicture(made);
        }
    }
}

TEST(ExrReader, SmallestPictures) {
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 1}, {1, 40}})
        expectPicture(picture(width, height));
}

/// The library's slices count columns from the data window's own origin.
TEST(ExrReader, AdataWindowAtAnotherColumnIsReadFromItsFirst) {
    for (const int minX : {1, 30, 100000, -1, -29, -100000}) {
        for (const bool tiled : {false, true}) {
            ExrPicture made = picture(21, 18);
            made.minX = minX;
            made.tiled = tiled;
            expectPicture(made);
        }
    }
}

TEST(ExrReader, AdataWindowAtAnotherRowIsDeclined) {
    for (const int minY : {1, 40, 1000000, -1, -17, -40, -1000000}) {
        for (const bool tiled : {false, true}) {
            ExrPicture made = picture(21, 18);
            made.minY = minY;
            made.tiled = tiled;
            const ScratchStream stream(made.build());
            OpenImage image;
            EXPECT_EQ(image.Read(stream), Rastrel::kNotAccepted) << minY;
            EXPECT_EQ(image.busyCount, 0U);
            EXPECT_EQ(image.width, 0U);
            EXPECT_EQ(image.pixels.GetSize(), 0U);
            // Its size is known all the same.
            EXPECT_TRUE(image.PreReadEXR(stream));
            EXPECT_EQ(image.width, 21U);
            EXPECT_EQ(image.height, 18U);
        }
    }
}

TEST(ExrReader, TheHeaderReadKnowsAllButThePixels) {
    for (const bool tiled : {false, true}) {
        ExrPicture made = picture(21, 18);
        made.tiled = tiled;
        const ScratchStream stream(made.build());
        std::fseek(stream, 7, SEEK_SET);
        OpenImage image;
        ASSERT_TRUE(image.PreReadEXR(stream));
        EXPECT_EQ(std::ftell(stream), 0);
        EXPECT_EQ(image.width, 21U);
        EXPECT_EQ(image.height, 18U);
        EXPECT_EQ(image.colormodel, CM_ARGBFP32);
        EXPECT_EQ(image.pixels.GetSize(), 0U);
        EXPECT_EQ(image.busyCount, 0U);
        // Colour differences need work of their own in the library.
        made.channels = {{"Y"}, {"BY"}, {"RY"}};
        const ScratchStream brightness(made.build());
        EXPECT_TRUE(image.PreReadEXR(brightness));
    }
}

TEST(ExrReader, ByPathThePixelsLoadOnFirstTouch) {
    const ExrPicture made = picture(21, 18);
    const ScratchFile file(made.build(), ".exr");
    OpenImage image;
    ASSERT_EQ(image.PreRead(file.path().c_str()), 0U);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    pixel_argbfp32 pixel{};
    EXPECT_TRUE(image.ReadPixel(pixel, 20, 17, true));
    EXPECT_EQ(pixel.g, made.pixel(20, 17)[1]);
}

TEST(ExrReader, MetadataOfAnotherFileIsGone) {
    const ScratchStream stream(picture(3, 2).build());
    for (const bool whole : {false, true}) {
        OpenImage image;
        image.exif.exifTags.append(34855, 3, 1);
        image.exif.xResolution = 300.0;
        std::strcpy(image.exif.software, "another");
        EXPECT_TRUE(whole ? image.ReadEXR(stream) : image.PreReadEXR(stream));
        EXPECT_TRUE(image.exif.exifTags.empty());
        EXPECT_EQ(image.exif.xResolution, 72.0);
        EXPECT_STREQ(image.exif.software, "");
    }
}

TEST(ExrReader, LargeBlocksAreSwappedOut) {
    const ExrPicture made = picture(40, 30);
    const ScratchStream stream(made.build());
    for (const std::uint64_t threshold : {std::uint64_t{40 * 30 * 16 - 1}, std::uint64_t{40 * 30 * 16}}) {
        OpenImage image;
        image.swapThreshold = threshold;
        ASSERT_TRUE(image.ReadEXR(stream));
        EXPECT_EQ(image.pixels.IsSwapped(), threshold < 40 * 30 * 16);
        EXPECT_EQ(floatsOf(image), wholeExr(made.build()));
    }
}

/// An image that asks to cancel itself at one of its rows.
struct CancelledAtRow : OpenImage {
    using OpenImage::operator=;
    bool WriteHLine(pixel_argbfp32* row, long x0, long x1, long y, bool order) override {
        rows.push_back(y);
        EXPECT_EQ(x0, 0);
        EXPECT_EQ(x1, static_cast<long>(width) - 1);
        EXPECT_TRUE(order);
        EXPECT_EQ(busyCount, 1U);
        EXPECT_EQ(progress, static_cast<std::uint32_t>(y * 1000 / static_cast<long>(height)));
        if (y == cancelAt) cancelRequested = 1;
        return OpenImage::WriteHLine(row, x0, x1, y, order);
    }
    using OpenImage::WriteHLine;
    std::vector<long> rows;
    long cancelAt = -1;
};

TEST(ExrReader, RowsGoThroughTheLineLayerAndStopWhenCancelled) {
    const ScratchStream stream(picture(5, 8).build());
    CancelledAtRow image;
    EXPECT_TRUE(image.ReadEXR(stream));
    EXPECT_EQ(image.rows, (std::vector<long>{0, 1, 2, 3, 4, 5, 6, 7}));
    CancelledAtRow cancelled;
    cancelled.cancelAt = 2;
    EXPECT_FALSE(cancelled.ReadEXR(stream));
    EXPECT_EQ(cancelled.rows, (std::vector<long>{0, 1, 2}));
    EXPECT_EQ(cancelled.busyCount, 0U);
    EXPECT_EQ(std::ftell(stream), 0);
}

TEST(ExrReader, TheLibrarysThreadsAreGoneAfterwards) {
    const ScratchStream stream(picture(5, 8).build());
    OpenImage image;
    Imf::setGlobalThreadCount(3);
    EXPECT_TRUE(image.ReadEXR(stream));
    EXPECT_EQ(Imf::globalThreadCount(), 0);
    EXPECT_TRUE(image.PreReadEXR(stream));
    EXPECT_EQ(Imf::globalThreadCount(), 0);
    Imf::setGlobalThreadCount(2);
    EXPECT_TRUE(image.WriteEXR(ScratchStream()));
    EXPECT_EQ(Imf::globalThreadCount(), 0);
}

TEST(ExrReader, SeveralThreadsReadPreReadAndWriteAtOnce) {
    const ExrPicture made = picture(33, 70);
    const ExrBytes bytes = made.build();
    const std::vector<float> expected = wholeExr(bytes);
    std::vector<std::unique_ptr<ScratchStream>> streams;
    for (int i = 0; i < 8; ++i)
        streams.push_back(i % 4 == 3 ? std::make_unique<ScratchStream>() : std::make_unique<ScratchStream>(bytes));
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 15; ++round) {
                OpenImage image;
                FILE* const stream = *streams[static_cast<std::size_t>(i)];
                if (i % 4 == 2) {
                    EXPECT_TRUE(image.PreReadEXR(stream));
                } else if (i % 4 == 3) {
                    image.Create(20, 20, CM_ARGB8);
                    std::rewind(stream);
                    EXPECT_TRUE(image.WriteEXR(stream));
                } else {
                    EXPECT_TRUE(image.ReadEXR(stream));
                    EXPECT_EQ(floatsOf(image), expected);
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
