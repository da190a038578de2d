/// Cut and changed files: a status, never a crash, with the busy counter as it was and nothing left in the image.
#include <gtest/gtest.h>

#include <chrono>

#include "support/expect_empty.h"
#include "support/open_image.h"
#include "support/scratch_file.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;

TiffPicture smallPicture(bool big) {
    TiffPicture made;
    made.big = big;
    made.width = 5;
    made.height = 6;
    made.samples = 3;
    made.rowsPerStrip = 2;
    made.countUp();
    made.extra = {ascii(270, "A view"), rational(282, 300, 1), rational(283, 300, 1), shorts(296, {1})};
    made.exif = {shorts(34855, {400}), ascii(36867, "2009:02:21 08:32:04"), octets(0x927C, 7, "maker note")};
    made.gps = {ascii(1, "N"), {2, 5, 3, {54, 1, 59, 1, 0, 1}, 4, -1}};
    made.interoperability = {ascii(1, "R98")};
    return made;
}

/// Reads a stream in all three ways; whether the whole read accepted it.
bool survives(FILE* stream) {
    OpenImage image;
    const bool read = image.Read(stream) == 0;
    EXPECT_EQ(image.busyCount, 0U);
    if (!read) expectEmpty(image);
    const bool part = image.Read(stream, 1, 1, 4, 4) == 0;
    EXPECT_EQ(image.busyCount, 0U);
    if (!part) expectEmpty(image);
    image.Empty();
    static_cast<void>(image.PreReadTIFF(stream));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    return read;
}

/// Reads every beginning of a file; whether the whole file was accepted.
bool survivesEveryCut(const Bytes& whole) {
    const ScratchFile file(whole);
    bool accepted = false;
    for (std::size_t size = whole.size() + 1; size-- > 0;) {
        std::filesystem::resize_file(file.path(), size);
        FILE* stream = std::fopen(file.path().c_str(), "rb");
        EXPECT_NE(stream, nullptr);
        const bool read = survives(stream);
        std::fclose(stream);
        accepted = accepted || (size == whole.size() && read);
    }
    return accepted;
}

TEST(HostileTiff, EveryCut) {
    for (const bool big : {false, true})
        EXPECT_TRUE(survivesEveryCut(smallPicture(big).build()));
}

TEST(HostileTiff, EveryChangedByte) {
    for (const bool big : {false, true}) {
        const Bytes whole = smallPicture(big).build();
        const ScratchStream stream(whole);
        for (std::size_t place = 0; place < whole.size(); ++place) {
            for (const int flip : {0x01, 0x80, 0xFF, int{whole[place]}}) {
                std::fseek(stream, static_cast<long>(place), SEEK_SET);
                std::fputc(whole[place] ^ flip, stream);
                std::fflush(stream);
                survives(stream);
            }
            std::fseek(stream, static_cast<long>(place), SEEK_SET);
            std::fputc(whole[place], stream);
        }
        std::fflush(stream);
        EXPECT_TRUE(survives(stream));
    }
}

TEST(HostileTiff, EveryCutOfAwrittenFile) {
    OpenImage image;
    image.Create(5, 4, CM_RGB8);
    image.exif.exifTags.append(34855, 3, 1);
    const ScratchStream target;
    ASSERT_TRUE(image.WriteTIFF(target));
    EXPECT_TRUE(survivesEveryCut(target.bytes()));
}

TEST(HostileTiff, ShortFilesThatClaimGigabytesEndQuickly) {
    const auto start = std::chrono::steady_clock::now();
    for (const std::uint32_t side : {30000U, 60000U, 1000000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        for (const auto& [width, height] :
             {std::pair{side, side}, std::pair{side, 2U}, std::pair{2U, side}, std::pair{side, 0x10000U}}) {
            TiffPicture made;
            made.width = 4;
            made.height = 4;
            made.countUp();
            made.extra = {longs(256, {width}), longs(257, {height}), longs(279, {0xFFFFFFFF})};
            const ScratchStream stream(made.build());
            OpenImage image;
            static_cast<void>(image.Read(stream));
            static_cast<void>(image.Read(stream, 0, 0, 0xFFFFFFFFUL, 0xFFFFFFFFUL));
            static_cast<void>(image.Read(stream, 1, 0, 2, 0xFFFFFFFFUL));
            EXPECT_EQ(image.busyCount, 0U);
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(HostileTiff, StripsOverOneAnotherMayNotMultiplyTheFile) {
    TiffPicture made;
    made.width = 1000;
    made.height = 50000;
    made.pixels.assign(20000, 7);
    made.extra = {longs(273, std::vector<std::uint64_t>(5000, 8)), longs(279, std::vector<std::uint64_t>(5000, 10000))};
    const ScratchStream stream(made.build());
    OpenImage image;
    EXPECT_EQ(image.Read(stream), Rastrel::kNotAccepted);
    EXPECT_EQ(image.Read(stream, 0, 0, 10, 10), Rastrel::kNotAccepted);
    expectEmpty(image);
}

TEST(HostileTiff, ManyRecordsMayNotMultiplyTheFile) {
    TiffPicture made;
    made.width = 100;
    made.height = 100;
    made.countUp();
    for (std::uint16_t i = 0; i < 20000; ++i)
        made.exif.push_back(
            {static_cast<std::uint16_t>(40000 + i), 7, 100000, {}, 1, 0}); // each as long as half the file
    const auto start = std::chrono::steady_clock::now();
    const ScratchStream stream(made.build());
    OpenImage image;
    EXPECT_EQ(image.Read(stream), 0U);
    EXPECT_TRUE(image.exif.exifTags.empty());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(HostileTiff, AsManyRecordsAsAdirectoryHoldsAreReadAndWritten) {
    TiffPicture made;
    made.width = 10;
    made.height = 10;
    made.countUp();
    for (int tag = 65535; tag > 0; --tag)
        made.exif.push_back(octets(static_cast<std::uint16_t>(tag), 7, "four")); // descending
    const auto start = std::chrono::steady_clock::now();
    const ScratchStream stream(made.build());
    OpenImage image;
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(image.exif.exifTags.size(), 65534U); // the pointer among them points to nothing
    const ScratchStream copy;
    EXPECT_TRUE(image.WriteTIFF(copy));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

} // namespace
