/// Raw files through the image: containers, curves, what is taken and what is not.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <initializer_list>

#include "support/cut_file.h"
#include "support/images.h"
#include "support/naive_bayer.h"
#include "support/open_image.h"
#include "support/orf_files.h"
#include "support/sample_files.h"
#include "support/sample_noise.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

/// What one call prints to standard output.
template <class Call>
std::string printedBy(Call call) {
    testing::internal::CaptureStdout();
    call();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

/// 16 i - 32 in unsigned 32 bits, times 1.001, cut to 16 bits.
std::uint16_t curve(std::uint16_t value) {
    const double stretched = static_cast<double>(16U * value - 32U) * 1.001;
    return static_cast<std::uint16_t>(stretched > 65535.0 ? 65535.0 : stretched);
}

/// The picture that a mosaic becomes, as bytes of the pixel block.
Bytes developed(const Mosaic& mosaic) {
    std::vector<std::uint16_t> mapped;
    for (const std::uint16_t value : mosaic.values)
        mapped.push_back(curve(value));
    const std::vector<std::uint16_t> rgb =
        NaiveBayer(mapped, static_cast<int>(mosaic.width), static_cast<int>(mosaic.height)).colors();
    Bytes bytes;
    for (const std::uint16_t sample : rgb) {
        bytes.push_back(static_cast<unsigned char>(sample));
        bytes.push_back(static_cast<unsigned char>(sample >> 8));
    }
    return bytes;
}

std::string maximaLine(const Mosaic& mosaic) {
    std::uint16_t largest[3] = {0, 0, 0};
    for (std::uint32_t y = 0; y < mosaic.height; ++y)
        for (std::uint32_t x = 0; x < mosaic.width; ++x)
            largest[x % 2 + y % 2] = std::max(largest[x % 2 + y % 2], mosaic.at(x, y));
    return "| R:" + std::to_string(largest[0]) + " | G:" + std::to_string(largest[1]) +
           " | B:" + std::to_string(largest[2]) + " |\n";
}

Mosaic noisy(unsigned seed, std::uint32_t width, std::uint32_t height) {
    Dice dice(seed);
    Mosaic mosaic(width, height);
    for (std::size_t i = 0; i < mosaic.values.size(); ++i)
        mosaic.values[i] = static_cast<std::uint16_t>(500 + 2 * i % 1500 + dice.below(900));
    return mosaic;
}

void expectPicture(OpenImage& image, const Mosaic& mosaic) {
    EXPECT_EQ(image.width, mosaic.width);
    EXPECT_EQ(image.height, mosaic.height);
    EXPECT_EQ(image.colormodel, CM_RGB16);
    EXPECT_EQ(image.componentOrder, 0);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_TRUE(bytesOf(image) == developed(mosaic));
}

struct Coding {
    const char* name;
    Bytes (*encode)(const Mosaic&, bool big);
};

const Coding kCodings[] = {
    {"words", [](const Mosaic& mosaic, bool big) { return encodeWords(mosaic, big); }},
    {"packed with pads", [](const Mosaic& mosaic, bool) { return encodePackedWithPads(mosaic); }},
    {"packed words", [](const Mosaic& mosaic, bool) { return encodePackedWords(mosaic); }},
    {"compressed", [](const Mosaic& mosaic, bool) { return encodeCompressed(mosaic); }},
};

TEST(OrfReader, EveryEncodingInBothByteOrders) {
    for (const Coding& coding : kCodings) {
        for (const bool big : {false, true}) {
            SCOPED_TRACE(coding.name);
            // Sizes whose packed strips have exactly the length that tells them.
            const Mosaic mosaic = noisy(1, 40, 12);
            const ScratchStream stream(OrfFile(mosaic, coding.encode(mosaic, big), big).build());
            OpenImage image;
            image.componentOrder = 1;
            bool read = false;
            EXPECT_EQ(printedBy([&] { read = image.ReadORF(stream); }), maximaLine(mosaic));
            EXPECT_TRUE(read);
            expectPicture(image, mosaic);
        }
    }
}

TEST(OrfReader, OddAndSmallSizes) {
    for (const auto& [width, height] :
         {std::pair{1U, 1U}, {2U, 2U}, {3U, 1U}, {1U, 5U}, {7U, 5U}, {65U, 3U}, {40U, 2U}}) {
        const Mosaic mosaic = noisy(2, width, height);
        Bytes strip = encodeCompressed(mosaic);
        strip.resize(strip.size() + 1000); // by no means the length of another encoding
        const ScratchStream stream(OrfFile(mosaic, strip).build());
        OpenImage image;
        EXPECT_EQ(printedBy([&] { EXPECT_TRUE(image.ReadORF(stream)); }), maximaLine(mosaic));
        expectPicture(image, mosaic);
    }
}

TEST(OrfReader, TheCurveWrapsAtItsLowEndAndSaturatesAtItsHighEnd) {
    const std::pair<std::uint16_t, std::uint16_t> kEntries[] = {
        {0, 65535}, {1, 65535}, {2, 0}, {3, 16}, {4, 32}, {4000, 64031}, {4093, 65521}, {4094, 65535}, {4095, 65535}};
    for (const auto& [raw, mapped] : kEntries) {
        Mosaic mosaic(6, 4);
        std::fill(mosaic.values.begin(), mosaic.values.end(), raw);
        const ScratchStream stream(OrfFile(mosaic, encodeWords(mosaic, false)).build());
        OpenImage image;
        const std::string line = printedBy([&] { EXPECT_TRUE(image.ReadORF(stream)); });
        EXPECT_EQ(line, maximaLine(mosaic)); // the values before the curve
        Bytes flat;
        for (int i = 0; i < 6 * 4 * 3; ++i) {
            flat.push_back(static_cast<unsigned char>(mapped));
            flat.push_back(static_cast<unsigned char>(mapped >> 8));
        }
        EXPECT_EQ(bytesOf(image), flat) << raw;
    }
}

TEST(OrfReader, SitesAreRedGreenGreenBlue) {
    Mosaic mosaic(8, 8);
    for (std::uint32_t y = 0; y < 8; ++y)
        for (std::uint32_t x = 0; x < 8; ++x)
            mosaic.at(x, y) = static_cast<std::uint16_t>(y % 2 + x % 2 == 0 ? 3000 : y % 2 + x % 2 == 1 ? 2000 : 1000);
    const ScratchStream stream(OrfFile(mosaic, encodeCompressed(mosaic)).build());
    OpenImage image;
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(image.Read(stream), 0U); }), "| R:3000 | G:2000 | B:1000 |\n");
    const pixel_argb16 pixel = image.GetPixelARGB16(3L, 3L);
    EXPECT_EQ(pixel.r, curve(3000));
    EXPECT_EQ(pixel.g, curve(2000));
    EXPECT_EQ(pixel.b, curve(1000));
}

