/// Foreign, incomplete, cut and lying OpenEXR files: a result, quickly, with nothing allocated on their word.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>

#include "formats/exr_header.h"
#include "support/cut_file.h"
#include "support/exr_files.h"
#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_files.h"
#include "support/scratch_file.h"
#include "support/sha256.h"

namespace {

using namespace testing_support;

ExrPicture picture(int width, int height, Imf::Compression compression) {
    ExrPicture made;
    made.width = width;
    made.height = height;
    made.compression = compression;
    return made;
}

/// Carries out one of the codec's calls: its result, false for an exception of the library. Either way the stream
/// stands at its start and the busy counter where it stood.
bool attempt(OpenImage& image, bool (Rastrel::*call)(FILE*), FILE* stream) {
    bool result = false;
    try {
        result = (image.*call)(stream);
    } catch (const std::exception&) {
        result = false;
    }
    EXPECT_EQ(std::ftell(stream), 0);
    EXPECT_EQ(image.busyCount, 0U);
    return result;
}

/// Reads in both ways; whether the whole read accepts the file.
bool accepts(FILE* stream) {
    OpenImage image;
    attempt(image, &OpenImage::PreReadEXR, stream);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    image.Empty();
    const bool read = attempt(image, &OpenImage::ReadEXR, stream);
    EXPECT_TRUE(!read || image.pixels.GetSize() != 0);
    return read;
}

bool accepts(const ExrBytes& bytes) { return accepts(ScratchStream(bytes)); }

bool plausible(const ExrBytes& bytes) {
    const ScratchStream stream(bytes);
    const auto size = static_cast<std::int64_t>(bytes.size());
    rastrel::ExrHeader header;
    return rastrel::parseExrHeader(stream, size, header) && rastrel::plausibleExr(stream, size, header);
}

TEST(HostileExr, ForeignFilesAreDeclinedQuietly) {
    testing::internal::CaptureStderr();
    for (const ExrBytes& bytes : {ExrBytes{}, ExrBytes{0x76}, ExrBytes{0x76, 0x2F, 0x31}, ExrBytes{0x76, 0x2F, 0x31, 1},
                                  ExrBytes{0x76, 0x2F, 0x31, 1, 2, 0, 0, 0}, ExrBytes(100, 0x55)}) {
        const ScratchStream stream(bytes);
        OpenImage image;
        std::fseek(stream, 2, SEEK_SET);
        EXPECT_FALSE(image.ReadEXR(stream));
        EXPECT_EQ(std::ftell(stream), 0);
        EXPECT_FALSE(image.PreReadEXR(stream));
        EXPECT_EQ(std::ftell(stream), 0);
        EXPECT_EQ(image.busyCount, 0U);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(HostileExr, DeepAndMultiPartFilesAreDeclined) {
    for (const unsigned char flag : {'\x08', '\x10', '\x18'}) {
        ExrBytes bytes = picture(9, 5, Imf::ZIP_COMPRESSION).build();
        bytes[5] = static_cast<unsigned char>(bytes[5] | flag);
        EXPECT_FALSE(accepts(bytes));
    }
}

TEST(HostileExr, OtherVersionsAreDeclined) {
    for (const unsigned char version : {'\0', '\1', '\3'}) {
        ExrBytes bytes = picture(9, 5, Imf::ZIP_COMPRESSION).build();
        bytes[4] = version;
        EXPECT_FALSE(accepts(bytes));
    }
}

TEST(HostileExr, AfileWithoutAllItsOffsetsIsIncomplete) {
    for (const bool tiled : {false, true}) {
        ExrPicture made = picture(33, 50, Imf::ZIP_COMPRESSION);
        made.tiled = tiled;
        const ExrBytes whole = made.build();
        const std::size_t table = exrHeaderEnd(whole);
        for (const std::size_t entry : {0U, 1U, 3U}) {
            ExrBytes bytes = whole;
            patchExr(bytes, table + entry * 8, std::uint64_t{0});
            const ScratchStream stream(bytes);
            OpenImage image;
            EXPECT_FALSE(image.ReadEXR(stream));
            EXPECT_FALSE(image.PreReadEXR(stream));
            EXPECT_EQ(image.width, 0U);
        }
    }
}

/// The file with one more byte in an attribute's value, and a size that counts it.
ExrBytes withLongerAttribute(ExrBytes bytes, const std::string& name) {
    const std::size_t value = exrAttribute(bytes, name);
    std::uint32_t size = 0;
    std::memcpy(&size, bytes.data() + value - 4, 4);
    patchExr(bytes, value - 4, size + 1);
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(value + size), static_cast<unsigned char>(1));
    return bytes;
}

TEST(HostileExr, AttributesThatTheLibraryWouldEndElsewhereAreDeclined) {
    ExrPicture made = picture(9, 5, Imf::ZIP_COMPRESSION);
    made.tiled = true;
    const ExrBytes whole = made.build();
    ASSERT_TRUE(plausible(whole));
    for (const char* name : {"channels", "compression", "dataWindow", "displayWindow", "lineOrder", "pixelAspectRatio",
                             "screenWindowCenter", "screenWindowWidth", "tiles"}) {
        ASSERT_NE(exrAttribute(whole, name), 0U) << name;
        const ExrBytes longer = withLongerAttribute(whole, name);
        EXPECT_FALSE(plausible(longer)) << name;
        EXPECT_FALSE(accepts(longer)) << name;
    }
}

/// A file whose header ends for us at a line order of no bytes, and goes on for the library with another window.
TEST(HostileExr, AsecondHeaderBehindTheFirstIsDeclined) {
    ExrBytes bytes = picture(9, 5, Imf::NO_COMPRESSION).build();
    const std::size_t order = exrAttribute(bytes, "lineOrder");
    patchExr(bytes, order - 4, std::uint32_t{0});
    const std::string window = std::string("dataWindow\0box2i\0", 17) + std::string("\x10\0\0\0", 4) +
                               std::string("\0\0\0\0\0\0\0\0\xFF\x0F\0\0\x04\0\0\0", 16);
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(order + 1), window.begin(), window.end());
    EXPECT_FALSE(plausible(bytes));
    EXPECT_FALSE(accepts(bytes));
}

TEST(HostileExr, UncompressedRowsThatTheFileDoesNotHoldAreZero) {
    const ExrPicture made = picture(11, 6, Imf::NO_COMPRESSION);
    ExrBytes bytes = made.build();
    constexpr std::size_t kRow = 11 * 4 * 2;
    bytes.resize(bytes.size() - kRow / 2);
    const ScratchStream stream(bytes);
    OpenImage image;
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(image.busyCount, 0U);
    // Channels lie one after another in a row: A and B are there, G and R are not.
    for (long x = 0; x < 11; ++x) {
        for (long y = 0; y < 6; ++y) {
            pixel_argbfp32 pixel{9, 9, 9, 9};
            EXPECT_TRUE(image.ReadPixel(pixel, x, y, true));
            const std::array<float, 4> full = made.pixel(static_cast<int>(x), static_cast<int>(y));
            EXPECT_EQ(pixel.b, full[0]);
            EXPECT_EQ(pixel.g, y < 5 ? full[1] : 0.0F);
            EXPECT_EQ(pixel.r, y < 5 ? full[2] : 0.0F);
            EXPECT_EQ(pixel.a, full[3]);
        }
    }
    // Whole rows that are missing have no head to be known by.
    bytes.resize(bytes.size() - 2 * kRow);
    EXPECT_FALSE(accepts(bytes));
}

/// Whatever lies in memory behind a block that is too small must not become pixels.
TEST(HostileExr, BlocksThatAreTooSmallAreDeclined) {
    for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::RLE_COMPRESSION, Imf::ZIPS_COMPRESSION,
                                               Imf::ZIP_COMPRESSION, Imf::PIZ_COMPRESSION, Imf::PXR24_COMPRESSION}) {
        for (const bool tiled : {false, true}) {
            ExrPicture made = picture(21, 40, compression);
            made.tiled = tiled;
            const ExrBytes whole = made.build();
            std::uint64_t block = 0;
            std::memcpy(&block, whole.data() + exrHeaderEnd(whole), 8);
            ExrBytes bytes = whole;
            patchExr(bytes, static_cast<std::size_t>(block) + (tiled ? 16 : 4), std::uint32_t{0});
            EXPECT_FALSE(accepts(bytes)) << compression << tiled;
            if (compression != Imf::NO_COMPRESSION || tiled) continue;
            patchExr(bytes, static_cast<std::size_t>(block) + 4, std::uint32_t{21});
            EXPECT_FALSE(accepts(bytes));
        }
    }
}

