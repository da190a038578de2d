/// JPEG files and big documents written here as other programs read them. Each test begins with what can be seen
/// without them; a program that is not on this machine is passed over.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/images.h"
#include "support/open_image.h"
#include "support/other_programs.h"
#include "support/psb_images.h"
#include "support/sample_files.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

/// The bytes behind the three lines of a portable map's head.
Bytes mapSamples(const Bytes& map) {
    auto at = map.begin();
    for (int line = 0; line < 3; ++line)
        at = std::find(at, map.end(), '\n') + (at != map.end());
    return {at, map.end()};
}

/// A picture of soft colours, in the order that the flag says.
void makeSoft(OpenImage& image, unsigned char model, unsigned char order) {
    image.Create(64U, 48U, model);
    image.componentOrder = order;
    const std::size_t channels = model == CM_GREY8 ? 1 : 3;
    for (std::size_t i = 0; i < 64 * 48 * channels; ++i) {
        const std::size_t c = order != 0 ? channels - 1 - i % channels : i % channels;
        const auto value = static_cast<unsigned char>(60 + 40 * c + i / channels % 64);
        ASSERT_TRUE(image.pixels.Write(i, &value, 1));
    }
    image.exif.xResolution = 300;
    image.exif.yResolution = 200;
    std::snprintf(image.exif.description, sizeof image.exif.description, "A view");
    std::snprintf(image.exif.software, sizeof image.exif.software, "a program");
}

TEST(JpegPeers, DecodersReadWhatIsWritten) {
    for (const unsigned char model : {CM_GREY8, CM_RGB8}) {
        for (const unsigned char order : {'\0', '\1'}) {
            OpenImage image;
            makeSoft(image, model, order);
            const ScratchFile file(".jpg");
            ASSERT_EQ(image.Write(file.path().c_str(), "jpg"), 0U);
            OpenImage back;
            ASSERT_EQ(back.Read(file.path().c_str()), 0U);
            if (programIsHere("djpeg")) {
                const ScratchFile map(".pnm");
                ASSERT_TRUE(runs({"djpeg -pnm -outfile", quoted(map), quoted(file)}));
                Bytes samples = mapSamples(map.bytes());
                Bytes ours = bytesOf(image);
                ASSERT_EQ(samples.size(), ours.size());
                for (std::size_t i = 0; model == CM_RGB8 && order != 0 && i < ours.size(); i += 3)
                    std::swap(ours[i], ours[i + 2]);
                for (std::size_t i = 0; i < ours.size(); ++i)
                    ASSERT_NEAR(samples[i], ours[i], 4);
            }
            if (programIsHere("identify")) {
                EXPECT_EQ(outputOf({"identify -units PixelsPerInch -format '%m %w %h %x %y'", quoted(file)}),
                          "JPEG 64 48 300 200");
            }
        }
    }
}

TEST(PsbPeers, ReadersSeeSizeDepthColoursAndResolution) {
    for (const PsbLayout& layout : kPsbLayouts) {
        SCOPED_TRACE(int{layout.model});
        OpenImage image;
        makeNoise(image, 41, 29, layout.model);
        image.componentOrder = 1;
        image.exif.xResolution = 300;
        image.exif.yResolution = 200;
        const ScratchFile file(".psb");
        ASSERT_EQ(image.Write(file.path().c_str(), "psb"), 0U);
        OpenImage back;
        ASSERT_EQ(back.Read(file.path().c_str()), 0U);
        EXPECT_EQ(bytesOf(back), bytesOf(image));
        if (layout.channels == 4) continue; // what the fourth plane means is every reader's own affair
        const std::size_t size = layout.depth / 8U;
        Bytes colours = bytesOf(image); // red first, as their order is reversed here
        if (layout.channels == 3)
            for (std::size_t i = 0; i < colours.size(); i += 3 * size)
                std::swap_ranges(colours.begin() + static_cast<std::ptrdiff_t>(i),
                                 colours.begin() + static_cast<std::ptrdiff_t>(i + size),
                                 colours.begin() + static_cast<std::ptrdiff_t>(i + 2 * size));
        const std::string depth = std::to_string(layout.depth);
        if (programIsHere("convert-im6")) {
            const ScratchFile raw(".raw");
            const std::string target = (layout.channels == 1 ? "gray:" : "rgb:") + quoted(raw);
            ASSERT_TRUE(runs({"convert-im6", quoted(file) + "[0]", "-endian LSB -depth", depth, target}));
            EXPECT_EQ(raw.bytes(), colours);
            EXPECT_EQ(outputOf({"identify -units PixelsPerInch -format '%m %w %h %z %x %y'", quoted(file) + "[0]"}),
                      "PSD 41 29 " + depth + " 300 200");
        }
        if (programIsHere("oiiotool")) {
            const ScratchFile plain(".tif");
            ASSERT_TRUE(runs({"oiiotool", quoted(file), "--compression none -o", quoted(plain)}));
            OpenImage theirs;
            ASSERT_EQ(theirs.Read(plain.path().c_str()), 0U);
            EXPECT_EQ(theirs.width, 41U);
            EXPECT_EQ(bytesOf(theirs), colours);
        }
    }
}

