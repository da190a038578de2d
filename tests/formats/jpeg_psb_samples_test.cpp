/// JPEG files and big documents from elsewhere, where they lie beside the project.
#include <gtest/gtest.h>

#include <cmath>

#include "support/images.h"
#include "support/open_image.h"
#include "support/sample_files.h"
#include "support/sha256.h"

namespace {

using namespace testing_support;

std::string hashOf(const std::vector<unsigned char>& bytes) { return sha256(bytes.data(), bytes.size()); }

/// Red, green, blue of an image of blue, green, red and a fourth byte; grey as it is.
std::vector<unsigned char> plainSamples(const OpenImage& image) {
    std::vector<unsigned char> bytes = bytesOf(image);
    if (image.colormodel != CM_ARGB8) return bytes;
    std::vector<unsigned char> plain;
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4)
        plain.insert(plain.end(), {bytes[i + 2], bytes[i + 1], bytes[i]});
    return plain;
}

std::string textOf(const _tiff_ifd_tag* tag) {
    if (tag == nullptr || tag->data == nullptr) return {};
    std::string text(reinterpret_cast<const char*>(tag->data), tag->count);
    return text.substr(0, text.find('\0'));
}

/// A tag's rational or short value; 0 without one.
double numberOf(const _tiff_ifd_tag* tag, std::uint32_t index = 0) {
    if (tag == nullptr || tag->data == nullptr || tag->type != 5 || tag->count <= index) return 0;
    std::uint32_t parts[2];
    std::memcpy(parts, tag->data + 8 * index, sizeof parts);
    return parts[1] == 0 ? 0 : static_cast<double>(parts[0]) / parts[1];
}

void expectNear(double value, const std::string& expected, const char* name) {
    if (expected.empty()) return;
    const double wanted = std::stod(expected);
    EXPECT_NEAR(value, wanted, 1e-6 * std::max(1.0, std::fabs(wanted))) << name;
}

/// The table's text without its escapes: a doubled backslash, and backslash x with two digits.
std::string unescaped(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            plain += text[i];
        } else if (i + 3 < text.size() && text[i + 1] == 'x') {
            plain += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
            i += 3;
        } else {
            plain += '\\';
            ++i;
        }
    }
    return plain;
}

/// Without the blanks at the end, which the table leaves out of some texts.
std::string trimmed(const std::string& text) { return text.substr(0, text.find_last_not_of(' ') + 1); }

double degrees(const TiffTagList& gps, std::uint16_t tag) {
    const _tiff_ifd_tag* const place = gps.find(tag);
    return numberOf(place, 0) + numberOf(place, 1) / 60 + numberOf(place, 2) / 3600;
}

void expectRecord(const Rastrel::_EXIF& exif, const SampleFile& file) {
    constexpr std::size_t kText = 255;
    EXPECT_EQ(exif.exifTags.size(), file.number("exif_sub"));
    EXPECT_EQ(exif.gpsTags.size(), file.number("exif_gps"));
    EXPECT_EQ(trimmed(exif.description), trimmed(unescaped(file["ImageDescription"]).substr(0, kText)));
    EXPECT_EQ(trimmed(exif.software), trimmed(unescaped(file["Software"]).substr(0, kText)));
    if (file["ResolutionUnit"] == "2") {
        expectNear(exif.xResolution, file["XResolution"], "XResolution");
        expectNear(exif.yResolution, file["YResolution"], "YResolution");
    }
    EXPECT_EQ(textOf(exif.exifTags.find(36867)), file["DateTimeOriginal"]);
    expectNear(numberOf(exif.exifTags.find(33434)), file["ExposureTime"], "ExposureTime");
    expectNear(numberOf(exif.exifTags.find(33437)), file["FNumber"], "FNumber");
    EXPECT_EQ(textOf(exif.gpsTags.find(1)), file["GPSLatitudeRef"]);
    EXPECT_EQ(textOf(exif.gpsTags.find(3)), file["GPSLongitudeRef"]);
    expectNear(degrees(exif.gpsTags, 2), file["GPSLatitude"], "GPSLatitude");
    expectNear(degrees(exif.gpsTags, 4), file["GPSLongitude"], "GPSLongitude");
}

TEST(JpegPsbSamples, JpegFiles) {
    for (const SampleFile& file : sampleFiles("jpeg/")) {
        const std::string path = sampleFolder() + file.path();
        SCOPED_TRACE(path);
        OpenImage image;
        const bool read = image.Read(path.c_str()) == 0;
        if (file["outcome"] != "unclear") {
            EXPECT_EQ(read, file["outcome"] == "accepted");
        }
        Rastrel::_EXIF exif;
        const bool hasExif = Rastrel::ReadExif(path.c_str(), &exif) == 0;
        if (!read) continue;
        if (!file["exif_main"].empty() && file["exif_main"] != "bad") {
            EXPECT_TRUE(hasExif);
        }
        EXPECT_EQ(image.width, file.number("width"));
        EXPECT_EQ(image.height, file.number("height"));
        if (file["reason"].empty()) {
            EXPECT_EQ(hashOf(plainSamples(image)), file["pixel_sha256"]);
        }
        if (hasExif && !file["exif_main"].empty()) {
            expectRecord(image.exif, file);
            expectRecord(exif, file);
        }
        OpenImage header;
        if (image.width != 0) {
            EXPECT_EQ(header.PreRead(path.c_str()), 0U);
            EXPECT_EQ(header.width, image.width);
            EXPECT_EQ(header.height, image.height);
            EXPECT_EQ(header.colormodel, file["samples"] == "1" ? CM_GREY8 : CM_RGB8);
        }
    }
}

TEST(JpegPsbSamples, BigDocuments) {
    for (const SampleFile& file : sampleFiles("psb/")) {
        const std::string path = sampleFolder() + file.path();
        SCOPED_TRACE(path);
        OpenImage image;
        const bool read = image.Read(path.c_str()) == 0;
        EXPECT_EQ(read, file["outcome"] == "accepted");
        if (!read) continue;
        EXPECT_EQ(image.width, file.number("width"));
        EXPECT_EQ(image.height, file.number("height"));
        EXPECT_EQ(hashOf(bytesOf(image)), file["memory_sha256"]);
        EXPECT_EQ(image.componentOrder, 1);
    }
}

TEST(JpegPsbSamples, DamagedFiles) {
    for (const SampleFile& file : sampleFiles("damaged/")) {
        if (file.path().find(".tar:") != std::string::npos) continue;
        const std::string path = sampleFolder() + file.path();
        SCOPED_TRACE(path);
        OpenImage image;
        const bool read = image.Read(path.c_str()) == 0;
        EXPECT_EQ(image.busyCount, 0U);
        const std::string format = file["format"];
        if (format == "psb") {
            EXPECT_EQ(read, file["outcome"] == "accepted");
        }
        // What the decoder makes of damage may change with its version; what the walk finds may not.
        if (format == "jpeg" && file.declined() &&
            (file["reason"].find("marker walk") != std::string::npos || file["reason"].rfind("starts ", 0) == 0)) {
            EXPECT_FALSE(read);
        }
        image.Empty();
        static_cast<void>(image.PreRead(path.c_str()));
        EXPECT_EQ(image.busyCount, 0U);
        image.Empty();
        static_cast<void>(image.Read(path.c_str(), 1, 1, 20, 20));
        EXPECT_EQ(image.busyCount, 0U);
        Rastrel::_EXIF exif;
        static_cast<void>(Rastrel::ReadExif(path.c_str(), &exif));
    }
}

} // namespace
