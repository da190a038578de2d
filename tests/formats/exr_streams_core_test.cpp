/// The stream adapters that the OpenEXR library reads and writes through.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <stdexcept>

#include "formats/exr_streams.h"
#include "support/scratch_file.h"

namespace {

using rastrel::exrIStream;
using rastrel::exrOStream;
using testing_support::ScratchFile;
using testing_support::ScratchStream;

const std::vector<unsigned char> kTenBytes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};

TEST(ExrInputStream, ReadsWholeBlocks) {
    const ScratchStream stream(kTenBytes);
    exrIStream input(stream);
    EXPECT_STREQ(input.fileName(), "");
    EXPECT_FALSE(input.isMemoryMapped());
    EXPECT_EQ(input.tellg(), 0U);
    std::array<char, 4> block{};
    EXPECT_TRUE(input.read(block.data(), 4));
    EXPECT_EQ(block, (std::array<char, 4>{1, 2, 3, 4}));
    EXPECT_EQ(input.tellg(), 4U);
    input.seekg(6);
    EXPECT_EQ(input.tellg(), 6U);
    EXPECT_TRUE(input.read(block.data(), 4)); // the last byte of the file too
    EXPECT_EQ(block, (std::array<char, 4>{7, 8, 9, 10}));
    EXPECT_FALSE(input.cutShort());
    EXPECT_EQ(input.lastBlock(), 4);
}

TEST(ExrInputStream, WhatTheFileDoesNotFillIsZero) {
    const ScratchStream stream(kTenBytes);
    exrIStream input(stream);
    input.seekg(8);
    std::array<char, 4> block{99, 99, 99, 99};
    EXPECT_FALSE(input.read(block.data(), 4));
    EXPECT_EQ(block, (std::array<char, 4>{9, 10, 0, 0}));
    EXPECT_TRUE(input.cutShort());
    block.fill(99);
    EXPECT_FALSE(input.read(block.data(), 4));
    EXPECT_EQ(block, (std::array<char, 4>{0, 0, 0, 0}));
    // Another place is read as before.
    input.seekg(2);
    EXPECT_TRUE(input.read(block.data(), 4));
    EXPECT_EQ(block, (std::array<char, 4>{3, 4, 5, 6}));
    EXPECT_TRUE(input.cutShort());
}

TEST(ExrInputStream, ClearResetsTheStreamsIndicators) {
    const ScratchStream stream(kTenBytes);
    exrIStream input(stream);
    std::array<char, 20> block{};
    EXPECT_FALSE(input.read(block.data(), 20));
    EXPECT_NE(std::feof(stream), 0);
    input.clear();
    EXPECT_EQ(std::feof(stream), 0);
}

TEST(ExrInputStream, BlocksWithoutBytesCountOnlyAmongPixels) {
    const ScratchStream stream(kTenBytes);
    exrIStream input(stream);
    char byte = 99;
    EXPECT_FALSE(input.read(&byte, 0));
    EXPECT_FALSE(input.cutShort());
    input.expectPixels();
    EXPECT_FALSE(input.read(&byte, 0));
    EXPECT_TRUE(input.cutShort());
    EXPECT_EQ(byte, 99);
    EXPECT_FALSE(input.read(&byte, -1));
    EXPECT_EQ(byte, 99);
}

TEST(ExrInputStream, TheStreamGoesBackToWhereItStood) {
    const ScratchStream stream(kTenBytes);
    std::fseek(stream, 3, SEEK_SET);
    {
        exrIStream input(stream);
        EXPECT_EQ(input.tellg(), 3U);
        char byte = 0;
        EXPECT_TRUE(input.read(&byte, 1));
        EXPECT_EQ(byte, 4);
        input.seekg(9);
    }
    EXPECT_EQ(std::ftell(stream), 3);
}

TEST(ExrInputStream, AnullStreamHoldsNothing) {
    exrIStream input(nullptr);
    std::array<char, 2> block{99, 99};
    EXPECT_FALSE(input.read(block.data(), 2));
    EXPECT_EQ(block, (std::array<char, 2>{0, 0}));
    input.seekg(5);
    EXPECT_EQ(input.tellg(), 0U);
    input.clear();
}

TEST(ExrOutputStream, WritesAndPositions) {
    const ScratchStream stream;
    exrOStream output(stream);
    EXPECT_STREQ(output.fileName(), "");
    EXPECT_EQ(output.tellp(), 0U);
    output.write("abcdef", 6);
    EXPECT_EQ(output.tellp(), 6U);
    output.seekp(2);
    output.write("XY", 2);
    output.write("", 0);
    EXPECT_EQ(output.tellp(), 4U);
    EXPECT_FALSE(output.failed());
    EXPECT_EQ(stream.bytes(), (std::vector<unsigned char>{'a', 'b', 'X', 'Y', 'e', 'f'}));
}

TEST(ExrOutputStream, NothingHappensOnAnullStream) {
    exrOStream output(nullptr);
    output.write("ab", 2);
    output.seekp(5);
    EXPECT_EQ(output.tellp(), 0U);
    EXPECT_FALSE(output.failed());
}

TEST(ExrOutputStream, AstreamThatTakesNothingIsAnException) {
    const ScratchFile file(kTenBytes);
    FILE* const stream = std::fopen(file.path().c_str(), "rb");
    ASSERT_NE(stream, nullptr);
    exrOStream output(stream);
    EXPECT_THROW(output.write("ab", 2), std::runtime_error);
    EXPECT_TRUE(output.failed());
    std::fclose(stream);
}

/// Positions beyond 32 bits.
TEST(ExrStreams, PositionsAreSixtyFourBits) {
    const ScratchStream stream(kTenBytes);
    exrIStream input(stream);
    constexpr std::uint64_t kFar = 0x123456789AULL;
    input.seekg(kFar);
    EXPECT_EQ(input.tellg(), kFar);
    char byte = 99;
    EXPECT_FALSE(input.read(&byte, 1));
    EXPECT_EQ(byte, 0);
    input.seekg(0xFFFFFFFFFFFFFFFFULL);
    EXPECT_FALSE(input.read(&byte, 1));
    exrOStream output(stream);
    output.seekp(kFar);
    EXPECT_EQ(output.tellp(), kFar);
}

} // namespace
