/// Mosaics of raw files as other decoders have them: each sample of each file, where a folder of them lies beside the
/// project, and of a file made here.
#include <gtest/gtest.h>

#include <memory>

#include "formats/orf_samples.h"
#include "formats/tiff_directory.h"
#include "support/orf_files.h"
#include "support/sample_files.h"
#include "support/scratch_file.h"
#include "support/sha256.h"

namespace {

using namespace testing_support;
using rastrel::ByteReader;

constexpr std::uint16_t kRawNumber = 0x4F52;

struct CloseUniversal {
    void operator()(_universal_stream* stream) const noexcept { _u_fclose(stream); }
};

/// The samples of a file with one strip, empty for any other.
std::vector<std::uint16_t> mosaicOf(const std::vector<unsigned char>& file) {
    const ScratchStream stream(file);
    const std::unique_ptr<_universal_stream, CloseUniversal> universal(_u_ffromhandle(stream));
    auto reader = ByteReader::whole(universal.get(), static_cast<std::int64_t>(file.size()));
    if (!reader) return {};
    const auto directory = rastrel::CTiff::readHeader(*reader, kRawNumber);
    rastrel::CTiff tiff;
    if (!directory || !tiff.readDirectories(*reader, *directory) || !tiff.acceptRaw() || tiff.strips.size() != 1)
        return {};
    const auto offset = static_cast<std::size_t>(tiff.strips[0].offset);
    const auto size = static_cast<std::size_t>(tiff.strips[0].size);
    std::vector<unsigned char> strip(file.begin() + static_cast<std::ptrdiff_t>(offset),
                                     file.begin() + static_cast<std::ptrdiff_t>(offset + size));
    strip.resize(size + rastrel::kOrfStripSlack);
    std::vector<std::uint16_t> mosaic(std::size_t{tiff.width} * tiff.height);
    const std::uint64_t known =
        rastrel::decodeOrf({strip.data(), size}, rastrel::orfEncoding(tiff.width, tiff.height, size), reader->order(),
                           tiff.width, tiff.height, mosaic.data());
    EXPECT_EQ(known, mosaic.size());
    return mosaic;
}

/// Hash of the samples as little-endian words.
std::string hashOf(const std::vector<std::uint16_t>& mosaic) {
    std::vector<unsigned char> bytes;
    for (const std::uint16_t sample : mosaic) {
        bytes.push_back(static_cast<unsigned char>(sample & 0xFF));
        bytes.push_back(static_cast<unsigned char>(sample >> 8));
    }
    return sha256(bytes.data(), bytes.size());
}

TEST(OrfMosaics, OfAfileMadeHere) {
    Mosaic mosaic(37, 23);
    for (std::size_t i = 0; i < mosaic.values.size(); ++i)
        mosaic.values[i] = static_cast<std::uint16_t>(i * 1789 % 4096);
    EXPECT_EQ(mosaicOf(OrfFile(mosaic, encodeCompressed(mosaic)).build()), mosaic.values);
    EXPECT_EQ(mosaicOf(OrfFile(mosaic, encodeWords(mosaic, true), true).build()), mosaic.values);
}

TEST(OrfMosaics, OfSampleFiles) {
    std::size_t compared = 0;
    const std::vector<SampleFile> samples = sampleFiles("orf/");
    for (const SampleFile& sample : samples) {
        if (!sample.accepted() || sample["reason"].find("unfilled") != std::string::npos) continue;
        SCOPED_TRACE(sample.path());
        EXPECT_EQ(hashOf(mosaicOf(sampleBytes(sample.path()))), sample["pixel_sha256"]);
        ++compared;
    }
    EXPECT_TRUE(samples.empty() || compared > 0);
}

} // namespace
