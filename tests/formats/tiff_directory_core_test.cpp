#include "formats/tiff_directory.h"

#include <gtest/gtest.h>

#include "formats/stream_handle.h"
#include "formats/tag_values.h"
#include "rastrel/pixel.h"
#include "support/tiff_bytes.h"

namespace {

using rastrel::ByteOrder;
using rastrel::ByteReader;
using rastrel::CTiff;
using rastrel::StreamHandle;
using testing_support::Bytes;

Bytes contentsOf(_universal_stream* stream) {
    _u_fseeki64(stream, 0, SEEK_END);
    Bytes bytes(static_cast<std::size_t>(_u_ftelli64(stream)));
    _u_fseeki64(stream, 0, SEEK_SET);
    EXPECT_EQ(_u_fread(bytes.data(), 1, bytes.size(), stream), bytes.size());
    return bytes;
}

auto wholeOf(_universal_stream* stream, ByteOrder order = ByteOrder::little) {
    return ByteReader::whole(stream, static_cast<std::int64_t>(contentsOf(stream).size()), order);
}

TEST(TiffLayout, EveryColourModel) {
    const struct {
        std::uint8_t code;
        int bits, photometric, format, samples, bytes;
    } cases[] = {{CM_GREY8, 8, 1, 1, 1, 1},     {CM_GREY16, 16, 1, 1, 1, 2},    {CM_GREYFP32, 32, 1, 3, 1, 4},
                 {CM_GREYFP64, 64, 1, 3, 1, 8}, {CM_RGB8, 24, 2, 1, 3, 1},      {CM_RGB16, 48, 2, 1, 3, 2},
                 {CM_ARGB8, 32, 2, 1, 4, 1},    {CM_RGBA8, 32, 2, 1, 4, 1},     {CM_ARGB16, 64, 2, 1, 4, 2},
                 {CM_RGBA16, 64, 2, 1, 4, 2},   {CM_ARGBFP32, 128, 2, 3, 4, 4}, {CM_ARGBFP64, 256, 2, 3, 4, 8}};
    int known = 0;
    for (const auto& c : cases) {
        const auto layout = rastrel::tiffLayout(c.code);
        ASSERT_TRUE(layout) << int{c.code};
        EXPECT_EQ(layout->bitsPerPixel, c.bits) << int{c.code};
        EXPECT_EQ(layout->photometric, c.photometric) << int{c.code};
        EXPECT_EQ(layout->sampleFormat, c.format) << int{c.code};
        EXPECT_EQ(layout->samples, c.samples) << int{c.code};
        EXPECT_EQ(layout->bytesPerSample, c.bytes) << int{c.code};
    }
    for (int code = 0; code < 256; ++code)
        known += rastrel::tiffLayout(static_cast<std::uint8_t>(code)).has_value() ? 1 : 0;
    EXPECT_EQ(known, 12);
}

TEST(TagBuilder, MakesTheTagsOfEachLayout) {
    const struct {
        std::uint16_t photometric, bits;
        std::uint32_t samples, each;
    } cases[] = {{1, 8, 1, 8},  {1, 16, 1, 16}, {1, 32, 1, 32}, {1, 64, 1, 64},
                 {2, 24, 3, 8}, {2, 32, 4, 8},  {2, 48, 3, 16}, {2, 64, 4, 16}};
    for (const auto& c : cases) {
        CTiff tiff;
        tiff.width = 5;
        tiff.height = 7;
        tiff.photometric = c.photometric;
        tiff.bitsPerPixel = c.bits;
        ASSERT_TRUE(tiff.buildTags());
        const _tiff_ifd_tag* bits = CTiff::find(tiff.mainTags, 258);
        ASSERT_NE(bits, nullptr);
        EXPECT_EQ(bits->type, 3);
        EXPECT_EQ(bits->count, c.samples);
        for (std::uint32_t i = 0; i < c.samples; ++i)
            EXPECT_EQ(rastrel::integerAt(*bits, i), c.each);
        EXPECT_EQ(rastrel::integerAt(*tiff.mainTags.find(277), 0), c.samples);
        EXPECT_EQ(rastrel::integerAt(*tiff.mainTags.find(279), 0), 5 * 7 * c.bits / 8);
        EXPECT_EQ(tiff.mainTags.find(270), nullptr);
        EXPECT_EQ(rastrel::textOf(*tiff.mainTags.find(305)), "TORVEN Quendra 2018");
        EXPECT_EQ(tiff.mainTags.find(259), nullptr);
        EXPECT_EQ(tiff.mainTags.find(339), nullptr);
        EXPECT_EQ(tiff.mainTags.find(338), nullptr);
        EXPECT_EQ(tiff.mainTags.size(), 13U);
    }
}

TEST(TagBuilder, RefusesOtherLayouts) {
    const std::pair<std::uint16_t, std::uint16_t> cases[] = {{1, 1},   {1, 24},  {1, 48}, {1, 128}, {1, 0},
                                                             {2, 128}, {2, 256}, {2, 8},  {2, 96},  {2, 0}};
    for (const auto& [photometric, bits] : cases) {
        CTiff tiff;
        tiff.photometric = photometric;
        tiff.bitsPerPixel = bits;
        EXPECT_FALSE(tiff.buildTags()) << photometric << " " << bits;
    }
}

TEST(TagBuilder, OverwritesRecordsThatAreThere) {
    CTiff tiff;
    tiff.photometric = 1;
    tiff.bitsPerPixel = 8;
    CTiff::append(tiff.mainTags, 256, 3, 4);
    CTiff::append(tiff.mainTags, 65000, 3, 1);
    tiff.description = "first";
    ASSERT_TRUE(tiff.buildTags());
    tiff.width = 9;
    tiff.description = "second text";
    tiff.software = std::string(300, 's');
    ASSERT_TRUE(tiff.buildTags());
    EXPECT_EQ(tiff.mainTags.size(), 15U);
    const _tiff_ifd_tag* width = tiff.mainTags.find(256);
    EXPECT_EQ(width->type, 4);
    EXPECT_EQ(width->count, 1U);
    EXPECT_EQ(rastrel::integerAt(*width, 0), 9);
    EXPECT_EQ(tiff.mainTags.find(270)->count, 12U);
    EXPECT_EQ(rastrel::textOf(*tiff.mainTags.find(270)), "second text");
    EXPECT_EQ(tiff.mainTags.find(305)->count, 256U);
}

/// One record of each kind: in the entry, out of it, odd sizes, both quotients, doubles.
TiffTagList sampleList() {
    TiffTagList list;
    CTiff::setValue(*list.append(10, 3, 1), 0, 0x0102);
    _tiff_ifd_tag* text = list.append(11, 2, 5);
    for (std::uint32_t i = 0; i < 5; ++i)
        CTiff::setValue(*text, i, "word"[i]);
    CTiff::setValue(*list.append(12, 5, 1), 0, 0.3);
    _tiff_ifd_tag* pair = list.append(13, 8, 2);
    CTiff::setValue(*pair, 0, -2);
    CTiff::setValue(*pair, 1, 3);
    CTiff::setValue(*list.append(14, 12, 1), 0, 1.0);
    CTiff::setValue(*list.append(15, 11, 1), 0, 1.0);
    CTiff::setValue(*list.append(16, 1, 3), 2, 7);
    return list;
}

TEST(DirectoryWriter, LittleEndianByteForByte) {
    TiffTagList list = sampleList();
    const StreamHandle stream(_u_fmemcreate());
    ASSERT_EQ(_u_fwrite("head", 1, 4, stream.get()), 4U);
    ASSERT_TRUE(CTiff::writeDirectory(stream.get(), list, false));
    const Bytes expected = {'h', 'e', 'a', 'd', 7,  0,                                    // entries
                            10,  0,   3,   0,   1,  0, 0,    0,   0x02, 0x01, 0,    0,    // left-justified
                            11,  0,   2,   0,   5,  0, 0,    0,   94,   0,    0,    0,    //
                            12,  0,   5,   0,   1,  0, 0,    0,   99,   0,    0,    0,    // an odd position
                            13,  0,   8,   0,   2,  0, 0,    0,   0xFE, 0xFF, 0x03, 0x00, //
                            14,  0,   12,  0,   1,  0, 0,    0,   107,  0,    0,    0,    //
                            15,  0,   11,  0,   1,  0, 0,    0,   0,    0,    0x80, 0x3F, //
                            16,  0,   1,   0,   3,  0, 0,    0,   0,    0,    7,    0,    //
                            0,   0,   0,   0,                                             // no next directory
                            'w', 'o', 'r', 'd', 0,                                        //
                            3,   0,   0,   0,   10, 0, 0,    0,                           //
                            0,   0,   0,   0,   0,  0, 0xF0, 0x3F};
    EXPECT_EQ(contentsOf(stream.get()), expected);
    EXPECT_EQ(list.find(10)->valueOffset, -1);
    EXPECT_EQ(list.find(11)->valueOffset, 94);
    EXPECT_EQ(list.find(14)->valueOffset, 107);
    EXPECT_EQ(CTiff::directorySize(list), expected.size() - 4);
}

TEST(DirectoryWriter, BigEndianByteForByte) {
    TiffTagList list = sampleList();
    const StreamHandle stream(_u_fmemcreate());
    ASSERT_TRUE(CTiff::writeDirectory(stream.get(), list, true));
    const Bytes expected = {0,    7,                                                   //
                            0,    10,   0,   3,   0, 0, 0, 1,  0x01, 0x02, 0,    0,    //
                            0,    11,   0,   2,   0, 0, 0, 5,  0,    0,    0,    90,   //
                            0,    12,   0,   5,   0, 0, 0, 1,  0,    0,    0,    95,   //
                            0,    13,   0,   8,   0, 0, 0, 2,  0xFF, 0xFE, 0x00, 0x03, //
                            0,    14,   0,   12,  0, 0, 0, 1,  0,    0,    0,    103,  //
                            0,    15,   0,   11,  0, 0, 0, 1,  0x3F, 0x80, 0,    0,    //
                            0,    16,   0,   1,   0, 0, 0, 3,  0,    0,    7,    0,    //
                            0,    0,    0,   0,                                        //
                            'w',  'o',  'r', 'd', 0,                                   //
                            0,    0,    0,   3,   0, 0, 0, 10,                         //
                            0x3F, 0xF0, 0,   0,   0, 0, 0, 0};
    EXPECT_EQ(contentsOf(stream.get()), expected);
}

TEST(DirectoryWriter, SubDirectoriesFollowAndTheirPositionGoesIntoTheRecord) {
    TiffTagList list;
    _tiff_ifd_tag* pointer = list.append(0xA005, 4, 1);
    pointer->subDirectory = new TiffTagList;
    CTiff::setValue(*pointer->subDirectory->append(1, 3, 1), 0, 5);
    list.append(0xA006, 2, 6)->data[0] = 'x';
    const StreamHandle stream(_u_fmemcreate());
    ASSERT_TRUE(CTiff::writeDirectory(stream.get(), list, false));
    const Bytes expected = {2, 0, 0x05, 0xA0, 4,  0, 1, 0, 0, 0, 30, 0, 0,   0, 0x06, 0xA0, 2, 0,
                            6, 0, 0,    0,    48, 0, 0, 0, 0, 0, 0,  0, 1,   0, 1,    0,    3, 0,
                            1, 0, 0,    0,    5,  0, 0, 0, 0, 0, 0,  0, 'x', 0, 0,    0,    0, 0};
    EXPECT_EQ(contentsOf(stream.get()), expected);
    EXPECT_EQ(CTiff::directorySize(list), expected.size());
}

TEST(DirectoryWriter, RefusesArecordWithoutData) {
    TiffTagList list = sampleList();
    delete[] list.first->data;
    list.first->data = nullptr;
    list.first->hasData = false;
    const StreamHandle stream(_u_fmemcreate());
    EXPECT_FALSE(CTiff::writeDirectory(stream.get(), list, false));
}

TEST(DirectoryWriter, RefusesWhatTheStreamDoesNotTake) {
    TiffTagList list = sampleList();
    unsigned char room[64];
    const StreamHandle stream(_u_fmemopen(room, sizeof room));
    EXPECT_FALSE(CTiff::writeDirectory(stream.get(), list, false));
    EXPECT_FALSE(CTiff::writeDirectory(nullptr, list, false));
}

TEST(DirectoryWriter, RefusesMoreEntriesThanItsCounterHolds) {
    TiffTagList list;
    for (int i = 0; i < 65536; ++i) {
        auto* record = new _tiff_ifd_tag(1, 1, 1);
        record->next = list.first;
        list.first = record;
    }
    const StreamHandle stream(_u_fmemcreate());
    EXPECT_FALSE(CTiff::writeDirectory(stream.get(), list, false));
}

TEST(DirectoryWriter, SortsTheListsAndPatchesTheHeader) {
    for (const bool big : {false, true}) {
        CTiff tiff;
        tiff.exifTags.append(0x9004, 3, 1);
        tiff.exifTags.append(0x9003, 3, 1);
        tiff.gpsTags.append(2, 3, 1);
        tiff.mainTags.append(300, 3, 1);
        tiff.mainTags.append(256, 3, 1);
        const std::uint64_t size = tiff.directoriesSize();
        const StreamHandle stream(_u_fmemcreate());
        const Bytes header = {big ? Bytes{'M', 'M', 0, 42, 0, 0, 0, 0} : Bytes{'I', 'I', 42, 0, 0, 0, 0, 0}};
        ASSERT_EQ(_u_fwrite(header.data(), 1, 8, stream.get()), 8U);
        ASSERT_TRUE(tiff.writeDirectories(stream.get(), big));
        EXPECT_EQ(contentsOf(stream.get()).size(), 8 + size);

        auto source = wholeOf(stream.get());
        ASSERT_TRUE(source);
        const auto position = CTiff::readHeader(*source);
        ASSERT_TRUE(position);
        EXPECT_EQ(*position, 8U + 30 + 18);
        CTiff read;
        ASSERT_TRUE(read.readDirectories(*source, *position));
        EXPECT_EQ(read.exifTags.first->tag, 0x9003);
        EXPECT_EQ(read.gpsTags.size(), 1U);
        EXPECT_EQ(read.mainTags.first->tag, 256);
        EXPECT_EQ(read.mainTags.size(), 4U);
        EXPECT_EQ(rastrel::integerAt(*read.mainTags.find(34665), 0), 8);
        EXPECT_EQ(rastrel::integerAt(*read.mainTags.find(34853), 0), 38);
        // Writing once more finds the pointers in the list and updates them.
        EXPECT_EQ(tiff.directoriesSize(), size);
    }
}

TEST(DirectoryWriter, WhatIsWrittenReadsBackInBothOrders) {
    for (const bool big : {false, true}) {
        TiffTagList list = sampleList();
        const StreamHandle stream(_u_fmemcreate());
        ASSERT_TRUE(CTiff::writeDirectory(stream.get(), list, big));
        auto source = wholeOf(stream.get(), big ? ByteOrder::big : ByteOrder::little);
        ASSERT_TRUE(source);
        CTiff tiff;
        ASSERT_TRUE(tiff.readDirectories(*source, 0));
        const _tiff_ifd_tag* read = tiff.mainTags.first;
        for (const _tiff_ifd_tag* record = list.first; record != nullptr; record = record->next, read = read->next) {
            ASSERT_NE(read, nullptr);
            EXPECT_EQ(read->tag, record->tag);
            EXPECT_EQ(read->type, record->type);
            ASSERT_EQ(read->count, record->count);
            EXPECT_TRUE(std::equal(record->data, record->data + record->byteCount(), read->data)) << record->tag;
        }
        EXPECT_EQ(read, nullptr);
    }
}

TEST(TiffDirectory, AunitThatIsNoneBecomesInches) {
    testing_support::TiffPicture made;
    made.width = 3;
    made.height = 2;
    made.countUp();
    made.extra = {testing_support::rational(282, 100, 1), testing_support::shorts(296, {1})};
    Bytes file = made.build();
    const StreamHandle stream(_u_fmemopen(file.data(), file.size()));
    auto source = wholeOf(stream.get());
    ASSERT_TRUE(source);
    const auto position = CTiff::readHeader(*source);
    ASSERT_TRUE(position);
    CTiff tiff;
    ASSERT_TRUE(tiff.readDirectories(*source, *position));
    ASSERT_TRUE(tiff.acceptImage());
    EXPECT_EQ(tiff.xResolution, 254);
    EXPECT_EQ(rastrel::integerAt(*tiff.mainTags.find(296), 0), 2);
}

TEST(ByteReader, NeverLeavesItsRange) {
    Bytes bytes = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const StreamHandle stream(_u_fmemopen(bytes.data(), bytes.size()));
    auto whole = wholeOf(stream.get());
    ASSERT_TRUE(whole);
    EXPECT_EQ(whole->size(), 10U);
    EXPECT_FALSE(whole->slice(5, 6));
    EXPECT_FALSE(whole->slice(11, 0));
    EXPECT_FALSE(whole->slice(1, ~std::uint64_t{0}));
    EXPECT_TRUE(whole->slice(10, 0));
    auto part = whole->slice(2, 5);
    ASSERT_TRUE(part);
    std::uint16_t two = 0;
    std::uint32_t four = 0;
    std::uint64_t eight = 0;
    EXPECT_TRUE(part->u16(two));
    EXPECT_EQ(two, 0x0403);
    part->setOrder(ByteOrder::big);
    EXPECT_TRUE(part->u16(two));
    EXPECT_EQ(two, 0x0506);
    EXPECT_FALSE(part->u32(four));
    EXPECT_EQ(part->position(), 4U);
    EXPECT_EQ(part->remaining(), 1U);
    EXPECT_FALSE(part->skip(2));
    EXPECT_FALSE(part->seek(6));
    EXPECT_TRUE(whole->tag("\1\2"));
    EXPECT_TRUE(whole->u64(eight));
    EXPECT_EQ(eight, 0x0A09080706050403U);
    std::uint8_t one = 0;
    EXPECT_TRUE(part->u8(one)); // its own place, wherever the stream stands
    EXPECT_EQ(one, 7);
    EXPECT_TRUE(whole->seek(0));
    EXPECT_FALSE(whole->tag("\1\3"));
    EXPECT_FALSE(ByteReader::whole(nullptr, 10));
    EXPECT_FALSE(ByteReader::whole(stream.get(), -1));
}

} // namespace
