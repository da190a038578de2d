/// The cache of converted rows: its slots, and what the image does with it.
#include <gtest/gtest.h>

#include "support/images.h"
#include "support/open_image.h"

namespace {

using Cache = OpenImage::linecache<1000>;

std::vector<unsigned char> cached(Cache& cache, std::uint32_t line, std::uint32_t first, std::uint32_t last,
                                  std::size_t size) {
    std::vector<unsigned char> got(size, 0xEE);
    if (!cache.lookup(line, 97, first, last, got.data())) got.clear();
    return got;
}

TEST(LineCache, HitsOnlyTheVeryRequest) {
    auto cache = std::make_unique<Cache>();
    const std::vector<unsigned char> data{1, 2, 3, 4};
    EXPECT_TRUE(cached(*cache, 5, 0, 3, 4).empty());
    cache->store(5, 97, 0, 3, data.data(), 4);
    EXPECT_EQ(cached(*cache, 5, 0, 3, 4), data);
    EXPECT_TRUE(cached(*cache, 5, 1, 3, 4).empty());
    EXPECT_TRUE(cached(*cache, 5, 0, 2, 4).empty());
    EXPECT_TRUE(cached(*cache, 6, 0, 3, 4).empty());
    EXPECT_TRUE(cached(*cache, 1005, 0, 3, 4).empty());
    unsigned char other[4];
    EXPECT_FALSE(cache->lookup(5, 98, 0, 3, other));
}

TEST(LineCache, ASecondLineOfTheSameRemainderReplacesTheFirst) {
    auto cache = std::make_unique<Cache>();
    const unsigned char one[] = {1, 1};
    const unsigned char two[] = {2, 2, 2};
    cache->store(7, 97, 0, 1, one, 2);
    cache->store(1007, 97, 0, 2, two, 3);
    EXPECT_TRUE(cached(*cache, 7, 0, 1, 2).empty());
    EXPECT_EQ(cached(*cache, 1007, 0, 2, 3), (std::vector<unsigned char>{2, 2, 2}));
    EXPECT_EQ(cache->size[7], 3u);
}

TEST(LineCache, ASlotOfTheSameSizeKeepsItsBuffer) {
    auto cache = std::make_unique<Cache>();
    const unsigned char one[] = {1, 1};
    const unsigned char two[] = {2, 2};
    cache->store(3, 97, 0, 1, one, 2);
    void* const before = cache->buffer[3];
    cache->store(3, 98, 4, 5, two, 2);
    EXPECT_EQ(cache->buffer[3], before);
    EXPECT_EQ(cache->type[3], 98);
    EXPECT_EQ(cache->first[3], 4u);
    EXPECT_EQ(cache->last[3], 5u);
}

TEST(LineCache, InvalidatesOnlyTheLineThatItHolds) {
    auto cache = std::make_unique<Cache>();
    const unsigned char one[] = {1, 1};
    cache->store(8, 97, 0, 1, one, 2);
    cache->invalidate(1008);
    EXPECT_FALSE(cached(*cache, 8, 0, 1, 2).empty());
    cache->invalidate(8);
    EXPECT_TRUE(cached(*cache, 8, 0, 1, 2).empty());
    EXPECT_EQ(cache->buffer[8], nullptr);
    EXPECT_EQ(cache->line[8], 0xFFFFFFFFu);
    EXPECT_EQ(cache->size[8] + cache->first[8] + cache->last[8] + cache->type[8], 0u);
    cache->invalidate(9); // never filled
    EXPECT_EQ(cache->buffer[9], nullptr);
}

struct CachedImage : testing::Test {
    void SetUp() override {
        image.Create(6, 5, CM_ARGB8);
        testing_support::fillWithNoise(image, 4);
        image.EnableCache(true);
    }
    std::vector<unsigned char> row(long y, bool order = true) {
        std::vector<unsigned char> bytes(6 * 4);
        EXPECT_TRUE(image.ReadHLine(reinterpret_cast<pixel_argb8*>(bytes.data()), 0, 5, y, order));
        return bytes;
    }
    /// Changes the block behind the cache's back.
    void scribble() { image.pixels.GetData()[0] = static_cast<unsigned char>(image.pixels.GetData()[0] + 1); }
    OpenImage image;
};

TEST_F(CachedImage, ServesARepeatedRequestFromTheCache) {
    const auto first = row(0);
    scribble();
    EXPECT_EQ(row(0), first);
    image.EnableCache(false);
    EXPECT_NE(row(0), first);
}

TEST_F(CachedImage, KeysReflectedRowsByTheStoredLine) {
    const auto first = row(0);
    scribble();
    EXPECT_EQ(row(8), first);
}

TEST_F(CachedImage, TheOrderIsNoPartOfTheKey) {
    const auto first = row(0, true);
    EXPECT_EQ(row(0, false), first);
    image.EnableCache(false);
    EXPECT_NE(row(0, false), first);
}

TEST_F(CachedImage, TurningItOnTwiceKeepsItsContents) {
    const auto first = row(0);
    scribble();
    image.EnableCache(true);
    EXPECT_EQ(row(0), first);
}

TEST_F(CachedImage, EveryWriteOfTheLineDropsIt) {
    pixel_argb8 fresh{9, 8, 7, 6};
    const auto changed = [&](auto write) {
        const auto before = row(2);
        write();
        const bool differs = row(2) != before;
        fresh.b = static_cast<unsigned char>(fresh.b + 1);
        return differs;
    };
    EXPECT_TRUE(changed([&] { image.WritePixel(fresh, 1, 2, true); }));
    EXPECT_TRUE(changed([&] { image.WriteHLine(&fresh, 1, 1, 2, true); }));
    EXPECT_TRUE(changed([&] { image.WriteVLine(&fresh, 2, 2, 1, true); }));
    EXPECT_TRUE(changed([&] { image.WritePixel(fresh, 1, 6, true); })) << "a reflected write";
}

TEST_F(CachedImage, VerticalReadsAndSinglePixelsBypassIt) {
    row(0);
    const unsigned char before = image.pixels.GetData()[0];
    scribble();
    pixel_argb8 pixel{};
    image.ReadPixel(pixel, 0, 0, true);
    EXPECT_EQ(pixel.b, static_cast<unsigned char>(before + 1));
    image.ReadVLine(&pixel, 0, 0, 0, true);
    EXPECT_EQ(pixel.b, static_cast<unsigned char>(before + 1));
}

TEST_F(CachedImage, DescendingLinesComeBackDescending) {
    std::vector<unsigned char> down(24), again(24);
    image.ReadHLine(reinterpret_cast<pixel_argb8*>(down.data()), 5, 0, 1, true);
    image.ReadHLine(reinterpret_cast<pixel_argb8*>(again.data()), 5, 0, 1, true);
    EXPECT_EQ(down, again);
    EXPECT_NE(down, row(1));
}

TEST_F(CachedImage, EverythingThatEmptiesTheImageTurnsItOff) {
    OpenImage other;
    other.Create(2, 2, CM_GREY8);
    image.Create(3, 3, CM_GREY8);
    EXPECT_EQ(image.lineCache, nullptr);
    image.EnableCache(true);
    image = &other;
    EXPECT_EQ(image.lineCache, nullptr);
    image.EnableCache(true);
    image.Empty();
    EXPECT_EQ(image.lineCache, nullptr);
    image.EnableCache(true);
    other.PointerDuplicate(&image);
    EXPECT_EQ(image.lineCache, nullptr);
}

TEST_F(CachedImage, OneBitLinesAreNotCached) {
    image.Create(8, 3, CM_BW1);
    image.EnableCache(true);
    unsigned char grey[8];
    EXPECT_TRUE(image.ReadHLine(grey, 0, 7, 1));
    EXPECT_EQ(image.lineCache->buffer[1], nullptr);
}

} // namespace
