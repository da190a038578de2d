/// What a TIFF file's tags become in the image's metadata record.
#include <gtest/gtest.h>

#include "support/open_image.h"
#include "support/scratch_file.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;

TiffPicture picture() {
    TiffPicture made;
    made.width = 3;
    made.height = 2;
    made.countUp();
    return made;
}

/// Reads a file in each of the three ways and hands each record to `check`.
template <class Check>
void withRecord(const TiffPicture& made, Check check) {
    for (const bool big : {false, true}) {
        TiffPicture ordered = made;
        ordered.big = big;
        const ScratchStream stream(ordered.build());
        OpenImage image;
        ASSERT_EQ(image.Read(stream), 0U);
        check(image.exif);
        ASSERT_EQ(image.Read(stream, 0, 0, 2, 1), 0U);
        check(image.exif);
        image.Empty();
        ASSERT_TRUE(image.PreReadTIFF(stream));
        check(image.exif);
    }
}

TEST(TiffMetadata, ResolutionsAndTheirUnit) {
    struct Case {
        const char* name;
        std::vector<TiffEntry> entries;
        double x, y;
    };
    const TiffEntry xHundred = rational(282, 100, 1);
    const TiffEntry yFraction = rational(283, 3, 10);
    const Case cases[] = {
        {"no unit", {xHundred, yFraction}, 100, 0.3},
        {"no absolute unit counts as centimetres", {xHundred, yFraction, shorts(296, {1})}, 254, 0.3 * 2.54},
        {"inches", {xHundred, yFraction, shorts(296, {2})}, 100, 0.3},
        {"centimetres stay as they stand", {xHundred, yFraction, shorts(296, {3})}, 100, 0.3},
        {"none", {}, 72, 72},
        {"none, without absolute unit", {shorts(296, {1})}, 72, 72},
        {"only one", {yFraction, shorts(296, {1})}, 72, 0.3 * 2.54},
        {"a quotient by zero", {rational(282, 100, 0), rational(283, 0, 0)}, 72, 72},
        {"zero", {rational(282, 0, 1), yFraction}, 0, 0.3},
        {"whole numbers", {shorts(282, {300}), longs(283, {400})}, 300, 400},
        {"floats", {{282, 11, 1, {0x43160000}, 4, -1}, {283, 12, 1, {0x4062C00000000000}, 8, -1}}, 150, 150},
        {"infinity", {{282, 11, 1, {0x7F800000}, 4, -1}, yFraction}, 72, 0.3},
        {"text", {ascii(282, "1"), yFraction}, 72, 0.3},
    };
    for (const Case& c : cases) {
        TiffPicture made = picture();
        made.extra = c.entries;
        withRecord(made, [&](const Rastrel::_EXIF& record) {
            EXPECT_EQ(record.xResolution, c.x) << c.name;
            EXPECT_EQ(record.yResolution, c.y) << c.name;
        });
    }
}

TEST(TiffMetadata, Texts) {
    const struct {
        const char* name;
        TiffEntry description;
        std::string expected;
    } cases[] = {
        {"terminated", ascii(270, "A view"), "A view"},
        {"without terminator", octets(270, 2, "A view"), "A view"},
        {"short", ascii(270, "abc"), "abc"},
        {"without terminator, in the entry", octets(270, 2, "abcd"), "abcd"},
        {"of length 0", octets(270, 2, ""), ""},
        {"two texts", octets(270, 2, std::string("one\0two\0", 8)), "one"},
        {"255 bytes", ascii(270, std::string(255, 'x')), std::string(255, 'x')},
        {"256 bytes", ascii(270, std::string(256, 'x')), std::string(255, 'x')},
        {"70000 bytes", ascii(270, std::string(70000, 'x')), std::string(255, 'x')},
        {"any bytes", ascii(270, "\xFF\x80\x01\xC3\xA4"), "\xFF\x80\x01\xC3\xA4"},
        {"undefined bytes", octets(270, 7, "A view"), "A view"},
        {"numbers", shorts(270, {65, 66}), ""},
    };
    for (const auto& c : cases) {
        TiffPicture made = picture();
        made.extra = {c.description, c.description};
        made.extra.back().tag = 305;
        withRecord(made, [&](const Rastrel::_EXIF& record) {
            EXPECT_EQ(record.description, c.expected) << c.name;
            EXPECT_EQ(record.software, c.expected) << c.name;
        });
    }
}

