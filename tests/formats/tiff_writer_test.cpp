#include <gtest/gtest.h>

#include "support/images.h"
#include "support/open_image.h"
#include "support/scratch_file.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;

constexpr unsigned char kWritten[] = {CM_GREY8, CM_GREY16, CM_GREYFP32, CM_GREYFP64, CM_RGB8,
                                      CM_RGB16, CM_ARGB8,  CM_ARGB16,   CM_RGBA8,    CM_RGBA16};

/// The file that the image writes.
Bytes written(OpenImage& image) {
    const ScratchStream stream;
    EXPECT_TRUE(image.WriteTIFF(stream));
    EXPECT_EQ(image.busyCount, 0U);
    return stream.bytes();
}

TEST(TiffWriter, GreyByteForByte) {
    OpenImage image;
    image.Create(3, 2, CM_GREY8);
    const unsigned char pixels[] = {1, 2, 3, 4, 5, 6};
    ASSERT_TRUE(image.pixels.Write(0, pixels, 6));
    // clang-format off
    const Bytes expected = {
        'I', 'I', 42, 0, 14, 0, 0, 0, 1, 2, 3, 4, 5, 6,
        13, 0,
        0x00, 1, 4, 0, 1, 0, 0, 0, 3, 0, 0, 0,
        0x01, 1, 4, 0, 1, 0, 0, 0, 2, 0, 0, 0,
        0x02, 1, 3, 0, 1, 0, 0, 0, 8, 0, 0, 0,
        0x06, 1, 3, 0, 1, 0, 0, 0, 1, 0, 0, 0,
        0x11, 1, 4, 0, 1, 0, 0, 0, 8, 0, 0, 0,
        0x15, 1, 3, 0, 1, 0, 0, 0, 1, 0, 0, 0,
        0x16, 1, 4, 0, 1, 0, 0, 0, 2, 0, 0, 0,
        0x17, 1, 4, 0, 1, 0, 0, 0, 6, 0, 0, 0,
        0x1A, 1, 5, 0, 1, 0, 0, 0, 176, 0, 0, 0,
        0x1B, 1, 5, 0, 1, 0, 0, 0, 184, 0, 0, 0,
        0x1C, 1, 3, 0, 1, 0, 0, 0, 1, 0, 0, 0,
        0x28, 1, 3, 0, 1, 0, 0, 0, 2, 0, 0, 0,
        0x31, 1, 2, 0, 20, 0, 0, 0, 192, 0, 0, 0,
        0, 0, 0, 0,
        72, 0, 0, 0, 1, 0, 0, 0,
        72, 0, 0, 0, 1, 0, 0, 0,
        'T', 'O', 'R', 'V', 'E', 'N', ' ', 'Q', 'u', 'e', 'n', 'd', 'r', 'a', ' ', '2', '0', '1', '8', 0};
    // clang-format on
    EXPECT_EQ(written(image), expected);
}

