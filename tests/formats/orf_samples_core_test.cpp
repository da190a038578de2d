/// Decoding of raw strips: every encoding against strips that were encoded here, cut and broken strips.
#include <gtest/gtest.h>

#include <cstring>

#include "formats/orf_decoders.h"
#include "formats/orf_samples.h"
#include "support/guarded_buffer.h"
#include "support/orf_files.h"
#include "support/sample_noise.h"

namespace {

using namespace testing_support;
using rastrel::ByteOrder;
using rastrel::OrfEncoding;

struct Decoded {
    std::uint64_t count;
    std::vector<std::uint16_t> values;
    bool intact;
};

/// Values that the decoder does not write keep the guard pattern.
constexpr std::uint16_t kUntouched = 0xA5A5;

Decoded decode(const Bytes& strip, OrfEncoding encoding, std::uint32_t width, std::uint32_t height,
               ByteOrder order = ByteOrder::little, int behind = 0) {
    Bytes padded = strip;
    padded.insert(padded.end(), rastrel::kOrfStripSlack, static_cast<unsigned char>(behind));
    GuardedBuffer<std::uint16_t> mosaic(std::size_t{width} * height);
    const std::uint64_t count =
        rastrel::decodeOrf({padded.data(), strip.size()}, encoding, order, width, height, mosaic.data());
    if (encoding == OrfEncoding::compressed) {
        for (const rastrel::OrfDecoder* decoder : rastrel::availableOrfDecoders()) {
            GuardedBuffer<std::uint16_t> other(std::size_t{width} * height);
            EXPECT_EQ(decoder->decode({padded.data(), strip.size()}, width, height, other.data()), count);
            EXPECT_TRUE(other.intact());
            EXPECT_TRUE(other.contents() == mosaic.contents()) << decoder->name;
        }
    }
    return {count, mosaic.contents(), mosaic.intact()};
}

void expectWhole(const Decoded& decoded, const Mosaic& mosaic) {
    EXPECT_TRUE(decoded.intact);
    EXPECT_EQ(decoded.count, mosaic.values.size());
    EXPECT_TRUE(decoded.values == mosaic.values);
}

/// A picture-like mosaic: ramps, flats, an edge and some noise; `noise` is its greatest amount.
Mosaic picture(Dice& dice, std::uint32_t width, std::uint32_t height, int noise) {
    Mosaic mosaic(width, height);
    const int base = dice.between(0, 3000);
    const int slopeX = dice.between(-20, 20);
    const int slopeY = dice.between(-20, 20);
    const int edge = dice.between(0, static_cast<int>(width));
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const int colour = y % 2 == 0 ? (x % 2 == 0 ? -200 : 300) : (x % 2 == 0 ? 280 : -350);
            const int value = base + colour + slopeX * static_cast<int>(x) + slopeY * static_cast<int>(y) +
                              (static_cast<int>(x) > edge ? 900 : 0) + (noise > 0 ? dice.between(-noise, noise) : 0);
            mosaic.at(x, y) = static_cast<std::uint16_t>(std::clamp(value, 0, 4095));
        }
    }
    return mosaic;
}

TEST(OrfSamples, TheLengthTellsTheEncoding) {
    EXPECT_EQ(rastrel::orfEncoding(20, 10, 400), OrfEncoding::words);
    EXPECT_EQ(rastrel::orfEncoding(20, 10, 320), OrfEncoding::packedWithPads);
    EXPECT_EQ(rastrel::orfEncoding(20, 10, 300), OrfEncoding::packedWords);
    for (const std::uint64_t size : {0U, 1U, 299U, 301U, 319U, 321U, 399U, 401U, 1000U})
        EXPECT_EQ(rastrel::orfEncoding(20, 10, size), OrfEncoding::compressed) << size;
    // Products beyond 32 and 64 bits.
    EXPECT_EQ(rastrel::orfEncoding(0x10000, 0x10000, 0), OrfEncoding::compressed);
    EXPECT_EQ(rastrel::orfEncoding(0x10000, 0x10000, 0x200000000), OrfEncoding::words);
    EXPECT_EQ(rastrel::orfEncoding(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF), OrfEncoding::compressed);
    EXPECT_EQ(rastrel::orfEncoding(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF), OrfEncoding::compressed);
}

