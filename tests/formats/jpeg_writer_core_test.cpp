/// Files written from images.
#include <gtest/gtest.h>

#include <limits>

#include "formats/exif_record.h"
#include "support/jpeg_files.h"
#include "support/open_image.h"

namespace {

using namespace testing_support;

Bytes written(OpenImage& image) {
    const ScratchStream stream;
    EXPECT_TRUE(image.WriteJPEG(stream));
    EXPECT_EQ(image.busyCount, 0U);
    return stream.bytes();
}

bool fails(OpenImage& image) {
    const ScratchStream stream;
    const bool failed = !image.WriteJPEG(stream);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(stream.bytes(), Bytes());
    return failed;
}

void make(OpenImage& image, unsigned width, unsigned height, unsigned char model) {
    image.Create(width, height, model);
    fillWithNoise(image, width * 7 + height);
}

/// The whole file as told, made step by step with the library.
Bytes expectedFile(const OpenImage& image) {
    const bool grey = image.colormodel == CM_GREY8;
    const std::size_t line = std::size_t{image.width} * (grey ? 1 : 3);
    Bytes pixels = bytesOf(image);
    for (std::size_t i = 0; !grey && image.componentOrder != 0 && i < pixels.size(); i += 3)
        std::swap(pixels[i], pixels[i + 2]);
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &bytes, &size);
    encoder.image_width = image.width;
    encoder.image_height = image.height;
    encoder.input_components = grey ? 1 : 3;
    encoder.in_color_space = grey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&encoder);
    encoder.density_unit = 1;
    encoder.X_density = static_cast<UINT16>(image.exif.xResolution);
    encoder.Y_density = static_cast<UINT16>(image.exif.yResolution);
    jpeg_set_quality(&encoder, 100, FALSE);
    encoder.dct_method = JDCT_FLOAT;
    encoder.optimize_coding = TRUE;
    jpeg_start_compress(&encoder, TRUE);
    const Bytes exif = rastrel::buildExifBlock(image.exif, image.width, image.height, image.colormodel);
    jpeg_write_m_header(&encoder, 0xE1, static_cast<unsigned>(exif.size() + 6));
    for (const char c : {'E', 'x', 'i', 'f', '\0', '\0'})
        jpeg_write_m_byte(&encoder, c);
    for (const unsigned char byte : exif)
        jpeg_write_m_byte(&encoder, byte);
    for (unsigned y = 0; y < image.height; ++y) {
        JSAMPROW row = pixels.data() + y * line;
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    Bytes file(bytes, bytes + size);
    jpeg_destroy_compress(&encoder);
    std::free(bytes);
    return file;
}

TEST(JpegWriter, EveryByteIsAsTold) {
    for (const unsigned char model : {CM_GREY8, CM_RGB8}) {
        for (const unsigned char order : {'\0', '\1'}) {
            for (const auto& [width, height] : {std::pair{1U, 1U}, {17U, 9U}, {64U, 48U}, {301U, 5U}}) {
                OpenImage image;
                make(image, width, height, model);
                image.componentOrder = order;
                image.exif.xResolution = 72.6;
                image.exif.yResolution = 299.99;
                std::snprintf(image.exif.description, sizeof image.exif.description, "A view");
                const Bytes file = written(image);
                EXPECT_EQ(file, expectedFile(image));
                EXPECT_EQ(image.progress, 1000U);
                EXPECT_EQ(image.componentOrder, order);
            }
        }
    }
}

TEST(JpegWriter, ColoursComeBackWhateverTheOrder) {
    for (const unsigned char order : {'\0', '\1'}) {
        OpenImage image;
        image.Create(32U, 32U, CM_RGB8);
        image.componentOrder = order;
        for (unsigned i = 0; i < 32 * 32; ++i) {
            const unsigned char red[] = {250, 100, 10};
            const unsigned char blue[] = {10, 100, 250};
            ASSERT_TRUE(image.pixels.Write(3 * i, order != 0 ? blue : red, 3)); // both are the same orange
        }
        const ScratchStream stream;
        ASSERT_TRUE(image.WriteJPEG(stream));
        OpenImage back;
        ASSERT_EQ(back.Read(stream), 0U);
        const pixel_argb8 pixel = back.GetPixelARGB8(16L, 16L);
        EXPECT_NEAR(pixel.r, 250, 3);
        EXPECT_NEAR(pixel.g, 100, 3);
        EXPECT_NEAR(pixel.b, 10, 3);
    }
}

TEST(JpegWriter, OtherModelsFail) {
    for (const unsigned char model : kAllModels) {
        if (model == CM_GREY8 || model == CM_RGB8) continue;
        OpenImage image;
        make(image, 8, 8, model);
        EXPECT_TRUE(fails(image)) << int{model};
    }
    OpenImage image;
    make(image, 8, 8, CM_ARGB8);
    const ScratchFile file(".jpg");
    EXPECT_EQ(image.Write(file.path().c_str(), "jpg"), Rastrel::kWriteFailed);
}