TEST(TiffWriter, ColourWithMetadataByteForByte) {
    OpenImage image;
    image.Create(1, 1, CM_RGB8);
    const unsigned char pixels[] = {10, 20, 30}; // blue, green, red
    ASSERT_TRUE(image.pixels.Write(0, pixels, 3));
    std::copy_n("d", 2, image.exif.description);
    std::copy_n("s", 2, image.exif.software);
    image.exif.xResolution = 300;
    image.exif.yResolution = 0.3;
    image.exif.exifTags.append(0x9290, 2, 3)->data[0] = '7';
    image.exif.exifTags.append(0x8827, 3, 1)->data[0] = 100;
    image.exif.gpsTags.append(30, 3, 1)->data[0] = 1;
    // clang-format off
    const Bytes expected = {
        'I', 'I', 42, 0, 59, 0, 0, 0, 30, 20, 10,
        2, 0,                                                // EXIF at 11, sorted
        0x27, 0x88, 3, 0, 1, 0, 0, 0, 100, 0, 0, 0,
        0x90, 0x92, 2, 0, 3, 0, 0, 0, '7', 0, 0, 0,
        0, 0, 0, 0,
        1, 0,                                                // GPS at 41
        30, 0, 3, 0, 1, 0, 0, 0, 1, 0, 0, 0,
        0, 0, 0, 0,
        16, 0,                                               // main at 59
        0x00, 1, 4, 0, 1, 0, 0, 0, 1, 0, 0, 0,
        0x01, 1, 4, 0, 1, 0, 0, 0, 1, 0, 0, 0,
        0x02, 1, 3, 0, 3, 0, 0, 0, 1, 1, 0, 0,               // BitsPerSample at 257
        0x06, 1, 3, 0, 1, 0, 0, 0, 2, 0, 0, 0,
        0x0E, 1, 2, 0, 2, 0, 0, 0, 'd', 0, 0, 0,
        0x11, 1, 4, 0, 1, 0, 0, 0, 8, 0, 0, 0,
        0x15, 1, 3, 0, 1, 0, 0, 0, 3, 0, 0, 0,
        0x16, 1, 4, 0, 1, 0, 0, 0, 1, 0, 0, 0,
        0x17, 1, 4, 0, 1, 0, 0, 0, 3, 0, 0, 0,
        0x1A, 1, 5, 0, 1, 0, 0, 0, 7, 1, 0, 0,
        0x1B, 1, 5, 0, 1, 0, 0, 0, 15, 1, 0, 0,
        0x1C, 1, 3, 0, 1, 0, 0, 0, 1, 0, 0, 0,
        0x28, 1, 3, 0, 1, 0, 0, 0, 2, 0, 0, 0,
        0x31, 1, 2, 0, 2, 0, 0, 0, 's', 0, 0, 0,
        0x69, 0x87, 4, 0, 1, 0, 0, 0, 11, 0, 0, 0,
        0x25, 0x88, 4, 0, 1, 0, 0, 0, 41, 0, 0, 0,
        0, 0, 0, 0,
        8, 0, 8, 0, 8, 0,
        0x2C, 1, 0, 0, 1, 0, 0, 0,
        3, 0, 0, 0, 10, 0, 0, 0};
    // clang-format on
    EXPECT_EQ(written(image), expected);
    EXPECT_EQ(image.exif.exifTags.first->tag, 0x9290); // the image's own list keeps its order
}

TEST(TiffWriter, EveryModelInBothOrders) {
    for (const unsigned char model : kWritten) {
        for (const unsigned char order : {'\0', '\1'}) {
            OpenImage image;
            image.Create(5, 4, model);
            image.componentOrder = order;
            fillWithNoise(image, model);
            Bytes expected = bytesOf(image);
            const bool grey = model < CM_RGB8;
            const std::size_t sample = model & 15;
            const std::size_t pixel = expected.size() / 20;
            if (order != 0 && !grey) {
                for (std::size_t at = 0; at < expected.size(); at += pixel) { // whole samples change places
                    const Bytes before(expected.begin() + static_cast<std::ptrdiff_t>(at),
                                       expected.begin() + static_cast<std::ptrdiff_t>(at + pixel));
                    for (std::size_t i = 0; i < pixel; ++i)
                        expected[at + pixel - sample - i / sample * sample + i % sample] = before[i];
                }
            }
            const Bytes file = written(image);
            EXPECT_EQ(Bytes(file.begin() + 8, file.begin() + 8 + static_cast<std::ptrdiff_t>(expected.size())),
                      expected)
                << int{model};
            EXPECT_EQ(image.progress, 750U); // of the last line

            const ScratchStream stream(file);
            OpenImage read;
            ASSERT_EQ(read.Read(stream), 0U);
            const unsigned char readAs = model == CM_ARGB8 ? CM_RGBA8 : model == CM_ARGB16 ? CM_RGBA16 : model;
            EXPECT_EQ(read.colormodel, readAs);
            EXPECT_EQ(read.componentOrder, grey ? 1 : 0);
            EXPECT_EQ(bytesOf(read), expected);
        }
    }
}

