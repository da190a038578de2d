/// Whole pictures and headers.
#include <gtest/gtest.h>

#include <cstring>

#include <turbojpeg.h>

#include "support/jpeg_files.h"
#include "support/open_image.h"

namespace {

using namespace testing_support;

/// What TurboJPEG makes of a whole file.
Bytes turboPixels(const Bytes& file, bool grey, unsigned width, unsigned height) {
    Bytes pixels(std::size_t{width} * height * (grey ? 1 : 4));
    const tjhandle decoder = tjInitDecompress();
    tjDecompress2(decoder, file.data(), static_cast<unsigned long>(file.size()), pixels.data(), 0, 0, 0,
                  grey ? TJPF_GRAY : TJPF_BGRX, TJFLAG_ACCURATEDCT);
    tjDestroy(decoder);
    return pixels;
}

TEST(JpegReader, AWholePictureIsWhatTheDecoderMakesOfIt) {
    for (const JpegRecipe& recipe : kJpegRecipes) {
        SCOPED_TRACE(recipe.name);
        const Bytes file = makeJpeg(recipe);
        const bool grey = recipe.components == 1;
        for (const unsigned char flag : {'\0', '\1'}) {
            OpenImage image;
            image.componentOrder = flag;
            const ScratchStream stream(file);
            ASSERT_TRUE(image.ReadJPEG(stream));
            EXPECT_EQ(image.width, recipe.width);
            EXPECT_EQ(image.height, recipe.height);
            EXPECT_EQ(image.colormodel, grey ? CM_GREY8 : CM_ARGB8);
            EXPECT_EQ(image.componentOrder, grey ? flag : 1);
            EXPECT_EQ(bytesOf(image), turboPixels(file, grey, recipe.width, recipe.height));
            EXPECT_EQ(image.busyCount, 0U);
            EXPECT_EQ(image.exif.xResolution, 72.0);
        }
    }
}

TEST(JpegReader, TheFirstByteOfAPixelIsBlue) {
    JpegRecipe recipe;
    Bytes file = makeJpeg(recipe);
    OpenImage image;
    const ScratchStream stream(file);
    ASSERT_EQ(image.Read(stream), 0U);
    const DecodedJpeg decoded = decodeJpeg(file);
    const Bytes bytes = bytesOf(image);
    for (std::size_t i = 0; i < std::size_t{recipe.width} * recipe.height; ++i)
        for (std::size_t c = 0; c < 3; ++c)
            ASSERT_NEAR(bytes[4 * i + c], decoded.pixels[3 * i + 2 - c], 3); // another transform
    EXPECT_EQ(image.GetPixelARGB8(5L, 7L).r, bytes[4 * (7 * recipe.width + 5) + 2]);
}

TEST(JpegReader, TheHeaderReadSaysThreeBytesWhereTheWholeReadGivesFour) {
    for (const JpegRecipe& recipe : kJpegRecipes) {
        SCOPED_TRACE(recipe.name);
        OpenImage image;
        image.cancelRequested = 1; // the header read does not look at it
        const ScratchStream stream(withExif(makeJpeg(recipe), exifStructure("A view")));
        ASSERT_TRUE(image.PreReadJPEG(stream));
        EXPECT_EQ(image.width, recipe.width);
        EXPECT_EQ(image.height, recipe.height);
        EXPECT_EQ(image.colormodel, recipe.components == 1 ? CM_GREY8 : CM_RGB8);
        EXPECT_EQ(image.pixels.GetSize(), 0U);
        EXPECT_EQ(image.busyCount, 0U);
        EXPECT_STREQ(image.exif.description, "A view");
    }
}

TEST(JpegReader, AFileWithoutJfifOrExifFirstIsDeclinedByEveryReader) {
    std::vector<Bytes> files;
    for (const unsigned char fourth : Bytes{0xDB, 0xED, 0xEE, 0xE2, 0xC0}) {
        files.push_back(makeJpeg({}));
        files.back()[3] = fourth;
    }
    files.push_back(withInserted(makeJpeg({}), 2, {0xFF})); // a fill byte, which may stand before any later marker
    files.push_back(withInserted(makeJpeg({}), 0, {0xFF}));
    for (const Bytes& file : files) {
        const ScratchStream stream(file);
        OpenImage image;
        EXPECT_FALSE(image.ReadJPEG(stream));
        EXPECT_FALSE(image.PreReadJPEG(stream));
        EXPECT_FALSE(image.ReadRectJPEG(stream, 0, 0, 5, 5));
        EXPECT_FALSE(OpenImage::ReadExifJPEG(stream, &image.exif));
        EXPECT_EQ(image.busyCount, 0U);
        EXPECT_EQ(image.Read(stream), Rastrel::kNotAccepted);
    }
    Bytes exifFirst = makeJpeg({});
    exifFirst.erase(exifFirst.begin() + 2,
                    exifFirst.begin() + static_cast<std::ptrdiff_t>(behindFirstSegment(exifFirst)));
    exifFirst = withInserted(exifFirst, 2, exifSegment(exifStructure("first")));
    OpenImage image;
    const ScratchStream stream(exifFirst);
    EXPECT_EQ(image.Read(stream), 0U);
    EXPECT_STREQ(image.exif.description, "first");
}

TEST(JpegReader, ACancelRequestEndsTheRead) {
    OpenImage image;
    image.cancelRequested = 1;
    const ScratchStream stream(makeJpeg({}));
    EXPECT_FALSE(image.ReadJPEG(stream));
    EXPECT_FALSE(image.ReadRectJPEG(stream, 0, 0, 5, 5));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
}

TEST(JpegReader, ADamagedScanIsNotNoticed) {
    const Bytes whole = withExif(makeJpeg({}), exifStructure("cut"));
    const std::size_t scan = markerPlace(whole, 0xDA);
    for (const std::size_t kept : {scan + 14, scan + 40, whole.size() - 2, whole.size() - 100}) {
        Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(kept));
        OpenImage image;
        const ScratchStream stream(cut);
        EXPECT_EQ(image.Read(stream), 0U);
        EXPECT_EQ(image.width, 61U);
        EXPECT_EQ(image.pixels.GetSize(), 61U * 43 * 4);
        const ScratchStream bare([&] { // and without metadata, where the walk meets the end of the file
            const Bytes plain = makeJpeg({});
            return Bytes(plain.begin(), plain.end() - static_cast<std::ptrdiff_t>(whole.size() - kept));
        }());
        EXPECT_EQ(image.Read(bare), 0U);
    }
}

