#include "formats/jpeg_markers.h"

#include <gtest/gtest.h>

#include "support/jpeg_files.h"
#include "support/open_image.h"

namespace {

using namespace testing_support;

/// What the walk finds as the description; "declined" and "none" where it does not come so far.
std::string descriptionOf(const Bytes& file) {
    const ScratchStream stream(file);
    OpenImage image;
    const bool accepted = image.ReadJPEG(stream);
    Rastrel::_EXIF exif;
    const bool found = OpenImage::ReadExifJPEG(stream, &exif);
    if (found) {
        EXPECT_TRUE(accepted);
        EXPECT_STREQ(exif.description, image.exif.description);
    }
    return found ? exif.description : accepted ? "none" : "declined";
}

TEST(JpegMarkers, TheExifBlockMayLieAnywhere) {
    const Bytes plain = makeJpeg({});
    const Bytes exif = exifSegment(exifStructure("A view"));
    EXPECT_EQ(descriptionOf(plain), "none");
    EXPECT_EQ(descriptionOf(withInserted(plain, behindFirstSegment(plain), exif)), "A view");
    EXPECT_EQ(descriptionOf(withInserted(plain, 2, exif)), "A view");
    EXPECT_EQ(descriptionOf(withInserted(plain, markerPlace(plain, 0xC0), exif)), "A view");
    EXPECT_EQ(descriptionOf(withInserted(plain, markerPlace(plain, 0xDA), exif)), "A view");
    EXPECT_EQ(descriptionOf(withInserted(plain, plain.size() - 2, exif)), "A view"); // behind the scan
    EXPECT_EQ(descriptionOf(withInserted(plain, plain.size(), exif)), "none");       // behind the end of the image
    const Bytes bigEndian = exifSegment(exifStructure("big-endian", true));
    EXPECT_EQ(descriptionOf(withInserted(plain, 2, bigEndian)), "big-endian");
}

TEST(JpegMarkers, TheExifBlockBehindAScanWithRestartsAndStuffedBytes) {
    for (const JpegRecipe& recipe : kJpegRecipes) {
        SCOPED_TRACE(recipe.name);
        const Bytes plain = makeJpeg(recipe);
        EXPECT_EQ(descriptionOf(withInserted(plain, plain.size() - 2, exifSegment(exifStructure("late")))), "late");
    }
}

TEST(JpegMarkers, AMarkerMayLieAcrossThePiecesOfTheWalk) {
    JpegRecipe large;
    large.width = large.height = 400;
    large.across = large.down = 1;
    Bytes plain = makeJpeg(large);
    const std::size_t scan = markerPlace(plain, 0xDA);
    const std::size_t late = scan + 67000;
    ASSERT_GT(plain.size(), late + 2);
    plain.resize(late - 1);
    plain.insert(plain.end(), {0x00, 0xFF, 0xD9});
    // Markers are read in pieces of 4 KiB, scans in pieces of 64 KiB from where the last one ended.
    std::size_t tried = 0;
    for (std::size_t comment = 0; comment < 65000; ++comment) {
        const std::size_t shift = comment + 4;
        const std::size_t firstPiece = (scan + shift + 14 + 4095) / 4096 * 4096;
        if ((late + shift - firstPiece + 2) % 65536 > 4) continue;
        Bytes file = withInserted(plain, late, exifSegment(exifStructure("late")));
        file = withInserted(file, scan, jpegSegment(0xFE, Bytes(comment, 0xFF)));
        EXPECT_EQ(descriptionOf(file), "late") << comment;
        ++tried;
    }
    EXPECT_GE(tried, 5U);
}

TEST(JpegMarkers, FillBytesBeforeAMarkerAreSkipped) {
    const Bytes plain = makeJpeg({});
    const Bytes fill(5, 0xFF);
    Bytes file = withInserted(plain, plain.size() - 2, exifSegment(exifStructure("late")));
    file = withInserted(file, plain.size() - 2, fill);
    file = withInserted(file, markerPlace(plain, 0xC0), fill);
    file = withInserted(file, behindFirstSegment(file), fill);
    EXPECT_EQ(descriptionOf(file), "late");
    const ScratchStream stream(file);
    OpenImage image;
    EXPECT_TRUE(image.PreReadJPEG(stream));
    EXPECT_EQ(image.width, 61U);
}

TEST(JpegMarkers, AnythingButAMarkerDeclines) {
    const Bytes plain = makeJpeg({});
    for (const unsigned char stray : Bytes{0x00, 0x01, 0xFE}) {
        EXPECT_EQ(descriptionOf(withInserted(plain, behindFirstSegment(plain), {stray})), "declined");
        const Bytes file = withInserted(plain, markerPlace(plain, 0xC0), {stray});
        EXPECT_EQ(descriptionOf(file), "declined");
        OpenImage image;
        const ScratchStream stream(file);
        EXPECT_FALSE(image.PreReadJPEG(stream));
        EXPECT_FALSE(image.ReadRectJPEG(stream, 0, 0, 5, 5));
    }
    EXPECT_EQ(descriptionOf(withInserted(plain, behindFirstSegment(plain), {0xFF, 0x00})), "declined");
}

TEST(JpegMarkers, AnythingButAMarkerBehindAScanDeclinesToo) {
    const Bytes exif = exifStructure("A view");
    for (const Bytes& plain : {makeJpeg({}), withExif(makeJpeg({}), exif)}) {
        const bool hasExif = plain.size() > makeJpeg({}).size();
        const Bytes late = withInserted(plain, plain.size() - 2, jpegSegment(0xFE, {'x'}));
        EXPECT_EQ(descriptionOf(late), hasExif ? "A view" : "none");
        const Bytes stray = withInserted(late, late.size() - 2, {'y'});
        const ScratchStream stream(stray);
        OpenImage image;
        EXPECT_FALSE(image.ReadJPEG(stream));
        EXPECT_FALSE(image.ReadRectJPEG(stream, 0, 0, 5, 5));
        EXPECT_EQ(image.Read(stream), Rastrel::kNotAccepted);
        // Who has what he looks for before the scan reads no further.
        EXPECT_TRUE(image.PreReadJPEG(stream));
        EXPECT_EQ(OpenImage::ReadExifJPEG(stream, &image.exif), hasExif);
        // Behind the end of the image nothing counts.
        EXPECT_EQ(descriptionOf(withInserted(late, late.size(), {'y', 'z'})), hasExif ? "A view" : "none");
    }
}

TEST(JpegMarkers, ImpossibleLengthsDecline) {
    for (const unsigned char length : Bytes{0, 1}) {
        const Bytes plain = makeJpeg({});
        EXPECT_EQ(descriptionOf(withInserted(plain, behindFirstSegment(plain), {0xFF, 0xFE, 0, length})), "declined");
    }
    const Bytes plain = makeJpeg({});
    EXPECT_EQ(descriptionOf(withInserted(plain, behindFirstSegment(plain), {0xFF, 0xFE, 0, 2})), "none"); // empty
    EXPECT_EQ(descriptionOf(withInserted(plain, behindFirstSegment(plain), {0xFF, 0xE1, 0, 2})), "none");
    EXPECT_EQ(descriptionOf(withInserted(plain, behindFirstSegment(plain), {0xFF, 0xFE, 0xFF, 0xFF})), "declined");
}

TEST(JpegMarkers, TheFirstExifBlockCounts) {
    const Bytes plain = makeJpeg({});
    const Bytes two = withExif(withExif(plain, exifStructure("second")), exifStructure("first"));
    EXPECT_EQ(descriptionOf(two), "first");
    EXPECT_EQ(descriptionOf(withExif(withExif(plain, exifStructure("second")), {'X', 'X', 42, 0})), "second");
    const Bytes other = jpegSegment(0xE1, {'h', 't', 't', 'p', ':', '/', '/'});
    EXPECT_EQ(descriptionOf(withInserted(two, behindFirstSegment(two), other)), "first");
}

TEST(JpegMarkers, DamagedMetadataLosesNoPicture) {
    const Bytes plain = makeJpeg({});
    for (const Bytes& structure :
         {Bytes{}, Bytes{'I', 'I'}, Bytes{'I', 'I', 42, 0, 0xFF, 0xFF, 0xFF, 0x7F}, Bytes{'I', 'I', 43, 0, 8, 0, 0, 0}})
        EXPECT_EQ(descriptionOf(withExif(plain, structure)), "none");

    TiffPicture made;
    made.extra = {ascii(270, "kept"), longs(34665, {0x00FFFFFF})}; // an EXIF directory outside
    made.gps = {ascii(1, "N")};
    const ScratchStream stream(withExif(plain, made.build()));
    OpenImage image;
    ASSERT_TRUE(image.ReadJPEG(stream));
    EXPECT_STREQ(image.exif.description, "kept");
    EXPECT_TRUE(image.exif.exifTags.empty());
    EXPECT_EQ(image.exif.gpsTags.size(), 1U);
}

TEST(JpegMarkers, ReadExifByPath) {
    const ScratchFile with(withExif(makeJpeg({}), exifStructure("by path")), ".jpg");
    const ScratchFile without(makeJpeg({}), ".jpg");
    const ScratchFile foreign(Bytes(100, 7), ".jpg");
    Rastrel::_EXIF exif;
    EXPECT_EQ(Rastrel::ReadExif(with.path().c_str(), &exif), 0U);
    EXPECT_STREQ(exif.description, "by path");
    EXPECT_EQ(exif.exifTags.size(), 3U);
    EXPECT_EQ(exif.dateTime, 1235205124);
    Rastrel::_EXIF wide;
    EXPECT_EQ(Rastrel::ReadExif(with.widePath().c_str(), &wide), 0U);
    EXPECT_STREQ(wide.description, "by path");
    for (const ScratchFile* file : {&without, &foreign}) {
        EXPECT_EQ(Rastrel::ReadExif(file->path().c_str(), &exif), 0x1000000001000004U);
        EXPECT_EQ(Rastrel::ReadExif(file->widePath().c_str(), &exif), 0x1000000001000004U);
        EXPECT_STREQ(exif.description, "by path"); // untouched
    }
    EXPECT_EQ(Rastrel::ReadExif((with.path() + "x").c_str(), &exif), 0x1000000001000002U);
    EXPECT_EQ(Rastrel::ReadExif((with.widePath() + L"x").c_str(), &exif), 0x1000000001000002U);
}

/// A file that ends behind its frame header.
Bytes headOnly(unsigned char marker, std::uint16_t width, std::uint16_t height, const Bytes& factors) {
    Bytes body{8,
               static_cast<unsigned char>(height >> 8),
               static_cast<unsigned char>(height),
               static_cast<unsigned char>(width >> 8),
               static_cast<unsigned char>(width),
               static_cast<unsigned char>(factors.size())};
    for (std::size_t i = 0; i < factors.size(); ++i)
        body.insert(body.end(), {static_cast<unsigned char>(i + 1), factors[i], 0});
    Bytes file{0xFF, 0xD8};
    for (const Bytes& part : {jpegSegment(0xE0, Bytes(14)), jpegSegment(marker, body), jpegSegment(0xDA, Bytes(10))})
        file.insert(file.end(), part.begin(), part.end());
    return file;
}

TEST(JpegMarkers, EveryFrameHeaderIsKnownAndNothingElse) {
    for (unsigned marker = 0xC0; marker <= 0xCF; ++marker) {
        const ScratchStream stream(headOnly(static_cast<unsigned char>(marker), 300, 200, {0x11}));
        OpenImage image;
        const bool frame = marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        EXPECT_EQ(image.PreReadJPEG(stream), frame) << marker;
        EXPECT_EQ(image.width, frame ? 300U : 0U);
    }
    for (const std::uint16_t side : {std::uint16_t{0}, std::uint16_t{65535}}) {
        const ScratchStream stream(headOnly(0xC0, side, 5, {0x11, 0x11, 0x11}));
        OpenImage image;
        EXPECT_EQ(image.PreReadJPEG(stream), side != 0);
        EXPECT_EQ(image.width, side);
    }
}

TEST(JpegMarkers, KnowsHowLittleAFileMayHold) {
    struct Case {
        unsigned char marker;
        std::uint16_t width, height;
        Bytes factors;
        std::uint64_t blocks, least;
    };
    const Case cases[] = {
        {0xC0, 64, 64, {0x11}, 64, 16},
        {0xC0, 65, 64, {0x11}, 72, 18},
        {0xC0, 64, 64, {0x22}, 64, 16}, // one component: factors say nothing
        {0xC0, 64, 64, {0x22, 0x11, 0x11}, 96, 24},
        {0xC1, 64, 64, {0x11, 0x11, 0x11}, 192, 48},
        {0xC2, 64, 64, {0x11, 0x11, 0x11}, 192, 24},
        {0xC9, 64, 64, {0x11, 0x11, 0x11}, 192, 6},
        {0xC0, 65500, 65500, {0x11}, 8188ULL * 8188, 8188ULL * 8188 / 4},
    };
    for (const Case& c : cases) {
        const ScratchStream stream(headOnly(c.marker, c.width, c.height, c.factors));
        rastrel::JpegSegments segments;
        ASSERT_TRUE(rastrel::walkJpegMarkers(stream, rastrel::JpegWalk::forFrame, segments));
        ASSERT_TRUE(segments.frame);
        EXPECT_EQ(segments.frame->blocks, c.blocks);
        EXPECT_EQ(segments.frame->leastBytes(), c.least);
        const bool small = std::uint64_t{c.width} * c.height <= (16U << 20);
        EXPECT_EQ(segments.frame->plausible(0), small);
        EXPECT_TRUE(segments.frame->plausible(c.least));
        EXPECT_EQ(segments.frame->plausible(c.least - 1), small);
    }
}

TEST(JpegMarkers, ACodersShortestFileIsLongerThanTheBound) {
    JpegRecipe recipe;
    recipe.width = recipe.height = 800;
    for (const bool progressive : {false, true}) {
        recipe.progressive = progressive;
        for (const int factor : {1, 2}) {
            recipe.across = recipe.down = factor;
            // One grey all over, with tables made for it.
            jpeg_compress_struct encoder{};
            jpeg_error_mgr errors{};
            encoder.err = jpeg_std_error(&errors);
            jpeg_create_compress(&encoder);
            unsigned char* bytes = nullptr;
            unsigned long size = 0;
            jpeg_mem_dest(&encoder, &bytes, &size);
            encoder.image_width = encoder.image_height = 800;
            encoder.input_components = 3;
            encoder.in_color_space = JCS_RGB;
            jpeg_set_defaults(&encoder);
            encoder.comp_info[0].h_samp_factor = encoder.comp_info[0].v_samp_factor = factor;
            encoder.optimize_coding = TRUE;
            if (progressive) jpeg_simple_progression(&encoder);
            jpeg_start_compress(&encoder, TRUE);
            Bytes line(2400, 128);
            for (int y = 0; y < 800; ++y) {
                JSAMPROW row = line.data();
                jpeg_write_scanlines(&encoder, &row, 1);
            }
            jpeg_finish_compress(&encoder);
            const ScratchStream stream(Bytes(bytes, bytes + size));
            jpeg_destroy_compress(&encoder);
            std::free(bytes);
            rastrel::JpegSegments segments;
            ASSERT_TRUE(rastrel::walkJpegMarkers(stream, rastrel::JpegWalk::forFrame, segments));
            EXPECT_LE(segments.frame->leastBytes(), size);
            EXPECT_GT(segments.frame->leastBytes() * 4, size); // and not by much
        }
    }
}

} // namespace