TEST(TiffWriter, RefusesOtherModelsBeforeAbyteIsWritten) {
    for (const unsigned char model : kAllModels) {
        if (std::find(std::begin(kWritten), std::end(kWritten), model) != std::end(kWritten)) continue;
        OpenImage image;
        image.Create(3, 2, model);
        const ScratchStream stream;
        EXPECT_FALSE(image.WriteTIFF(stream)) << int{model};
        EXPECT_TRUE(stream.bytes().empty()) << int{model};
        EXPECT_EQ(image.busyCount, 0U);
        const ScratchFile file(".tif");
        EXPECT_EQ(image.Write(file.path().c_str(), "tif"), Rastrel::kWriteFailed);
    }
    OpenImage empty;
    const ScratchStream stream;
    EXPECT_FALSE(empty.WriteTIFF(stream));
    EXPECT_TRUE(stream.bytes().empty());
}

TEST(TiffWriter, RefusesFilesThat32BitPositionsCannotHold) {
    struct Case {
        std::uint32_t width, height;
        unsigned char model;
    };
    // Data alone; data with directories; a product beyond 64 bits.
    for (const Case& c : {Case{65536, 65536, CM_GREY8}, Case{4294967200U, 1, CM_GREY8}, Case{1, 4294967295U, CM_GREY8},
                          Case{4294967295U, 4294967295U, CM_RGBA16}}) {
        OpenImage image;
        image.Create(1, 1, c.model);
        image.width = c.width; // the block is small: nothing of this size is needed to be refused
        image.height = c.height;
        const ScratchStream stream;
        EXPECT_FALSE(image.WriteTIFF(stream));
        EXPECT_TRUE(stream.bytes().empty());
    }
    OpenImage image;
    image.Create(3, 2, CM_GREY8);
    _tiff_ifd_tag* record = image.exif.exifTags.append(0x927C, 7, 1);
    ASSERT_NE(record, nullptr);
    const ScratchStream small;
    EXPECT_TRUE(image.WriteTIFF(small));
}

TEST(TiffWriter, AblockThatLacksLinesGivesDirectoriesAndFalse) {
    OpenImage image;
    image.Create(4, 5, CM_GREY8);
    fillWithNoise(image, 1);
    ASSERT_TRUE(image.pixels.ReSize(10)); // two lines and a half
    const ScratchStream stream;
    EXPECT_FALSE(image.WriteTIFF(stream));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.progress, 800U); // of the last line all the same
    const Bytes file = stream.bytes();
    ASSERT_GT(file.size(), 16U);
    EXPECT_EQ(file[4], 16); // the directory follows the two lines
    EXPECT_EQ(file[16], 13);
}

TEST(TiffWriter, ArecordWithoutDataFailsTheWrite) {
    OpenImage image;
    image.Create(3, 2, CM_GREY8);
    _tiff_ifd_tag* record = image.exif.exifTags.append(0x927C, 7, 4);
    record->hasData = false;
    const ScratchStream stream;
    EXPECT_FALSE(image.WriteTIFF(stream));
    EXPECT_EQ(image.busyCount, 0U);
    record->hasData = true;
}

