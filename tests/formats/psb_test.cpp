/// Big documents written and read.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/images.h"
#include "support/open_image.h"
#include "support/psb_files.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

struct Layout {
    unsigned char model;
    std::uint16_t channels, depth, mode;
    unsigned char readBack;
};
constexpr Layout kLayouts[] = {{49, 1, 8, 1, 49},  {50, 1, 16, 1, 50},  {81, 3, 8, 3, 81},   {82, 3, 16, 3, 82},
                               {97, 4, 8, 3, 113}, {113, 4, 8, 3, 113}, {98, 4, 16, 3, 114}, {114, 4, 16, 3, 114}};

void make(OpenImage& image, unsigned width, unsigned height, unsigned char model) {
    image.Create(width, height, model);
    fillWithNoise(image, width * 7 + height + model);
}

Bytes written(OpenImage& image) {
    const ScratchStream stream;
    EXPECT_TRUE(image.WritePSB(stream));
    EXPECT_EQ(image.busyCount, 0U);
    return stream.bytes();
}

bool accepts(const Bytes& file) {
    const ScratchStream stream(file);
    OpenImage image;
    const bool accepted = image.ReadPSB(stream);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.pixels.GetSize() != 0, accepted);
    return accepted;
}

bool preReads(const Bytes& file) {
    const ScratchStream stream(file);
    OpenImage image;
    const bool accepted = image.PreReadPSB(stream);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    return accepted;
}

PsbDocument document(const Layout& layout = kLayouts[2]) {
    PsbDocument made;
    made.channels = layout.channels;
    made.depth = layout.depth;
    made.mode = layout.mode;
    made.countUp();
    return made;
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
    for (const Layout& layout : kLayouts) {
        SCOPED_TRACE(int{layout.model});
        OpenImage image;
        make(image, 37, 11, layout.model);
        const Bytes file = written(image);
        PsbDocument same = document(layout);
        same.width = 37;
        same.height = 11;
        same.resources = resourcesOf(file);
        const std::size_t planes = std::size_t{37} * 11 * layout.channels * layout.depth / 8;
        same.planes.assign(file.end() - static_cast<std::ptrdiff_t>(planes), file.end());
        EXPECT_EQ(file, same.build());
        EXPECT_EQ(bytesOf(image), same.pixels());
    }
}

