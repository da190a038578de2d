/// Public pixels, rows and columns under every orientation, and the area averages.
#include <gtest/gtest.h>

#include <vector>

#include "support/images.h"
#include "support/open_image.h"

namespace {

using testing_support::bytesOf;
using testing_support::fillWithNoise;

/// What a public operation asked of the line layer.
struct Call {
    char kind = 0; ///< 'h' row, 'v' column, 'p' pixel; capital for writes
    long first = 0, last = 0, fixed = 0;
    bool order = false;
    bool operator==(const Call&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Call& c) {
    return out << c.kind << " " << c.first << ".." << c.last << " at " << c.fixed << " order " << c.order;
}

/// Records the calls for every interchange type.
struct Recorder : OpenImage {
    Call call;
    bool note(char kind, long first, long last, long fixed, bool order) {
        call = {kind, first, last, fixed, order};
        return false; // the public operation must not pass this on
    }
#define RECORD_TYPE(T)                                                                                                 \
    bool ReadHLine(T*, long a, long b, long c, bool o) override { return note('h', a, b, c, o); }                      \
    bool ReadVLine(T*, long a, long b, long c, bool o) override { return note('v', a, b, c, o); }                      \
    bool WriteHLine(T*, long a, long b, long c, bool o) override { return note('H', a, b, c, o); }                     \
    bool WriteVLine(T*, long a, long b, long c, bool o) override { return note('V', a, b, c, o); }                     \
    bool ReadPixel(T&, long x, long y, bool o) override { return note('p', x, x, y, o); }                              \
    bool WritePixel(T&, long x, long y, bool o) override { return note('P', x, x, y, o); }
#define RECORD_GREY(T)                                                                                                 \
    bool ReadHLine(T*, long a, long b, long c) override { return note('h', a, b, c, true); }                           \
    bool ReadVLine(T*, long a, long b, long c) override { return note('v', a, b, c, true); }                           \
    bool WriteHLine(T*, long a, long b, long c) override { return note('H', a, b, c, true); }                          \
    bool WriteVLine(T*, long a, long b, long c) override { return note('V', a, b, c, true); }                          \
    bool ReadPixel(T&, long x, long y) override { return note('p', x, x, y, true); }                                   \
    bool WritePixel(long x, long y, T) override { return note('P', x, x, y, true); }
    RECORD_TYPE(pixel_argbfp64)
    RECORD_TYPE(pixel_argbfp32)
    RECORD_TYPE(pixel_argb16)
    RECORD_TYPE(pixel_argb8)
    RECORD_GREY(double)
    RECORD_GREY(unsigned short)
    RECORD_GREY(unsigned char)
#undef RECORD_TYPE
#undef RECORD_GREY
};

constexpr long W = 10; // stored
constexpr long H = 7;

struct Flags {
    bool transposed, mirrorX, mirrorY;
};

template <class Body>
void forEveryOrientation(Body body) {
    for (int bits = 0; bits < 8; ++bits) {
        const Flags f{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0};
        SCOPED_TRACE(testing::Message() << "transposed " << f.transposed << " mirrorX " << f.mirrorX << " mirrorY "
                                        << f.mirrorY);
        Recorder image;
        image.Create(W, H, CM_ARGB8);
        image.transposed = f.transposed ? 1 : 0;
        image.mirrorX = f.mirrorX ? 1 : 0;
        image.mirrorY = f.mirrorY ? 1 : 0;
        body(image, f);
    }
}

template <class T>
struct PublicLines : testing::Test {};
using SevenTypes =
    testing::Types<pixel_argbfp64, pixel_argbfp32, pixel_argb16, pixel_argb8, double, unsigned short, unsigned char>;
TYPED_TEST_SUITE(PublicLines, SevenTypes);

TYPED_TEST(PublicLines, GoWhereTheOrientationSays) {
    forEveryOrientation([](Recorder& image, const Flags& f) {
        TypeParam buffer[16]{};
        const long a = 1, b = 5, c = 2;
        if (!f.transposed) {
            const auto alongX = [&](long x) { return f.mirrorX ? W - x - 1 : x; };
            const auto alongY = [&](long y) { return f.mirrorY ? H - y - 1 : y; };
            EXPECT_TRUE(image.GetHLine(buffer, a, b, c));
            EXPECT_EQ(image.call, (Call{'h', alongX(a), alongX(b), alongY(c), true}));
            EXPECT_TRUE(image.SetHLine(buffer, b, a, c));
            EXPECT_EQ(image.call, (Call{'H', alongX(b), alongX(a), alongY(c), true}));
            EXPECT_TRUE(image.GetVLine(buffer, a, b, c));
            EXPECT_EQ(image.call, (Call{'v', alongY(a), alongY(b), alongX(c), true}));
            EXPECT_TRUE(image.SetVLine(buffer, b, a, c));
            EXPECT_EQ(image.call, (Call{'V', alongY(b), alongY(a), alongX(c), true}));
            return;
        }
        EXPECT_TRUE(image.GetHLine(buffer, a, b, c));
        EXPECT_EQ(image.call,
                  (Call{'v', f.mirrorY ? H - a - 1 : a, f.mirrorY ? H - b - 1 : b, f.mirrorX ? W - c - 1 : c, true}));
        EXPECT_TRUE(image.SetHLine(buffer, a, b, c));
        EXPECT_EQ(image.call,
                  (Call{'V', f.mirrorY ? W - a - 1 : a, f.mirrorY ? W - b - 1 : b, f.mirrorX ? H - c - 1 : c, true}));
        EXPECT_TRUE(image.GetVLine(buffer, a, b, c));
        EXPECT_EQ(image.call,
                  (Call{'h', f.mirrorX ? H - b - 1 : a, f.mirrorX ? H - b - 1 : b, f.mirrorY ? W - c - 1 : c, true}));
        EXPECT_TRUE(image.SetVLine(buffer, a, b, c));
        EXPECT_EQ(image.call,
                  (Call{'H', f.mirrorX ? H - b - 1 : a, f.mirrorX ? H - b - 1 : b, f.mirrorY ? W - c - 1 : c, true}));
    });
}

TYPED_TEST(PublicLines, RefuseANullBuffer) {
    Recorder image;
    image.Create(W, H, CM_ARGB8);
    TypeParam* const nothing = nullptr;
    EXPECT_FALSE(image.GetHLine(nothing, 0, 1, 0));
    EXPECT_FALSE(image.SetHLine(nothing, 0, 1, 0));
    EXPECT_FALSE(image.GetVLine(nothing, 0, 1, 0));
    EXPECT_FALSE(image.SetVLine(nothing, 0, 1, 0));
    EXPECT_EQ(image.call, Call{});
}

TEST(PublicPixels, GoWhereTheOrientationSays) {
    forEveryOrientation([](Recorder& image, const Flags& f) {
        const long x = 3, y = 2;
        long sx = f.transposed ? y : x;
        long sy = f.transposed ? x : y;
        if (f.mirrorX) (f.transposed ? sy : sx) = f.transposed ? H - x - 1 : W - x - 1;
        if (f.mirrorY) (f.transposed ? sx : sy) = f.transposed ? W - sx - 1 : H - sy - 1;
        const Call read{'p', sx, sx, sy, true};
        const Call write{'P', sx, sx, sy, true};
        const auto check = [&](const Call& wanted) {
            EXPECT_EQ(image.call, wanted);
            image.call = {};
        };
        image.GetPixelGREY8(x, y), check(read);
        image.GetPixelGREYFP64(x, y), check(read);
        image.GetPixelARGB8(x, y), check(read);
        image.GetPixelARGB16(x, y), check(read);
        image.GetPixelARGBFP64(x, y), check(read);
        const unsigned char c8 = 1;
        const unsigned short c16 = 1;
        pixel_argb8 p8{};
        pixel_argb16 p16{};
        pixel_argbfp64 p64{};
        image.SetPixel(x, y, c8), check(write);
        image.SetPixel(x, y, 1.0), check(write);
        image.SetPixel(x, y, p8), check(write);
        image.SetPixel(x, y, p16), check(write);
        image.SetPixel(x, y, p64), check(write);
        image.SetPixel(x, y, c8, c8, c8, c8), check(write);
        image.SetPixel(x, y, c16, c16, c16, c16), check(write);
        image.SetPixel(x, y, 1.0, 1.0, 1.0, 1.0), check(write);
    });
}

TEST(PublicPixels, ComponentsArriveInTheirChannels) {
    OpenImage image;
    image.Create(5, 5, CM_ARGBFP64);
    const unsigned char a = 255, r = 1, g = 2, b = 3;
    image.SetPixel(2, 3, a, r, g, b);
    const pixel_argb8 p8 = image.GetPixelARGB8(2L, 3L);
    EXPECT_EQ(p8.b, 3);
    EXPECT_EQ(p8.g, 2);
    EXPECT_EQ(p8.r, 1);
    EXPECT_EQ(p8.a, 255);
    const unsigned short wide[] = {40000, 1000, 2000, 3000};
    image.SetPixel(2, 3, wide[0], wide[1], wide[2], wide[3]);
    const pixel_argb16 p16 = image.GetPixelARGB16(2L, 3L);
    EXPECT_EQ(p16.a, 40000);
    EXPECT_EQ(p16.r, 1000);
    EXPECT_EQ(p16.g, 2000);
    EXPECT_EQ(p16.b, 3000);
    image.SetPixel(2, 3, 0.5, 0.125, 0.25, 0.75);
    const pixel_argbfp64 p64 = image.GetPixelARGBFP64(2L, 3L);
    EXPECT_EQ(p64.a, 0.5);
    EXPECT_EQ(p64.r, 0.125);
    EXPECT_EQ(p64.g, 0.25);
    EXPECT_EQ(p64.b, 0.75);
}

TEST(PublicPixels, ComponentFormsCallThePublicStructForm) {
    struct Spy : OpenImage {
        void SetPixel(long x, long y, pixel_argb8& p) override {
            ++calls;
            Rastrel::SetPixel(x, y, p);
        }
        int calls = 0;
    };
    Spy image;
    image.Create(2, 2, CM_ARGB8);
    const unsigned char c = 7;
    static_cast<Rastrel&>(image).SetPixel(0, 0, c, c, c, c);
    EXPECT_EQ(image.calls, 1);
}

TEST(PublicPixels, AMirroredPixelIsStoredAtTheOtherEnd) {
    OpenImage image;
    image.Create(10, 4, CM_GREY8);
    image.mirrorX = 1;
    const unsigned char v = 200;
    image.SetPixel(0, 1, v);
    EXPECT_EQ(bytesOf(image)[19], 200);
    EXPECT_EQ(image.GetPixelGREY8(0L, 1L), 200);
}

TEST(PublicPixels, GettersOfAnEmptyImageGiveZero) {
    OpenImage image;
    EXPECT_EQ(image.GetPixelGREY8(3L, 3L), 0);
    EXPECT_EQ(image.GetPixelGREYFP64(3, 3), 0.0);
    EXPECT_EQ(image.GetPixelARGB8(3L, 3L).a, 0);
    EXPECT_EQ(image.GetPixelARGBFP64(3L, 3L).a, 0.0);
    EXPECT_EQ(image.GetPixelGREY8(-5L, -5L, 5L, 5L), 0);
}

TEST(PublicPixels, AnOpaqueCodeLeavesReadsAtZero) {
    OpenImage image;
    image.Create(2, 2, CM_COLOR8);
    image.pixels.GetData()[0] = 77;
    EXPECT_EQ(image.GetPixelGREY8(0L, 0L), 0);
    unsigned char row[2] = {9, 9};
    EXPECT_TRUE(image.GetHLine(row, 0, 1, 0));
    EXPECT_EQ(row[0], 9);
}

// --- area averages ---

TEST(AreaAverage, MeanGreyIsRoundedAndClamped) {
    OpenImage image;
    image.Create(6, 6, CM_GREY8);
    fillWithNoise(image, 5);
    double sum = 0;
    for (long y = 2; y <= 5; ++y) {
        for (long x = 2; x <= 5; ++x)
            sum += image.GetPixelGREY8(x, y);
    }
    const auto wanted = static_cast<unsigned char>(sum / 16 + 0.5);
    EXPECT_EQ(image.GetPixelGREY8(2L, 2L, 5L, 5L), wanted);
    EXPECT_EQ(image.GetPixelGREY8(5L, 5L, 2L, 2L), wanted);
    EXPECT_EQ(image.GetPixelGREY8(2L, 2L, 500L, 500L), wanted);
    EXPECT_EQ(image.GetPixelGREY8(-9L, 3L, -3L, 3L), image.GetPixelGREY8(0L, 3L)) << "clamped onto column 0";
    EXPECT_EQ(image.GetPixelGREY8(3L, 90L, 3L, 99L), image.GetPixelGREY8(3L, 5L));
}

TEST(AreaAverage, RoundsAtTheEnds) {
    OpenImage image;
    image.Create(2, 1, CM_GREY8);
    unsigned char* p = image.pixels.GetData();
    p[0] = 254;
    p[1] = 255;
    EXPECT_EQ(image.GetPixelGREY8(0L, 0L, 1L, 0L), 255) << "254.5";
    p[0] = 0;
    p[1] = 1;
    EXPECT_EQ(image.GetPixelGREY8(0L, 0L, 1L, 0L), 1) << "0.5";
    image.Create(3, 1, CM_GREY8);
    image.pixels.GetData()[2] = 1;
    EXPECT_EQ(image.GetPixelGREY8(0L, 0L, 2L, 0L), 0) << "a third";
}

TEST(AreaAverage, TakesThePublicSizesThroughTheirSlots) {
    struct Narrow : OpenImage {
        unsigned long GetWidth() override { return 1; }
    };
    Narrow image;
    image.Create(4, 1, CM_GREY8);
    image.pixels.GetData()[0] = 10;
    image.pixels.GetData()[1] = 200;
    EXPECT_EQ(image.Rastrel::GetPixelGREY8(0L, 0L, 3L, 0L), 10);
}

TEST(AreaAverage, TheColourMeanIsZeroForEveryRectangle) {
    OpenImage image;
    image.Create(4, 4, CM_ARGB8);
    for (std::size_t i = 0; i < 64; ++i)
        image.pixels.GetData()[i] = 255;
    for (const long x2 : {-5L, 0L, 3L, 99L}) {
        const pixel_argb8 mean = image.GetPixelARGB8(0L, 0L, x2, 3L);
        EXPECT_EQ(mean.a | mean.r | mean.g | mean.b, 0);
    }
}

} // namespace