TEST(TiffMetadata, CameraFields) {
    TiffPicture made = picture();
    made.extra = {shorts(274, {6})};
    made.exif = {shorts(34850, {2}), shorts(34855, {400, 800}), ascii(36867, "2009:02:21 08:32:04"), shorts(37383, {5}),
                 shorts(37385, {0x19})};
    withRecord(made, [](const Rastrel::_EXIF& record) {
        EXPECT_EQ(record.orientation, 6);
        EXPECT_EQ(record.exposureProgram, 2);
        EXPECT_EQ(record.isoSpeed, 400);
        EXPECT_EQ(record.dateTime, 1235205124);
        EXPECT_EQ(record.meteringMode, 5);
        EXPECT_EQ(record.flash, 0x19);
        EXPECT_EQ(record.exifTags.size(), 5U);
    });
    made.extra = {shorts(274, {9})};
    made.exif = {longs(34855, {102400})};
    withRecord(made, [](const Rastrel::_EXIF& record) {
        EXPECT_EQ(record.orientation, 0);
        EXPECT_EQ(record.isoSpeed, 65535);
        EXPECT_EQ(record.dateTime, 0);
    });
}

TEST(TiffMetadata, EveryTagIsKept) {
    TiffPicture made = picture();
    made.exif = {octets(0x927C, 7, std::string("MAKER\0\1\2\3", 9)),
                 shorts(0xFDE8, {1, 2, 3}),
                 rational(0x829A, 1, 125),
                 {0x9204, 10, 1, {0xFFFFFFFD, 10}, 4, -1},
                 ascii(0x9290, "07")};
    made.gps = {octets(1, 2, std::string("N\0", 2)), {2, 5, 3, {54, 1, 59, 1, 0, 1}, 4, -1}};
    made.interoperability = {ascii(1, "R98"), octets(2, 7, "0100")};
    withRecord(made, [](const Rastrel::_EXIF& record) {
        ASSERT_EQ(record.exifTags.size(), 6U);
        const _tiff_ifd_tag* note = record.exifTags.find(0x927C);
        EXPECT_EQ(note->type, 7);
        EXPECT_EQ(std::string(note->data, note->data + note->count), std::string("MAKER\0\1\2\3", 9));
        const _tiff_ifd_tag* unknown = record.exifTags.find(0xFDE8);
        EXPECT_EQ(unknown->count, 3U);
        EXPECT_EQ(reinterpret_cast<const std::uint16_t*>(unknown->data)[2], 3);
        const _tiff_ifd_tag* bias = record.exifTags.find(0x9204);
        EXPECT_EQ(reinterpret_cast<const std::int32_t*>(bias->data)[0], -3);
        const _tiff_ifd_tag* pointer = record.exifTags.find(0xA005);
        ASSERT_NE(pointer->subDirectory, nullptr);
        EXPECT_EQ(pointer->subDirectory->size(), 2U);
        EXPECT_EQ(pointer->subDirectory->find(1)->data[0], 'R');
        ASSERT_EQ(record.gpsTags.size(), 2U);
        const _tiff_ifd_tag* latitude = record.gpsTags.find(2);
        EXPECT_EQ(latitude->count, 3U);
        EXPECT_EQ(reinterpret_cast<const std::uint32_t*>(latitude->data)[2], 59U);
    });
}

