#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <limits>
#include <thread>

#include "support/images.h"
#include "support/open_image.h"
#include "support/scratch_file.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;

struct Layout {
    std::uint16_t samples, bits;
    unsigned char model;
};
constexpr Layout kLayouts[] = {{1, 8, CM_GREY8}, {1, 16, CM_GREY16}, {1, 32, CM_GREYFP32}, {1, 64, CM_GREYFP64},
                               {3, 8, CM_RGB8},  {3, 16, CM_RGB16},  {4, 8, CM_RGBA8},     {4, 16, CM_RGBA16}};

TiffPicture picture(std::uint32_t width, std::uint32_t height, std::uint16_t samples = 1, std::uint16_t bits = 8) {
    TiffPicture made;
    made.width = width;
    made.height = height;
    made.samples = samples;
    made.bits = bits;
    made.countUp();
    return made;
}

/// What the whole read makes of a file.
bool accepts(const Bytes& file) {
    OpenImage image;
    const ScratchStream stream(file);
    const bool accepted = image.ReadTIFF(stream);
    EXPECT_EQ(image.busyCount, 0U);
    OpenImage header;
    EXPECT_EQ(header.PreReadTIFF(stream), accepted);
    EXPECT_EQ(header.pixels.GetSize(), 0U);
    EXPECT_EQ(header.busyCount, 0U);
    return accepted;
}

bool accepts(const TiffPicture& made) { return accepts(made.build()); }

TEST(TiffReader, ReadsEveryLayoutInBothOrdersAndAnyStrips) {
    for (const Layout& layout : kLayouts) {
        for (const bool big : {false, true}) {
            for (const std::uint32_t rows : {0U, 1U, 2U, 3U, 5U, 100U}) {
                for (const unsigned char flag : {'\0', '\1'}) {
                    TiffPicture made = picture(7, 5, layout.samples, layout.bits);
                    made.big = big;
                    made.rowsPerStrip = rows;
                    made.gap = 3;
                    OpenImage image;
                    image.componentOrder = flag;
                    const ScratchStream stream(made.build());
                    ASSERT_EQ(image.Read(stream), 0U);
                    EXPECT_EQ(image.width, 7U);
                    EXPECT_EQ(image.height, 5U);
                    EXPECT_EQ(image.colormodel, layout.model);
                    EXPECT_EQ(image.componentOrder, layout.samples == 1 ? flag : 0);
                    EXPECT_EQ(bytesOf(image), made.pixels); // samples of big-endian files are not swapped
                    EXPECT_EQ(image.progress, 1000U);
                    EXPECT_EQ(image.busyCount, 0U);
                    EXPECT_TRUE(image.GetReady());
                }
            }
        }
    }
}

TEST(TiffReader, TheHeaderReadKnowsAllButThePixels) {
    for (const Layout& layout : kLayouts) {
        for (const unsigned char flag : {'\0', '\1'}) {
            OpenImage image;
            image.componentOrder = flag;
            image.cancelRequested = 1; // the header read does not look at it
            const ScratchStream stream(picture(7, 5, layout.samples, layout.bits).build());
            ASSERT_TRUE(image.PreReadTIFF(stream));
            EXPECT_EQ(image.width, 7U);
            EXPECT_EQ(image.height, 5U);
            EXPECT_EQ(image.colormodel, layout.model);
            EXPECT_EQ(image.componentOrder, flag);
            EXPECT_EQ(image.pixels.GetSize(), 0U);
            EXPECT_EQ(image.busyCount, 0U);
        }
    }
}

TEST(TiffReader, PreReadByPathLoadsThePixelsOnFirstTouch) {
    TiffPicture made = picture(7, 5, 3, 8);
    const ScratchFile file(made.build(), ".tif");
    OpenImage image;
    ASSERT_EQ(image.PreRead(file.path().c_str()), 0U);
    EXPECT_EQ(image.GetWidth(), 7U);
    const pixel_argb8 pixel = image.GetPixelARGB8(1L, 0L);
    EXPECT_EQ(pixel.r, made.pixels[3]);
    EXPECT_EQ(pixel.b, made.pixels[5]);
    EXPECT_EQ(bytesOf(image), made.pixels);
}