TEST(TiffWriter, AcancelledWriteWritesNothing) {
    OpenImage image;
    image.Create(3, 2, CM_GREY8);
    image.cancelRequested = 1;
    const ScratchStream stream;
    EXPECT_FALSE(image.WriteTIFF(stream));
    EXPECT_TRUE(stream.bytes().empty());
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(TiffWriter, AcancelRequestThatComesLaterEndsTheWriteAsWell) {
    struct Loaded : OpenImage {
        unsigned __int64 Reload() override {
            Create(3, 2, CM_GREY8);
            cancelRequested = 1;
            return 0;
        }
    } image;
    const ScratchStream stream;
    EXPECT_FALSE(image.WriteTIFF(stream));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_TRUE(stream.bytes().empty()); // it came before the first line
}

TEST(TiffWriter, AstreamThatTakesNothingFails) {
    OpenImage image;
    image.Create(300, 200, CM_GREY8);
    const ScratchFile file;
    FILE* stream = std::fopen(file.path().c_str(), "rb");
    ASSERT_NE(stream, nullptr);
    EXPECT_FALSE(image.WriteTIFF(stream));
    EXPECT_EQ(image.busyCount, 0U);
    std::fclose(stream);
}

TEST(TiffWriter, WritesSwappedAndLargeImages) {
    for (const bool swapped : {false, true}) {
        for (const unsigned char order : {'\0', '\1'}) {
            OpenImage image;
            image.Create(1201, 777, CM_RGB8); // pieces of 291 lines
            ASSERT_TRUE(!swapped || image.pixels.Swap(0));
            image.componentOrder = order;
            EXPECT_EQ(image.pixels.IsSwapped(), swapped);
            Bytes pixels(image.pixels.GetSize());
            for (std::size_t i = 0; i < pixels.size(); ++i)
                pixels[i] = static_cast<unsigned char>(i * 31 + i / 1201);
            ASSERT_TRUE(image.pixels.Write(0, pixels.data(), pixels.size()));
            const Bytes file = written(image);
            if (order != 0)
                for (std::size_t i = 0; i < pixels.size(); i += 3)
                    std::swap(pixels[i], pixels[i + 2]);
            ASSERT_TRUE(std::equal(pixels.begin(), pixels.end(), file.begin() + 8));
        }
    }
}

TEST(TiffWriter, LoadsAnUnloadedImage) {
    TiffPicture made;
    made.width = 7;
    made.height = 5;
    made.samples = 3;
    made.countUp();
    const ScratchFile file(made.build(), ".tif");
    OpenImage image;
    ASSERT_EQ(image.Read(file.widePath().c_str()), 0U);
    ASSERT_EQ(image.Unload(), 0U);
    ASSERT_EQ(image.pixels.GetSize(), 0U);
    const Bytes second = written(image);
    EXPECT_TRUE(std::equal(made.pixels.begin(), made.pixels.end(), second.begin() + 8));

    ASSERT_EQ(image.Unload(), 0U);
    ASSERT_EQ(image.Write(file.widePath().c_str(), L"tif"), 0U); // over its own file
    const Bytes over = file.bytes();
    EXPECT_TRUE(std::equal(made.pixels.begin(), made.pixels.end(), over.begin() + 8));
}

TEST(TiffWriter, MetadataComesBackFromAnImageThatWasReadAndWritten) {
    TiffPicture made;
    made.width = 7;
    made.height = 5;
    made.big = true;
    made.countUp();
    made.extra = {ascii(270, "A view"), ascii(305, "Camera"), rational(282, 300, 1), rational(283, 363, 5)};
    made.exif = {octets(0x927C, 7, std::string("MAKER\0\1\2\3", 9)),
                 shorts(0xFDE8, {1, 2, 3}),
                 ascii(36867, "2009:02:21 08:32:04"),
                 {0x9204, 10, 1, {0xFFFFFFFD, 10}, 4, -1}};
    made.gps = {octets(1, 2, std::string("N\0", 2)), {2, 5, 3, {54, 1, 59, 1, 0, 1}, 4, -1}};
    made.interoperability = {ascii(1, "R98"), octets(2, 7, "0100")};
    const ScratchStream source(made.build());
    OpenImage first;
    ASSERT_EQ(first.Read(source), 0U);
    const ScratchStream copy(written(first));
    OpenImage second;
    ASSERT_EQ(second.Read(copy), 0U);
    EXPECT_STREQ(second.exif.description, "A view");
    EXPECT_STREQ(second.exif.software, "Camera");
    EXPECT_EQ(second.exif.xResolution, 300);
    EXPECT_EQ(second.exif.yResolution, 363.0 / 5);
    EXPECT_EQ(second.exif.dateTime, 1235205124);
    for (const auto list : {&Rastrel::_EXIF::exifTags, &Rastrel::_EXIF::gpsTags}) {
        ASSERT_EQ((second.exif.*list).size(), (first.exif.*list).size());
        for (const _tiff_ifd_tag* record = (first.exif.*list).first; record != nullptr; record = record->next) {
            const _tiff_ifd_tag* other = (second.exif.*list).find(record->tag);
            ASSERT_NE(other, nullptr);
            EXPECT_EQ(other->type, record->type);
            ASSERT_EQ(other->count, record->count);
            if (record->subDirectory != nullptr) {
                ASSERT_NE(other->subDirectory, nullptr);
                EXPECT_EQ(other->subDirectory->size(), 2U);
            } else {
                EXPECT_TRUE(std::equal(record->data, record->data + record->byteCount(), other->data));
            }
        }
    }
    // The second file is the first one's like: nothing creeps from generation to generation.
    EXPECT_EQ(written(second), written(first));
}

} // namespace