TEST(OrfSamples, AstripMustBeAbleToHoldItsPixels) {
    EXPECT_TRUE(rastrel::orfStripSuffices(4, 4, 12));
    EXPECT_FALSE(rastrel::orfStripSuffices(4, 4, 11));
    EXPECT_FALSE(rastrel::orfStripSuffices(0x7FFFFFFF, 0x7FFFFFFF, 32728));
    EXPECT_FALSE(rastrel::orfStripSuffices(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF));
    // A constant mosaic is the shortest that the compressed code gets.
    Mosaic flat(64, 48);
    EXPECT_TRUE(rastrel::orfStripSuffices(64, 48, encodeCompressed(flat).size()));
}

TEST(OrfSamples, PackedBytesWrittenDownByHand) {
    const std::vector<std::uint16_t> values = {0x123, 0x456, 0x789, 0xABC, 0xDEF, 0x012, 0x345, 0x678, 0x9AB, 0xCDE};
    const Bytes pads = {0x23, 0x61, 0x45, 0x89, 0xC7, 0xAB, 0xEF, 0x2D, 0x01, 0x45, 0x83, 0x67, 0xAB, 0xE9, 0xCD, 0x00};
    Mosaic mosaic(10, 1);
    mosaic.values = values;
    EXPECT_EQ(encodePackedWithPads(mosaic), pads);
    expectWhole(decode(pads, OrfEncoding::packedWithPads, 10, 1), mosaic);

    const Bytes words = {0x78, 0x56, 0x34, 0x12, 0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12};
    Mosaic eight(8, 1);
    eight.values = {0x123, 0x456, 0x789, 0xABC, 0xDEF, 0x012, 0x345, 0x678};
    EXPECT_EQ(encodePackedWords(eight), words);
    expectWhole(decode(words, OrfEncoding::packedWords, 8, 1), eight);

    const Bytes word = {0x30, 0x12, 0xF0, 0xFF};
    Mosaic two(2, 1);
    two.values = {0x123, 0xFFF};
    expectWhole(decode(word, OrfEncoding::words, 2, 1), two);
    expectWhole(decode({0x12, 0x30, 0xFF, 0xF0}, OrfEncoding::words, 2, 1, ByteOrder::big), two);
    // The low four bits are no part of the value.
    expectWhole(decode({0x3F, 0x12, 0xF7, 0xFF}, OrfEncoding::words, 2, 1), two);
}

TEST(OrfSamples, CompressedBytesWrittenDownByHand) {
    Mosaic mosaic(6, 3);
    mosaic.values = {100, 200, 104, 210, 400, 203, 300, 150, 310, 140, 700, 100, 101, 4095, 0, 250, 455, 201};
    const Bytes strip = {0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x81, 0x29, 0x0D,
                         0x10, 0x1A, 0xB1, 0x01, 0xB4, 0x57, 0x49, 0xAA, 0x80, 0x8C, 0xC1,
                         0x83, 0x00, 0x00, 0x78, 0xD8, 0xCF, 0x08, 0xE3, 0x34, 0xA4, 0xD0};
    EXPECT_EQ(encodeCompressed(mosaic), strip);
    expectWhole(decode(strip, OrfEncoding::compressed, 6, 3), mosaic);
}

TEST(OrfSamples, EveryEncodingGivesBackEverySize) {
    Dice dice(1);
    for (std::uint32_t width = 1; width <= 40; ++width) {
        for (const std::uint32_t height : {1U, 2U, 3U, 4U, 7U}) {
            const Mosaic mosaic = picture(dice, width, height, static_cast<int>(width % 3) * 30);
            expectWhole(decode(encodeCompressed(mosaic), OrfEncoding::compressed, width, height), mosaic);
            expectWhole(decode(encodePackedWithPads(mosaic), OrfEncoding::packedWithPads, width, height), mosaic);
            expectWhole(decode(encodePackedWords(mosaic), OrfEncoding::packedWords, width, height), mosaic);
            expectWhole(decode(encodeWords(mosaic, false), OrfEncoding::words, width, height), mosaic);
            expectWhole(decode(encodeWords(mosaic, true), OrfEncoding::words, width, height, ByteOrder::big), mosaic);
        }
    }
}

TEST(OrfSamples, CompressedContentsOfEveryCharacter) {
    Dice dice(2);
    for (const std::uint32_t width : {63U, 64U, 301U}) {
        std::vector<Mosaic> mosaics;
        for (const int noise : {0, 1, 8, 60, 500})
            mosaics.push_back(picture(dice, width, 33, noise));
        Mosaic noise(width, 33);
        Mosaic extremes(width, 33);
        Mosaic flat(width, 33);
        for (std::size_t i = 0; i < noise.values.size(); ++i) {
            noise.values[i] = static_cast<std::uint16_t>(dice.below(4096));
            extremes.values[i] = static_cast<std::uint16_t>(4095 * dice.below(2));
            flat.values[i] = 4095;
        }
        mosaics.insert(mosaics.end(), {noise, extremes, flat});
        for (const Mosaic& mosaic : mosaics) {
            // Whatever follows the last pixel is no part of the picture.
            for (const int behind : {0x00, 0xFF})
                expectWhole(
                    decode(encodeCompressed(mosaic), OrfEncoding::compressed, width, 33, ByteOrder::little, behind),
                    mosaic);
        }
    }
}

