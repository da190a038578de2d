/// Files written here as other programs read them, and theirs as they are read here. Each test begins with what can be
/// seen without them; a program that is not on this machine is passed over.
#include <gtest/gtest.h>

#include <sstream>

#include "support/images.h"
#include "support/open_image.h"
#include "support/other_programs.h"
#include "support/scratch_file.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;

struct Model {
    unsigned char code;
    std::size_t samples, bytes;
    const char* raw; ///< ImageMagick's prefix for raw samples of this order
};
constexpr Model kModels[] = {{CM_GREY8, 1, 1, "gray:"}, {CM_GREY16, 1, 2, "gray:"}, {CM_RGB8, 3, 1, "rgb:"},
                             {CM_RGB16, 3, 2, "rgb:"},  {CM_RGBA8, 4, 1, "rgba:"},  {CM_RGBA16, 4, 2, "rgba:"}};
constexpr std::uint32_t kWidth = 41;
constexpr std::uint32_t kHeight = 29;

/// An image of noise in file order, opaque where it has an alpha channel, and its bytes.
Bytes fill(OpenImage& image, const Model& model) {
    image.Create(kWidth, kHeight, model.code);
    image.componentOrder = 0;
    fillWithNoise(image, model.code);
    Bytes bytes = bytesOf(image);
    for (std::size_t i = 0; model.samples == 4 && i < bytes.size(); i += 4 * model.bytes)
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(i + 3 * model.bytes), model.bytes,
                    static_cast<unsigned char>(0xFF));
    EXPECT_TRUE(image.pixels.Write(0, bytes.data(), bytes.size()));
    return bytes;
}

/// The pixels of a file as they are read here.
Bytes pixelsOf(const ScratchFile& file, unsigned char model) {
    OpenImage image;
    EXPECT_EQ(image.Read(file.path().c_str()), 0U);
    EXPECT_EQ(image.colormodel, model);
    EXPECT_EQ(image.width, kWidth);
    EXPECT_EQ(image.height, kHeight);
    return bytesOf(image);
}

Bytes withBytePairsSwapped(Bytes bytes) {
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        std::swap(bytes[i], bytes[i + 1]);
    return bytes;
}

TEST(TiffPeers, LibtiffTools) {
    for (const Model& model : kModels) {
        SCOPED_TRACE(int{model.code});
        OpenImage image;
        const Bytes pixels = fill(image, model);
        const ScratchFile ours(".tif");
        ASSERT_EQ(image.Write(ours.path().c_str(), "tif"), 0U);
        EXPECT_EQ(pixelsOf(ours, model.code), pixels);
        if (!programIsHere("tiffcp")) continue;
        const ScratchFile packed(".tif"); // its compression decodes what it took for pixels
        const ScratchFile theirs(".tif");
        ASSERT_TRUE(runs({"tiffcp -c lzw", quoted(ours), quoted(packed)}));
        OpenImage declined;
        EXPECT_EQ(declined.Read(packed.path().c_str()), Rastrel::kNotAccepted);
        for (const char* options : {"-L -r 1", "-B -r 29", "-B -r 5"}) {
            ASSERT_TRUE(runs({"tiffcp -c none", options, quoted(packed), quoted(theirs)}));
            const bool swapped = options[1] == 'B' && model.bytes == 2;
            EXPECT_EQ(pixelsOf(theirs, model.code), swapped ? withBytePairsSwapped(pixels) : pixels) << options;
        }
    }
}

TEST(TiffPeers, LibtiffToolsFloatingPoint) {
    for (const unsigned char model : {CM_GREYFP32, CM_GREYFP64}) {
        OpenImage image;
        const Bytes pixels = fill(image, {model, 1, std::size_t{model} & 15, ""});
        const ScratchFile ours(".tif");
        ASSERT_EQ(image.Write(ours.path().c_str(), "tif"), 0U);
        EXPECT_EQ(pixelsOf(ours, model), pixels);
        if (!programIsHere("tiffcp")) continue;
        const ScratchFile packed(".tif");
        const ScratchFile theirs(".tif");
        ASSERT_TRUE(runs({"tiffcp -c lzw", quoted(ours), quoted(packed)}));
        ASSERT_TRUE(runs({"tiffcp -c none -r 3", quoted(packed), quoted(theirs)}));
        EXPECT_EQ(pixelsOf(theirs, model), pixels);
    }
}

