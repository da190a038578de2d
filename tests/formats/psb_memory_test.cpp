/// What reading and writing big documents holds in memory: the pixel block and a buffer.
#include <gtest/gtest.h>

#include <cstring>

#include "support/peak_memory.h"
#include "support/psb_images.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

constexpr std::uint32_t kSide = 3072;
constexpr std::uint64_t kBlock = std::uint64_t{kSide} * kSide * 4 * 2;
constexpr std::uint64_t kBuffers = std::uint64_t{4} << 20;

using PsbMemoryDeathTest = test::PeakMemoryTest;

TEST_F(PsbMemoryDeathTest, AreadHoldsTheBlockOnce) {
    PsbDocument made;
    made.width = made.height = kSide;
    made.channels = 4;
    made.depth = 16;
    const Bytes head = made.build();
    const ScratchFile file(head, ".psb");
    std::filesystem::resize_file(file.path(), head.size() + kBlock);
    for (const bool whole : {true, false}) {
        const auto read = [&] {
            OpenImage image;
            REQUIRE_IN_CHILD((whole ? image.Read(file.path().c_str()) : image.PreRead(file.path().c_str())) == 0);
            REQUIRE_IN_CHILD(image.width == kSide && image.pixels.GetSize() == (whole ? kBlock : 0));
        };
        expectMemoryGrowth(read, (whole ? kBlock : 0) + kBuffers, whole ? kBlock / 2 : 0);
    }
}

TEST_F(PsbMemoryDeathTest, LayersAndResourcesAreNotHeld) {
    constexpr std::uint64_t kLayers = std::uint64_t{200} << 20;
    constexpr std::uint32_t kResource = 100U << 20;
    PsbDocument made;
    made.width = made.height = 1;
    made.layerLength = kLayers;
    made.resourceLength = 12 + kResource;
    const ScratchFile file(".psb");
    {
        OrderedBytes head{true, made.build()};
        head.bytes.resize(34); // up to the resources
        head.append({'8', 'B', 'I', 'M', 0x04, 0x22, 0, 0});
        head.u32(kResource);
        file.write(head.bytes);
        std::filesystem::resize_file(file.path(), head.bytes.size() + kResource);
        std::FILE* const stream = std::fopen(file.path().c_str(), "ab");
        OrderedBytes rest{true, {}};
        rest.number(kLayers, 8);
        std::fwrite(rest.bytes.data(), 1, rest.bytes.size(), stream);
        std::fclose(stream);
        std::filesystem::resize_file(file.path(), std::filesystem::file_size(file.path()) + kLayers + 2 + 3);
    }
    const auto read = [&] {
        OpenImage image;
        REQUIRE_IN_CHILD(image.Read(file.path().c_str()) == 0);
        REQUIRE_IN_CHILD(image.pixels.GetSize() == 3);
    };
    expectMemoryGrowth(read, kBuffers);
}

TEST_F(PsbMemoryDeathTest, AwriteHoldsTheBlockOnce) {
    const ScratchFile file(".psb");
    for (const bool swapped : {false, true}) {
        const auto write = [&] {
            OpenImage image;
            if (swapped) image.swapThreshold = 0;
            image.Create(kSide, kSide, CM_RGBA16);
            REQUIRE_IN_CHILD(image.pixels.GetSize() == kBlock && image.pixels.IsSwapped() == swapped);
            const Bytes line(std::size_t{kSide} * 8, 7);
            for (std::uint64_t y = 0; y < kSide; ++y)
                REQUIRE_IN_CHILD(image.pixels.Write(y * line.size(), line.data(), line.size()));
            REQUIRE_IN_CHILD(image.Write(file.path().c_str(), "psb") == 0); // brings a swapped image into memory
            REQUIRE_IN_CHILD(std::filesystem::file_size(file.path()) / kBlock == 1);
        };
        expectMemoryGrowth(write, kBlock + kBuffers, kBlock / 2);
    }
}

} // namespace
