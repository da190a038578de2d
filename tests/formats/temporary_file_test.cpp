/// The library's own file, byte by byte.
#include <gtest/gtest.h>

#include "support/images.h"
#include "support/open_image.h"
#include "support/scratch_file.h"

namespace {

using testing_support::bytesOf;
using testing_support::fillWithNoise;
using testing_support::kAllModels;
using testing_support::ScratchFile;
using testing_support::ScratchStream;

std::vector<unsigned char> fileOf(OpenImage& image) {
    const ScratchFile file;
    EXPECT_EQ(image.Write(file.path().c_str(), "tmp"), 0u);
    return file.bytes();
}

std::vector<unsigned char> smallFile() {
    OpenImage image;
    image.Create(3, 2, CM_GREY8);
    for (unsigned char i = 0; i < 6; ++i)
        image.pixels.GetData()[i] = static_cast<unsigned char>(i + 1);
    image.mirrorX = 11;
    image.mirrorY = 12;
    image.transposed = 13;
    image.componentOrder = 14;
    return fileOf(image);
}

TEST(TemporaryFile, HeaderAndPixelsStandWhereTheyShould) {
    EXPECT_EQ(smallFile(),
              (std::vector<unsigned char>{'R', 'L', 'T', 'E', 'M', 'P', 0,  0,  28, 0, 0, 0, 3, 0, 0, 0, 2,
                                          0,   0,   0,   49,  11,  12,  13, 14, 0,  0, 0, 1, 2, 3, 4, 5, 6}));
}

TEST(TemporaryFile, EveryColourModelComesBackIdentical) {
    for (const unsigned char model : kAllModels) {
        for (const bool swapped : {false, true}) {
            OpenImage image;
            if (swapped) image.swapThreshold = 0;
            image.Create(37, 5, model);
            fillWithNoise(image, model);
            image.mirrorY = 1;
            image.componentOrder = 0;
            const ScratchFile file(fileOf(image));
            OpenImage read;
            if (swapped) read.swapThreshold = 0;
            read.transposed = 1;
            ASSERT_EQ(read.Read(file.path().c_str()), 0u) << int(model);
            EXPECT_EQ(bytesOf(read), bytesOf(image));
            EXPECT_EQ(read.width, 37u);
            EXPECT_EQ(read.height, 5u);
            EXPECT_EQ(read.colormodel, model);
            EXPECT_EQ(read.mirrorX, 0);
            EXPECT_EQ(read.mirrorY, 1);
            EXPECT_EQ(read.transposed, 0);
            EXPECT_EQ(read.componentOrder, 0);
            EXPECT_EQ(read.pixels.IsSwapped(), swapped);
            EXPECT_EQ(read.busyCount, 0u);
        }
    }
}

TEST(TemporaryFile, MoreThanOnePiece) {
    OpenImage image;
    image.Create(1024, 1100, CM_GREY16); // 2.15 MiB: two whole pieces and a rest
    fillWithNoise(image, 7);
    const ScratchFile file(fileOf(image));
    for (const bool swapped : {false, true}) {
        OpenImage read;
        if (swapped) read.swapThreshold = 0;
        ASSERT_EQ(read.Read(file.path().c_str()), 0u);
        EXPECT_TRUE(bytesOf(read) == bytesOf(image));
    }
}

TEST(TemporaryFile, AHeaderAloneIsAnEmptyImage) {
    OpenImage empty;
    const auto bytes = fileOf(empty);
    EXPECT_EQ(bytes.size(), 28u);
    ScratchStream stream(bytes);
    OpenImage read;
    EXPECT_TRUE(read.ReadTEMP(stream));
    EXPECT_EQ(read.width + read.height, 0u);
}

TEST(TemporaryFile, AnUnknownColourModelIsAcceptedWithoutPixels) {
    auto bytes = smallFile();
    bytes[20] = 99;
    ScratchStream stream(bytes);
    OpenImage read;
    EXPECT_TRUE(read.ReadTEMP(stream));
    EXPECT_EQ(read.colormodel, 99);
    EXPECT_EQ(read.pixels.GetSize(), 0u);
}

TEST(TemporaryFile, PreReadSetsTheHeadOnly) {
    ScratchStream stream(smallFile());
    OpenImage image;
    image.progress = 500;
    EXPECT_TRUE(image.PreReadTEMP(stream));
    EXPECT_EQ(image.progress, 0u);
    EXPECT_EQ(image.width, 3u);
    EXPECT_EQ(image.height, 2u);
    EXPECT_EQ(image.colormodel, CM_GREY8);
    EXPECT_EQ(image.mirrorX, 11);
    EXPECT_EQ(image.mirrorY, 12);
    EXPECT_EQ(image.transposed, 13);
    EXPECT_EQ(image.componentOrder, 14);
    EXPECT_EQ(image.pixels.GetSize(), 0u);
    EXPECT_EQ(image.busyCount, 0u);
}

TEST(TemporaryFile, ReservedBytesAreIgnored) {
    auto bytes = smallFile();
    for (const std::size_t reserved : {6, 7, 25, 26, 27})
        bytes[reserved] = 0xFF;
    const ScratchFile file(bytes);
    OpenImage image;
    EXPECT_EQ(image.Read(file.path().c_str()), 0u);
    EXPECT_EQ(bytesOf(image), (std::vector<unsigned char>{1, 2, 3, 4, 5, 6}));
}

TEST(TemporaryFile, AForeignMagicPutsTheStreamBack) {
    auto bytes = smallFile();
    bytes[5] = 'Q';
    bytes.insert(bytes.begin(), {1, 2, 3});
    ScratchStream stream(bytes);
    std::fseek(stream, 3, SEEK_SET);
    OpenImage image;
    EXPECT_FALSE(image.ReadTEMP(stream));
    EXPECT_EQ(std::ftell(stream), 3);
    EXPECT_FALSE(image.PreReadTEMP(stream));
    EXPECT_EQ(std::ftell(stream), 3);
    EXPECT_EQ(image.busyCount, 0u);
}

TEST(TemporaryFile, ReadsFromTheStreamsPosition) {
    auto bytes = smallFile();
    bytes.insert(bytes.begin(), {1, 2, 3});
    ScratchStream stream(bytes);
    std::fseek(stream, 3, SEEK_SET);
    OpenImage image;
    EXPECT_TRUE(image.ReadTEMP(stream));
    EXPECT_EQ(bytesOf(image), (std::vector<unsigned char>{1, 2, 3, 4, 5, 6}));
}

TEST(TemporaryFile, AWrongHeaderSizeDeclinesAndLeavesTheStreamAdvanced) {
    auto bytes = smallFile();
    bytes[8] = 27;
    ScratchStream stream(bytes);
    OpenImage image;
    EXPECT_FALSE(image.ReadTEMP(stream));
    EXPECT_EQ(std::ftell(stream), 28);
    EXPECT_EQ(image.width, 0u);
    const ScratchFile file(bytes);
    EXPECT_EQ(image.Read(file.path().c_str()), Rastrel::kNotAccepted) << "no other reader takes it either";
}

TEST(TemporaryFile, TruncationInThePixelsIsASuccess) {
    const auto whole = smallFile();
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        const ScratchFile file(std::vector<unsigned char>(whole.begin(), whole.begin() + static_cast<long>(size)));
        OpenImage image;
        const auto result = image.Read(file.path().c_str());
        EXPECT_EQ(result, size < 28 ? Rastrel::kNotAccepted : 0u) << size;
        EXPECT_EQ(image.busyCount, 0u);
        EXPECT_EQ(image.pixels.GetSize(), size < 28 ? 0u : 6u);
        EXPECT_EQ(image.width, size < 28 ? 0u : 3u);
    }
}

TEST(TemporaryFile, AnyChangedByteEndsInAStatus) {
    const auto whole = smallFile();
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const unsigned change : {0x01u, 0x80u, 0xFFu}) {
            auto bytes = whole;
            bytes[at] = static_cast<unsigned char>(bytes[at] ^ change);
            const ScratchFile file(bytes);
            OpenImage image;
            image.swapThreshold = 1u << 20; // what a changed size asks for is reserved on disk, or refused
            const auto result = image.Read(file.path().c_str());
            EXPECT_TRUE(result == 0 || result == Rastrel::kNotAccepted) << at;
            EXPECT_EQ(image.busyCount, 0u);
        }
    }
}

TEST(TemporaryFile, AFailedWriteIsNotReported) {
    const ScratchFile file(smallFile());
    OpenImage image;
    image.Create(3, 2, CM_GREY8);
    FILE* const readOnly = std::fopen(file.path().c_str(), "rb");
    ASSERT_NE(readOnly, nullptr);
    EXPECT_TRUE(image.WriteTEMP(readOnly));
    EXPECT_EQ(image.busyCount, 0u);
    std::fclose(readOnly);
}

} // namespace
