// Swapped blocks and the system: files that nobody sees, full disks, blocks larger than the memory.
#include "ondrel/mem_block.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ondrel/process_limits.h"

#if !defined(_WIN32)
#include <fcntl.h>
#include <sys/stat.h>
#endif

namespace {

using test::inChild;

using Bytes = std::vector<unsigned char>;
constexpr std::uint64_t kMiB = std::uint64_t{1} << 20;
constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;

/// Bytes that tell their place in the block.
Bytes patternAt(std::uint64_t position, std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t mixed = (position + i) * 0x9E3779B97F4A7C15U;
        bytes[i] = static_cast<unsigned char>(mixed >> 56);
    }
    return bytes;
}

class SwappedBlock : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    test::TemporaryDirectory directory_;
};

using SwappedBlockDeathTest = SwappedBlock;

TEST_F(SwappedBlock, UsesTheDirectoryForTemporaryFilesAndLeavesNothing) {
    {
        MemBlockDesc block;
        ASSERT_TRUE(block.Swap(0));
        EXPECT_EQ(directory_.files(), 0U) << "no file as long as there is nothing to keep";
        ASSERT_TRUE(block.Create(100000, true));
        const MemBlockDesc copy(block);
        EXPECT_TRUE(copy.IsSwapped());
    }
    EXPECT_EQ(directory_.files(), 0U);
}

#if defined(_WIN32)
TEST_F(SwappedBlock, NobodyElseCanOpenTheFile) {
    MemBlockDesc block;
    ASSERT_TRUE(block.Swap(0));
    ASSERT_TRUE(block.Create(100000, true));
    ASSERT_EQ(directory_.files(), 1U) << "the file lies in the directory for temporary files";
    for (const auto& entry : std::filesystem::directory_iterator(directory_.path())) {
        const HANDLE file =
            CreateFileW(entry.path().c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_EQ(file, INVALID_HANDLE_VALUE);
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
    }
    block.Delete();
    EXPECT_EQ(directory_.files(), 0U);
}
#else
TEST_F(SwappedBlock, NobodyElseCanOpenTheFile) {
    MemBlockDesc block;
    ASSERT_TRUE(block.Swap(0));
    ASSERT_TRUE(block.Create(100000, true));
    EXPECT_EQ(directory_.files(), 0U) << "the file has no name";
    int found = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        const std::string target = std::filesystem::read_symlink(entry.path(), ignored).string();
        if (target.rfind(directory_.path().string() + '/', 0) != 0) continue;
        ++found;
        const int descriptor = std::stoi(entry.path().filename().string());
        struct stat status {};
        ASSERT_EQ(fstat(descriptor, &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0600U);
        EXPECT_EQ(status.st_nlink, 0U);
        EXPECT_GE(static_cast<std::uint64_t>(status.st_blocks) * 512, 100000U) << "the space is reserved";
        EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << "child programs do not inherit it";
    }
    EXPECT_EQ(found, 1);
}

#endif

TEST_F(SwappedBlock, WithoutAChosenDirectoryUsesTheGeneralOne) {
    test::setVariable(test::kDirectoryVariable, "");
    MemBlockDesc block;
    ASSERT_TRUE(block.Swap(0));
    EXPECT_TRUE(block.Create(1000, true));
    EXPECT_EQ(directory_.files(), 0U);
}

TEST_F(SwappedBlock, DirectoryThatDoesNotExist) {
    test::setVariable(test::kDirectoryVariable, (directory_.path() / "nowhere").string());
    MemBlockDesc block;
    ASSERT_TRUE(block.Create(1000, true));
    block.GetData()[999] = 7;
    EXPECT_EQ(block.Swap(0), test::kFindsOtherDirectory);
    EXPECT_EQ(block.IsSwapped(), test::kFindsOtherDirectory);
    ASSERT_EQ(block.GetSize(), 1000U);
    EXPECT_EQ(block.GetData()[999], 7);
    MemBlockDesc empty;
    EXPECT_TRUE(empty.Swap(0)) << "needs no file yet";
    EXPECT_EQ(empty.Create(1000, true), test::kFindsOtherDirectory);
    EXPECT_EQ(empty.Add(7U), test::kFindsOtherDirectory);
}

void dieWithABlock() {
    MemBlockDesc block;
    REQUIRE_IN_CHILD(block.Swap(0) && block.Create(100000, true) && block.GetData() != nullptr);
    std::cerr << "holding a block" << std::endl;
    test::killThisProcess();
}

TEST_F(SwappedBlockDeathTest, FileIsGoneWhenTheProcessIsKilled) {
    EXPECT_EXIT(
        dieWithABlock(), [](int status) { return status != 0; }, "holding a block");
    EXPECT_EQ(directory_.files(), 0U);
}

TEST_F(SwappedBlock, LargerThanTheDiskIsRefused) {
    const std::uint64_t tooMuch = std::filesystem::space(directory_.path()).capacity + 1;
    MemBlockDesc block;
    ASSERT_TRUE(block.Swap(0));
    ASSERT_TRUE(block.Create(1000, true));
    const Bytes bytes = patternAt(0, 1000);
    ASSERT_TRUE(block.Write(0, bytes.data(), bytes.size()));
    unsigned char* const data = block.GetData();
    EXPECT_FALSE(block.ReSize(tooMuch));
    EXPECT_EQ(block.GetSize(), 1000U);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), data)) << "still mapped at the same place";
    EXPECT_FALSE(block.Create(tooMuch, true));
    EXPECT_EQ(block.GetSize(), 0U);
    EXPECT_TRUE(block.Create(1000, true));
}