TEST(JpegReader, NothingIsPrinted) {
    Bytes file = makeJpeg({});
    for (std::size_t i = markerPlace(file, 0xDA) + 20; i < file.size(); i += 3)
        file[i] = static_cast<unsigned char>(file[i] * 5 + 1);
    const ScratchStream stream(file);
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    OpenImage image;
    static_cast<void>(image.ReadJPEG(stream));
    static_cast<void>(image.ReadRectJPEG(stream, 0, 0, 50, 40));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(JpegReader, FourInksGiveAnImageWithoutContent) {
    JpegRecipe recipe;
    recipe.components = 4;
    const ScratchStream stream(makeJpeg(recipe));
    OpenImage image;
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(image.colormodel, CM_ARGB8);
    EXPECT_EQ(bytesOf(image), Bytes(std::size_t{61} * 43 * 4));
    EXPECT_FALSE(image.ReadRectJPEG(stream, 0, 0, 5, 5));
    OpenImage header;
    EXPECT_TRUE(header.PreReadJPEG(stream));
    EXPECT_EQ(header.colormodel, CM_RGB8);
}

TEST(JpegReader, ALargePictureIsDecodedIntoASwappedBlock) {
    const Bytes file = makeJpeg({});
    OpenImage inMemory;
    OpenImage swapped;
    inMemory.swapThreshold = 61 * 43 * 4;
    swapped.swapThreshold = 61 * 43 * 4 - 1;
    const ScratchStream stream(file);
    ASSERT_EQ(inMemory.Read(stream), 0U);
    ASSERT_EQ(swapped.Read(stream), 0U);
    EXPECT_FALSE(inMemory.pixels.IsSwapped());
    EXPECT_TRUE(swapped.pixels.IsSwapped());
    EXPECT_EQ(bytesOf(swapped), bytesOf(inMemory));
}

TEST(JpegReader, NothingOfAnEarlierImageShowsThrough) {
    JpegRecipe recipe;
    recipe.width = 1024;
    recipe.height = 700;
    const auto leaveTraces = [&] { // in memory that the next block of this size gets
        OpenImage image;
        image.Create(recipe.width, recipe.height, CM_ARGB8);
        std::memset(image.pixels.GetData(), 0xA5, static_cast<std::size_t>(image.pixels.GetSize()));
    };
    const auto expectSame = [&](const Bytes& file) {
        leaveTraces();
        OpenImage image;
        const ScratchStream stream(file);
        ASSERT_TRUE(image.ReadJPEG(stream));
        ASSERT_EQ(bytesOf(image), turboPixels(file, false, recipe.width, recipe.height));
    };
    const Bytes whole = makeJpeg(recipe);
    expectSame(whole);
    expectSame({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2)});
    Bytes damaged = whole;
    for (std::size_t i = markerPlace(whole, 0xDA) + 100; i + 2 < whole.size(); i += 97)
        if (whole[i] < 0x80 && whole[i - 1] != 0xFF) damaged[i] = static_cast<unsigned char>(damaged[i] ^ 0x15);
    expectSame(damaged);
    // A decoder that gives up before the first row: a quantisation table that is not there, and four inks.
    Bytes unknown = whole;
    unknown[markerPlace(unknown, 0xC0) + 4 + 8] = 3;
    expectSame(unknown);
    recipe.components = 4;
    expectSame(makeJpeg(recipe));
}

