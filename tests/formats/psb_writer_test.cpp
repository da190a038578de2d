/// Big documents written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "support/psb_images.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

Bytes written(OpenImage& image) {
    const ScratchStream stream;
    EXPECT_TRUE(image.WritePSB(stream));
    EXPECT_EQ(image.busyCount, 0U);
    return stream.bytes();
}

/// The resources behind the first 30 bytes of a written file; empty when they do not fill their section.
std::vector<PsbPart> resourcesOf(const Bytes& file) {
    const auto u32 = [&](std::size_t at) {
        return std::size_t{file[at]} << 24 | std::size_t{file[at + 1]} << 16 | std::size_t{file[at + 2]} << 8 |
               file[at + 3];
    };
    std::vector<PsbPart> parts;
    const std::size_t end = 34 + u32(30);
    std::size_t at = 34;
    while (at < end) {
        EXPECT_EQ(std::string(file.begin() + static_cast<std::ptrdiff_t>(at),
                              file.begin() + static_cast<std::ptrdiff_t>(at + 4)),
                  "8BIM");
        EXPECT_EQ(file[at + 6] + file[at + 7], 0);
        const std::size_t size = u32(at + 8);
        const auto data = file.begin() + static_cast<std::ptrdiff_t>(at + 12);
        parts.push_back({static_cast<std::uint16_t>(file[at + 4] << 8 | file[at + 5]),
                         Bytes(data, data + static_cast<std::ptrdiff_t>(size)),
                         {0, 0}});
        at += 12 + size + size % 2;
    }
    EXPECT_EQ(at, end);
    return parts;
}

