/// The collected TIFF files, read and compared with what independent tools find in them. Where the collection is absent
/// the generated file below stands alone.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_files.h"
#include "support/scratch_file.h"
#include "support/sha256.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;

TEST(Sha256, OfKnownTexts) {
    EXPECT_EQ(sha256("", 0), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256("abc", 3), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    const std::string million(1000000, 'a');
    EXPECT_EQ(sha256(million.data(), million.size()),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

std::vector<SampleFile> tiffSamples() {
    std::vector<SampleFile> samples;
    for (const SampleFile& sample : sampleFiles(""))
        if (sample["format"] == "tiff") samples.push_back(sample);
    return samples;
}

std::wstring pathOf(const SampleFile& sample) {
    return std::filesystem::path(sampleFolder() + sample.path()).wstring();
}

TEST(TiffSamples, AgeneratedFile) {
    TiffPicture made;
    made.width = 16;
    made.height = 16;
    made.rowsPerStrip = 5;
    made.countUp();
    const ScratchFile file(made.build());
    OpenImage image;
    ASSERT_EQ(image.Read(file.path().c_str()), 0U);
    EXPECT_EQ(sha256(bytesOf(image)), sha256(made.pixels));
}

/// The colour model of an accepted layout.
unsigned char modelOf(const SampleFile& sample) {
    const bool wide = sample["bits"] == "16";
    if (sample["samples"] == "3") return wide ? CM_RGB16 : CM_RGB8;
    if (sample["samples"] == "4") return wide ? CM_RGBA16 : CM_RGBA8;
    if (sample["bits"] == "32") return CM_GREYFP32;
    if (sample["bits"] == "64") return CM_GREYFP64;
    return wide ? CM_GREY16 : CM_GREY8;
}

/// The samples in little-endian order, for a file of either order.
Bytes littleEndian(Bytes pixels, const SampleFile& sample) {
    const auto bytes = static_cast<std::ptrdiff_t>(sample.number("bits") / 8);
    if (sample["order"] != "MM") return pixels;
    for (auto at = pixels.begin(); at != pixels.end(); at += bytes)
        std::reverse(at, at + bytes);
    return pixels;
}

TEST(TiffSamples, AcutFileGivesWhatItHolds) {
    for (const SampleFile& sample : tiffSamples()) {
        if (sample["reason"].rfind("data cut short after 960 of", 0) != 0) continue;
        const Bytes file = sampleBytes(sample.path());
        OpenImage image;
        ASSERT_EQ(image.Read(pathOf(sample).c_str()), 0U);
        Bytes pixels = bytesOf(image);
        const auto end = pixels.begin() + 960;
        EXPECT_NE(std::search(file.begin(), file.end(), pixels.begin(), end), file.end());
        EXPECT_TRUE(std::all_of(end, pixels.end(), [](unsigned char byte) { return byte == 0; }));
    }
}

TEST(TiffSamples, OutcomeSizesAndPixels) {
    for (const SampleFile& sample : tiffSamples()) {
        SCOPED_TRACE(sample.path());
        OpenImage image;
        const unsigned __int64 status = image.Read(pathOf(sample).c_str());
        EXPECT_EQ(image.busyCount, 0U);
        OpenImage header;
        EXPECT_EQ(header.PreRead(pathOf(sample).c_str()), status);
        if (sample.declined()) {
            EXPECT_EQ(status, Rastrel::kNotAccepted);
            EXPECT_EQ(image.pixels.GetSize(), 0U);
        }
        if (!sample.accepted()) continue;
        ASSERT_EQ(status, 0U);
        for (const OpenImage* read : {&image, &header}) {
            EXPECT_EQ(read->width, sample.number("width"));
            EXPECT_EQ(read->height, sample.number("height"));
        }
        EXPECT_EQ(image.colormodel, modelOf(sample));
        EXPECT_EQ(header.colormodel, image.colormodel);
        if (!sample["pixel_sha256"].empty()) {
            EXPECT_EQ(sha256(littleEndian(bytesOf(image), sample)), sample["pixel_sha256"]);
        }
        if (!sample["memory_sha256"].empty()) {
            EXPECT_EQ(sha256(bytesOf(image)), sample["memory_sha256"]);
        }
    }
}

TEST(TiffSamples, ArectangleIsApartOfTheWhole) {
    for (const SampleFile& sample : tiffSamples()) {
        if (!sample.accepted()) continue;
        SCOPED_TRACE(sample.path());
        OpenImage whole;
        ASSERT_EQ(whole.Read(pathOf(sample).c_str()), 0U);
        const std::uint32_t left = whole.width / 3;
        const std::uint32_t top = whole.height / 3;
        OpenImage part;
        const unsigned __int64 status = part.Read(pathOf(sample).c_str(), left, top, whole.width, whole.height);
        if (whole.height < 2) {
            EXPECT_EQ(status, Rastrel::kNotAccepted); // the last row is never part of a rectangle
            continue;
        }
        ASSERT_EQ(status, 0U);
        EXPECT_EQ(part.width, whole.width - 1 - left);
        EXPECT_EQ(part.height, whole.height - 1 - top);
        const std::vector<unsigned char> all = bytesOf(whole);
        const std::vector<unsigned char> bytes = bytesOf(part);
        const std::size_t pixel = all.size() / whole.width / whole.height;
        for (std::size_t y = 0; y < part.height; ++y)
            ASSERT_TRUE(
                std::equal(bytes.begin() + static_cast<std::ptrdiff_t>(y * part.width * pixel),
                           bytes.begin() + static_cast<std::ptrdiff_t>((y + 1) * part.width * pixel),
                           all.begin() + static_cast<std::ptrdiff_t>(((y + top) * whole.width + left) * pixel)));
    }
}

} // namespace