/// The command that converts files: each version has its own, and `convert` alone may be something else. Empty when
/// there is none.
std::string imageMagick() {
    for (const char* name : {"convert-im6.q16", "magick"})
        if (programIsHere(name)) return name;
    return {};
}

TEST(TiffPeers, ImageMagick) {
    for (const Model& model : kModels) {
        SCOPED_TRACE(int{model.code});
        OpenImage image;
        const Bytes pixels = fill(image, model);
        const ScratchFile ours(".tif");
        ASSERT_EQ(image.Write(ours.path().c_str(), "tif"), 0U);
        EXPECT_EQ(pixelsOf(ours, model.code), pixels);
        const std::string program = imageMagick();
        if (program.empty()) continue;
        const std::string depth = std::to_string(8 * model.bytes);
        const ScratchFile raw(".raw");
        ASSERT_TRUE(runs({program, quoted(ours), "-depth", depth, "-endian LSB", model.raw + quoted(raw)}));
        EXPECT_EQ(raw.bytes(), pixels);
        for (const char* order : {"lsb", "msb"}) {
            const ScratchFile theirs(".tif");
            ASSERT_TRUE(runs({program, "-size 41x29 -depth", depth, "-endian LSB", model.raw + quoted(raw),
                              "-define tiff:rows-per-strip=4 -compress none",
                              "-define tiff:endian=" + std::string(order), "TIFF:" + quoted(theirs)}));
            const bool big = theirs.bytes()[0] == 'M';
            EXPECT_EQ(big, order[0] == 'm');
            EXPECT_EQ(pixelsOf(theirs, model.code), big && model.bytes == 2 ? withBytePairsSwapped(pixels) : pixels);
        }
    }
}

TEST(TiffPeers, OpenImageIO) {
    for (const Model& model : kModels) {
        SCOPED_TRACE(int{model.code});
        OpenImage image;
        const Bytes pixels = fill(image, model);
        const ScratchFile ours(".tif");
        ASSERT_EQ(image.Write(ours.path().c_str(), "tif"), 0U);
        EXPECT_EQ(pixelsOf(ours, model.code), pixels);
        if (!programIsHere("oiiotool")) continue;
        if (model.bytes == 1 && model.samples < 4) { // its PNM files have 8 bits and no alpha
            const ScratchFile map(".pnm");
            ASSERT_TRUE(runs({"oiiotool", quoted(ours), "-o", quoted(map)}));
            const Bytes file = map.bytes();
            ASSERT_GT(file.size(), pixels.size());
            EXPECT_EQ(Bytes(file.end() - static_cast<std::ptrdiff_t>(pixels.size()), file.end()), pixels);
        }
        const ScratchFile theirs(".tif");
        ASSERT_TRUE(runs({"oiiotool", quoted(ours), "--compression none -o", quoted(theirs)}));
        EXPECT_EQ(pixelsOf(theirs, model.code), pixels);
    }
}

TEST(TiffPeers, OpenImageIOFloatingPoint) {
    if (!programIsHere("oiiotool")) return;
    const ScratchFile theirs(".tif");
    ASSERT_TRUE(runs({"oiiotool --pattern constant:color=0.3 41x29 1 -d float --compression none -o", quoted(theirs)}));
    const Bytes pixels = pixelsOf(theirs, CM_GREYFP32);
    const float expected = 0.3F;
    for (std::size_t i = 0; i < pixels.size(); i += 4)
        ASSERT_EQ(std::memcmp(pixels.data() + i, &expected, 4), 0);
}

