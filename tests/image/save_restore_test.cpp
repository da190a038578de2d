/// The image's record in a memory block.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "support/block_bytes.h"
#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_noise.h"
#include "support/scratch_directory.h"

namespace {

using testing_support::blockOf;
using testing_support::bytesOf;
using testing_support::contents;
using testing_support::fillWithNoise;

constexpr unsigned __int64 kNoRecord = 0x1000000001000004ULL;
constexpr double Rastrel::*kParameters[] = {&Rastrel::offsetX,   &Rastrel::offsetY,    &Rastrel::preScaleX,
                                            &Rastrel::preScaleY, &Rastrel::postScaleX, &Rastrel::postScaleY,
                                            &Rastrel::bilinearX, &Rastrel::bilinearY,  &Rastrel::angle};

wchar_t* ownedText(const std::wstring& text) {
    const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
    auto* copy = static_cast<wchar_t*>(std::malloc(bytes));
    std::memcpy(copy, text.c_str(), bytes);
    return copy;
}

void makeRandom(Rastrel& image, Dice& dice, unsigned char model) {
    image.Create(1 + dice.below(20), 1 + dice.below(20), model);
    fillWithNoise(image, dice.below(1000000));
    for (unsigned char* flag : {&image.mirrorX, &image.mirrorY, &image.transposed, &image.componentOrder})
        *flag = static_cast<unsigned char>(dice.below(2));
    for (double Rastrel::*parameter : kParameters)
        image.*parameter = dice.fraction() + 0.5;
    image.TransformSetup();
    if (dice.below(2) == 0) image.SetExposure(0.1, 0.4, 0.8);
}

void expectEqualImages(OpenImage& a, OpenImage& b) {
    ASSERT_EQ(a.width, b.width);
    ASSERT_EQ(a.height, b.height);
    ASSERT_EQ(a.colormodel, b.colormodel);
    ASSERT_EQ(a.mirrorX, b.mirrorX);
    ASSERT_EQ(a.mirrorY, b.mirrorY);
    ASSERT_EQ(a.transposed, b.transposed);
    ASSERT_EQ(a.componentOrder, b.componentOrder);
    for (double Rastrel::*parameter : kParameters)
        ASSERT_EQ(a.*parameter, b.*parameter);
    ASSERT_EQ(a.transformActive, b.transformActive);
    ASSERT_EQ(std::memcmp(a.forwardMatrix, b.forwardMatrix, sizeof a.forwardMatrix), 0);
    ASSERT_EQ(std::memcmp(a.inverseMatrix, b.inverseMatrix, sizeof a.inverseMatrix), 0);
    ASSERT_EQ(a.lookUpTable.mode, b.lookUpTable.mode);
    ASSERT_EQ(a.lookUpTable.mid, b.lookUpTable.mid);
    ASSERT_EQ(a.lookUpTable.active, b.lookUpTable.active);
    ASSERT_EQ(bytesOf(a), bytesOf(b));
}

TEST(Save, WritesTheRecordValueByValue) {
    Rastrel image;
    image.Create(2, 1, CM_RGB8);
    const unsigned char row[] = {1, 2, 3, 4, 5, 6};
    image.pixels.Write(0, row, sizeof row);
    image.mirrorY = 7; // any set flag is the same
    image.offsetY = 2.0;
    MemBlockDesc block;
    EXPECT_EQ(image.Save(block), 0U);
    std::vector<unsigned char> expected = {2, 0, 0, 0, 1, 0, 0, 0, 81, 0, 6, 0,   0, 0,
                                           0, 0, 0, 0, 1, 2, 3, 4, 5,  6, 0, 255, 0, 255};
    for (const double value : {0.0, 2.0, 1.0, 1.0, 1.0, 1.0, 0.0, 0.0, 0.0}) {
        unsigned char bytes[8];
        std::memcpy(bytes, &value, 8);
        expected.insert(expected.end(), bytes, bytes + 8);
    }
    MemBlockDesc table;
    image.lookUpTable.Save(table);
    const auto tableBytes = contents(table);
    expected.insert(expected.end(), tableBytes.begin(), tableBytes.end());
    EXPECT_EQ(contents(block), expected);
}

TEST(Save, OfANamedImageWritesTheNameInsteadOfThePixels) {
    Rastrel image;
    image.Create(2, 1, CM_RGB8);
    image.name = ownedText(L"a\u00e9");
    MemBlockDesc block;
    EXPECT_EQ(image.Save(block), 0U);
    const auto bytes = contents(block);
    const std::vector<unsigned char> expected = {2, 0, 0, 0, 1, 0, 0, 0, 81, 255, 2, 0, 0, 0, 'a', 0, 0xE9, 0, 0};
    ASSERT_GT(bytes.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), bytes.begin()));
}

