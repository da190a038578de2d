/// Big documents read.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <limits>

#include "support/psb_images.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

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

TEST(PsbReader, ReadsEveryLayout) {
    for (const PsbLayout& layout : kPsbLayouts) {
        for (const unsigned char flag : {'\0', '\1'}) {
            const PsbDocument made = psbDocument(layout);
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
    PsbDocument made = psbDocument();
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
    EXPECT_TRUE(accepts(psbDocument().build()));
    for (const Case& c : cases) {
        PsbDocument made = psbDocument();
        c.change(made);
        EXPECT_FALSE(accepts(made.build())) << c.name;
        EXPECT_EQ(preReads(made.build()), c.header) << c.name;
    }
}

TEST(PsbReader, TheReservedBytesMayHoldAnything) {
    Bytes file = psbDocument().build();
    std::fill(file.begin() + 6, file.begin() + 12, static_cast<unsigned char>(0xEE));
    EXPECT_TRUE(accepts(file));
}

TEST(PsbReader, LayersAreSkippedAndMoreMayFollow) {
    PsbDocument made = psbDocument();
    made.layers = Bytes(1234, 0x42);
    Bytes file = made.build();
    file.insert(file.end(), 50, static_cast<unsigned char>(0x77));
    OpenImage image;
    const ScratchStream stream(file);
    ASSERT_EQ(image.Read(stream), 0U);
    EXPECT_EQ(bytesOf(image), made.pixels());
}

TEST(PsbReader, ResourcesFillTheirSectionExactly) {
    PsbDocument made = psbDocument();
    made.resources = {
        {1000, {}}, {2000, {1}}, {2001, {1, 2}}, {2002, {1, 2, 3}}, {1005, psbResolutions(300 << 16, 0x964000)}};
    const Bytes good = made.build();
    EXPECT_TRUE(accepts(good));
    const auto length = static_cast<std::int64_t>(good.size() - psbDocument().build().size());
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
    PsbDocument made = psbDocument();
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
        PsbDocument made = psbDocument();
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
    const ScratchStream stream(psbDocument().build());
    EXPECT_FALSE(image.ReadPSB(stream));
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(PsbReader, AWrittenImageReadsBackIdentical) {
    OpenImage image;
    makeNoise(image, 301, 203, CM_RGB8);
    image.exif.xResolution = 299.6;
    image.exif.yResolution = 72.2;
    std::snprintf(image.exif.description, sizeof image.exif.description, "A view");
    ASSERT_NE(image.exif.exifTags.append(0x927C, 7, 33), nullptr);
    const ScratchStream stream;
    ASSERT_TRUE(image.WritePSB(stream));
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