TEST(OrfReader, AtiffIsForTheTiffReader) {
    TiffPicture made;
    made.width = 4;
    made.height = 3;
    made.bits = 16;
    made.countUp();
    const ScratchStream stream(made.build());
    OpenImage image;
    EXPECT_FALSE(image.ReadORF(stream));
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    EXPECT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(image.colormodel, CM_GREY16);
}

/// Whether the whole read declines a file, with the image as it was.
bool declines(const Bytes& bytes) {
    const ScratchStream stream(bytes);
    OpenImage image;
    image.Create(2, 2, CM_GREY8);
    bool read = false;
    const std::string printed = printedBy([&] { read = image.ReadORF(stream); });
    EXPECT_EQ(image.busyCount, 0U);
    if (read) return false;
    EXPECT_EQ(image.width, 2U);
    EXPECT_EQ(image.colormodel, CM_GREY8);
    EXPECT_EQ(image.pixels.GetSize(), 4U);
    EXPECT_EQ(printed, "");
    return true;
}

/// The same of the header read.
bool headerDeclines(const Bytes& bytes) {
    const ScratchStream stream(bytes);
    OpenImage image;
    const bool read = image.PreReadORF(stream);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.width, read ? 6U : 0U);
    return !read;
}

TEST(OrfReader, DeclinesWhatIsNoRawFile) {
    const Mosaic mosaic = noisy(3, 6, 4);
    const OrfFile good(mosaic, encodeCompressed(mosaic));
    EXPECT_FALSE(declines(good.build()) || headerDeclines(good.build()));
    Bytes bytes = good.build();
    bytes[3] = 'S'; // "IIRS"
    EXPECT_TRUE(declines(bytes) && headerDeclines(bytes));
    bytes = good.build();
    bytes[0] = bytes[1] = 'M'; // the number no longer matches the order
    EXPECT_TRUE(declines(bytes) && headerDeclines(bytes));
    bytes = good.build();
    bytes[1] = 'M';
    EXPECT_TRUE(declines(bytes) && headerDeclines(bytes));
    for (const std::uint16_t bits : std::initializer_list<std::uint16_t>{1, 8, 12, 14, 24, 32, 48}) {
        OrfFile other = good;
        other.bits = bits;
        EXPECT_TRUE(declines(other.build()) && headerDeclines(other.build())) << bits;
    }
    for (const std::uint16_t tag : std::initializer_list<std::uint16_t>{256, 257, 258, 273}) {
        OrfFile other = good;
        other.without = {tag};
        EXPECT_TRUE(declines(other.build()) && headerDeclines(other.build())) << tag;
    }
    OrfFile empty = good;
    empty.extra = {longs(256, {0})};
    EXPECT_TRUE(declines(empty.build()) && headerDeclines(empty.build()));
    EXPECT_TRUE(declines({}) && headerDeclines({}));
    EXPECT_TRUE(declines({'I', 'I', 'R'}) && headerDeclines({'I', 'I', 'R'}));
}

