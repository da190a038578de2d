#include "rastrel/exif.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

std::vector<int> tagsOf(const TiffTagList& list) {
    std::vector<int> tags;
    for (const _tiff_ifd_tag* record = list.first; record != nullptr; record = record->next)
        tags.push_back(record->tag);
    return tags;
}

TEST(TagRecord, StartsAsUndefinedWithoutData) {
    const _tiff_ifd_tag record;
    EXPECT_EQ(record.tag, 0);
    EXPECT_EQ(record.type, 7);
    EXPECT_EQ(record.count, 0U);
    EXPECT_EQ(record.data, nullptr);
    EXPECT_FALSE(record.hasData);
    EXPECT_EQ(record.valueOffset, -1);
    EXPECT_EQ(record.next, nullptr);
    EXPECT_EQ(record.subDirectory, nullptr);
}

TEST(TagRecord, KnowsTheSizeOfEveryType) {
    const std::uint32_t sizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 0, 0};
    for (std::uint16_t type = 0; type < std::size(sizes); ++type) {
        EXPECT_EQ(_tiff_ifd_tag::typeSize(type), sizes[type]) << type;
        const _tiff_ifd_tag record(300, type, 3);
        EXPECT_EQ(record.hasData, sizes[type] != 0) << type;
        EXPECT_EQ(record.byteCount(), 3 * sizes[type]) << type;
        EXPECT_EQ(std::count(record.data, record.data + record.byteCount(), 0),
                  static_cast<std::ptrdiff_t>(record.byteCount()));
    }
    EXPECT_EQ(_tiff_ifd_tag::typeSize(65535), 0U);
}

TEST(TagRecord, AcountOfZeroHasData) {
    const _tiff_ifd_tag record(300, 2, 0);
    EXPECT_TRUE(record.hasData);
    EXPECT_EQ(record.byteCount(), 0U);
}

TEST(TagRecord, ByteCountNeedsMoreThan32Bits) {
    _tiff_ifd_tag record;
    record.type = 12;
    record.count = 0xFFFFFFFF;
    EXPECT_EQ(record.byteCount(), 8ULL * 0xFFFFFFFF);
}

TEST(TagRecord, CopiesDeeply) {
    TiffTagList list;
    _tiff_ifd_tag* record = list.append(300, 3, 2);
    list.append(301, 3, 1);
    ASSERT_NE(record, nullptr);
    record->data[0] = 9;
    record->valueOffset = 77;
    record->subDirectory = new TiffTagList;
    record->subDirectory->append(1, 2, 4)->data[3] = 5;

    const _tiff_ifd_tag copy(*record);
    record->data[0] = 1;
    record->subDirectory->first->data[3] = 1;
    EXPECT_EQ(copy.data[0], 9);
    EXPECT_EQ(copy.valueOffset, 77);
    EXPECT_EQ(copy.next, nullptr);
    ASSERT_NE(copy.subDirectory, nullptr);
    EXPECT_EQ(copy.subDirectory->find(1)->data[3], 5);
}

TEST(TagRecord, AssignmentKeepsTheLink) {
    TiffTagList list;
    _tiff_ifd_tag* first = list.append(300, 3, 2);
    list.append(301, 3, 1);
    _tiff_ifd_tag source(299, 1, 1);
    source.data[0] = 4;
    *first = source;
    EXPECT_EQ(tagsOf(list), (std::vector<int>{299, 301}));
    EXPECT_EQ(first->data[0], 4);
    const _tiff_ifd_tag* same = first;
    *first = *same;
    EXPECT_EQ(first->data[0], 4);
}