TEST(PsbWriter, OtherModelsAndEmptyImagesFail) {
    for (const unsigned char model : kAllModels) {
        if (std::any_of(std::begin(kLayouts), std::end(kLayouts),
                        [model](const Layout& layout) { return layout.model == model; }))
            continue;
        OpenImage image;
        make(image, 8, 8, model);
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
        make(image, 1100, 1003, model); // more than one piece a plane, and no whole number of them
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
        make(image, 2, 2, CM_GREY8);
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
    make(image, 5, 5, CM_RGB8);
    image.cancelRequested = 1;
    const ScratchStream stream;
    EXPECT_FALSE(image.WritePSB(stream));
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(PsbWriter, AStreamThatTakesNothingFails) {
    OpenImage image;
    make(image, 50, 30, CM_RGB8);
    const ScratchFile file(Bytes(10));
    FILE* const stream = std::fopen(file.path().c_str(), "rb");
    EXPECT_FALSE(image.WritePSB(stream));
    std::fclose(stream);
}

TEST(PsbWriter, LoadsAnUnloadedImage) {
    OpenImage image;
    make(image, 31, 17, CM_RGB16);
    image.componentOrder = 1;
    const ScratchFile source(".psb");
    ASSERT_EQ(image.Write(source.widePath().c_str(), L"psb"), 0U);
    const Bytes file = source.bytes();
    ASSERT_EQ(image.Unload(), 0U);
    EXPECT_EQ(written(image), file);
}

TEST(PsbReader, ReadsEveryLayout) {
    for (const Layout& layout : kLayouts) {
        for (const unsigned char flag : {'\0', '\1'}) {
            const PsbDocument made = document(layout);
            OpenImage image;
            image.componentOrder = flag;
            const ScratchStream stream(made.build());
            ASSERT_EQ(image.Read(stream), 0U);
            EXPECT_EQ(image.width, 7U);
            EXPECT_EQ(image.height, 5U);
            EXPECT_EQ(image.colormodel, layout.readBack);
            EXPECT_EQ(image.componentOrder, 1);
            EXPECT_EQ(bytesOf(image), made.pixels());
            EXPECT_EQ(image.progress, 0U);
            EXPECT_EQ(image.busyCount, 0U);
            EXPECT_EQ(image.exif.xResolution, 72.0);
            OpenImage header;
            header.cancelRequested = 1;
            ASSERT_TRUE(header.PreReadPSB(stream));
            EXPECT_EQ(header.width, 7U);
            EXPECT_EQ(header.height, 5U);
            EXPECT_EQ(header.colormodel, layout.readBack);
            EXPECT_EQ(header.pixels.GetSize(), 0U);
        }
    }
}

TEST(PsbReader, TheFirstPlaneIsRed) {
    PsbDocument made = document();
    std::fill(made.planes.begin(), made.planes.begin() + 35, static_cast<unsigned char>(200));
    std::fill(made.planes.begin() + 35, made.planes.begin() + 70, static_cast<unsigned char>(100));
    std::fill(made.planes.begin() + 70, made.planes.end(), static_cast<unsigned char>(50));
    OpenImage image;
    const ScratchStream stream(made.build());
    ASSERT_EQ(image.Read(stream), 0U);
    const pixel_argb8 pixel = image.GetPixelARGB8(3L, 3L);
    EXPECT_EQ(pixel.r, 200);
    EXPECT_EQ(pixel.g, 100);
    EXPECT_EQ(pixel.b, 50);
}

TEST(PsbReader, DeclinesWhatItDoesNotKnow) {
    struct Case {
        const char* name;
        void (*change)(PsbDocument&);
        bool header = false; ///< the header read accepts it
    };
    const Case cases[] = {
        {"signature", [](PsbDocument& d) { d.signature = "8BPX"; }},
        {"small document", [](PsbDocument& d) { d.version = 1; }},
        {"depth 1", [](PsbDocument& d) { d.depth = 1; }},
        {"depth 32",
         [](PsbDocument& d) {
             d.depth = 32;
             d.countUp();
         }},
        {"bitmap", [](PsbDocument& d) { d.mode = 0; }},
        {"indexed", [](PsbDocument& d) { d.mode = 2; }},
        {"CMYK", [](PsbDocument& d) { d.mode = 4; }},
        {"Lab", [](PsbDocument& d) { d.mode = 9; }},
        {"colour-mode data", [](PsbDocument& d) { d.colorData = 2; }},
        {"two channels",
         [](PsbDocument& d) {
             d.channels = 2;
             d.countUp();
         }},
        {"no channels", [](PsbDocument& d) { d.channels = 0; }},
        {"five channels",
         [](PsbDocument& d) {
             d.channels = 5;
             d.countUp();
         }},
        {"grey of three channels", [](PsbDocument& d) { d.mode = 1; }},
        {"RGB of one channel",
         [](PsbDocument& d) {
             d.channels = 1;
             d.countUp();
         }},
        {"one byte short", [](PsbDocument& d) { d.planes.pop_back(); }},
        {"run lengths", [](PsbDocument& d) { d.compression = 1; }, true},
        {"zip", [](PsbDocument& d) { d.compression = 2; }, true},
        {"no width", [](PsbDocument& d) { d.width = 0; }},
        {"no height", [](PsbDocument& d) { d.height = 0; }},
        {"huge", [](PsbDocument& d) { d.width = d.height = 0xFFFFFFFF; }},
        {"huge, and small when cut to 64 bits",
         [](PsbDocument& d) {
             d.width = d.height = 0x80000000;
             d.channels = 4;
         }},
        {"layers past the end", [](PsbDocument& d) { d.layerLength = 100000; }},
        {"layers of 2^63 bytes", [](PsbDocument& d) { d.layerLength = std::numeric_limits<std::int64_t>::max(); }},
        {"resources past the end", [](PsbDocument& d) { d.resourceLength = 0xFFFFFFFF; }},
    };
    EXPECT_TRUE(accepts(document().build()));
    for (const Case& c : cases) {
        PsbDocument made = document();
        c.change(made);
        EXPECT_FALSE(accepts(made.build())) << c.name;
        EXPECT_EQ(preReads(made.build()), c.header) << c.name;
    }
}

TEST(PsbReader, TheReservedBytesMayHoldAnything) {
    Bytes file = document().build();
    std::fill(file.begin() + 6, file.begin() + 12, static_cast<unsigned char>(0xEE));
    EXPECT_TRUE(accepts(file));
}

TEST(PsbReader, LayersAreSkippedAndMoreMayFollow) {
    PsbDocument made = document();
    made.layers = Bytes(1234, 0x42);
    Bytes file = made.build();
    file.insert(file.end(), 50, static_cast<unsigned char>(0x77));
    OpenImage image;
    const ScratchStream stream(file);
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(bytesOf(image), made.pixels());
}

TEST(PsbReader, ResourcesFillTheirSectionExactly) {
    PsbDocument made = document();
    made.resources = {
        {1000, {}}, {2000, {1}}, {2001, {1, 2}}, {2002, {1, 2, 3}}, {1005, psbResolutions(300 << 16, 0x964000)}};
    const Bytes good = made.build();
    EXPECT_TRUE(accepts(good));
    const auto length = static_cast<std::int64_t>(good.size() - document().build().size());
    for (const std::int64_t wrong :
         {length - 1, length + 1, length - 2, length + 2, std::int64_t{0}, std::int64_t{1}}) {
        made.resourceLength = wrong;
        EXPECT_FALSE(accepts(made.build())) << wrong;
    }
    made.resourceLength = -1;
    EXPECT_EQ(good[34], '8');
    Bytes file = good;
    file[34] = '9';
    EXPECT_FALSE(accepts(file));
    file = good;
    file[34 + 8] = 0x7F; // a size past the end of the section
    EXPECT_FALSE(accepts(file));
}

TEST(PsbReader, NamesEndWithAPairWhoseSecondByteIsZero) {
    PsbDocument made = document();
    for (const Bytes& name : {Bytes{0, 0}, Bytes{1, 0}, Bytes{6, 'P', 'a', 't', 'h', ' ', '1', 0}, Bytes{0, 1, 2, 0}}) {
        made.resources = {{2000, {1, 2, 3}, name}, {1005, psbResolutions(144 << 16, 144 << 16)}};
        OpenImage image;
        const ScratchStream stream(made.build());
        ASSERT_TRUE(image.ReadPSB(stream));
        EXPECT_EQ(image.exif.xResolution, 144.0);
    }
    made.resources = {{2000, {}, Bytes(100, 'x')}}; // never ends
    EXPECT_FALSE(accepts(made.build()));
}

TEST(PsbReader, ResolutionsAndTags) {
    TiffPicture metadata;
    metadata.without = {256, 257, 258, 259, 262, 273, 277, 278, 279};
    metadata.extra = {ascii(270, "A view"), ascii(305, "a program"), rational(282, 111, 1), rational(283, 222, 1),
                      shorts(296, {2})};
    metadata.exif = {shorts(34855, {400}), octets(0x927C, 7, "a maker's note")};
    metadata.gps = {ascii(1, "N")};
    const PsbPart exif{1058, metadata.build()};
    const PsbPart resolution{1005, psbResolutions(300 << 16 | 0x8000, 0x964000)};
    struct Case {
        const char* name;
        std::vector<PsbPart> parts;
        double x, y;
        const char* description;
    };
    const Case cases[] = {
        {"none", {}, 72, 72, ""},
        {"resolution", {resolution}, 300.5, 150.25, ""},
        {"tags", {exif}, 111, 222, "A view"},
        {"both", {exif, resolution}, 300.5, 150.25, "A view"},
        {"both, the other way round", {resolution, exif}, 300.5, 150.25, "A view"},
        {"a short resolution", {{1005, Bytes(15)}, exif}, 111, 222, "A view"},
        {"damaged tags", {{1058, {'I', 'I', 42}}, resolution}, 300.5, 150.25, ""},
        {"no tags", {{1058, {}}}, 72, 72, ""},
        {"the first counts", {resolution, {1005, psbResolutions(1 << 16, 1 << 16)}}, 300.5, 150.25, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PsbDocument made = document();
        made.resources = c.parts;
        const ScratchStream stream(made.build());
        OpenImage image;
        std::snprintf(image.exif.description, sizeof image.exif.description, "old");
        OpenImage header;
        ASSERT_TRUE(image.ReadPSB(stream));
        ASSERT_TRUE(header.PreReadPSB(stream));
        for (const OpenImage* read : {&image, &header}) {
            EXPECT_EQ(read->exif.xResolution, c.x);
            EXPECT_EQ(read->exif.yResolution, c.y);
            EXPECT_STREQ(read->exif.description, c.description);
            EXPECT_EQ(read->exif.gpsTags.size(), c.description[0] == 'A' ? 1U : 0U);
            EXPECT_EQ(read->exif.isoSpeed, c.description[0] == 'A' ? 400 : 0);
        }
    }
}

TEST(PsbReader, ACancelRequestEndsTheRead) {
    OpenImage image;
    image.cancelRequested = 1;
    const ScratchStream stream(document().build());
    EXPECT_FALSE(image.ReadPSB(stream));
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(PsbReader, AWrittenImageReadsBackIdentical) {
    OpenImage image;
    make(image, 301, 203, CM_RGB8);
    image.exif.xResolution = 299.6;
    image.exif.yResolution = 72.2;
    std::snprintf(image.exif.description, sizeof image.exif.description, "A view");
    ASSERT_NE(image.exif.exifTags.append(0x927C, 7, 33), nullptr);
    const ScratchStream stream(written(image));
    OpenImage back;
    back.swapThreshold = 1;
    ASSERT_EQ(back.Read(stream), 0U);
    EXPECT_EQ(bytesOf(back), bytesOf(image));
    EXPECT_FALSE(back.pixels.IsSwapped()); // documents are held in memory whatever their size
    EXPECT_EQ(back.exif.xResolution, 300.0);
    EXPECT_EQ(back.exif.yResolution, 72.0);
    EXPECT_STREQ(back.exif.description, "A view");
    EXPECT_EQ(back.exif.exifTags.size(), 1U);
}

} // namespace