/// A limit to the size of files stands for a full disk; going beyond it would end the process by a signal.
void fillTheDisk(std::uint64_t diskSize) {
    MemBlockDesc inMemory;
    REQUIRE_IN_CHILD(inMemory.Create(2 * kMiB, true));
    inMemory.GetData()[kMiB] = 77;
    const bool limited = test::limitFileSize(kMiB);
    const std::uint64_t tooMuch = limited ? 2 * kMiB : diskSize + 1;

    MemBlockDesc block;
    REQUIRE_IN_CHILD(block.Swap(0) && !block.Create(tooMuch, true) && block.GetSize() == 0);
    REQUIRE_IN_CHILD(block.Create(kMiB / 2, true));
    block.GetData()[0] = 1;
    REQUIRE_IN_CHILD(!block.ReSize(tooMuch) && block.GetSize() == kMiB / 2 && block.GetData()[0] == 1);
    if (!limited) return;

    REQUIRE_IN_CHILD(!block.AddPart(inMemory) && block.GetSize() == kMiB / 2);
    REQUIRE_IN_CHILD(!inMemory.Swap(0) && !inMemory.IsSwapped());
    REQUIRE_IN_CHILD(inMemory.GetSize() == 2 * kMiB && inMemory.GetData()[kMiB] == 77);

    MemBlockDesc values;
    REQUIRE_IN_CHILD(values.Swap(0) && values.Create(kMiB - 100, true));
    unsigned added = 0;
    while (added < 1000 && values.Add(added))
        ++added;
    REQUIRE_IN_CHILD(added == 25 && values.GetSize() == kMiB);
    REQUIRE_IN_CHILD(values.ReSize(kMiB - 4) && !values.Add(L"too long a text") && values.Add(7U));
    unsigned __int64 position = kMiB - 8;
    REQUIRE_IN_CHILD(values.Read(position, 0U) == 23 && values.Read(position, 0U) == 7);
}

TEST_F(SwappedBlockDeathTest, FullDiskIsAFalseResult) {
    const std::uint64_t diskSize = std::filesystem::space(directory_.path()).capacity;
    EXPECT_EXIT(inChild([diskSize] { fillTheDisk(diskSize); }), testing::ExitedWithCode(0), "");
}

/// Creates a swapped block six times as large as the memory that the process may take, writes rows all over it, reads
/// them back, and watches the memory.
void useBlockBeyondMemory(std::uint64_t size) {
    constexpr std::size_t kRow = 18000;
    const std::uint64_t lastRow = size - kRow;
    const bool limited = test::limitMemory(size / 6);
    const std::uint64_t before = test::memoryTaken();
    MemBlockDesc block;
    REQUIRE_IN_CHILD(block.Swap(0) && block.Create(size, true) && block.GetSize() == size);
    const std::uint64_t step = size / 40 / kRow * kRow;
    for (std::uint64_t at = 0; at < lastRow; at += step)
        REQUIRE_IN_CHILD(block.Write(at, patternAt(at, kRow).data(), kRow));
    REQUIRE_IN_CHILD(block.Write(lastRow, patternAt(lastRow, kRow).data(), kRow));
    Bytes row(kRow);
    for (std::uint64_t at = 0; at < lastRow; at += step) {
        REQUIRE_IN_CHILD(block.Read(at, row.data(), kRow) && row == patternAt(at, kRow));
        REQUIRE_IN_CHILD(block.Read(at + kRow, row.data(), kRow));
        REQUIRE_IN_CHILD(std::all_of(row.begin(), row.end(), [](unsigned char byte) { return byte == 0; }));
    }
    REQUIRE_IN_CHILD(block.Read(lastRow, row.data(), kRow) && row == patternAt(lastRow, kRow));
    REQUIRE_IN_CHILD(!block.Write(size - 10, row.data(), kRow));
    REQUIRE_IN_CHILD(test::memoryTaken() <= before + 64 * kMiB);
    if (limited) {
        REQUIRE_IN_CHILD(block.GetData() == nullptr);
        REQUIRE_IN_CHILD(!block.UnSwap() && block.IsSwapped());
        REQUIRE_IN_CHILD(block.Read(0, row.data(), kRow) && row == patternAt(0, kRow));
    }
}

TEST_F(SwappedBlockDeathTest, SixTimesTheMemoryIsFilledAndReadBack) {
    const std::uint64_t available = std::filesystem::space(directory_.path()).available;
    const std::uint64_t size = std::min(6 * kGiB, available * 3 / 4);
    EXPECT_EXIT(inChild([size] { useBlockBeyondMemory(size); }), testing::ExitedWithCode(0), "");
}

} // namespace