TEST(SaveRestore, BringsBackEveryModelFromOneBlock) {
    for (const bool swapped : {false, true}) {
        Dice dice(71);
        MemBlockDesc block;
        if (swapped) {
            ASSERT_TRUE(block.Swap(0));
        }
        block.Add(1.5); // the host's own data before and between
        std::vector<OpenImage> images(std::size(testing_support::kAllModels));
        for (std::size_t i = 0; i < images.size(); ++i) {
            makeRandom(images[i], dice, testing_support::kAllModels[i]);
            if (i % 3 == 0) {
                ASSERT_TRUE(images[i].pixels.Swap(0));
            }
            ASSERT_EQ(images[i].Save(block), 0U);
            block.Add(static_cast<unsigned int>(i));
        }
        ASSERT_EQ(block.IsSwapped(), swapped);
        unsigned __int64 position = 8;
        for (std::size_t i = 0; i < images.size(); ++i) {
            SCOPED_TRACE(int{testing_support::kAllModels[i]});
            OpenImage restored;
            makeRandom(restored, dice, CM_GREY8);
            ASSERT_EQ(restored.Restore(block, position), images[i].lookUpTable.mode != 0 ? 1U : 0U);
            expectEqualImages(restored, images[i]);
            ASSERT_EQ(block.Read(position, 99U), i);
            if (HasFatalFailure()) return;
        }
        EXPECT_EQ(position, block.GetSize());
    }
}

TEST(SaveRestore, ResultIsThatOfTheTable) {
    Rastrel image;
    image.Create(3, 3, CM_GREY8);
    for (unsigned char mode = 0; mode <= 2; ++mode) {
        image.lookUpTable.Init(mode);
        image.lookUpTable.black = 0.25;
        MemBlockDesc block;
        EXPECT_EQ(image.Save(block), 0U);
        Rastrel restored;
        unsigned __int64 position = 0;
        EXPECT_EQ(restored.Restore(block, position), mode == 0 ? 0U : 1U);
        EXPECT_EQ(position, block.GetSize());
        EXPECT_EQ(restored.lookUpTable.mode, mode);
        EXPECT_EQ(restored.lookUpTable.black, 0.25);
        EXPECT_EQ(bytesOf(restored), bytesOf(image));
    }
}

TEST(SaveRestore, OrderOneIsSavedAs255AndComesBackAsOne) {
    Rastrel image;
    image.Create(1, 1, CM_GREY8);
    MemBlockDesc block;
    image.Save(block);
    EXPECT_EQ(contents(block)[4 + 4 + 1 + 1 + 8 + 1 + 3], 255);
    Rastrel restored;
    restored.componentOrder = 0;
    unsigned __int64 position = 0;
    restored.Restore(block, position);
    EXPECT_EQ(restored.componentOrder, 1);
}

TEST(SaveRestore, ANamedImageLoadsItsPixelsOnFirstTouch) {
    const rastrel_test::ScratchDirectory directory;
    const std::wstring path = directory.wide(L"im\u00e4ge \u65e5.tmp");
    Rastrel image;
    image.Create(7, 5, CM_ARGB8);
    fillWithNoise(image, 3);
    const auto pixels = bytesOf(image);
    ASSERT_EQ(image.Write(path.c_str(), L"tmp"), 0U);
    ASSERT_NE(image.GetName(), nullptr);
    MemBlockDesc block;
    EXPECT_EQ(image.Save(block), 0U);
    EXPECT_LT(block.GetSize(), 300U + 2 * path.size());
    Rastrel restored;
    unsigned __int64 position = 0;
    restored.Restore(block, position);
    EXPECT_EQ(position, block.GetSize());
    EXPECT_EQ(std::wstring(restored.GetName()), path);
    EXPECT_EQ(restored.GetWidth(), 7U);
    EXPECT_EQ(restored.pixels.GetSize(), 0U);
    EXPECT_TRUE(restored.GetReady());
    restored.GetPixelARGB8(1L, 1L);
    EXPECT_EQ(bytesOf(restored), pixels);
}

TEST(Restore, CutsNamesToTheirLimit) {
    for (const std::size_t length : {0U, 1U, 510U, 511U, 512U, 2000U}) {
        Rastrel image;
        image.Create(1, 1, CM_GREY8);
        image.name = ownedText(std::wstring(length, L'x'));
        image.lookUpTable.Init(1);
        MemBlockDesc block;
        image.Save(block);
        Rastrel restored;
        unsigned __int64 position = 0;
        EXPECT_EQ(restored.Restore(block, position), 1U);
        EXPECT_EQ(position, block.GetSize());
        ASSERT_NE(restored.GetName(), nullptr);
        EXPECT_EQ(std::wcslen(restored.GetName()), std::min<std::size_t>(length, 511));
    }
}