TEST(TiffMetadata, PointersMayHaveTheDirectoryType) {
    TiffPicture made = picture();
    made.extra = {{34665, 13, 1, {0}, 4, -1}};
    const std::uint64_t end = made.build().size();
    made.extra = {{34665, 13, 1, {end}, 4, -1}};
    OrderedBytes out{false, made.build()};
    ASSERT_EQ(appendDirectory(out, {shorts(34855, {200})}), end);
    const ScratchStream stream(out.bytes);
    OpenImage image;
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(image.exif.isoSpeed, 200);
}

TEST(TiffMetadata, NothingOfThePreviousFileRemains) {
    TiffPicture rich = picture();
    rich.extra = {ascii(270, "text"), ascii(305, "writer"), rational(282, 300, 1), shorts(274, {3})};
    rich.exif = {shorts(34855, {400}), ascii(36867, "2009:02:21 08:32:04")};
    rich.gps = {shorts(30, {1})};
    const ScratchStream first(rich.build());
    const ScratchStream second(picture().build());
    const auto check = [](const Rastrel::_EXIF& record) {
        EXPECT_EQ(record.description, std::string());
        EXPECT_EQ(record.software, std::string());
        EXPECT_EQ(record.xResolution, 72);
        EXPECT_EQ(record.orientation, 0);
        EXPECT_EQ(record.isoSpeed, 0);
        EXPECT_EQ(record.dateTime, 0);
        EXPECT_TRUE(record.exifTags.empty());
        EXPECT_TRUE(record.gpsTags.empty());
    };
    OpenImage image;
    ASSERT_TRUE(image.ReadTIFF(first));
    ASSERT_EQ(image.exif.isoSpeed, 400);
    ASSERT_TRUE(image.ReadTIFF(second));
    check(image.exif);
    ASSERT_TRUE(image.ReadTIFF(first));
    ASSERT_TRUE(image.PreReadTIFF(second));
    check(image.exif);
}

/// A file whose EXIF directory is what `damage` makes of the pointer and of the bytes behind the file.
struct SubDirectoryCase {
    const char* name;
    void (*damage)(TiffPicture& made);
};

TEST(TiffMetadata, AdamagedSubDirectoryLosesThatListAndNotThePicture) {
    const SubDirectoryCase cases[] = {
        {"beyond the file", [](TiffPicture& p) { p.extra = {longs(34665, {1000000})}; }},
        {"at the file's last byte",
         [](TiffPicture& p) {
             p.extra = {longs(34665, {0})};
             p.extra = {longs(34665, {p.build().size() - 1})};
         }},
        {"more entries than the file holds", [](TiffPicture& p) { p.extra = {longs(34665, {0})}; }},
        {"a value beyond the file",
         [](TiffPicture& p) {
             p.exif = {shorts(34855, {400}), {0x9286, 2, 100, {}, 1, 1000000}};
         }},
        {"more values than the file holds",
         [](TiffPicture& p) {
             p.exif = {shorts(34855, {400}), {0x9286, 12, 0xFFFFFFFF, {}, 1, 8}};
         }},
        {"values over one another, longer than the file",
         [](TiffPicture& p) {
             p.exif = {{0x9286, 7, 300, {}, 1, 0}, {0x9287, 7, 300, {}, 1, 0}};
             p.pixels.resize(200);
         }},
        {"a pointer that is text", [](TiffPicture& p) { p.extra = {octets(34665, 2, "abcd")}; }},
        {"a negative pointer",
         [](TiffPicture& p) {
             p.extra = {{34665, 9, 1, {0xFFFFFFFF}, 4, -1}};
         }},
        {"a pointer without value",
         [](TiffPicture& p) {
             p.extra = {{34665, 4, 0, {}, 4, -1}};
         }},
    };
    for (const SubDirectoryCase& c : cases) {
        TiffPicture made = picture();
        made.gps = {shorts(30, {1})};
        c.damage(made);
        withRecord(made, [&](const Rastrel::_EXIF& record) {
            EXPECT_TRUE(record.exifTags.empty()) << c.name;
            EXPECT_EQ(record.isoSpeed, 0) << c.name;
            EXPECT_EQ(record.gpsTags.size(), 1U) << c.name;
        });
    }
}

