/// What reading and writing JPEG files holds in memory: the pixel block, the file, and a buffer.
#include <gtest/gtest.h>

#include <cstring>

#include "support/jpeg_files.h"
#include "support/open_image.h"
#include "support/peak_memory.h"

namespace {

using namespace testing_support;

constexpr unsigned kSide = 4096;
constexpr std::uint64_t kPixels = std::uint64_t{kSide} * kSide;
constexpr std::uint64_t kBuffers = std::uint64_t{4} << 20;

using JpegMemoryDeathTest = test::PeakMemoryTest;

/// Rows of noise, each a part of the same two.
class NoiseRows {
public:
    explicit NoiseRows(std::size_t line) : line_(line), bytes_(2 * line) {
        Noise noise(5);
        for (unsigned char& byte : bytes_)
            byte = noise.byte();
    }
    [[nodiscard]] unsigned char* at(std::size_t y) { return bytes_.data() + y * 37 % line_; }

private:
    std::size_t line_;
    Bytes bytes_;
};

/// A file of noise that is made row by row.
class LargeJpeg {
public:
    explicit LargeJpeg(int components) {
        FILE* const stream = std::fopen(file_.path().c_str(), "wb");
        jpeg_compress_struct encoder{};
        jpeg_error_mgr errors{};
        encoder.err = jpeg_std_error(&errors);
        jpeg_create_compress(&encoder);
        jpeg_stdio_dest(&encoder, stream);
        encoder.image_width = encoder.image_height = kSide;
        encoder.input_components = components;
        encoder.in_color_space = components == 1 ? JCS_GRAYSCALE : JCS_RGB;
        jpeg_set_defaults(&encoder);
        jpeg_start_compress(&encoder, TRUE);
        NoiseRows rows(std::size_t{kSide} * static_cast<unsigned>(components));
        for (unsigned y = 0; y < kSide; ++y) {
            JSAMPROW row = rows.at(y);
            jpeg_write_scanlines(&encoder, &row, 1);
        }
        jpeg_finish_compress(&encoder);
        jpeg_destroy_compress(&encoder);
        std::fclose(stream);
    }
    [[nodiscard]] std::string path() const { return file_.path(); }
    [[nodiscard]] std::uint64_t size() const { return std::filesystem::file_size(file_.path()); }

private:
    ScratchFile file_{".jpg"};
};

TEST_F(JpegMemoryDeathTest, AreadHoldsTheBlockAndTheFile) {
    for (const unsigned channels : {1U, 4U}) {
        const LargeJpeg file(channels == 1 ? 1 : 3);
        const auto read = [&] {
            OpenImage image;
            REQUIRE_IN_CHILD(image.Read(file.path().c_str()) == 0);
            REQUIRE_IN_CHILD(image.pixels.GetSize() == kPixels * channels);
        };
        expectMemoryGrowth(read, kPixels * channels + file.size() + kBuffers, kPixels * channels / 2);
    }
}

TEST_F(JpegMemoryDeathTest, ArectangleHoldsItsBlock) {
    const LargeJpeg file(3);
    constexpr std::uint64_t kPart = std::uint64_t{kSide / 2} * (kSide / 2) * 3;
    for (const bool swapped : {false, true}) {
        const auto read = [&] {
            OpenImage image;
            if (swapped) image.swapThreshold = 0;
            REQUIRE_IN_CHILD(image.Read(file.path().c_str(), kSide / 4, kSide / 4, kSide / 4 * 3, kSide / 4 * 3) == 0);
            REQUIRE_IN_CHILD(image.pixels.GetSize() == kPart && image.pixels.IsSwapped() == swapped);
        };
        expectMemoryGrowth(read, (swapped ? 0 : kPart) + kBuffers);
    }
}

TEST_F(JpegMemoryDeathTest, AheadHoldsNothing) {
    const LargeJpeg file(3);
    const auto read = [&] {
        OpenImage image;
        REQUIRE_IN_CHILD(image.PreRead(file.path().c_str()) == 0 && image.width == kSide);
        Rastrel::_EXIF exif;
        REQUIRE_IN_CHILD(Rastrel::ReadExif(file.path().c_str(), &exif) == Rastrel::kNotAccepted);
    };
    expectMemoryGrowth(read, kBuffers / 2);
}

TEST_F(JpegMemoryDeathTest, AwriteHoldsTheFileAndItsCoefficients) {
    const ScratchFile file(".jpg");
    for (const bool swapped : {false, true}) {
        // Tables made for the picture take its coefficients first: two bytes each, as many as pixels of a grey picture.
        constexpr std::uint64_t kCoefficients = kPixels * 2;
        constexpr std::uint64_t kFile = kPixels * 5 / 4; // noise takes more bytes than pixels
        const auto write = [&] {
            OpenImage image;
            if (swapped) image.swapThreshold = 0;
            image.Create(kSide, kSide, CM_GREY8);
            REQUIRE_IN_CHILD(image.pixels.IsSwapped() == swapped);
            NoiseRows rows(kSide);
            for (std::uint64_t y = 0; y < kSide; ++y)
                REQUIRE_IN_CHILD(image.pixels.Write(y * kSide, rows.at(y), kSide));
            REQUIRE_IN_CHILD(image.Write(file.path().c_str(), "jpg") == 0);
            const std::uint64_t size = std::filesystem::file_size(file.path());
            REQUIRE_IN_CHILD(size > kPixels && size <= kFile);
        };
        expectMemoryGrowth(write, (swapped ? 0 : kPixels) + kCoefficients + kFile + kBuffers, kCoefficients);
    }
}

} // namespace
