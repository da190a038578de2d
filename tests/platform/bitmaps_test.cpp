// Bitmaps by handle.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "support/platform_support.h"

namespace {

std::vector<unsigned char> counting(std::size_t bytes) {
    std::vector<unsigned char> values(bytes);
    std::iota(values.begin(), values.end(), static_cast<unsigned char>(1));
    return values;
}

TEST(Bitmaps, KeepTheirPixels) {
    const auto pixels = counting(5 * 3 * 4);
    const HBITMAP bitmap = CreateBitmap(5, 3, 1, 32, pixels.data());
    ASSERT_NE(bitmap, nullptr);
    std::vector<unsigned char> read(pixels.size());
    EXPECT_EQ(GetBitmapBits(bitmap, static_cast<LONG>(read.size()), read.data()), 60);
    EXPECT_EQ(read, pixels);
    EXPECT_TRUE(DeleteObject(bitmap));
}

TEST(Bitmaps, TellWhatTheyAre) {
    struct Case {
        int width, height;
        UINT bits;
        LONG rowBytes;
    };
    for (const Case& c : {Case{5, 3, 32, 20}, Case{3, 2, 24, 10}, Case{3, 2, 8, 4}, Case{17, 2, 1, 4}}) {
        SCOPED_TRACE(c.bits);
        const HBITMAP bitmap = CreateBitmap(c.width, c.height, 1, c.bits, nullptr);
        ASSERT_NE(bitmap, nullptr);
        BITMAP head;
        std::memset(&head, 0xEE, sizeof head);
        EXPECT_EQ(GetObjectW(bitmap, sizeof head, &head), static_cast<int>(sizeof head));
        EXPECT_EQ(head.bmType, 0);
        EXPECT_EQ(head.bmWidth, c.width);
        EXPECT_EQ(head.bmHeight, c.height);
        EXPECT_EQ(head.bmWidthBytes, c.rowBytes);
        EXPECT_EQ(head.bmPlanes, 1);
        EXPECT_EQ(head.bmBitsPixel, c.bits);
        EXPECT_EQ(head.bmBits, nullptr);
        EXPECT_EQ(GetObjectW(bitmap, 0, nullptr), static_cast<int>(sizeof head));
        EXPECT_EQ(GetObjectW(bitmap, sizeof head - 1, &head), 0);
        EXPECT_TRUE(DeleteObject(bitmap));
    }
}

TEST(Bitmaps, GiveAsManyBytesAsAskedFor) {
    const auto pixels = counting(4 * 4 * 4);
    const HBITMAP bitmap = CreateBitmap(4, 4, 1, 32, pixels.data());
    ASSERT_NE(bitmap, nullptr);
    std::vector<unsigned char> read(100, 0xEE);
    EXPECT_EQ(GetBitmapBits(bitmap, 10, read.data()), 10);
    EXPECT_EQ(std::memcmp(read.data(), pixels.data(), 10), 0);
    EXPECT_EQ(read[10], 0xEE);
    EXPECT_EQ(GetBitmapBits(bitmap, 100, read.data()), 64);
    EXPECT_EQ(read[64], 0xEE);
    EXPECT_EQ(GetBitmapBits(bitmap, 0, nullptr), 64);
    EXPECT_TRUE(DeleteObject(bitmap));
}

TEST(Bitmaps, WithoutExtentAreOneBit) {
    const HBITMAP bitmap = CreateBitmap(0, 7, 1, 32, nullptr);
    ASSERT_NE(bitmap, nullptr);
    BITMAP head{};
    EXPECT_EQ(GetObjectW(bitmap, sizeof head, &head), static_cast<int>(sizeof head));
    EXPECT_EQ(head.bmWidth, 1);
    EXPECT_EQ(head.bmHeight, 1);
    EXPECT_EQ(head.bmBitsPixel, 1);
    DeleteObject(bitmap);
}

TEST(Bitmaps, RefuseWhatTheyCannotBe) {
    EXPECT_EQ(CreateBitmap(4, 4, 1, 33, nullptr), nullptr);
    EXPECT_EQ(CreateBitmap(0x7FFFFFF, 0x7FFFFFF, 1, 32, nullptr), nullptr);
}

TEST(Bitmaps, AreGoneOnceDeleted) {
    const HBITMAP bitmap = CreateBitmap(2, 2, 1, 32, nullptr);
    ASSERT_NE(bitmap, nullptr);
    EXPECT_TRUE(DeleteObject(bitmap));
    EXPECT_FALSE(DeleteObject(bitmap));
    BITMAP head;
    EXPECT_EQ(GetObjectW(bitmap, sizeof head, &head), 0);
    EXPECT_EQ(GetBitmapBits(bitmap, 4, &head), 0);
    EXPECT_FALSE(DeleteObject(nullptr));
    EXPECT_EQ(GetBitmapBits(nullptr, 4, &head), 0);
    EXPECT_FALSE(CloseHandle(bitmap));
}

} // namespace