TEST(TiffMetadata, AdirectoryIsReadOnce) {
    TiffPicture made = picture();
    made.gps = {shorts(30, {1})};
    const std::uint64_t gpsPlace = 8 + made.pixels.size();
    made.extra = {longs(34665, {gpsPlace})}; // the same directory under both tags
    withRecord(made, [](const Rastrel::_EXIF& record) {
        EXPECT_EQ(record.exifTags.size(), 1U);
        EXPECT_TRUE(record.gpsTags.empty());
    });
}

TEST(TiffMetadata, AdamagedInteroperabilityDirectoryGoesAlone) {
    TiffPicture made = picture();
    made.exif = {shorts(34855, {400}), longs(0xA005, {1000000})};
    withRecord(made, [](const Rastrel::_EXIF& record) {
        EXPECT_EQ(record.exifTags.size(), 1U);
        EXPECT_EQ(record.isoSpeed, 400);
    });
    made.exif = {longs(0xA005, {14}), shorts(34855, {400})}; // its own directory: a loop
    withRecord(made, [](const Rastrel::_EXIF& record) {
        EXPECT_TRUE(record.exifTags.empty());
        EXPECT_EQ(record.isoSpeed, 0);
    });
}

bool accepts(const Bytes& file) {
    OpenImage image;
    const ScratchStream stream(file);
    const bool accepted = image.Read(stream) == 0;
    EXPECT_EQ(image.busyCount, 0U);
    return accepted;
}

TEST(TiffMetadata, AmainDirectoryThatClaimsTooMuchIsDeclined) {
    const auto with = [](TiffEntry entry) {
        TiffPicture made = picture();
        made.extra = {std::move(entry)};
        return made.build();
    };
    EXPECT_TRUE(accepts(with(octets(60000, 7, "0123456789"))));
    EXPECT_TRUE(accepts(with({60000, 7, 10, {}, 1, 1000000}))); // elsewhere, but not too much: left out
    EXPECT_FALSE(accepts(with({257, 3, 10, {}, 2, 1000000})));  // a tag that is needed
    EXPECT_FALSE(accepts(with({60000, 12, 0xFFFFFFFF, {}, 1, 8})));
    EXPECT_FALSE(accepts(with({60000, 7, 0xFFFFFFFF, {}, 1, 0})));
    TiffPicture many = picture();
    Bytes file = many.build();
    const std::size_t directory = 8 + many.pixels.size();
    file[directory] = 0xFF; // more entries than the file holds
    file[directory + 1] = 0xFF;
    EXPECT_FALSE(accepts(file));
}

TEST(TiffMetadata, AmainRecordWhoseValueIsElsewhereIsLeftOut) {
    TiffPicture made = picture();
    made.extra = {{282, 5, 1, {}, 4, 1000000}, {270, 2, 20, {}, 1, 1000000}, rational(283, 300, 1)};
    withRecord(made, [](const Rastrel::_EXIF& record) {
        EXPECT_EQ(record.xResolution, 72);
        EXPECT_EQ(record.yResolution, 300);
        EXPECT_STREQ(record.description, "");
    });
}

TEST(TiffMetadata, AdirectoryThatPointsAtItselfIsDeclined) {
    TiffPicture made = picture();
    const std::uint64_t own = 8 + made.pixels.size();
    made.next = own;
    EXPECT_FALSE(accepts(made.build()));
    made.next = 0;
    made.extra = {longs(34665, {own})};
    EXPECT_FALSE(accepts(made.build()));
    made.extra = {longs(34853, {own})};
    EXPECT_FALSE(accepts(made.build()));
}

TEST(TiffMetadata, LargeValuesThatNobodyAsksForStayInTheFile) {
    TiffPicture made = picture();
    made.extra = {octets(37724, 7, std::string(300000, 'L')), octets(34675, 7, std::string(65536, 'P'))};
    EXPECT_TRUE(accepts(made.build()));
}

} // namespace