TEST(TiffReader, DeclinesFloatingPointColour) {
    for (const std::uint16_t samples : {std::uint16_t{3}, std::uint16_t{4}})
        for (const std::uint16_t bits : {std::uint16_t{32}, std::uint16_t{64}})
            EXPECT_FALSE(accepts(picture(3, 2, samples, bits)));
}

TEST(TiffReader, DeclinesForeignHeaders) {
    const Bytes good = picture(3, 2).build();
    ASSERT_TRUE(accepts(good));
    const auto with = [&](std::size_t place, unsigned char value) {
        Bytes changed = good;
        changed[place] = value;
        return changed;
    };
    EXPECT_FALSE(accepts(with(0, 'M')));
    EXPECT_FALSE(accepts(with(1, 'M')));
    EXPECT_FALSE(accepts(with(0, 'J')));
    EXPECT_FALSE(accepts(with(2, 43)));
    EXPECT_FALSE(accepts(with(3, 42)));
    EXPECT_FALSE(accepts(with(7, 0x7F))); // the directory's position
    EXPECT_FALSE(accepts(Bytes{}));
    EXPECT_FALSE(accepts(Bytes{'I', 'I', 42, 0}));
}

TEST(TiffReader, JudgesTheImageTags) {
    struct Case {
        const char* name;
        bool accepted;
        std::function<void(TiffPicture&)> change;
    };
    const auto entry = [](TiffEntry added) { return [added](TiffPicture& p) { p.extra.push_back(added); }; };
    const auto drop = [](std::uint16_t tag) { return [tag](TiffPicture& p) { p.without.push_back(tag); }; };
    const Case cases[] = {
        {"no compression tag", true, drop(259)},
        {"compression 2", false, entry(shorts(259, {2}))},
        {"LZW", false, entry(shorts(259, {5}))},
        {"PackBits", false, entry(shorts(259, {32773}))},
        {"JPEG", false, entry(shorts(259, {7}))},
        {"planar configuration 1", true, entry(shorts(284, {1}))},
        {"planar configuration 2", false, entry(shorts(284, {2}))},
        {"no photometric", true, drop(262)},
        {"white is zero", false, entry(shorts(262, {0}))},
        {"RGB of one sample", false, entry(shorts(262, {2}))},
        {"palette", false, entry(shorts(262, {3}))},
        {"sample format 1", true, entry(shorts(339, {1}))},
        {"signed samples", false, entry(shorts(339, {2}))},
        {"no samples tag", true, drop(277)},
        {"no width", false, drop(256)},
        {"no height", false, drop(257)},
        {"no bits", false, drop(258)},
        {"no strips", false, drop(273)},
        {"no strip sizes, one strip", true, drop(279)},
        {"more sizes than strips", false, entry(longs(279, {3, 3}))},
        {"short sizes", true, entry(shorts(279, {6}))},
        {"short width", true, entry(shorts(256, {3}))},
        {"text for a width", false, entry(ascii(256, "3"))},
        {"negative height", false, entry({257, 9, 1, {0xFFFFFFFE}, 4, -1})},
        {"no rows", false, entry(longs(257, {0}))},
        {"no columns", false, entry(longs(256, {0}))},
        {"two samples", false, entry(shorts(277, {2}))},
        {"no samples", false, entry(shorts(277, {0}))},
        {"one bit", false, entry(shorts(258, {1}))},
        {"twelve bits", false, entry(shorts(258, {12}))},
        {"24 bits in one sample", false, entry(shorts(258, {24}))},
        {"unequal bits", false, entry(shorts(258, {8, 8, 16}))},
        {"fractional width", false, entry(rational(256, 3, 1))},
        {"tag of an unknown type", true, entry({60000, 99, 1, {1}, 4, -1})},
    };
    for (const Case& c : cases) {
        TiffPicture made = picture(3, 2);
        c.change(made);
        EXPECT_EQ(accepts(made), c.accepted) << c.name;
    }
}

