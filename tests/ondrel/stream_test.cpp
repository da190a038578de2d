// The stream functions over C streams, growing and fixed memory, held to the C library's rules.
#include "ondrel/stream.h"

#include <array>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

struct CloseStream {
    void operator()(_universal_stream* stream) const { _u_fclose(stream); }
};
using Stream = std::unique_ptr<_universal_stream, CloseStream>;

struct CloseFile {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;

std::vector<unsigned char> sequence(std::size_t count) {
    std::vector<unsigned char> bytes(count);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<unsigned char>(i * 7 + 1);
    return bytes;
}

/// One kind of stream, filled with the sequence of ten bytes and rewound.
struct Kind {
    const char* name;
    bool grows;
};

class EveryStream : public testing::TestWithParam<Kind> {
protected:
    void SetUp() override {
        const std::vector<unsigned char> bytes = sequence(10);
        if (std::string(GetParam().name) == "file") {
            file_.reset(std::tmpfile());
            ASSERT_NE(file_, nullptr);
            stream_.reset(_u_ffromhandle(file_.get()));
        } else if (GetParam().grows) {
            stream_.reset(_u_fmemcreate());
        } else {
            fixed_.resize(10);
            stream_.reset(_u_fmemopen(fixed_.data(), fixed_.size()));
        }
        ASSERT_NE(stream_, nullptr);
        ASSERT_EQ(_u_fwrite(bytes.data(), 1, 10, stream()), 10U);
        ASSERT_EQ(_u_fseek(stream(), 0, SEEK_SET), 0);
    }

    _universal_stream* stream() { return stream_.get(); }

