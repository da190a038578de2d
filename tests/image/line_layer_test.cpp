/// Every interchange type against every colour model, in both orders and all directions, compared with one pixel at a
/// time.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <type_traits>

#include "support/guarded_buffer.h"
#include "support/naive_lines_store.h"
#include "support/open_image.h"

namespace {

using testing_support::bytesOf;
using testing_support::fillWithNoise;
using testing_support::kAllModels;
using testing_support::kHasOrder;
using testing_support::NaiveStore;
using testing_support::Noise;

template <class T>
struct LineLayerOf : testing::Test {
    static bool readRow(OpenImage& image, T* to, long x0, long x1, long y, bool order) {
        if constexpr (kHasOrder<T>)
            return image.ReadHLine(to, x0, x1, y, order);
        else
            return image.ReadHLine(to, x0, x1, y);
    }
    static bool readColumn(OpenImage& image, T* to, long y0, long y1, long x, bool order) {
        if constexpr (kHasOrder<T>)
            return image.ReadVLine(to, y0, y1, x, order);
        else
            return image.ReadVLine(to, y0, y1, x);
    }
    static bool writeRow(OpenImage& image, T* from, long x0, long x1, long y, bool order) {
        if constexpr (kHasOrder<T>)
            return image.WriteHLine(from, x0, x1, y, order);
        else
            return image.WriteHLine(from, x0, x1, y);
    }
    static bool writeColumn(OpenImage& image, T* from, long y0, long y1, long x, bool order) {
        if constexpr (kHasOrder<T>)
            return image.WriteVLine(from, y0, y1, x, order);
        else
            return image.WriteVLine(from, y0, y1, x);
    }
    static bool readPixel(OpenImage& image, T& to, long x, long y, bool order) {
        if constexpr (kHasOrder<T>)
            return image.ReadPixel(to, x, y, order);
        else
            return image.ReadPixel(to, x, y);
    }
    static bool writePixel(OpenImage& image, T& from, long x, long y, bool order) {
        if constexpr (kHasOrder<T>)
            return image.WritePixel(from, x, y, order);
        else
            return image.WritePixel(x, y, from);
    }

    /// Elements that hold values of the type's nominal range.
    static std::vector<T> elements(std::size_t count, Noise& noise) {
        std::vector<T> made(count);
        auto* bytes = reinterpret_cast<unsigned char*>(made.data());
        const std::size_t size = count * sizeof(T);
        if constexpr (std::is_same_v<T, double> || std::is_same_v<T, pixel_argbfp64>) {
            for (std::size_t i = 0; i < size; i += 8) {
                const double value = noise.below(1200001) / 1000000.0 - 0.1;
                std::memcpy(bytes + i, &value, 8);
            }
        } else if constexpr (std::is_same_v<T, pixel_argbfp32>) {
            for (std::size_t i = 0; i < size; i += 4) {
                const float value = static_cast<float>(noise.below(1201)) / 1000.0f - 0.1f;
                std::memcpy(bytes + i, &value, 4);
            }
        } else {
            for (std::size_t i = 0; i < size; ++i)
                bytes[i] = noise.byte();
        }
        return made;
    }

