/// Files that once broke a reader, tests/corpus/FORMAT/*, through every route. Each test begins with a file of its own.
#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>

#include "support/open_image.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

/// Reads a file in every way; what is declined leaves nothing.
void readInEveryWay(const std::vector<unsigned char>& bytes) {
    const ScratchFile file(bytes);
    OpenImage image;
    const auto settled = [&image](unsigned __int64 status) {
        EXPECT_EQ(image.busyCount, 0U);
        EXPECT_TRUE(status == 0 || image.width == 0);
    };
    settled(image.Read(file.path().c_str()));
    settled(image.Read(file.path().c_str(), 1, 1, 3, 4));
    settled(image.PreRead(file.path().c_str()));
    static_cast<void>(Rastrel::ReadExif(file.path().c_str(), &image.exif));
    const ScratchStream stream(bytes);
    for (const auto reader : {&OpenImage::ReadTIFF, &OpenImage::ReadJPEG, &OpenImage::ReadPSB, &OpenImage::ReadEXR,
                              &OpenImage::ReadORF, &OpenImage::ReadTEMP}) {
        OpenImage other;
        static_cast<void>((other.*reader)(stream));
        EXPECT_EQ(other.busyCount, 0U);
    }
    MemBlockDesc block;
    ASSERT_TRUE(block.Create(bytes.size(), false) && block.Write(0, bytes.data(), bytes.size()));
    unsigned __int64 position = 0;
    static_cast<void>(image.Restore(block, position));
    EXPECT_LE(position, bytes.size());
}

TEST(Corpus, EveryFileEndsInAstatus) {
    readInEveryWay({'I', 'I', 42, 0, 8, 0, 0, 0, 255, 255});
    std::error_code absent;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(RASTREL_SOURCE_DIR "/tests/corpus", absent)) {
        if (!entry.is_regular_file()) continue;
        SCOPED_TRACE(entry.path().string());
        std::ifstream in(entry.path(), std::ios::binary);
        readInEveryWay({std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()});
    }
}

} // namespace
