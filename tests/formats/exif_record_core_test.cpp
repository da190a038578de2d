#include "formats/exif_record.h"

#include <gtest/gtest.h>

#include "formats/tag_values.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;
using rastrel::buildExifBlock;
using rastrel::parseExifBlock;

TEST(ExifTime, CountsSecondsOnTheCamerasClock) {
    const struct {
        const char* text;
        std::int64_t seconds;
    } cases[] = {
        {"1970:01:01 00:00:00", 0},
        {"1970:01:01 00:00:01", 1},
        {"1969:12:31 23:59:59", -1},
        {"2000:02:29 12:00:00", 951825600},
        {"2002:07:13 15:58:28", 1026575908},
        {"2009:02:21 08:32:04", 1235205124},
        {"2038:01:19 03:14:08", 2147483648},
        {"2100:03:01 00:00:00", 4107542400},
        {"0001:01:01 00:00:00", -62135596800},
        {"2016:12:31 23:59:60", 1483228800},
        {"2009:02:21 08:32:04 and more", 1235205124},
    };
    for (const auto& c : cases)
        EXPECT_EQ(rastrel::secondsFromExifTime(c.text), c.seconds) << c.text;
}

TEST(ExifTime, AnythingElseIsUnknown) {
    for (const char* text :
         {"", "2009", "0000:00:00 00:00:00", "    :  :     :  :  ", "2009-02-21 08:32:04", "2009:02:21T08:32:04",
          "2009:02:21 08:32", "2009:13:01 00:00:00", "2009:02:29 00:00:00", "2009:02:21 24:00:00",
          "2009:02:21 08:60:00", "2009:02:21 08:32:61", "2009:02:2x 08:32:04", "-009:02:21 08:32:04"})
        EXPECT_EQ(rastrel::secondsFromExifTime(text), 0) << text;
}

/// A metadata block as cameras write it: no image tags.
Bytes cameraBlock(bool big) {
    OrderedBytes out{big, big ? Bytes{'M', 'M'} : Bytes{'I', 'I'}};
    out.u16(42);
    out.u32(0);
    const auto interoperability = appendDirectory(out, {ascii(1, "R98"), octets(2, 7, "0100")});
    const auto exif =
        appendDirectory(out, {rational(33434, 1, 125), shorts(34855, {400}), ascii(36867, "2002:07:13 15:58:28"),
                              octets(0x927C, 7, "note\x01\x02\x03"), longs(0xA005, {interoperability})});
    const auto gps = appendDirectory(out, {octets(0, 1, std::string("\2\0\0\0", 4)), ascii(1, "N")});
    out.patch32(4, appendDirectory(out, {ascii(270, "Communications"), shorts(274, {8}), rational(282, 300, 1),
                                         rational(283, 600, 2), shorts(296, {2}), ascii(305, "Camera 1.0"),
                                         longs(34665, {exif}), longs(34853, {gps})}));
    return out.bytes;
}

void expectSameTags(const TiffTagList& a, const TiffTagList& b) {
    ASSERT_EQ(a.size(), b.size());
    for (const _tiff_ifd_tag* record = a.first; record != nullptr; record = record->next) {
        const _tiff_ifd_tag* other = b.find(record->tag);
        ASSERT_NE(other, nullptr) << record->tag;
        EXPECT_EQ(other->type, record->type);
        ASSERT_EQ(other->count, record->count);
        ASSERT_EQ(other->subDirectory == nullptr, record->subDirectory == nullptr);
        if (record->subDirectory != nullptr) {
            expectSameTags(*record->subDirectory, *other->subDirectory);
        } else {
            EXPECT_TRUE(std::equal(record->data, record->data + record->byteCount(), other->data)) << record->tag;
        }
    }
}