TEST(HostileExr, CutCompressedBlocksAreDeclined) {
    for (const Imf::Compression compression : {Imf::RLE_COMPRESSION, Imf::ZIP_COMPRESSION, Imf::PIZ_COMPRESSION}) {
        ExrBytes bytes = picture(21, 40, compression).build();
        for (int cut = 0; cut < 20; ++cut) {
            bytes.pop_back();
            EXPECT_FALSE(accepts(bytes)) << compression << " " << cut;
        }
    }
}

/// Sizes that the file could not hold.
TEST(HostileExr, ClaimsBeyondTheFileAreDeclinedBeforeTheLibrarySeesThem) {
    const auto start = std::chrono::steady_clock::now();
    for (int code = Imf::NO_COMPRESSION; code < Imf::NUM_COMPRESSION_METHODS; ++code) {
        for (const bool tiled : {false, true}) {
            ExrPicture made = picture(21, 40, static_cast<Imf::Compression>(code));
            made.tiled = tiled;
            const ExrBytes whole = made.build();
            ASSERT_TRUE(plausible(whole));
            const std::size_t window = exrAttribute(whole, "dataWindow");
            for (const auto& [maxX, maxY] : {std::pair{100663296, 0},
                                             {1000000000, 0},
                                             {0, 1000000000},
                                             {70000, 70000},
                                             {1000000000, 1000000000},
                                             {0, 0x7FFFFFFF},
                                             {-1, 5}}) {
                ExrBytes bytes = whole;
                patchExr(bytes, window + 8, maxX);
                patchExr(bytes, window + 12, maxY);
                EXPECT_FALSE(plausible(bytes)) << code << tiled << " " << maxX << " " << maxY;
                EXPECT_FALSE(accepts(bytes));
            }
            if (!tiled) continue;
            const std::size_t tiles = exrAttribute(whole, "tiles");
            for (const std::uint32_t size : {0U, 0x1000000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
                ExrBytes bytes = whole;
                patchExr(bytes, tiles, size);
                patchExr(bytes, tiles + 4, size);
                EXPECT_FALSE(plausible(bytes)) << size;
                EXPECT_FALSE(accepts(bytes));
            }
            ExrBytes bytes = whole;
            bytes[tiles + 8] = 3; // no such level mode
            EXPECT_FALSE(accepts(bytes));
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(HostileExr, AttributesLongerThanTheFileAreDeclined) {
    const ExrBytes whole = picture(21, 40, Imf::ZIP_COMPRESSION).build();
    for (const char* name :
         {"channels", "compression", "dataWindow", "displayWindow", "lineOrder", "pixelAspectRatio"}) {
        const std::size_t value = exrAttribute(whole, name);
        for (const std::uint32_t size : {0x7FFFFFFFU, 0xFFFFFFFFU, 0x10000000U, 100000U}) {
            ExrBytes bytes = whole;
            patchExr(bytes, value - 4, size);
            EXPECT_FALSE(plausible(bytes)) << name;
            EXPECT_FALSE(accepts(bytes)) << name;
        }
    }
}

/// The library would take the channels of both lists together.
TEST(HostileExr, AnAttributeThatComesTwiceIsDeclined) {
    const ExrBytes whole = picture(21, 40, Imf::ZIP_COMPRESSION).build();
    const std::size_t end = exrHeaderEnd(whole) - 1;
    for (const char* name : {"channels", "dataWindow", "compression"}) {
        const std::size_t value = exrAttribute(whole, name);
        std::uint32_t size = 0;
        std::memcpy(&size, whole.data() + value - 4, 4);
        std::size_t begin = value - 5;
        while (whole[begin - 1] != 0)
            --begin; // the type's name
        begin -= std::strlen(name) + 1;
        ExrBytes bytes = whole;
        bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(end),
                     whole.begin() + static_cast<std::ptrdiff_t>(begin),
                     whole.begin() + static_cast<std::ptrdiff_t>(value + size));
        EXPECT_FALSE(plausible(bytes)) << name;
    }
}

TEST(HostileExr, EveryCutEndsInAresult) {
    testing::internal::CaptureStderr();
    for (const bool tiled : {false, true}) {
        ExrPicture made = picture(7, 5, tiled ? Imf::ZIP_COMPRESSION : Imf::NO_COMPRESSION);
        made.tiled = tiled;
        made.tileWidth = made.tileHeight = 4;
        const ExrBytes whole = made.build();
        EXPECT_TRUE(accepts(whole));
        forEveryCut(whole, [](FILE* stream) { accepts(stream); });
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(HostileExr, EveryChangedByteEndsInAresult) {
    testing::internal::CaptureStderr();
    for (const Imf::Compression compression : {Imf::NO_COMPRESSION, Imf::PIZ_COMPRESSION, Imf::ZIP_COMPRESSION}) {
        ExrPicture made = picture(7, 5, compression);
        made.tiled = compression == Imf::ZIP_COMPRESSION;
        made.tileWidth = made.tileHeight = 4;
        const ExrBytes whole = made.build();
        const std::size_t head = exrHeaderEnd(whole);
        const ScratchStream stream(whole);
        for (std::size_t place = 0; place < whole.size(); ++place) {
            for (const int flip : {0x01, 0xFF, 0}) {
                std::fseek(stream, static_cast<long>(place), SEEK_SET);
                std::fputc(whole[place] ^ flip, stream);
                std::fflush(stream);
                OpenImage image;
                if (flip != 0) attempt(image, &OpenImage::ReadEXR, stream);
                if (flip == 0xFF && place < head) attempt(image, &OpenImage::PreReadEXR, stream);
            }
        }
        EXPECT_TRUE(accepts(stream));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(HostileExr, SampleFiles) {
    for (const SampleFile& sample : sampleFiles("exr/")) {
        SCOPED_TRACE(sample.path());
        const ScratchStream stream(sampleBytes(sample.path()));
        OpenImage image;
        const bool read = image.Read(stream) == 0;
        EXPECT_EQ(image.busyCount, 0U);
        if (sample["outcome"] == "unclear") continue;
        EXPECT_EQ(read, sample.accepted());
        if (!read) continue;
        EXPECT_EQ(image.width, sample.number("width"));
        EXPECT_EQ(image.height, sample.number("height"));
        EXPECT_EQ(image.colormodel, CM_ARGBFP32);
        // The cosine transform of DWA may differ in the last bits from processor to processor.
        if (sample["note"].find("compression 9") == std::string::npos) {
            EXPECT_EQ(sha256(bytesOf(image)), sample["memory_sha256"]);
        }
    }
}

TEST(HostileExr, DamagedSampleFiles) {
    testing::internal::CaptureStderr();
    for (const SampleFile& sample : sampleFiles("damaged/openexr")) {
        SCOPED_TRACE(sample.path());
        const auto start = std::chrono::steady_clock::now();
        const ExrBytes bytes = sampleBytes(sample.path());
        EXPECT_EQ(std::to_string(bytes.size()), sample["bytes"]);
        const ScratchStream stream(bytes);
        OpenImage image;
        const bool read = image.Read(stream) == 0;
        EXPECT_EQ(image.busyCount, 0U);
        EXPECT_EQ(image.width != 0, read);
        accepts(stream);
        if (sample.declined()) {
            EXPECT_FALSE(read) << sample["reason"];
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
