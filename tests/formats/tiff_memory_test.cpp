/// What reading and writing TIFF files holds in memory: the pixel block once, unless it is swapped out, and a buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/open_image.h"
#include "support/peak_memory.h"
#include "support/scratch_file.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;

constexpr std::uint32_t kSide = 4096;
constexpr std::uint64_t kBlock = std::uint64_t{kSide} * kSide * 3;
constexpr std::uint64_t kBuffers = std::uint64_t{4} << 20;
constexpr std::uint64_t kNeverSwapped = ~std::uint64_t{0};

using TiffMemoryDeathTest = test::PeakMemoryTest;

/// A file of zeros, of which only the head stands in memory here.
class LargeFile {
public:
    explicit LargeFile(std::uint32_t rowsPerStrip) {
        TiffPicture made;
        made.width = kSide;
        made.height = kSide;
        made.samples = 3;
        std::vector<std::uint64_t> offsets, sizes;
        for (std::uint64_t row = 0; row < kSide; row += rowsPerStrip) {
            offsets.push_back(65536 + row * kSide * 3);
            sizes.push_back(std::min<std::uint64_t>(rowsPerStrip, kSide - row) * kSide * 3);
        }
        made.extra = {longs(273, offsets), longs(279, sizes)};
        file_.write(made.build());
        std::filesystem::resize_file(file_.path(), 65536 + kBlock);
    }
    [[nodiscard]] std::string path() const { return file_.path(); }

private:
    ScratchFile file_{".tif"};
};

TEST_F(TiffMemoryDeathTest, AreadHoldsTheBlockOnce) {
    for (const std::uint32_t rows : {kSide, 8U}) {
        const LargeFile file(rows);
        const auto read = [&] {
            OpenImage image;
            image.swapThreshold = kNeverSwapped;
            REQUIRE_IN_CHILD(image.Read(file.path().c_str()) == 0);
            REQUIRE_IN_CHILD(image.pixels.GetSize() == kBlock && !image.pixels.IsSwapped());
        };
        expectMemoryGrowth(read, kBlock + kBuffers, kBlock / 2);
    }
}

TEST_F(TiffMemoryDeathTest, AreadIntoAswappedBlockHoldsAbuffer) {
    for (const std::uint32_t rows : {kSide, 8U}) {
        const LargeFile file(rows);
        const auto read = [&] {
            OpenImage image;
            image.swapThreshold = kBlock - 1;
            REQUIRE_IN_CHILD(image.Read(file.path().c_str()) == 0);
            REQUIRE_IN_CHILD(image.pixels.GetSize() == kBlock && image.pixels.IsSwapped());
        };
        expectMemoryGrowth(read, kBuffers);
    }
}

TEST_F(TiffMemoryDeathTest, ArectangleHoldsItsOwnBlockAndNoOther) {
    constexpr std::uint64_t kPart = std::uint64_t{kSide / 2} * (kSide / 2) * 3;
    const LargeFile file(64);
    for (const std::uint64_t threshold : {kNeverSwapped, std::uint64_t{0}}) {
        const auto read = [&] {
            OpenImage image;
            image.swapThreshold = threshold;
            REQUIRE_IN_CHILD(image.Read(file.path().c_str(), kSide / 4, kSide / 4, kSide / 4 * 3, kSide / 4 * 3) == 0);
            REQUIRE_IN_CHILD(image.pixels.GetSize() == kPart && image.pixels.IsSwapped() == (threshold == 0));
        };
        const std::uint64_t most = (threshold == 0 ? 0 : kPart) + kBuffers;
        expectMemoryGrowth(read, most);
    }
}

TEST_F(TiffMemoryDeathTest, AwriteHoldsAbuffer) {
    const ScratchFile file(".tif");
    for (const bool swapped : {false, true}) {
        for (const unsigned char order : {'\0', '\1'}) {
            const auto write = [&] {
                OpenImage image;
                image.swapThreshold = swapped ? 0 : kNeverSwapped;
                image.componentOrder = order;
                image.Create(kSide, kSide, CM_RGB8);
                REQUIRE_IN_CHILD(image.pixels.GetSize() == kBlock && image.pixels.IsSwapped() == swapped);
                if (!swapped) std::memset(image.pixels.GetData(), 7, kBlock); // takes its memory only now
                REQUIRE_IN_CHILD(image.Write(file.path().c_str(), "tif") == 0);
                REQUIRE_IN_CHILD(std::filesystem::file_size(file.path()) / kBlock == 1);
            };
            const std::uint64_t most = (swapped ? 0 : kBlock) + kBuffers;
            expectMemoryGrowth(write, most);
        }
    }
}

} // namespace