TEST(ExifBlock, IsReadInBothOrdersWithoutImageTags) {
    Rastrel::_EXIF little, bigOne;
    for (const bool big : {false, true}) {
        const Bytes block = cameraBlock(big);
        Rastrel::_EXIF& record = big ? bigOne : little;
        record.flash = 77;
        record.software[0] = 'x';
        record.gpsTags.append(99, 1, 1);
        ASSERT_TRUE(parseExifBlock(block.data(), block.size(), record));
        EXPECT_STREQ(record.description, "Communications");
        EXPECT_STREQ(record.software, "Camera 1.0");
        EXPECT_EQ(record.xResolution, 300);
        EXPECT_EQ(record.yResolution, 300);
        EXPECT_EQ(record.orientation, 8);
        EXPECT_EQ(record.isoSpeed, 400);
        EXPECT_EQ(record.flash, 0);
        EXPECT_EQ(record.dateTime, 1026575908);
        EXPECT_EQ(record.exifTags.size(), 5U);
        EXPECT_EQ(record.gpsTags.size(), 2U);
        EXPECT_EQ(record.exifTags.find(0xA005)->subDirectory->size(), 2U);
    }
    expectSameTags(little.exifTags, bigOne.exifTags);
    expectSameTags(little.gpsTags, bigOne.gpsTags);
}

TEST(ExifBlock, TagsComeBackUnchangedFromAblockMadeOfThem) {
    for (const bool big : {false, true}) {
        const Bytes block = cameraBlock(big);
        Rastrel::_EXIF record;
        ASSERT_TRUE(parseExifBlock(block.data(), block.size(), record));
        const Bytes written = buildExifBlock(record, 40, 30, CM_RGB8);
        ASSERT_FALSE(written.empty());
        Rastrel::_EXIF again;
        ASSERT_TRUE(parseExifBlock(written.data(), written.size(), again));
        expectSameTags(record.exifTags, again.exifTags);
        expectSameTags(record.gpsTags, again.gpsTags);
        EXPECT_STREQ(again.description, record.description);
        EXPECT_STREQ(again.software, record.software);
        EXPECT_EQ(again.xResolution, record.xResolution);
        EXPECT_EQ(again.dateTime, record.dateTime);
        EXPECT_EQ(again.orientation, 0); // the main directory has no such entry
    }
}

TEST(ExifBlock, ByteForByte) {
    Rastrel::_EXIF record;
    record.xResolution = 72.6;
    std::copy_n("hi", 3, record.software);
    std::copy_n("picture", 8, record.description);
    rastrel::CTiff::setValue(*record.exifTags.append(34855, 3, 1), 0, 400);
    const Bytes written = buildExifBlock(record, 3, 2, CM_GREY8);
    const Bytes expected = {'I',  'I',  42,   0,    26,  0,   0,   0,                                      //
                            1,    0,    0x27, 0x88, 3,   0,   1,   0, 0,   0,   0x90, 1, 0, 0, 0, 0, 0, 0, // EXIF at 8
                            15,   0,                                                                       // main at 26
                            0x00, 1,    4,    0,    1,   0,   0,   0, 3,   0,   0,    0,                   //
                            0x01, 1,    4,    0,    1,   0,   0,   0, 2,   0,   0,    0,                   //
                            0x02, 1,    3,    0,    1,   0,   0,   0, 8,   0,   0,    0,                   //
                            0x06, 1,    3,    0,    1,   0,   0,   0, 1,   0,   0,    0,                   //
                            0x0E, 1,    2,    0,    8,   0,   0,   0, 212, 0,   0,    0,                   //
                            0x11, 1,    4,    0,    1,   0,   0,   0, 8,   0,   0,    0,                   //
                            0x15, 1,    3,    0,    1,   0,   0,   0, 1,   0,   0,    0,                   //
                            0x16, 1,    4,    0,    1,   0,   0,   0, 2,   0,   0,    0,                   //
                            0x17, 1,    4,    0,    1,   0,   0,   0, 6,   0,   0,    0,                   //
                            0x1A, 1,    5,    0,    1,   0,   0,   0, 220, 0,   0,    0,                   //
                            0x1B, 1,    5,    0,    1,   0,   0,   0, 228, 0,   0,    0,                   //
                            0x1C, 1,    3,    0,    1,   0,   0,   0, 1,   0,   0,    0,                   //
                            0x28, 1,    3,    0,    1,   0,   0,   0, 2,   0,   0,    0,                   //
                            0x31, 1,    2,    0,    3,   0,   0,   0, 'h', 'i', 0,    0,                   //
                            0x69, 0x87, 4,    0,    1,   0,   0,   0, 8,   0,   0,    0,                   //
                            0,    0,    0,    0,                                                           //
                            'p',  'i',  'c',  't',  'u', 'r', 'e', 0,                                      //
                            0x6B, 1,    0,    0,    5,   0,   0,   0,                                      // 363 / 5
                            72,   0,    0,    0,    1,   0,   0,   0};
    EXPECT_EQ(written, expected);
}