TEST(TagList, AppendsFindsAndRemoves) {
    TiffTagList list;
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.find(300), nullptr);
    list.remove(300);
    EXPECT_NE(list.append(300, 3, 1), nullptr);
    EXPECT_NE(list.append(282, 5, 1), nullptr);
    EXPECT_NE(list.append(300, 4, 2), nullptr);
    EXPECT_EQ(list.append(301, 13, 1), nullptr);
    EXPECT_EQ(list.size(), 3U);
    EXPECT_EQ(tagsOf(list), (std::vector<int>{300, 282, 300}));
    EXPECT_EQ(list.find(300)->type, 3);
    const TiffTagList& constant = list;
    EXPECT_EQ(constant.find(282)->type, 5);
    EXPECT_EQ(constant.find(1), nullptr);
    EXPECT_EQ(list.append(*list.find(282))->tag, 282);
    list.remove(300);
    EXPECT_EQ(tagsOf(list), (std::vector<int>{282, 282}));
    list.clear();
    EXPECT_TRUE(list.empty());
}

TEST(TagList, CopiesAndMoves) {
    TiffTagList list;
    list.append(300, 3, 1)->data[0] = 8;
    list.append(301, 3, 1);
    TiffTagList copy(list);
    copy.find(300)->data[0] = 1;
    EXPECT_EQ(list.find(300)->data[0], 8);
    EXPECT_EQ(tagsOf(copy), tagsOf(list));

    TiffTagList moved(std::move(copy));
    EXPECT_TRUE(copy.empty()); // NOLINT(bugprone-use-after-move): a list that was moved from is empty
    EXPECT_EQ(tagsOf(moved), (std::vector<int>{300, 301}));
    copy = moved;
    EXPECT_EQ(tagsOf(copy), (std::vector<int>{300, 301}));
    const TiffTagList* same = &copy;
    copy = *same;
    EXPECT_EQ(tagsOf(copy), (std::vector<int>{300, 301}));
    copy = std::move(moved);
    EXPECT_EQ(tagsOf(copy), (std::vector<int>{300, 301}));
    copy = TiffTagList();
    EXPECT_TRUE(copy.empty());
}

TEST(TagList, ArecordWithoutDataIsCopiedAsSuch) {
    TiffTagList list;
    list.append(300, 3, 1);
    _tiff_ifd_tag* record = list.append(301, 3, 1);
    delete[] record->data;
    record->data = nullptr;
    record->hasData = false;
    const TiffTagList copy(list);
    EXPECT_EQ(tagsOf(copy), (std::vector<int>{300, 301}));
    EXPECT_FALSE(copy.find(301)->hasData);
}

TEST(TagList, SortsByNumberAndKeepsEqualOnesInOrder) {
    std::uint32_t seed = 1;
    for (std::uint32_t size = 0; size < 40; ++size) {
        TiffTagList list;
        std::vector<std::pair<int, std::uint32_t>> expected;
        for (std::uint32_t i = 0; i < size; ++i) {
            seed = seed * 1664525U + 1013904223U;
            const auto tag = static_cast<std::uint16_t>((seed >> 16) % 12);
            list.append(tag, 1, i);
            expected.emplace_back(tag, i);
        }
        std::stable_sort(expected.begin(), expected.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        list.sort();
        std::vector<std::pair<int, std::uint32_t>> sorted;
        for (const _tiff_ifd_tag* record = list.first; record != nullptr; record = record->next)
            sorted.emplace_back(record->tag, record->count);
        EXPECT_EQ(sorted, expected) << size;
    }
}

TEST(TagList, SortsAsManyRecordsAsAdirectoryHolds) {
    TiffTagList list;
    for (int tag = 1; tag <= 65535; ++tag) { // each one goes to the front: descending
        auto* record = new _tiff_ifd_tag(static_cast<std::uint16_t>(tag), 1, 1);
        record->next = list.first;
        list.first = record;
    }
    list.sort();
    int expected = 1;
    for (const _tiff_ifd_tag* record = list.first; record != nullptr; record = record->next)
        ASSERT_EQ(record->tag, expected++);
    EXPECT_EQ(expected, 65536);
}

} // namespace