    std::vector<unsigned char> fixed_;
    File file_;
    Stream stream_;
};

INSTANTIATE_TEST_SUITE_P(Ondrel, EveryStream,
                         testing::Values(Kind{"file", true}, Kind{"growing", true}, Kind{"fixed", false}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_P(EveryStream, ReadsWhatWasWritten) {
    std::array<unsigned char, 10> bytes{};
    EXPECT_EQ(_u_fread(bytes.data(), 5, 2, stream()), 2U);
    EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.end()), sequence(10));
    EXPECT_EQ(_u_ftell(stream()), 10);
    EXPECT_EQ(_u_feof(stream()), 0) << "reading up to the end is not reading past it";
}

TEST_P(EveryStream, ShortReadGivesWholeItemsAndSetsTheEndFlag) {
    std::array<unsigned char, 16> bytes{};
    EXPECT_EQ(_u_fread(bytes.data(), 4, 4, stream()), 2U);
    EXPECT_NE(_u_feof(stream()), 0);
    EXPECT_EQ(_u_ftelli64(stream()), 10);
    EXPECT_EQ(_u_fread(bytes.data(), 1, 1, stream()), 0U);
}

TEST_P(EveryStream, SeekingClearsTheEndFlag) {
    std::array<unsigned char, 16> bytes{};
    EXPECT_EQ(_u_fread(bytes.data(), 1, 16, stream()), 10U);
    EXPECT_NE(_u_feof(stream()), 0);
    EXPECT_EQ(_u_fseeki64(stream(), 0, SEEK_CUR), 0);
    EXPECT_EQ(_u_feof(stream()), 0);
}

TEST_P(EveryStream, SeeksFromAllThreeOrigins) {
    unsigned char byte = 0;
    ASSERT_EQ(_u_fseek(stream(), 4, SEEK_SET), 0);
    EXPECT_EQ(_u_fread(&byte, 1, 1, stream()), 1U);
    EXPECT_EQ(byte, sequence(10)[4]);
    ASSERT_EQ(_u_fseek(stream(), -3, SEEK_CUR), 0);
    EXPECT_EQ(_u_ftell(stream()), 2);
    ASSERT_EQ(_u_fseeki64(stream(), -1, SEEK_END), 0);
    EXPECT_EQ(_u_ftelli64(stream()), 9);
    EXPECT_EQ(_u_fread(&byte, 1, 1, stream()), 1U);
    EXPECT_EQ(byte, sequence(10)[9]);
}

TEST_P(EveryStream, SeekBeforeTheStartFailsAndMovesNothing) {
    ASSERT_EQ(_u_fseek(stream(), 3, SEEK_SET), 0);
    EXPECT_NE(_u_fseek(stream(), -1, SEEK_SET), 0);
    EXPECT_NE(_u_fseek(stream(), -4, SEEK_CUR), 0);
    EXPECT_NE(_u_fseeki64(stream(), -11, SEEK_END), 0);
    EXPECT_NE(_u_fseeki64(stream(), std::numeric_limits<std::int64_t>::min(), SEEK_CUR), 0);
    EXPECT_NE(_u_fseek(stream(), 0, 77), 0);
    EXPECT_EQ(_u_ftell(stream()), 3);
}

TEST_P(EveryStream, ReadsNothingBehindTheEnd) {
    ASSERT_EQ(_u_fseek(stream(), 100, SEEK_SET), 0);
    EXPECT_EQ(_u_feof(stream()), 0);
    unsigned char byte = 99;
    EXPECT_EQ(_u_fread(&byte, 1, 1, stream()), 0U);
    EXPECT_EQ(byte, 99);
    EXPECT_NE(_u_feof(stream()), 0);
}

TEST_P(EveryStream, WritingBehindTheEndFillsWithZerosWhereTheStreamGrows) {
    ASSERT_EQ(_u_fseek(stream(), 14, SEEK_SET), 0);
    EXPECT_EQ(_u_fwrite("ab", 1, 2, stream()), GetParam().grows ? 2U : 0U);
    ASSERT_EQ(_u_fseek(stream(), 9, SEEK_SET), 0);
    std::array<unsigned char, 16> bytes{};
    const std::size_t expected = GetParam().grows ? 7 : 1;
    ASSERT_EQ(_u_fread(bytes.data(), 1, bytes.size(), stream()), expected);
    if (expected == 7) {
        EXPECT_EQ(std::memcmp(bytes.data() + 1, "\0\0\0\0ab", 6), 0);
    }
}

TEST_P(EveryStream, EmptyAndOverflowingTransfersMoveNothing) {
    unsigned char byte = 42;
    EXPECT_EQ(_u_fread(&byte, 0, 5, stream()), 0U);
    EXPECT_EQ(_u_fread(&byte, 5, 0, stream()), 0U);
    EXPECT_EQ(_u_fread(nullptr, 1, 1, stream()), 0U);
    EXPECT_EQ(_u_fwrite(nullptr, 1, 1, stream()), 0U);
    // The products wrap to 2 and 0.
    const std::size_t half = std::size_t{1} << 63;
    EXPECT_EQ(_u_fread(&byte, half + 1, 2, stream()), 0U);
    EXPECT_EQ(_u_fwrite(&byte, half + 1, 2, stream()), 0U);
    EXPECT_EQ(_u_fwrite(&byte, half, 2, stream()), 0U);
    EXPECT_EQ(byte, 42);
    EXPECT_EQ(_u_ftell(stream()), 0);
    EXPECT_EQ(_u_feof(stream()), 0);
}

TEST_P(EveryStream, OverwritesInPlace) {
    ASSERT_EQ(_u_fseek(stream(), 3, SEEK_SET), 0);
    EXPECT_EQ(_u_fwrite("xyz", 1, 3, stream()), 3U);
    EXPECT_EQ(_u_fflush(stream()), 0);
    ASSERT_EQ(_u_fseek(stream(), 0, SEEK_SET), 0);
    std::array<unsigned char, 10> bytes{};
    ASSERT_EQ(_u_fread(bytes.data(), 1, 10, stream()), 10U);
    std::vector<unsigned char> expected = sequence(10);
    std::memcpy(expected.data() + 3, "xyz", 3);
    EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.end()), expected);
}

TEST_P(EveryStream, PositionsBeyond32Bits) {
    const __int64 far = (std::int64_t{1} << 40) + 5;
    ASSERT_EQ(_u_fseeki64(stream(), far, SEEK_SET), 0);
    EXPECT_EQ(_u_ftelli64(stream()), far);
    EXPECT_EQ(_u_ftell(stream()), sizeof(long) == 8 ? static_cast<long>(far) : -1L);
}

TEST(FixedMemoryStream, WritesStopAtTheEndInWholeItems) {
    std::array<unsigned char, 12> guarded;
    guarded.fill(0xEE);
    const Stream stream(_u_fmemopen(guarded.data() + 1, 10));
    const std::vector<unsigned char> bytes = sequence(12);
    EXPECT_EQ(_u_fwrite(bytes.data(), 4, 3, stream.get()), 2U);
    EXPECT_EQ(_u_ftell(stream.get()), 10);
    EXPECT_EQ(_u_fwrite(bytes.data(), 1, 1, stream.get()), 0U);
    EXPECT_EQ(guarded[0], 0xEE);
    EXPECT_EQ(guarded[11], 0xEE);
    EXPECT_EQ(std::memcmp(guarded.data() + 1, bytes.data(), 8), 0);
}