void addTag(TiffTagList& list, std::uint16_t tag, std::uint16_t type, std::uint32_t count, const Bytes& value) {
    _tiff_ifd_tag* const record = list.append(tag, type, count);
    ASSERT_NE(record, nullptr);
    ASSERT_EQ(record->byteCount(), value.size());
    std::copy(value.begin(), value.end(), record->data);
}

/// The tags that every photograph should have, and a place.
void addCameraTags(Rastrel::_EXIF& exif) {
    addTag(exif.exifTags, 0x829A, 5, 1, {1, 0, 0, 0, 125, 0, 0, 0});
    addTag(exif.exifTags, 0x9000, 7, 4, {'0', '2', '3', '0'});
    addTag(exif.exifTags, 0x9101, 7, 4, {1, 2, 3, 0});
    addTag(exif.exifTags, 0xA000, 7, 4, {'0', '1', '0', '0'});
    addTag(exif.exifTags, 0xA001, 3, 1, {1, 0});
    addTag(exif.exifTags, 0xA002, 3, 1, {64, 0});
    addTag(exif.exifTags, 0xA003, 3, 1, {48, 0});
    addTag(exif.gpsTags, 0, 1, 4, {2, 3, 0, 0});
    addTag(exif.gpsTags, 1, 2, 2, {'N', 0});
    addTag(exif.gpsTags, 2, 5, 3, {54, 0, 0, 0, 1, 0, 0, 0, 59, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0});
    addTag(exif.gpsTags, 0x1B, 7, 11, {'A', 'S', 'C', 'I', 'I', 0, 0, 0, 'G', 'P', 'S'});
}

TEST(ExifPeers, AToolFindsNothingWrongWithWhatIsWritten) {
    OpenImage image;
    makeSoft(image, CM_RGB8, 1);
    addCameraTags(image.exif);
    for (const char* format : {"jpg", "tif", "psb"}) {
        const ScratchFile file(std::string(".") + format);
        ASSERT_EQ(image.Write(file.path().c_str(), format), 0U);
        OpenImage back;
        ASSERT_EQ(back.Read(file.path().c_str()), 0U);
        EXPECT_EQ(back.exif.exifTags.size(), 7U);
        EXPECT_EQ(back.exif.gpsTags.size(), 4U);
        if (!programIsHere("exiftool")) continue;
        EXPECT_EQ(outputOf({"exiftool -s3 -ImageDescription -Software -IFD0:XResolution -IFD0:YResolution",
                            "-ExposureTime -ExifVersion -GPS:GPSLatitude", quoted(file)}),
                  "A view\na program\n300\n200\n1/125\n0230\n54 deg 59' 0.00\"\n");
        // The image tags of a picture file stand in the block as well, values follow one another without padding, and
        // the camera's tags stay wherever they are written.
        constexpr const char* kForced[] = {"Odd offset for", "is not allowed in JPEG", "is not allowed in TIFF",
                                           "IFD0:StripOffsets+StripByteCounts runs past end of file",
                                           "Missing required JPEG IFD0 tag 0x0213 YCbCrPositioning"};
        std::istringstream lines(outputOf({"exiftool -warning -validate -a -s3", quoted(file)}));
        std::string line;
        while (std::getline(lines, line))
            EXPECT_TRUE(line == "OK" || line.find("Warnings (") != std::string::npos ||
                        std::any_of(std::begin(kForced), std::end(kForced),
                                    [&](const char* text) { return line.find(text) != std::string::npos; }))
                << format << ": " << line;
    }
}