TEST(JpegReader, AFileOfTablesAloneHasNoPixels) {
    const Bytes whole = makeJpeg({});
    Bytes file(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(behindFirstSegment(whole)));
    const Bytes rest = exifSegment(exifStructure("tables"));
    file.insert(file.end(), rest.begin(), rest.end());
    file.insert(file.end(), {0xFF, 0xD9});
    const ScratchStream stream(file);
    OpenImage image;
    EXPECT_TRUE(image.ReadJPEG(stream));
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    EXPECT_EQ(image.width, 0U);
    EXPECT_FALSE(image.GetReady());
    EXPECT_STREQ(image.exif.description, "tables");
    EXPECT_FALSE(image.PreReadJPEG(stream));
    EXPECT_FALSE(image.ReadRectJPEG(stream, 0, 0, 5, 5));
}

TEST(JpegReader, TheRecordOfTheFileReplacesTheOldOne) {
    OpenImage image;
    const ScratchStream first(withExif(makeJpeg({}), exifStructure("A view")));
    ASSERT_TRUE(image.ReadJPEG(first));
    EXPECT_EQ(image.exif.xResolution, 300.0);
    EXPECT_EQ(image.exif.isoSpeed, 400);
    EXPECT_EQ(image.exif.gpsTags.size(), 2U);
    const ScratchStream second(makeJpeg({}));
    ASSERT_TRUE(image.ReadJPEG(second));
    EXPECT_EQ(image.exif.xResolution, 72.0);
    EXPECT_STREQ(image.exif.description, "");
    EXPECT_STREQ(image.exif.software, "");
    EXPECT_TRUE(image.exif.exifTags.empty());
    EXPECT_TRUE(image.exif.gpsTags.empty());
}

} // namespace