TEST(TiffReader, OneBitsValueMayStandForAllSamples) {
    TiffPicture made = picture(3, 2, 3, 8);
    made.extra = {shorts(258, {8})};
    EXPECT_TRUE(accepts(made));
    made.extra = {shorts(258, {8, 8, 16})};
    EXPECT_FALSE(accepts(made));
}

TEST(TiffReader, GreyOf32BitsIsFloatingPointOrDeclined) {
    TiffPicture made = picture(3, 2, 1, 32);
    EXPECT_TRUE(accepts(made));
    made.extra = {shorts(339, {3})};
    EXPECT_TRUE(accepts(made));
    made.extra = {shorts(339, {1})};
    EXPECT_FALSE(accepts(made));
    TiffPicture three = picture(3, 2, 3, 8);
    three.extra = {shorts(339, {1, 1, 1})};
    EXPECT_TRUE(accepts(three));
    three.extra = {shorts(339, {1, 1, 3})};
    EXPECT_FALSE(accepts(three));
}

TEST(TiffReader, SeveralStripsNeedTheirSizes) {
    TiffPicture made = picture(3, 4);
    made.rowsPerStrip = 2;
    ASSERT_TRUE(accepts(made));
    made.without = {279};
    EXPECT_FALSE(accepts(made));
}

TEST(TiffReader, ReadsTheFirstPictureOfMany) {
    TiffPicture made = picture(3, 2);
    made.next = 8; // in the middle of pixels: nobody goes there
    EXPECT_TRUE(accepts(made));
}

TEST(TiffReader, MissingPixelsAreZero) {
    TiffPicture made = picture(10, 10);
    made.extra = {longs(279, {35})};
    {
        OpenImage image;
        const ScratchStream stream(made.build());
        ASSERT_EQ(image.Read(stream), 0U);
        Bytes expected(made.pixels.begin(), made.pixels.begin() + 35);
        expected.resize(100);
        EXPECT_EQ(bytesOf(image), expected);
        EXPECT_EQ(image.progress, 1000U);
    }
    TiffPicture strips = picture(10, 10);
    strips.rowsPerStrip = 4;
    const Bytes whole = strips.build();
    // The middle strip lies beyond the file's end; the others are read.
    strips.extra = {longs(273, {8, whole.size() + 1000, 88})};
    OpenImage image;
    const ScratchStream stream(strips.build());
    ASSERT_EQ(image.Read(stream), 0U);
    Bytes expected = strips.pixels;
    std::fill(expected.begin() + 40, expected.begin() + 80, static_cast<unsigned char>(0));
    EXPECT_EQ(bytesOf(image), expected);
}

TEST(TiffReader, StripsThatAreLongerThanThePictureAreCut) {
    TiffPicture made = picture(4, 4);
    made.extra = {longs(273, {8, 16}), longs(279, {8, 4000000000})};
    OpenImage image;
    const ScratchStream stream(made.build());
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(bytesOf(image), made.pixels);
}

TEST(TiffReader, SwapsLargeBlocksOut) {
    for (const std::uint64_t threshold : {std::uint64_t{0}, std::uint64_t{2999999}, std::uint64_t{3000000}}) {
        TiffPicture made = picture(1000, 1000, 3, 8);
        made.rowsPerStrip = 7;
        OpenImage image;
        image.swapThreshold = threshold;
        const ScratchStream stream(made.build());
        ASSERT_EQ(image.Read(stream), 0U);
        EXPECT_EQ(image.pixels.IsSwapped(), threshold < 3000000);
        EXPECT_EQ(bytesOf(image), made.pixels);

        OpenImage part;
        part.swapThreshold = threshold / 4;
        ASSERT_EQ(part.Read(stream, 500, 0, 1000, 1000), 0U);
        EXPECT_EQ(part.pixels.IsSwapped(), part.pixels.GetSize() > threshold / 4);
        const Bytes partBytes = bytesOf(part);
        for (std::size_t y = 0; y < 999; ++y)
            ASSERT_TRUE(std::equal(made.pixels.begin() + static_cast<std::ptrdiff_t>(y * 3000 + 1500),
                                   made.pixels.begin() + static_cast<std::ptrdiff_t>(y * 3000 + 2997),
                                   partBytes.begin() + static_cast<std::ptrdiff_t>(y * 1497)))
                << y;
    }
}