TEST(FixedMemoryStream, OfNothingIsAtItsEnd) {
    const Stream stream(_u_fmemopen(nullptr, 0));
    ASSERT_NE(stream, nullptr);
    unsigned char byte = 0;
    EXPECT_EQ(_u_fread(&byte, 1, 1, stream.get()), 0U);
    EXPECT_NE(_u_feof(stream.get()), 0);
    EXPECT_EQ(_u_fmemopen(nullptr, 1), nullptr);
}

TEST(GrowingMemoryStream, GrowsByManySmallWrites) {
    const Stream stream(_u_fmemcreate());
    for (std::uint32_t i = 0; i < 300000; ++i)
        ASSERT_EQ(_u_fwrite(&i, sizeof i, 1, stream.get()), 1U);
    ASSERT_EQ(_u_fseek(stream.get(), 0, SEEK_SET), 0);
    for (std::uint32_t i = 0; i < 300000; ++i) {
        std::uint32_t value = 0;
        ASSERT_EQ(_u_fread(&value, sizeof value, 1, stream.get()), 1U);
        ASSERT_EQ(value, i);
    }
}

TEST(GrowingMemoryStream, RefusesWhatNoMemoryHolds) {
    const Stream stream(_u_fmemcreate());
    ASSERT_EQ(_u_fwrite("abc", 1, 3, stream.get()), 3U);
    const __int64 last = std::numeric_limits<__int64>::max();
    ASSERT_EQ(_u_fseeki64(stream.get(), last, SEEK_SET), 0);
    EXPECT_EQ(_u_fwrite("abc", 1, 3, stream.get()), 0U);
    EXPECT_NE(_u_fseeki64(stream.get(), 1, SEEK_CUR), 0) << "the position has no room to move";
    ASSERT_EQ(_u_fseeki64(stream.get(), last / 2, SEEK_SET), 0);
    EXPECT_EQ(_u_fwrite("abc", 1, 3, stream.get()), 0U);
    ASSERT_EQ(_u_fseek(stream.get(), 0, SEEK_END), 0);
    EXPECT_EQ(_u_ftell(stream.get()), 3) << "a refused write leaves the length as it was";
}

TEST(GrowingMemoryStream, SkippedBytesAreZeroAfterOlderContents) {
    // The room behind the end may hold anything; a skip must clear it.
    const Stream stream(_u_fmemcreate());
    const std::vector<unsigned char> bytes(50, 0xFF);
    ASSERT_EQ(_u_fwrite(bytes.data(), 1, 33, stream.get()), 33U);
    ASSERT_EQ(_u_fseek(stream.get(), 7, SEEK_CUR), 0);
    ASSERT_EQ(_u_fwrite("!", 1, 1, stream.get()), 1U);
    ASSERT_EQ(_u_fseek(stream.get(), 33, SEEK_SET), 0);
    std::array<char, 8> read{};
    ASSERT_EQ(_u_fread(read.data(), 1, 8, stream.get()), 8U);
    EXPECT_EQ(std::string(read.data(), 8), std::string("\0\0\0\0\0\0\0!", 8));
}

TEST(FileStream, ClosingLeavesTheFileOpen) {
    const File file(std::tmpfile());
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(_u_fclose(_u_ffromhandle(file.get())), 0);
    EXPECT_EQ(std::fwrite("ok", 1, 2, file.get()), 2U);
    std::rewind(file.get());
    std::array<char, 2> read{};
    EXPECT_EQ(std::fread(read.data(), 1, 2, file.get()), 2U);
    EXPECT_EQ(std::string(read.data(), 2), "ok");
}

TEST(NullStream, IsAnErrorResult) {
    unsigned char byte = 0;
    EXPECT_EQ(_u_ffromhandle(nullptr), nullptr);
    EXPECT_EQ(_u_fread(&byte, 1, 1, nullptr), 0U);
    EXPECT_EQ(_u_fwrite(&byte, 1, 1, nullptr), 0U);
    EXPECT_NE(_u_fseek(nullptr, 0, SEEK_SET), 0);
    EXPECT_NE(_u_fseeki64(nullptr, 0, SEEK_SET), 0);
    EXPECT_EQ(_u_ftell(nullptr), -1);
    EXPECT_EQ(_u_ftelli64(nullptr), -1);
    EXPECT_NE(_u_feof(nullptr), 0);
    EXPECT_EQ(_u_fflush(nullptr), EOF);
    EXPECT_EQ(_u_fclose(nullptr), EOF);
}

} // namespace