    static bool same(const std::vector<T>& a, const std::vector<T>& b) {
        return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
    }
};

using Types = testing::Types<pixel_argbfp64, pixel_argbfp32, pixel_rggb12, pixel_argb16, pixel_argb8, double,
                             unsigned short, unsigned char>;
TYPED_TEST_SUITE(LineLayerOf, Types);

struct Size {
    unsigned long width, height;
};
constexpr Size kSizes[] = {{1, 1}, {1, 9}, {13, 1}, {2, 8}, {8, 2}, {5, 4}, {11, 7}, {16, 3}};

/// One request along an axis: where it starts and how far it goes.
struct Request {
    long from, to;
};

std::vector<Request> requestsOn(long n) {
    return {{0, n - 1},      {n - 1, 0},         {0, 0},     {n - 1, n - 1},    {-2, 2},
            {2, -2},         {-3 * n, -2 * n},   {n, 2 * n}, {3 * n, 0},        {-n - 3, n + 4},
            {n + 4, -n - 3}, {n / 2, n / 2 + 1}, {1, 2},     {5 * n, 5 * n + 1}};
}

template <class Body>
void forEveryImage(Body body) {
    std::uint64_t seed = 1;
    for (const unsigned char model : kAllModels) {
        for (const Size size : kSizes) {
            for (const bool stored : {false, true}) {
                OpenImage image;
                image.Create(size.width, size.height, model);
                if (image.pixels.GetSize() == 0) continue; // a 1-bit image this small has no bytes
                image.componentOrder = stored ? 1 : 0;
                fillWithNoise(image, ++seed);
                SCOPED_TRACE(testing::Message() << "model " << int(model) << " " << size.width << "x" << size.height
                                                << " stored order " << stored);
                body(image, seed);
                if (testing::Test::HasFailure()) return;
            }
        }
    }
}

TYPED_TEST(LineLayerOf, ReadsRowsAndColumns) {
    using T = TypeParam;
    forEveryImage([](OpenImage& image, std::uint64_t) {
        const NaiveStore store(image);
        for (const bool order : {false, true}) {
            for (const bool vertical : {false, true}) {
                const long along = static_cast<long>(vertical ? image.height : image.width);
                const long across = static_cast<long>(vertical ? image.width : image.height);
                for (const long fixed : {0L, across - 1, -1L, across, 3 * across + 1}) {
                    for (const Request r : requestsOn(along)) {
                        const auto count = static_cast<std::size_t>(std::abs(r.to - r.from) + 1);
                        GuardedBuffer<T> got(count);
                        const bool done = vertical
                                              ? TestFixture::readColumn(image, got.data(), r.from, r.to, fixed, order)
                                              : TestFixture::readRow(image, got.data(), r.from, r.to, fixed, order);
                        EXPECT_TRUE(done);
                        EXPECT_TRUE(got.intact());
                        std::vector<T> wanted = GuardedBuffer<T>(count).contents();
                        for (std::size_t i = 0; i < count; ++i) {
                            const long c =
                                r.from <= r.to ? r.from + static_cast<long>(i) : r.from - static_cast<long>(i);
                            store.read(wanted[i], vertical ? fixed : c, vertical ? c : fixed, order);
                        }
                        ASSERT_TRUE(TestFixture::same(got.contents(), wanted))
                            << (vertical ? "column " : "row ") << fixed << " from " << r.from << " to " << r.to
                            << " order " << order;
                    }
                }
            }
        }
        EXPECT_EQ(bytesOf(image), store.bytes());
    });
}

TYPED_TEST(LineLayerOf, WritesRowsAndColumns) {
    using T = TypeParam;
    forEveryImage([](OpenImage& image, std::uint64_t seed) {
        NaiveStore store(image);
        Noise noise(seed);
        for (const bool order : {false, true}) {
            for (const bool vertical : {false, true}) {
                const long along = static_cast<long>(vertical ? image.height : image.width);
                const long across = static_cast<long>(vertical ? image.width : image.height);
                for (const long fixed : {0L, across - 1, -1L, across}) {
                    for (const Request r : requestsOn(along)) {
                        const auto count = static_cast<std::size_t>(std::abs(r.to - r.from) + 1);
                        std::vector<T> elements = TestFixture::elements(count, noise);
                        const std::vector<T> before = elements;
                        const bool done =
                            vertical ? TestFixture::writeColumn(image, elements.data(), r.from, r.to, fixed, order)
                                     : TestFixture::writeRow(image, elements.data(), r.from, r.to, fixed, order);
                        EXPECT_EQ(done, fixed >= 0 && fixed < across);
                        EXPECT_TRUE(TestFixture::same(elements, before)) << "the caller's buffer changed";
                        for (std::size_t i = 0; i < count; ++i) {
                            const long c =
                                r.from <= r.to ? r.from + static_cast<long>(i) : r.from - static_cast<long>(i);
                            const long x = vertical ? fixed : c;
                            const long y = vertical ? c : fixed;
                            if (store.inside(x, y)) store.write(elements[i], x, y, order);
                        }
                        ASSERT_EQ(bytesOf(image), store.bytes())
                            << (vertical ? "column " : "row ") << fixed << " from " << r.from << " to " << r.to;
                    }
                }
            }
        }
    });
}

TYPED_TEST(LineLayerOf, ReadsAndWritesSinglePixelsReflected) {
    using T = TypeParam;
    forEveryImage([](OpenImage& image, std::uint64_t seed) {
        NaiveStore store(image);
        Noise noise(seed);
        for (int i = 0; i < 40; ++i) {
            const bool order = noise.below(2) == 1;
            const long x = static_cast<long>(noise.below(60)) - 30;
            const long y = static_cast<long>(noise.below(60)) - 30;
            T got{};
            T wanted{};
            EXPECT_TRUE(TestFixture::readPixel(image, got, x, y, order));
            store.read(wanted, x, y, order);
            ASSERT_EQ(std::memcmp(&got, &wanted, sizeof(T)), 0) << x << ", " << y;
            std::vector<T> fresh = TestFixture::elements(1, noise);
            EXPECT_TRUE(TestFixture::writePixel(image, fresh[0], x, y, order));
            store.write(fresh[0], x, y, order);
            ASSERT_EQ(bytesOf(image), store.bytes()) << x << ", " << y;
        }
    });
}

TYPED_TEST(LineLayerOf, SwappedBlocksGiveTheSame) {
    using T = TypeParam;
    for (const unsigned char model : kAllModels) {
        OpenImage image;
        image.swapThreshold = 0;
        image.Create(9, 4, model);
        ASSERT_TRUE(image.pixels.IsSwapped());
        fillWithNoise(image, 3);
        NaiveStore store(image);
        Noise noise(model);
        for (const Request r : requestsOn(9)) {
            const auto count = static_cast<std::size_t>(std::abs(r.to - r.from) + 1);
            std::vector<T> wanted(count);
            std::vector<T> got(count);
            TestFixture::readRow(image, got.data(), r.from, r.to, 2, true);
            for (std::size_t i = 0; i < count; ++i)
                store.read(wanted[i], r.from + (r.from <= r.to ? 1L : -1L) * static_cast<long>(i), 2, true);
            ASSERT_TRUE(TestFixture::same(got, wanted)) << int(model);
            std::vector<T> elements = TestFixture::elements(count, noise);
            TestFixture::writeRow(image, elements.data(), r.from, r.to, 1, true);
            for (std::size_t i = 0; i < count; ++i) {
                const long x = r.from + (r.from <= r.to ? 1L : -1L) * static_cast<long>(i);
                if (store.inside(x, 1)) store.write(elements[i], x, 1, true);
            }
            ASSERT_EQ(bytesOf(image), store.bytes()) << int(model);
        }
    }
}

TYPED_TEST(LineLayerOf, AnImageWithoutSizeRefusesAndTouchesNothing) {
    using T = TypeParam;
    OpenImage image;
    GuardedBuffer<T> buffer(4);
    EXPECT_FALSE(TestFixture::readRow(image, buffer.data(), 0, 3, 0, true));
    EXPECT_FALSE(TestFixture::readColumn(image, buffer.data(), 0, 3, 0, true));
    EXPECT_FALSE(TestFixture::writeRow(image, buffer.data(), 0, 3, 0, true));
    EXPECT_FALSE(TestFixture::writeColumn(image, buffer.data(), 0, 3, 0, true));
    EXPECT_FALSE(TestFixture::readPixel(image, *buffer.data(), 0, 0, true));
    EXPECT_FALSE(TestFixture::writePixel(image, *buffer.data(), 0, 0, true));
    EXPECT_TRUE(buffer.untouched());
}

TYPED_TEST(LineLayerOf, TheEndsOfLongAreOrdinaryCoordinates) {
    using T = TypeParam;
    OpenImage image;
    image.Create(5, 3, CM_RGB8);
    fillWithNoise(image, 8);
    for (const long c : {LONG_MIN, LONG_MIN + 1, LONG_MAX - 1, LONG_MAX}) {
        T pixel{};
        T alone{};
        EXPECT_TRUE(TestFixture::readPixel(image, pixel, c, c, true));
        EXPECT_TRUE(TestFixture::readRow(image, &alone, c, c, c, true));
        EXPECT_EQ(std::memcmp(&pixel, &alone, sizeof(T)), 0);
        EXPECT_TRUE(TestFixture::readColumn(image, &alone, c, c, c, true));
        EXPECT_EQ(std::memcmp(&pixel, &alone, sizeof(T)), 0);
        EXPECT_TRUE(TestFixture::writePixel(image, pixel, c, c, true));
        EXPECT_TRUE(TestFixture::writeRow(image, &pixel, c, c, 0, true));
        EXPECT_FALSE(TestFixture::writeRow(image, &pixel, 0, 0, c, true));
        EXPECT_TRUE(TestFixture::writeColumn(image, &pixel, c, c, 0, true));
        EXPECT_FALSE(TestFixture::writeColumn(image, &pixel, 0, 0, c, true));
    }
}

// --- the sequences that reflection is defined by ---

struct Reflection : testing::Test {
    void SetUp() override {
        image.Create(4, 3, CM_GREY8);
        for (int i = 0; i < 12; ++i)
            image.pixels.GetData()[i] = static_cast<unsigned char>(i);
    }
    std::vector<int> row(long x0, long x1, long y) {
        std::vector<unsigned char> got(static_cast<std::size_t>(std::abs(x1 - x0) + 1));
        EXPECT_TRUE(image.ReadHLine(got.data(), x0, x1, y));
        return {got.begin(), got.end()};
    }
    OpenImage image;
};

TEST_F(Reflection, DoesNotRepeatTheEdge) {
    EXPECT_EQ(row(-2, 2, 0), (std::vector<int>{2, 1, 0, 1, 2}));
    EXPECT_EQ(row(0, 7, 0), (std::vector<int>{0, 1, 2, 3, 2, 1, 0, 1}));
    EXPECT_EQ(row(3, 0, 0), (std::vector<int>{3, 2, 1, 0}));
}

TEST_F(Reflection, HoldsForRowsToo) {
    EXPECT_EQ(row(0, 3, -1), row(0, 3, 1));
    EXPECT_EQ(row(0, 3, 3), row(0, 3, 1));
    EXPECT_EQ(row(0, 3, 4), row(0, 3, 0));
}

TEST_F(Reflection, DescendingRequestsKeepTheirPlacesOverTheEdges) {
    EXPECT_EQ(row(5, -2, 0), (std::vector<int>{1, 2, 3, 2, 1, 0, 1, 2}));
}

TEST_F(Reflection, WritesAreClippedInstead) {
    unsigned char elements[] = {100, 101, 102, 103};
    EXPECT_TRUE(image.WriteHLine(elements, -2, 1, 0));
    EXPECT_EQ(row(0, 3, 0), (std::vector<int>{102, 103, 2, 3}));
    EXPECT_TRUE(image.WriteHLine(elements, 5, 2, 0)); // elements 2 and 3 belong to columns 3 and 2
    EXPECT_EQ(row(0, 3, 0), (std::vector<int>{102, 103, 103, 102}));
    const auto before = testing_support::bytesOf(image);
    EXPECT_TRUE(image.WriteHLine(elements, 4, 7, 0));
    EXPECT_TRUE(image.WriteHLine(elements, -4, -1, 0));
    EXPECT_FALSE(image.WriteHLine(elements, 0, 3, 3));
    EXPECT_FALSE(image.WriteHLine(elements, 0, 3, -1));
    EXPECT_EQ(testing_support::bytesOf(image), before);
}

TEST(LineLayer, ComponentFormsBuildTheStructAndCallItsSlot) {
    struct Spy : OpenImage {
        bool WritePixel(pixel_argb8& p, long x, long y, bool order) override {
            ++calls;
            return Rastrel::WritePixel(p, x, y, order);
        }
        using OpenImage::WritePixel;
        int calls = 0;
    };
    Spy image;
    image.Create(2, 2, CM_ARGBFP64);
    const unsigned char a = 1, r = 2, g = 3, b = 4;
    EXPECT_TRUE(static_cast<OpenImage&>(image).WritePixel(1, 1, a, r, g, b, true));
    EXPECT_EQ(image.calls, 1);
    pixel_argb8 read{};
    EXPECT_TRUE(image.ReadPixel(read, 1, 1, true));
    EXPECT_EQ(read.a, 1);
    EXPECT_EQ(read.r, 2);
    EXPECT_EQ(read.g, 3);
    EXPECT_EQ(read.b, 4);
    const unsigned short wide = 0x1234;
    EXPECT_TRUE(static_cast<OpenImage&>(image).WritePixel(0, 0, wide, wide, wide, wide, false));
    EXPECT_TRUE(static_cast<OpenImage&>(image).WritePixel(0, 1, 0.5f, 0.25f, 0.75f, 1.0f, true));
    EXPECT_TRUE(static_cast<OpenImage&>(image).WritePixel(1, 0, 0.5, 0.25, 0.75, 1.0, true));
    pixel_argbfp64 fine{};
    image.ReadPixel(fine, 1, 0, true);
    EXPECT_EQ(fine.a, 0.5);
    EXPECT_EQ(fine.r, 0.25);
    EXPECT_EQ(fine.g, 0.75);
    EXPECT_EQ(fine.b, 1.0);
}

TEST(LineLayer, FailsWhereAPixelIsNotWholeBytes) {
    struct Odd : OpenImage {
        unsigned short GetColordepth() override { return 12; }
    };
    Odd image;
    image.Create(2, 2, CM_GREY8);
    fillWithNoise(image, 1);
    const auto before = bytesOf(image);
    pixel_argb8 pixel{1, 2, 3, 4};
    EXPECT_FALSE(image.ReadPixel(pixel, 0, 0, true));
    EXPECT_EQ(pixel.b | pixel.g | pixel.r | pixel.a, 0);
    EXPECT_FALSE(image.WritePixel(pixel, 0, 0, true));
    EXPECT_EQ(bytesOf(image), before);
}

// --- the order of bytes and words ---

TEST(ByteOrder, ReversesTheBytesOfEachElement) {
    for (unsigned long size = 0; size <= 17; ++size) {
        std::vector<unsigned char> bytes(3 * size + 1);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<unsigned char>(i);
        std::vector<unsigned char> wanted = bytes;
        for (std::size_t e = 0; e < 3 && size > 1; ++e) {
            for (std::size_t i = 0; i < size; ++i)
                wanted[e * size + i] = bytes[e * size + size - 1 - i];
        }
        EXPECT_EQ(Rastrel::FlipByteOrder(bytes.data(), 3, size), bytes.data());
        EXPECT_EQ(bytes, wanted) << size;
    }
}

TEST(ByteOrder, ReversesTheWordsOfEachElement) {
    for (const unsigned long size : {0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 16}) {
        std::vector<unsigned char> bytes(3 * size + 2);
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<unsigned char>(i);
        std::vector<unsigned char> wanted = bytes;
        if (size == 4 || size == 6 || size == 8) {
            for (std::size_t e = 0; e < 3; ++e) {
                for (std::size_t w = 0; w < size / 2; ++w) {
                    wanted[e * size + 2 * w] = bytes[e * size + size - 2 - 2 * w];
                    wanted[e * size + 2 * w + 1] = bytes[e * size + size - 1 - 2 * w];
                }
            }
        }
        EXPECT_EQ(Rastrel::FlipWordOrder(bytes.data(), 3, size), bytes.data());
        EXPECT_EQ(bytes, wanted) << size;
    }
}

} // namespace