TEST(JpegWriter, TheFileCarriesItsMetadata) {
    OpenImage image;
    const ScratchStream source(withExif(makeJpeg({}), exifStructure("A view")));
    ASSERT_TRUE(image.ReadRectJPEG(source, 0, 0, 30, 20));
    image.exif.xResolution = 72.6;
    const Bytes file = written(image);
    const DecodedJpeg decoded = decodeJpeg(file);
    EXPECT_EQ(decoded.densityUnit, 1U);
    EXPECT_EQ(decoded.densityX, 72U);
    EXPECT_EQ(decoded.densityY, 200U);
    EXPECT_EQ(file[3], 0xE0);
    const std::size_t second = behindFirstSegment(file);
    EXPECT_EQ(file[second + 1], 0xE1);
    EXPECT_EQ(Bytes(file.begin() + static_cast<std::ptrdiff_t>(second + 4),
                    file.begin() + static_cast<std::ptrdiff_t>(second + 14)),
              (Bytes{'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0}));
    OpenImage back;
    const ScratchStream stream(file);
    ASSERT_EQ(back.Read(stream), 0U);
    EXPECT_STREQ(back.exif.description, "A view");
    EXPECT_STREQ(back.exif.software, "a program");
    EXPECT_NEAR(back.exif.xResolution, 72.6, 1e-3);
    EXPECT_EQ(back.exif.exifTags.size(), 3U);
    EXPECT_EQ(back.exif.gpsTags.size(), 2U);
    EXPECT_EQ(back.exif.dateTime, image.exif.dateTime);
}

TEST(JpegWriter, DensitiesStayInTheirField) {
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        double resolution;
        unsigned density;
    } cases[] = {{0.9, 0},       {1, 1},         {65535.9, 65535},
                 {70000, 65535}, {1e300, 65535}, {-5, 0},
                 {inf, 65535},   {-inf, 0},      {std::numeric_limits<double>::quiet_NaN(), 0}};
    for (const auto& c : cases) {
        OpenImage image;
        make(image, 8, 8, CM_GREY8);
        image.exif.xResolution = c.resolution;
        EXPECT_EQ(decodeJpeg(written(image)).densityX, c.density) << c.resolution;
    }
}

TEST(JpegWriter, MetadataTooLongForASegmentIsLeftOut) {
    std::size_t carried = 0;
    std::size_t leftOut = 0;
    for (std::uint32_t size = 64800; size < 65600; size += 16) {
        OpenImage image;
        make(image, 8, 8, CM_GREY8);
        ASSERT_NE(image.exif.exifTags.append(0x927C, 7, size), nullptr);
        const std::size_t block = rastrel::buildExifBlock(image.exif, 8, 8, CM_GREY8).size();
        const Bytes file = written(image);
        const bool there = file[behindFirstSegment(file) + 1] == 0xE1;
        EXPECT_EQ(there, block <= 65527) << block;
        (there ? carried : leftOut) += 1;
        EXPECT_EQ(decodeJpeg(file).width, 8U);
    }
    EXPECT_GT(carried, 0U);
    EXPECT_GT(leftOut, 0U);
}

TEST(JpegWriter, EmptyImagesFail) {
    OpenImage image;
    EXPECT_TRUE(fails(image));
    image.colormodel = CM_RGB8;
    image.width = 5;
    EXPECT_TRUE(fails(image));
    image.height = 5; // and no pixels
    EXPECT_TRUE(fails(image));
}

TEST(JpegWriter, SidesBeyondTheFormatFail) {
    for (const unsigned side : {65501U, 65535U, 65536U, 70000U}) {
        OpenImage wide;
        OpenImage high;
        make(wide, side, 1, CM_GREY8);
        make(high, 1, side, CM_GREY8);
        EXPECT_TRUE(fails(wide));
        EXPECT_TRUE(fails(high));
    }
    OpenImage image;
    make(image, 65500, 1, CM_GREY8);
    EXPECT_EQ(decodeJpeg(written(image)).width, 65500U);
}

TEST(JpegWriter, SwappedImagesGiveTheSameFile) {
    OpenImage image;
    make(image, 50, 30, CM_RGB8);
    image.componentOrder = 1;
    const Bytes file = written(image);
    ASSERT_TRUE(image.pixels.Swap(0));
    EXPECT_EQ(written(image), file);
    EXPECT_TRUE(image.pixels.IsSwapped());
}

TEST(JpegWriter, ACancelRequestEndsTheWrite) {
    OpenImage image;
    make(image, 50, 30, CM_RGB8);
    image.cancelRequested = 1;
    EXPECT_TRUE(fails(image));
}

TEST(JpegWriter, AStreamThatTakesNothingFails) {
    OpenImage image;
    make(image, 50, 30, CM_RGB8);
    const ScratchFile file(Bytes(10));
    FILE* const stream = std::fopen(file.path().c_str(), "rb");
    EXPECT_FALSE(image.WriteJPEG(stream));
    std::fclose(stream);
}

TEST(JpegWriter, AnotherModelFailsBeforeTheImageIsLoaded) {
    OpenImage image;
    make(image, 31, 17, CM_ARGB8);
    {
        const ScratchFile source(".psb");
        ASSERT_EQ(image.Write(source.widePath().c_str(), L"psb"), 0U);
        ASSERT_EQ(image.Unload(), 0U);
    }
    EXPECT_TRUE(fails(image)); // and its file is gone
    EXPECT_EQ(image.width, 31U);
    EXPECT_NE(image.name, nullptr);
}

TEST(JpegWriter, LoadsAnUnloadedImage) {
    OpenImage image;
    make(image, 31, 17, CM_RGB8);
    const ScratchFile source(".psb");
    ASSERT_EQ(image.Write(source.widePath().c_str(), L"psb"), 0U);
    image.componentOrder = 1;
    const Bytes file = written(image);
    ASSERT_EQ(image.Unload(), 0U);
    EXPECT_EQ(written(image), file);
}

} // namespace