/// An image with the metadata of a camera.
void fillMetadata(OpenImage& image) {
    TiffPicture made;
    made.big = true;
    made.width = 8;
    made.height = 8;
    made.samples = 3;
    made.countUp();
    made.extra = {ascii(270, "A view"), ascii(305, "Camera 1.0"), rational(282, 300, 1), rational(283, 725, 10)};
    made.exif = {rational(33434, 1, 125),
                 rational(33437, 56, 10),
                 shorts(34855, {400}),
                 octets(36864, 7, "0230"),
                 ascii(36867, "2009:02:21 08:32:04"),
                 octets(37121, 7, std::string("\1\2\3\0", 4)),
                 {37380, 10, 1, {0xFFFFFFFD, 10}, 4, -1},
                 octets(40960, 7, "0100"),
                 shorts(40961, {1}),
                 longs(40962, {8}),
                 longs(40963, {8})};
    made.gps = {octets(0, 1, std::string("\2\3\0\0", 4)),
                ascii(1, "N"),
                {2, 5, 3, {54, 1, 59, 1, 3, 2}, 4, -1},
                octets(27, 7, std::string("ASCII\0\0\0GPS", 11))};
    made.interoperability = {ascii(1, "R98"), octets(2, 7, "0100")};
    const ScratchFile source(made.build(), ".tif");
    ASSERT_EQ(image.Read(source.path().c_str()), 0U);
}

TEST(TiffPeers, ExifTool) {
    OpenImage image;
    fillMetadata(image);
    const ScratchFile ours(".tif");
    ASSERT_EQ(image.Write(ours.path().c_str(), "tif"), 0U);
    OpenImage again;
    ASSERT_EQ(again.Read(ours.path().c_str()), 0U);
    EXPECT_EQ(again.exif.exifTags.size(), 12U);
    EXPECT_EQ(again.exif.gpsTags.size(), 4U);
    if (!programIsHere("exiftool")) return;
    // Values follow one another without padding, and the camera's tags stay wherever they are written.
    const std::string told = outputOf({"exiftool -s -s -s -a -validate -warning", quoted(ours)});
    std::istringstream lines(told);
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_TRUE(line.find("all minor") != std::string::npos || line == "OK") << told;
    while (std::getline(lines, line))
        EXPECT_TRUE(line.find("Odd offset") != std::string::npos ||
                    line.find("not allowed in TIFF") != std::string::npos)
            << line;
    EXPECT_EQ(outputOf({"exiftool -a -n -S -G1 -IFD0:XResolution -IFD0:YResolution -IFD0:ImageDescription",
                        "-IFD0:Software -ExifIFD:all -GPS:all -InteropIFD:all", quoted(ours)}),
              "[IFD0] XResolution: 300\n"
              "[IFD0] YResolution: 72.5\n"
              "[IFD0] ImageDescription: A view\n"
              "[IFD0] Software: Camera 1.0\n"
              "[ExifIFD] ExposureTime: 0.008\n"
              "[ExifIFD] FNumber: 5.6\n"
              "[ExifIFD] ISO: 400\n"
              "[ExifIFD] ExifVersion: 0230\n"
              "[ExifIFD] DateTimeOriginal: 2009:02:21 08:32:04\n"
              "[ExifIFD] ComponentsConfiguration: 1 2 3 0\n"
              "[ExifIFD] ExposureCompensation: -0.3\n"
              "[ExifIFD] FlashpixVersion: 0100\n"
              "[ExifIFD] ColorSpace: 1\n"
              "[ExifIFD] ExifImageWidth: 8\n"
              "[ExifIFD] ExifImageHeight: 8\n"
              "[GPS] GPSVersionID: 2 3 0 0\n"
              "[GPS] GPSLatitudeRef: N\n"
              "[GPS] GPSLatitude: 54.98375\n"
              "[GPS] GPSProcessingMethod: GPS\n"
              "[InteropIFD] InteropIndex: R98\n"
              "[InteropIFD] InteropVersion: 0100\n");
}

} // namespace