/// What was decoded before the cut is right, what comes behind it untouched.
void expectFront(const Decoded& decoded, const Mosaic& mosaic) {
    ASSERT_TRUE(decoded.intact);
    ASSERT_LE(decoded.count, mosaic.values.size());
    const auto count = static_cast<std::ptrdiff_t>(decoded.count);
    EXPECT_TRUE(std::equal(decoded.values.begin(), decoded.values.begin() + count, mosaic.values.begin()));
    EXPECT_TRUE(std::all_of(decoded.values.begin() + count, decoded.values.end(),
                            [](std::uint16_t value) { return value == kUntouched; }));
}

TEST(OrfSamples, EveryCutOfAstripGivesItsFront) {
    Dice dice(3);
    const Mosaic mosaic = picture(dice, 21, 9, 40);
    const std::pair<OrfEncoding, Bytes> strips[] = {{OrfEncoding::compressed, encodeCompressed(mosaic)},
                                                    {OrfEncoding::packedWithPads, encodePackedWithPads(mosaic)},
                                                    {OrfEncoding::packedWords, encodePackedWords(mosaic)},
                                                    {OrfEncoding::words, encodeWords(mosaic, false)}};
    for (const auto& [encoding, strip] : strips) {
        std::uint64_t before = 0;
        for (std::size_t size = 0; size <= strip.size(); ++size) {
            const Bytes cut(strip.begin(), strip.begin() + static_cast<std::ptrdiff_t>(size));
            std::uint64_t sameCut = 0;
            for (const int behind : {0x00, 0xFF}) {
                const Decoded decoded = decode(cut, encoding, 21, 9, ByteOrder::little, behind);
                expectFront(decoded, mosaic);
                EXPECT_GE(decoded.count, before);
                EXPECT_TRUE(behind == 0 || decoded.count == sameCut) << size;
                sameCut = decoded.count;
            }
            before = sameCut;
        }
        EXPECT_EQ(before, mosaic.values.size());
    }
}

TEST(OrfSamples, BrokenBitsStayInsideTheMosaic) {
    Dice dice(4);
    const Mosaic mosaic = picture(dice, 37, 21, 30);
    const Bytes sound = encodeCompressed(mosaic);
    for (int round = 0; round < 2000; ++round) {
        Bytes strip = sound;
        const std::size_t from = 7 + dice.below(static_cast<unsigned>(strip.size() - 7));
        switch (round % 4) {
        case 0: // noise from somewhere on
            for (std::size_t i = from; i < strip.size(); ++i)
                strip[i] = static_cast<unsigned char>(dice.below(256));
            break;
        case 1: // long runs of zeros drive the width of the plain part up
            std::fill(strip.begin() + static_cast<std::ptrdiff_t>(from), strip.end(), static_cast<unsigned char>(0));
            break;
        case 2:
            strip[from] = static_cast<unsigned char>(strip[from] ^ 1U << dice.below(8));
            break;
        default:
            std::fill(strip.begin() + static_cast<std::ptrdiff_t>(from), strip.end(), static_cast<unsigned char>(255));
            break;
        }
        const Decoded decoded = decode(strip, OrfEncoding::compressed, 37, 21);
        ASSERT_TRUE(decoded.intact);
        for (std::size_t i = 0; i < decoded.values.size(); ++i) {
            if (i < decoded.count) {
                ASSERT_LE(decoded.values[i], 4095);
            } else {
                ASSERT_EQ(decoded.values[i], kUntouched);
            }
        }
    }
}

TEST(OrfSamples, AmagnitudeThatNoEncoderWritesEndsTheStrip) {
    // Twelve zeros, then the largest high part: 15 - 4 ones, one bit, four bits.
    BitSink bits;
    bits.put(0, 7 * 8);
    bits.put(0, 3);
    bits.put(0, 12);
    bits.put(0x7FF, 11);
    bits.bit(0);
    bits.put(15, 4);
    bits.put(0xFFFFFFFF, 32);
    const Decoded decoded = decode(bits.bytes(), OrfEncoding::compressed, 4, 4);
    EXPECT_EQ(decoded.count, 0U);
    EXPECT_TRUE(decoded.intact);
}

} // namespace