TEST(OrfReader, ManyStripsGiveAnUnfilledPicture) {
    const Mosaic mosaic = noisy(4, 16, 8);
    OrfFile file(mosaic, encodeWords(mosaic, false));
    file.extra = {longs(273, {8, 136}), longs(279, {128, 128}), longs(278, {4})};
    const ScratchStream stream(file.build());
    OpenImage image;
    EXPECT_EQ(printedBy([&] { EXPECT_TRUE(image.ReadORF(stream)); }), "");
    EXPECT_EQ(image.width, 16U);
    EXPECT_EQ(image.height, 8U);
    EXPECT_EQ(image.colormodel, CM_RGB16);
    EXPECT_EQ(image.componentOrder, 0);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(bytesOf(image), Bytes(16 * 8 * 6, 0));
}

TEST(OrfReader, ArequestToCancelDeclinesAtOnce) {
    const Mosaic mosaic = noisy(5, 6, 4);
    const ScratchStream stream(OrfFile(mosaic, encodeCompressed(mosaic)).build());
    OpenImage image;
    image.cancelRequested = 1;
    EXPECT_FALSE(image.ReadORF(stream));
    EXPECT_EQ(image.width, 0U);
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(OrfReader, TheBlockStaysInMemory) {
    const Mosaic mosaic = noisy(6, 16, 8);
    const ScratchStream stream(OrfFile(mosaic, encodeCompressed(mosaic)).build());
    OpenImage image;
    image.swapThreshold = 0;
    printedBy([&] { EXPECT_TRUE(image.ReadORF(stream)); });
    EXPECT_FALSE(image.pixels.IsSwapped());
    expectPicture(image, mosaic);
}

OrfFile described(const Mosaic& mosaic) {
    OrfFile file(mosaic, encodeCompressed(mosaic));
    file.extra = {ascii(270, "RAW PICTURE            "),
                  ascii(305, "Version 1.0   "),
                  shorts(274, {8}),
                  rational(282, 314, 1),
                  rational(283, 628, 2),
                  shorts(296, {2})};
    file.exif = {shorts(34850, {3}), shorts(34855, {400}), ascii(36867, "2007:06:06 11:53:09"), shorts(37383, {5}),
                 shorts(37385, {16})};
    return file;
}

void expectDescription(const OpenImage& image) {
    EXPECT_STREQ(image.exif.description, "RAW PICTURE            ");
    EXPECT_STREQ(image.exif.software, "Version 1.0   ");
    EXPECT_EQ(image.exif.orientation, 8);
    EXPECT_EQ(image.exif.exposureProgram, 3);
    EXPECT_EQ(image.exif.isoSpeed, 400);
    EXPECT_EQ(image.exif.meteringMode, 5);
    EXPECT_EQ(image.exif.flash, 16);
    EXPECT_EQ(image.exif.dateTime, 1181130789);
    EXPECT_EQ(image.exif.xResolution, 314.0);
    EXPECT_EQ(image.exif.yResolution, 314.0);
    EXPECT_EQ(image.exif.exifTags.size(), 5U);
    EXPECT_TRUE(image.exif.gpsTags.empty());
}

TEST(OrfReader, MetadataReplacesWhatWasThere) {
    const ScratchStream stream(described(noisy(7, 6, 4)).build());
    OpenImage image;
    image.exif.gpsTags.append(1, 2, 2);
    printedBy([&] { EXPECT_TRUE(image.ReadORF(stream)); });
    expectDescription(image);
}

TEST(OrfReader, TheHeaderReadKnowsAllButThePixels) {
    const ScratchStream stream(described(noisy(7, 6, 4)).build());
    for (const unsigned char flag : {'\0', '\1'}) {
        OpenImage image;
        image.componentOrder = flag;
        EXPECT_EQ(printedBy([&] { EXPECT_TRUE(image.PreReadORF(stream)); }), "");
        EXPECT_EQ(image.width, 6U);
        EXPECT_EQ(image.height, 4U);
        EXPECT_EQ(image.colormodel, CM_RGB16);
        EXPECT_EQ(image.componentOrder, flag);
        EXPECT_EQ(image.pixels.GetSize(), 0U);
        EXPECT_EQ(image.busyCount, 0U);
        expectDescription(image);
    }
}

TEST(OrfReader, ByPathItIsReadWholeOnly) {
    const Mosaic mosaic = noisy(8, 10, 6);
    const ScratchFile file(OrfFile(mosaic, encodeCompressed(mosaic)).build(), ".orf");
    OpenImage image;
    EXPECT_EQ(image.PreRead(file.path().c_str()), Rastrel::kNotAccepted);
    EXPECT_EQ(image.Read(file.path().c_str(), 0, 0, 5, 5), Rastrel::kNotAccepted);
    EXPECT_EQ(printedBy([&] { EXPECT_EQ(image.Read(file.path().c_str()), 0U); }), maximaLine(mosaic));
    EXPECT_NE(image.GetName(), nullptr);
    expectPicture(image, mosaic);
}

TEST(OrfReader, AcutStripGivesItsFrontAndZerosBehind) {
    Mosaic mosaic = noisy(9, 20, 30);
    const Bytes words = encodeWords(mosaic, false);
    OrfFile file(mosaic, words);
    file.extra = {longs(279, {words.size()})};
    Bytes bytes = file.build();
    // The strip ends with the file, 11 rows and 7 samples into the mosaic.
    const std::size_t present = (11 * 20 + 7) * 2;
    file.strip.clear();
    file.extra = {longs(273, {0}), longs(279, {words.size()})};
    bytes = file.build();
    const std::size_t place = bytes.size();
    file.extra = {longs(273, {place}), longs(279, {words.size()})};
    bytes = file.build();
    bytes.insert(bytes.end(), words.begin(), words.begin() + static_cast<std::ptrdiff_t>(present));
    const ScratchStream stream(bytes);
    OpenImage image;
    printedBy([&] { EXPECT_TRUE(image.ReadORF(stream)); });
    EXPECT_EQ(image.busyCount, 0U);
    const Bytes all = developed(mosaic);
    const Bytes shown = bytesOf(image);
    ASSERT_EQ(shown.size(), all.size());
    // Five rows are what a pixel's surroundings reach down.
    EXPECT_TRUE(std::equal(shown.begin(), shown.begin() + 6 * 20 * 6, all.begin()));
    EXPECT_TRUE(std::all_of(shown.begin() + 12 * 20 * 6, shown.end(), [](unsigned char byte) { return byte == 0; }));
}

TEST(OrfReader, ShortFilesThatClaimGigabytesEndQuickly) {
    const auto start = std::chrono::steady_clock::now();
    const Mosaic mosaic = noisy(10, 6, 4);
    for (const std::uint64_t side : {20000U, 65535U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        for (const std::uint64_t claimed : {std::uint64_t{100}, std::uint64_t{0x7FFFFFFF}, std::uint64_t{0xFFFFFFFF}}) {
            OrfFile file(mosaic, encodeCompressed(mosaic));
            file.extra = {longs(256, {side}), longs(257, {side}), longs(279, {claimed})};
            EXPECT_TRUE(declines(file.build())) << side << " " << claimed;
        }
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

/// Reads a stream in both ways and with all readers.
void survives(FILE* stream) {
    OpenImage image;
    const bool read = image.ReadORF(stream);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.pixels.GetSize() != 0, read);
    static_cast<void>(image.PreReadORF(stream));
    EXPECT_EQ(image.busyCount, 0U);
    const bool any = image.Read(stream) == 0;
    EXPECT_EQ(any, image.width != 0);
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(OrfReader, EveryCutEndsInAresult) {
    OrfFile made = described(noisy(11, 12, 6));
    testing::internal::CaptureStderr();
    printedBy([&] {
        for (const bool big : {false, true}) {
            made.big = big;
            forEveryCut(made.build(), survives);
        }
    });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(OrfReader, EveryChangedByteEndsInAresult) {
    OrfFile made = described(noisy(11, 12, 6));
    testing::internal::CaptureStderr();
    printedBy([&] {
        for (const bool big : {false, true}) {
            made.big = big;
            const Bytes whole = made.build();
            const ScratchStream stream(whole);
            for (std::size_t place = 0; place < whole.size(); ++place) {
                for (const int flip : {0x01, 0x80, 0xFF, 0}) {
                    std::fseek(stream, static_cast<long>(place), SEEK_SET);
                    std::fputc(whole[place] ^ flip, stream);
                    std::fflush(stream);
                    if (flip != 0) survives(stream);
                }
            }
        }
    });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(OrfReader, SampleFiles) {
    for (const char* folder : {"orf/", "damaged/orf-"}) {
        for (const SampleFile& sample : sampleFiles(folder)) {
            SCOPED_TRACE(sample.path());
            const ScratchStream stream(sampleBytes(sample.path()));
            OpenImage image;
            bool read = false;
            const std::string printed = printedBy([&] { read = image.ReadORF(stream); });
            EXPECT_EQ(image.busyCount, 0U);
            if (sample.declined()) {
                EXPECT_FALSE(read);
            }
            if (!sample.accepted()) continue;
            EXPECT_TRUE(read);
            EXPECT_EQ(image.colormodel, CM_RGB16);
            if (!sample["width"].empty()) {
                EXPECT_EQ(image.width, sample.number("width"));
                EXPECT_EQ(image.height, sample.number("height"));
            }
            // "... largest values R:2609 G:4070 B:2036"
            const std::string note = sample["note"];
            const std::size_t largest = note.find("R:");
            if (largest == std::string::npos || !sample["reason"].empty()) continue;
            std::string values = "| " + note.substr(largest) + " |\n";
            for (const char* next : {" G:", " B:"})
                values.insert(values.find(next), " |");
            EXPECT_EQ(printed, values);
        }
    }
}

} // namespace