TEST(Restore, OfNothingIsRefusedAndEmptiesTheImage) {
    Rastrel image;
    image.Create(3, 3, CM_GREY8);
    MemBlockDesc block;
    unsigned __int64 position = 0;
    EXPECT_EQ(image.Restore(block, position), kNoRecord);
    EXPECT_FALSE(image.GetReady());
    image.Create(3, 3, CM_GREY8);
    image.Save(block);
    for (unsigned __int64 start : {block.GetSize(), block.GetSize() + 1, ~0ULL - 3}) {
        position = start;
        EXPECT_EQ(image.Restore(block, position), kNoRecord);
        EXPECT_EQ(image.GetWidth(), 0U);
    }
}

TEST(Restore, TakesRecordsCutAtAnyByte) {
    Dice dice(72);
    for (const bool named : {false, true}) {
        OpenImage image;
        image.Create(4, 3, CM_RGB8);
        fillWithNoise(image, 4);
        image.angle = 0.5;
        image.SetExposure(0.1, 0.9);
        if (named) image.name = ownedText(L"nowhere/name.tif");
        MemBlockDesc block;
        ASSERT_EQ(image.Save(block), 0U);
        const auto whole = contents(block);
        const std::size_t flags = named ? 10 + 4 + 2 * 16 : 18 + 36;
        for (std::size_t size = 0; size < whole.size(); ++size) {
            SCOPED_TRACE(size);
            MemBlockDesc cut = blockOf({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
            OpenImage restored;
            makeRandom(restored, dice, CM_ARGB8);
            const unsigned char orderBefore = restored.componentOrder;
            unsigned __int64 position = 0;
            ASSERT_EQ(restored.Restore(cut, position), size < 10 ? kNoRecord : 0U);
            ASSERT_LE(position, size);
            if (size < 10) {
                ASSERT_FALSE(restored.GetReady());
                continue;
            }
            ASSERT_EQ(restored.width, 4U);
            ASSERT_EQ(restored.height, 3U);
            if (size < flags + 4) {
                ASSERT_EQ(restored.componentOrder, orderBefore); // what is missing keeps its value
                ASSERT_EQ(restored.angle, 0.0);                  // or takes its default
                ASSERT_EQ(restored.preScaleX, 1.0);
                ASSERT_EQ(restored.transformActive, 0);
            }
            if (!named && size >= 18) {
                // The pixels that are there, then zero.
                auto pixels = bytesOf(image);
                const std::size_t there = std::min<std::size_t>(size - 18, 36);
                std::fill(pixels.begin() + static_cast<std::ptrdiff_t>(there), pixels.end(),
                          static_cast<unsigned char>(0));
                ASSERT_EQ(bytesOf(restored), pixels);
            }
            restored.GetPixelARGB8(1L, 1L); // a name that leads nowhere empties the image on touch
        }
    }
}

/// A record's head with pixels: sizes, model and the size that it claims for its bitmap.
MemBlockDesc pixelRecord(std::uint32_t width, std::uint32_t height, unsigned char model, unsigned __int64 claimed,
                         std::size_t held) {
    MemBlockDesc block;
    block.Add(static_cast<unsigned int>(width));
    block.Add(static_cast<unsigned int>(height));
    block.Add(model);
    block.Add(static_cast<unsigned char>(0));
    block.Add(claimed);
    for (std::size_t i = 0; i < held; ++i)
        block.Add(static_cast<unsigned char>(i + 1));
    return block;
}

TEST(Restore, NeverLeavesABlockThatDoesNotFitTheImage) {
    struct Case {
        const char* name;
        std::uint32_t width, height;
        unsigned char model;
        unsigned __int64 claimed;
        std::size_t held;
        std::uint64_t expected; ///< bytes of the block afterwards
    };
    constexpr Case kCases[] = {
        {"claims too little", 10, 10, CM_GREY8, 40, 200, 100},
        {"claims too much", 10, 10, CM_GREY8, 150, 200, 100},
        {"claims all there can be", 10, 10, CM_GREY8, ~0ULL, 200, 100},
        {"claims nothing", 10, 10, CM_GREY8, 0, 0, 100},
        {"a picture of gigabytes without its bytes", 65000, 65000, CM_ARGBFP64, 65000ULL * 65000 * 32, 64, 0},
        {"sizes beyond 64 bits", 0xFFFFFFFF, 0xFFFFFFFF, CM_ARGBFP64, 64, 64, 0},
        {"sizes at the limit", 0xFFFFFFFF, 0xFFFFFFFF, CM_GREY8, 0xFFFFFFFEULL * 0xFFFFFFFF, 64, 0},
        {"an unknown model", 10, 10, 77, 100, 100, 0},
        {"no size", 0, 10, CM_GREY8, 10, 10, 0},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        MemBlockDesc block = pixelRecord(c.width, c.height, c.model, c.claimed, c.held);
        OpenImage image;
        unsigned __int64 position = 0;
        EXPECT_NE(image.Restore(block, position), 1U);
        EXPECT_LE(position, block.GetSize());
        EXPECT_EQ(image.pixels.GetSize(), c.expected);
        image.SetPixel(9, 9, static_cast<unsigned char>(200));
        image.GetPixelGREY8(5L, 5L);
        image.DrawLine(0, 0, 9, 9, 1, 2, 3, 4);
        image.Crop(2, 5, 3, 4);
    }
}

TEST(Restore, TakesAnyMarkerBelow255AsPixels) {
    MemBlockDesc block = pixelRecord(2, 2, CM_GREY8, 4, 4);
    const unsigned char marker = 77;
    block.Write(9, &marker, 1);
    Rastrel image;
    unsigned __int64 position = 0;
    image.Restore(block, position);
    EXPECT_EQ(bytesOf(image), (std::vector<unsigned char>{1, 2, 3, 4}));
    const unsigned char none = 128;
    block.Write(9, &none, 1);
    position = 0;
    EXPECT_EQ(image.Restore(block, position), kNoRecord);
}

TEST(Restore, SwapsLargeBlocksOut) {
    Rastrel image;
    image.Create(20, 20, CM_GREY8);
    fillWithNoise(image, 5);
    MemBlockDesc block;
    image.Save(block);
    Rastrel restored;
    restored.swapThreshold = 399;
    unsigned __int64 position = 0;
    restored.Restore(block, position);
    EXPECT_TRUE(restored.pixels.IsSwapped());
    EXPECT_EQ(bytesOf(restored), bytesOf(image));
    restored.swapThreshold = 400;
    position = 0;
    restored.Restore(block, position);
    EXPECT_FALSE(restored.pixels.IsSwapped());
}

TEST(Restore, DropsTheLineCacheAndTheMetadata) {
    OpenImage image;
    image.Create(5, 5, CM_GREY8);
    MemBlockDesc block;
    image.Save(block);
    image.EnableCache(true);
    image.exif.orientation = 6;
    unsigned __int64 position = 0;
    image.Restore(block, position);
    EXPECT_EQ(image.lineCache, nullptr);
    EXPECT_EQ(image.exif.orientation, 0);
}

TEST(Restore, GoesThroughTheImagesOwnOperations) {
    struct Counting : OpenImage {
        using OpenImage::operator=;
        void Empty() override {
            ++empties;
            OpenImage::Empty();
        }
        bool TransformSetup() override {
            ++setups;
            return OpenImage::TransformSetup();
        }
        int empties = 0, setups = 0;
    };
    Rastrel image;
    image.Create(5, 5, CM_GREY8);
    MemBlockDesc block;
    image.Save(block);
    Counting counting;
    unsigned __int64 position = 0;
    counting.Restore(block, position);
    EXPECT_EQ(counting.empties, 1);
    EXPECT_EQ(counting.setups, 1);
}

TEST(Save, FillsUpABlockThatIsShorterThanTheImage) {
    OpenImage image;
    image.Create(6, 4, CM_GREY8);
    fillWithNoise(image, 7);
    auto expected = bytesOf(image);
    image.pixels.ReSize(10);
    std::fill(expected.begin() + 10, expected.end(), static_cast<unsigned char>(0));
    MemBlockDesc block;
    EXPECT_EQ(image.Save(block), 0U);
    OpenImage restored;
    unsigned __int64 position = 0;
    restored.Restore(block, position);
    EXPECT_EQ(position, block.GetSize());
    EXPECT_EQ(bytesOf(restored), expected);
}

TEST(Save, LeavesNoHalfRecordBehind) {
    OpenImage image; // sizes that no block can hold
    image.width = 0xFFFFFFFF;
    image.height = 0xFFFFFFFF;
    image.colormodel = CM_GREY8;
    MemBlockDesc block;
    block.Add(1.0);
    EXPECT_EQ(image.Save(block), kNoRecord);
    EXPECT_EQ(block.GetSize(), 8U);
}

} // namespace
