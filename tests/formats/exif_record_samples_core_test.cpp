/// The metadata blocks of the collected photographs, compared with what an independent tool lists.
#include <gtest/gtest.h>

#include <cmath>

#include "formats/exif_record.h"
#include "formats/tag_values.h"
#include "support/sample_files.h"

namespace {

using namespace testing_support;
using Bytes = std::vector<unsigned char>;

/// The body of the first metadata segment of a JPEG file, behind its identifying bytes; empty without one.
Bytes metadataOf(const Bytes& file) {
    const std::string mark("Exif\0\0", 6);
    for (std::size_t at = 2; at + 4 <= file.size() && file[at] == 0xFF && file[at + 1] != 0xDA;) {
        const std::size_t size = file[at + 2] * 256U + file[at + 3];
        if (at + 2 + size > file.size()) break;
        const auto body = file.begin() + static_cast<std::ptrdiff_t>(at + 4);
        const auto end = file.begin() + static_cast<std::ptrdiff_t>(at + 2 + size);
        if (file[at + 1] == 0xE1 && size >= 8 && std::equal(mark.begin(), mark.end(), body)) return {body + 6, end};
        at += 2 + size;
    }
    return {};
}

double degreesOf(const _tiff_ifd_tag& record) {
    double degrees = 0;
    double unit = 1;
    for (std::uint32_t i = 0; i < record.count; ++i, unit *= 60)
        degrees += rastrel::numberAt(record, i).value_or(0) / unit;
    return degrees;
}

/// Compares a number of the table, where it has one, with a record's value.
void expectNumber(const std::string& listed, const TiffTagList& list, std::uint16_t tag, bool degrees = false) {
    if (listed.empty()) return;
    const _tiff_ifd_tag* record = list.find(tag);
    ASSERT_NE(record, nullptr);
    const double value = degrees ? degreesOf(*record) : rastrel::numberAt(*record, 0).value_or(NAN);
    EXPECT_NEAR(value, std::stod(listed), std::fabs(value) * 1e-9 + 1e-9);
}

void expectSameTags(const TiffTagList& a, const TiffTagList& b) {
    ASSERT_EQ(a.size(), b.size());
    for (const _tiff_ifd_tag* record = a.first; record != nullptr; record = record->next) {
        const _tiff_ifd_tag* other = b.find(record->tag);
        ASSERT_NE(other, nullptr);
        EXPECT_EQ(other->type, record->type);
        ASSERT_EQ(other->count, record->count);
        if (record->subDirectory == nullptr) {
            EXPECT_TRUE(std::equal(record->data, record->data + record->byteCount(), other->data)) << record->tag;
        } else {
            expectSameTags(*record->subDirectory, *other->subDirectory);
        }
    }
}

TEST(ExifSamples, ValuesAreThoseThatOthersFind) {
    for (const SampleFile& sample : sampleFiles("")) {
        if (sample["format"] != "jpeg" || sample["exif_main"].empty()) continue; // not one, or nobody looked
        SCOPED_TRACE(sample.path());
        const Bytes block = metadataOf(sampleBytes(sample.path()));
        Rastrel::_EXIF record;
        const bool parsed = rastrel::parseExifBlock(block.data(), block.size(), record);
        EXPECT_TRUE(parsed || block.empty() || sample["exif_main"] == "bad");
        if (!parsed) continue;
        const std::string count = sample["exif_sub"] == "bad" ? "0" : sample["exif_sub"];
        EXPECT_EQ(std::to_string(record.exifTags.size()), count);
        EXPECT_EQ(std::to_string(record.gpsTags.size()), sample["exif_gps"]);
        const auto listed = [&](const char* name) { return sample[name].empty() ? 72.0 : std::stod(sample[name]); };
        EXPECT_NEAR(record.xResolution, listed("XResolution"), 1e-6);
        EXPECT_NEAR(record.yResolution, listed("YResolution"), 1e-6);
        EXPECT_EQ(record.dateTime, rastrel::secondsFromExifTime(sample["DateTimeOriginal"]));
        expectNumber(sample["ExposureTime"], record.exifTags, 33434);
        expectNumber(sample["FNumber"], record.exifTags, 33437);
        expectNumber(sample["GPSLatitude"], record.gpsTags, 2, true);
        expectNumber(sample["GPSLongitude"], record.gpsTags, 4, true);
        EXPECT_EQ(std::string(record.description).substr(0, sample["ImageDescription"].size()),
                  sample["ImageDescription"]);
        if (sample["Software"].find('\\') == std::string::npos) {
            std::string software = record.software; // the table leaves blanks at the end out
            software.erase(software.find_last_not_of(' ') + 1);
            EXPECT_EQ(software, sample["Software"].substr(0, 255));
        }
    }
}

TEST(ExifSamples, EveryTagComesBackFromAblockMadeOfThem) {
    for (const SampleFile& sample : sampleFiles("")) {
        if (sample["format"] != "jpeg") continue;
        SCOPED_TRACE(sample.path());
        const Bytes block = metadataOf(sampleBytes(sample.path()));
        Rastrel::_EXIF record, again;
        if (!rastrel::parseExifBlock(block.data(), block.size(), record)) continue;
        const Bytes written = rastrel::buildExifBlock(record, 40, 30, CM_RGB8);
        ASSERT_TRUE(rastrel::parseExifBlock(written.data(), written.size(), again));
        expectSameTags(record.exifTags, again.exifTags);
        expectSameTags(record.gpsTags, again.gpsTags);
        EXPECT_STREQ(again.description, record.description);
    }
}

} // namespace