TEST(ExifBlock, IsNotBuiltForModelsWithoutAlayout) {
    const Rastrel::_EXIF record;
    for (const unsigned char model : {CM_BW1, CM_COLOR8, CM_ARGBFP32, CM_ARGBFP64, CM_RGGB12})
        EXPECT_TRUE(buildExifBlock(record, 3, 2, model).empty()) << int{model};
    EXPECT_TRUE(buildExifBlock(record, 3, 2, 0).empty());
}

TEST(ExifBlock, DescribesPicturesBeyondFourGigabytes) {
    const Rastrel::_EXIF record;
    const Bytes block = buildExifBlock(record, 100000, 100000, CM_RGB16);
    ASSERT_FALSE(block.empty());
    Rastrel::_EXIF again;
    EXPECT_TRUE(parseExifBlock(block.data(), block.size(), again));
    EXPECT_FALSE(buildExifBlock(record, 0, 0, CM_RGB8).empty());
}

TEST(ExifBlock, AtextWithoutTerminatorIsCut) {
    Rastrel::_EXIF record;
    std::fill(std::begin(record.description), std::end(record.description), 'd');
    const Bytes block = buildExifBlock(record, 3, 2, CM_GREY8);
    Rastrel::_EXIF again;
    ASSERT_TRUE(parseExifBlock(block.data(), block.size(), again));
    EXPECT_EQ(again.description, std::string(255, 'd'));
    EXPECT_STREQ(again.software, "TORVEN Quendra 2018");
}

TEST(ExifBlock, ArecordWhoseValueIsMissingIsLeftOut) {
    OrderedBytes out{false, {'I', 'I', 42, 0, 8, 0, 0, 0}};
    appendDirectory(
        out, {ascii(270, "kept"), {282, 5, 0xFFFFFF00, {}, 1, 98}, {283, 5, 1, {}, 1, 500000}, shorts(274, {3})});
    Rastrel::_EXIF record;
    ASSERT_TRUE(parseExifBlock(out.bytes.data(), out.bytes.size(), record));
    EXPECT_STREQ(record.description, "kept");
    EXPECT_EQ(record.xResolution, 72);
    EXPECT_EQ(record.yResolution, 72);
    EXPECT_EQ(record.orientation, 3);
}

TEST(ExifBlock, AbrokenBlockLeavesTheRecordAlone) {
    Rastrel::_EXIF record;
    record.isoSpeed = 5;
    const Bytes block = cameraBlock(false);
    for (const std::size_t size : {0U, 1U, 4U, 7U, 8U, 9U, 100U})
        EXPECT_FALSE(parseExifBlock(block.data(), size, record)) << size;
    EXPECT_FALSE(parseExifBlock(nullptr, 0, record));
    Bytes other = block;
    other[2] = 43;
    EXPECT_FALSE(parseExifBlock(other.data(), other.size(), record));
    EXPECT_EQ(record.isoSpeed, 5);
}

TEST(ExifBlock, SurvivesEveryCutAndEveryChangedByte) {
    for (const bool big : {false, true}) {
        const Bytes block = cameraBlock(big);
        for (std::size_t size = 0; size < block.size(); ++size) {
            Rastrel::_EXIF record;
            const Bytes cut(block.begin(),
                            block.begin() + static_cast<std::ptrdiff_t>(size)); // the allocation ends here
            static_cast<void>(parseExifBlock(cut.data(), cut.size(), record));
        }
        for (std::size_t place = 0; place < block.size(); ++place) {
            for (const int value : {0, 1, 2, 4, 7, 8, 13, 0x7F, 0x80, 0xFF, block[place] ^ 1, block[place] ^ 0x40}) {
                Bytes changed = block;
                changed[place] = static_cast<unsigned char>(value);
                Rastrel::_EXIF record;
                if (!parseExifBlock(changed.data(), changed.size(), record)) continue;
                ASSERT_FALSE(buildExifBlock(record, 3, 2, CM_GREY8).empty()) << place << " " << value;
            }
        }
    }
}

} // namespace