TEST(PsbWriter, EveryByteOfASmallFile) {
    OpenImage image;
    image.Create(2U, 2U, CM_RGB8);
    const unsigned char pixels[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    ASSERT_TRUE(image.pixels.Write(0, pixels, sizeof pixels));
    image.exif.xResolution = 299.5; // rounds to 300
    image.exif.yResolution = 150.4;
    const Bytes file = written(image);
    const std::vector<PsbPart> parts = resourcesOf(file);
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(parts[0].id, 1005);
    EXPECT_EQ(parts[0].data, (Bytes{0x01, 0x2C, 0, 0, 0, 1, 0, 2, 0, 150, 0, 0, 0, 1, 0, 2}));
    EXPECT_EQ(parts[1].id, 1064);
    OrderedBytes aspect{true, {}};
    aspect.u32(2);
    const double ratio = 150.4 / 299.5;
    std::uint64_t bits = 0;
    std::memcpy(&bits, &ratio, sizeof bits);
    aspect.number(bits, 8);
    EXPECT_EQ(parts[1].data, aspect.bytes);
    EXPECT_EQ(parts[2].id, 1058);
    EXPECT_EQ(Bytes(parts[2].data.begin(), parts[2].data.begin() + 4), (Bytes{'I', 'I', 42, 0}));

    PsbDocument same;
    same.width = same.height = 2;
    same.resources = parts;
    same.planes = {3, 6, 9, 12, 2, 5, 8, 11, 1, 4, 7, 10}; // the last sample of each pixel first
    EXPECT_EQ(file, same.build());
    EXPECT_EQ(image.progress, 0U);
}

TEST(PsbWriter, EveryModelHasItsLayout) {
    for (const PsbLayout& layout : kPsbLayouts) {
        SCOPED_TRACE(int{layout.model});
        OpenImage image;
        makeNoise(image, 37, 11, layout.model);
        const Bytes file = written(image);
        PsbDocument same = psbDocument(layout);
        same.width = 37;
        same.height = 11;
        same.resources = resourcesOf(file);
        const std::size_t planes = std::size_t{37} * 11 * layout.channels * layout.depth / 8;
        same.planes.assign(file.end() - static_cast<std::ptrdiff_t>(planes), file.end());
        EXPECT_EQ(file, same.build());
        EXPECT_EQ(bytesOf(image), same.pixels());
    }
}

TEST(PsbWriter, FourChannelsComeBackWithTheFourthLast) {
    for (const auto& [model, readBack] :
         {std::pair{CM_ARGB8, CM_RGBA8}, {CM_RGBA8, CM_RGBA8}, {CM_ARGB16, CM_RGBA16}, {CM_RGBA16, CM_RGBA16}}) {
        OpenImage image;
        makeNoise(image, 9, 7, model);
        const ScratchStream stream(written(image));
        OpenImage back;
        ASSERT_EQ(back.Read(stream), 0U);
        EXPECT_EQ(back.colormodel, readBack);
        EXPECT_EQ(bytesOf(back), bytesOf(image));
    }
}

TEST(PsbWriter, AResourceOfOddSizeIsPadded) {
    std::size_t odd = 0;
    for (int letters = 4; letters < 8; ++letters) { // an even number of letters takes an odd number of bytes
        OpenImage image;
        makeNoise(image, 3, 2, CM_GREY8);
        std::fill_n(image.exif.description, letters, 'd');
        const Bytes file = written(image);
        const std::vector<PsbPart> parts = resourcesOf(file); // which checks the section's length
        ASSERT_EQ(parts.size(), 3U);
        EXPECT_EQ(parts[2].data.size() % 2, letters % 2 == 0 ? 1U : 0U);
        odd += parts[2].data.size() % 2;
        PsbDocument same;
        same.channels = same.mode = 1;
        same.width = 3;
        same.height = 2;
        same.resources = parts;
        same.planes = bytesOf(image);
        EXPECT_EQ(file, same.build());
        const ScratchStream stream(file);
        OpenImage back;
        ASSERT_EQ(back.Read(stream), 0U);
        EXPECT_EQ(back.exif.description, std::string(static_cast<std::size_t>(letters), 'd'));
    }
    EXPECT_EQ(odd, 2U);
}

TEST(PsbWriter, AResolutionOfNothingHasSquarePixels) {
    const double inf = std::numeric_limits<double>::infinity();
    for (const double x : {0.0, inf, std::nan("")}) {
        OpenImage image;
        makeNoise(image, 3, 2, CM_GREY8);
        image.exif.xResolution = x;
        image.exif.yResolution = x;
        const std::vector<PsbPart> parts = resourcesOf(written(image));
        ASSERT_EQ(parts.size(), 3U);
        EXPECT_EQ(parts[1].data, (Bytes{0, 0, 0, 2, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0}));
    }
}

TEST(PsbWriter, OtherModelsAndEmptyImagesFail) {
    for (const unsigned char model : kAllModels) {
        if (std::any_of(std::begin(kPsbLayouts), std::end(kPsbLayouts),
                        [model](const PsbLayout& layout) { return layout.model == model; }))
            continue;
        OpenImage image;
        makeNoise(image, 8, 8, model);
        const ScratchStream stream;
        EXPECT_FALSE(image.WritePSB(stream)) << int{model};
        EXPECT_EQ(image.busyCount, 0U);
    }
    OpenImage image;
    const ScratchStream stream;
    EXPECT_FALSE(image.WritePSB(stream));
    image.colormodel = CM_RGB8;
    EXPECT_FALSE(image.WritePSB(stream));
    image.width = image.height = 5; // and no pixels
    EXPECT_FALSE(image.WritePSB(stream));
    EXPECT_EQ(stream.bytes(), Bytes());
}

TEST(PsbWriter, WritesManyPieces) {
    for (const unsigned char model : {CM_RGB8, CM_RGBA16, CM_GREY8}) {
        OpenImage image;
        makeNoise(image, 1100, 1003, model); // more than one piece a plane, and no whole number of them
        image.componentOrder = 1;
        const Bytes pixels = bytesOf(image);
        ASSERT_TRUE(image.pixels.Swap(0));
        const ScratchStream stream;
        ASSERT_TRUE(image.WritePSB(stream));
        EXPECT_FALSE(image.pixels.IsSwapped()); // the whole image lies in memory now
        OpenImage back;
        ASSERT_EQ(back.Read(stream), 0U);
        EXPECT_EQ(bytesOf(back), pixels);
    }
}

TEST(PsbWriter, ResolutionsStayInTheirField) {
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        double value;
        double readBack;
    } cases[] = {{72.4, 72},     {72.5, 73},   {0.4, 0}, {0.5, 1},  {65534.6, 65535}, {65535.7, 65535},
                 {1e300, 65535}, {inf, 65535}, {-3, 0},  {-inf, 0}, {std::nan(""), 0}};
    for (const auto& c : cases) {
        OpenImage image;
        makeNoise(image, 2, 2, CM_GREY8);
        image.exif.xResolution = c.value;
        const ScratchStream stream(written(image));
        OpenImage back;
        ASSERT_TRUE(back.ReadPSB(stream));
        EXPECT_EQ(back.exif.xResolution, c.readBack) << c.value;
        EXPECT_EQ(back.exif.yResolution, 72.0);
    }
}

TEST(PsbWriter, StopsWhenAsked) {
    OpenImage image;
    makeNoise(image, 5, 5, CM_RGB8);
    image.cancelRequested = 1;
    const ScratchStream stream;
    EXPECT_FALSE(image.WritePSB(stream));
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(PsbWriter, AStreamThatTakesNothingFails) {
    OpenImage image;
    makeNoise(image, 50, 30, CM_RGB8);
    const ScratchFile file(Bytes(10));
    FILE* const stream = std::fopen(file.path().c_str(), "rb");
    EXPECT_FALSE(image.WritePSB(stream));
    std::fclose(stream);
}

TEST(PsbWriter, LoadsAnUnloadedImage) {
    OpenImage image;
    makeNoise(image, 31, 17, CM_RGB16);
    image.componentOrder = 1;
    const ScratchFile source(".psb");
    ASSERT_EQ(image.Write(source.widePath().c_str(), L"psb"), 0U);
    const Bytes file = source.bytes();
    ASSERT_EQ(image.Unload(), 0U);
    EXPECT_EQ(written(image), file);
}

} // namespace