/// What a tool lists of a file's directories.
struct Listing {
    std::vector<std::string> main; ///< what the writers keep of it
    std::vector<std::string> rest; ///< everything in the EXIF, GPS and Interoperability directories, sorted
};

/// The listings, file by file.
std::vector<Listing> listedTags(const std::string& files) {
    // Opaque bytes are shown as numbers in the order of the block around them, which the writers choose anew.
    std::istringstream lines(outputOf(
        {"exiftool -a -s -G1 -u -ExifIFD:all -GPS:all -InteropIFD:all --SpatialFrequencyResponse",
         "-IFD0:ImageDescription -IFD0:Software -IFD0:XResolution -IFD0:YResolution -IFD0:ResolutionUnit", files}));
    std::vector<Listing> listed;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("========", 0) == 0) {
            listed.emplace_back();
        } else if (!listed.empty() && line.rfind("[IFD0]", 0) == 0) {
            listed.back().main.push_back(line);
        } else if (!listed.empty() && line.rfind('[', 0) == 0) {
            listed.back().rest.push_back(line);
        }
    }
    for (Listing& tags : listed)
        std::sort(tags.rest.begin(), tags.rest.end());
    return listed;
}

/// The source's tags are all there, and no description that it has not; the other texts and numbers every file has.
void expectKept(const Listing& written, const Listing& source) {
    EXPECT_EQ(written.rest, source.rest);
    const auto has = [](const std::vector<std::string>& lines, const std::string& line) {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    };
    for (const std::string& line : source.main)
        EXPECT_TRUE(has(written.main, line)) << line;
    for (const std::string& line : written.main)
        EXPECT_TRUE(has(source.main, line) || line.find("ImageDescription") == std::string::npos) << line;
}

TEST(ExifPeers, TagsOfPhotographsTravelThroughEveryFormat) {
    constexpr const char* kFormats[] = {"jpg", "tif", "psb"};
    std::vector<std::unique_ptr<ScratchFile>> written;
    std::string files;
    for (const SampleFile& sample : sampleFiles("jpeg/")) {
        if (!sample.accepted() || sample["exif_main"].empty() || sample.number("width") == 0) continue;
        const std::string path = sampleFolder() + sample.path();
        SCOPED_TRACE(path);
        OpenImage image;
        ASSERT_EQ(image.Read(path.c_str(), 0, 0, 32, 32), 0U); // three bytes a pixel, as the writers want them
        files += " '" + path + "'";
        for (const char* format : kFormats) {
            written.push_back(std::make_unique<ScratchFile>(std::string(".") + format));
            const ScratchFile& file = *written.back();
            ASSERT_EQ(image.Write(file.path().c_str(), format), 0U) << format;
            OpenImage back;
            ASSERT_EQ(back.Read(file.path().c_str()), 0U);
            EXPECT_EQ(back.exif.exifTags.size(), image.exif.exifTags.size());
            EXPECT_EQ(back.exif.gpsTags.size(), image.exif.gpsTags.size());
            files += " " + quoted(file);
        }
    }
    if (written.empty() || !programIsHere("exiftool")) return;
    const std::vector<Listing> listed = listedTags(files);
    constexpr std::size_t kGroup = 1 + std::size(kFormats);
    ASSERT_EQ(listed.size() * std::size(kFormats), written.size() * kGroup);
    for (std::size_t i = 0; i < listed.size(); i += kGroup) {
        for (std::size_t k = 1; k < kGroup; ++k) {
            SCOPED_TRACE(written[i / kGroup * std::size(kFormats)]->path() + kFormats[k - 1]);
            expectKept(listed[i + k], listed[i]);
        }
    }
}

} // namespace