TEST(TiffReader, AcancelledReadDeclinesAndKeepsTheCounter) {
    const ScratchStream stream(picture(3, 2).build());
    OpenImage image;
    image.cancelRequested = 1;
    EXPECT_FALSE(image.ReadTIFF(stream));
    EXPECT_FALSE(image.ReadRectTIFF(stream, 0, 0, 2, 1));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.colormodel, 0);
    EXPECT_EQ(image.Read(stream), Rastrel::kNotAccepted);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.colormodel, 0);
}

TEST(TiffReader, ProgressCountsThousandthsOfWholeBytes) {
    const struct {
        std::uint32_t width, height, progress;
    } cases[] = {{999, 1, 1000},    // too small for thousandths
                 {1000, 1, 1000},   // of one byte each
                 {1999, 1, 1999},   // still of one byte each
                 {150, 20, 1000},   // of three bytes
                 {1001, 3, 1001},   // likewise, and one more
                 {65536, 2, 1000}}; // of 131 bytes, and 72 bytes left
    for (const auto& c : cases) {
        TiffPicture made = picture(c.width, c.height);
        OpenImage image;
        const ScratchStream whole(made.build());
        ASSERT_EQ(image.Read(whole), 0U);
        EXPECT_EQ(image.progress, c.progress) << c.width << " x " << c.height;
        made.extra = {longs(279, {made.pixels.size() / 2})}; // what is missing counts as done
        const ScratchStream half(made.build());
        ASSERT_EQ(image.Read(half), 0U);
        EXPECT_EQ(image.progress, c.progress) << c.width << " x " << c.height;
    }
}

/// Sets an image's cancel request while `work` is under way, as soon as its progress shows that it has begun.
template <class Work>
auto cancelledMidway(OpenImage& image, Work work) {
    std::atomic_ref(image.progress).store(0);
    std::atomic<bool> ended{false};
    std::thread watcher([&] {
        while (!ended.load())
            if (std::atomic_ref(image.progress).load() != 0) std::atomic_ref(image.cancelRequested).store(1);
    });
    const auto result = work();
    ended = true;
    watcher.join();
    std::atomic_ref(image.cancelRequested).store(0);
    return result;
}

TEST(TiffReader, AcancelRequestEndsAreadMidway) {
    TiffPicture made = picture(3000, 4000);
    made.rowsPerStrip = 100;
    const ScratchStream stream(made.build());
    OpenImage image;
    image.swapThreshold = 0;
    // A request that comes after the last look at it finds the read done: then once more.
    const auto isStopped = [&](const auto& read) {
        for (int attempt = 0; attempt < 100; ++attempt)
            if (cancelledMidway(image, read) == Rastrel::kNotAccepted) return true;
        return false;
    };
    EXPECT_TRUE(isStopped([&] { return image.Read(stream); }));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.width, 0U);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    EXPECT_TRUE(isStopped([&] { return image.Read(stream, 1, 1, 3000, 4000); }));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.width, 0U);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
}

struct RectCase {
    unsigned long left, top, right, bottom;
    bool accepted;
    std::uint32_t width, height;
    std::size_t firstColumn, firstRow;
};

TEST(TiffReader, RectanglesNeverHoldTheLastColumnAndRow) {
    const unsigned long most = std::numeric_limits<unsigned long>::max();
    const unsigned long beyond = 0xFFFFFFFFUL;
    const RectCase cases[] = {
        {0, 0, 7, 5, true, 6, 4, 0, 0},     {0, 0, 6, 4, true, 6, 4, 0, 0},
        {1, 2, 3, 4, true, 2, 2, 1, 2},     {2, 1, beyond, most, true, 4, 3, 2, 1},
        {5, 3, 6, 4, true, 1, 1, 5, 3},     {6, 0, 7, 5, false, 0, 0, 0, 0},
        {0, 4, 7, 5, false, 0, 0, 0, 0},    {3, 0, 3, 4, false, 0, 0, 0, 0},
        {0, 3, 4, 3, false, 0, 0, 0, 0},    {4, 0, 2, 4, false, 0, 0, 0, 0},
        {0, 3, 4, 1, false, 0, 0, 0, 0},    {most, beyond, most, most, false, 0, 0, 0, 0},
        {most, 0, 1, 3, false, 0, 0, 0, 0}, {0, 0, 0, 0, false, 0, 0, 0, 0},
    };
    for (const Layout& layout : kLayouts) {
        for (const std::uint32_t rows : {0U, 1U, 2U}) {
            TiffPicture made = picture(7, 5, layout.samples, layout.bits);
            made.rowsPerStrip = rows;
            made.gap = 1;
            const std::size_t pixel = std::size_t{layout.samples} * layout.bits / 8;
            const ScratchStream stream(made.build());
            for (const RectCase& c : cases) {
                OpenImage image;
                const bool accepted = image.Read(stream, c.left, c.top, c.right, c.bottom) == 0;
                ASSERT_EQ(accepted, c.accepted) << c.left << " " << c.top << " " << c.right << " " << c.bottom;
                EXPECT_EQ(image.busyCount, 0U);
                EXPECT_EQ(image.width, c.width);
                EXPECT_EQ(image.height, c.height);
                EXPECT_EQ(image.colormodel, accepted ? layout.model : 0);
                if (!accepted) continue;
                EXPECT_EQ(image.componentOrder, layout.samples == 1 ? 1 : 0);
                EXPECT_EQ(image.progress, 1000U);
                Bytes expected;
                for (std::size_t y = 0; y < c.height; ++y) {
                    const auto line = made.pixels.begin() +
                                      static_cast<std::ptrdiff_t>(((c.firstRow + y) * 7 + c.firstColumn) * pixel);
                    expected.insert(expected.end(), line, line + static_cast<std::ptrdiff_t>(c.width * pixel));
                }
                EXPECT_EQ(bytesOf(image), expected);
            }
        }
    }
}

TEST(TiffReader, StripsMayEndInsideAline) {
    TiffPicture made = picture(7, 5, 3, 8);
    std::vector<std::uint64_t> offsets, sizes;
    for (std::uint64_t done = 0; done < made.pixels.size(); done += 4) {
        offsets.push_back(8 + done);
        sizes.push_back(std::min<std::uint64_t>(4, made.pixels.size() - done));
    }
    made.extra = {longs(273, offsets), longs(279, sizes)};
    const ScratchStream stream(made.build());
    OpenImage image;
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(bytesOf(image), made.pixels);
    ASSERT_EQ(image.Read(stream, 1, 1, 6, 3), 0U);
    Bytes expected(made.pixels.begin() + 24, made.pixels.begin() + 39);
    expected.insert(expected.end(), made.pixels.begin() + 45, made.pixels.begin() + 60);
    EXPECT_EQ(bytesOf(image), expected);
}

TEST(TiffReader, StripsMayLieBeyondTwoGigabytes) {
    TiffPicture made = picture(7, 5);
    made.extra = {longs(273, {0xF0000000})};
    const ScratchStream stream(made.build());
    ASSERT_EQ(_fseeki64(stream, 0xF0000000, SEEK_SET), 0);
    ASSERT_EQ(std::fwrite(made.pixels.data(), 1, made.pixels.size(), stream), made.pixels.size());
    ASSERT_EQ(std::fflush(stream), 0);
    OpenImage image;
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(bytesOf(image), made.pixels);
    ASSERT_EQ(image.Read(stream, 0, 4, 7, 5), Rastrel::kNotAccepted);
    ASSERT_EQ(image.Read(stream, 2, 3, 4, 4), 0U);
    EXPECT_EQ(bytesOf(image), Bytes(made.pixels.begin() + 23, made.pixels.begin() + 25));
}

TEST(TiffReader, AreadStartsAtTheStreamsBeginningWhereverItStands) {
    const TiffPicture made = picture(7, 5);
    const ScratchStream stream(made.build());
    OpenImage image;
    for (const long place : {0L, 5L, 40L}) {
        ASSERT_EQ(std::fseek(stream, place, SEEK_SET), 0);
        ASSERT_TRUE(image.ReadTIFF(stream));
        EXPECT_EQ(bytesOf(image), made.pixels);
    }
}

} // namespace
