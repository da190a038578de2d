/// Every writer on a disk that is full after N bytes, for every N: it tells, and the busy counter is as before.
#include <gtest/gtest.h>

#include "support/failing_stream.h"
#include "support/images.h"
#include "support/open_image.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

struct Writer {
    const char* name;
    bool (OpenImage::*write)(FILE*);
};
constexpr Writer kWriters[] = {{"tiff", &OpenImage::WriteTIFF},
                               {"jpeg", &OpenImage::WriteJPEG},
                               {"psb", &OpenImage::WritePSB},
                               {"exr", &OpenImage::WriteEXR}};

/// Whether the whole image went into the stream.
bool written(OpenImage& image, const Writer& writer, FILE* stream) {
    const bool result = (image.*writer.write)(stream);
    EXPECT_EQ(image.busyCount, 0U) << writer.name;
    return std::fflush(stream) == 0 && result;
}

TEST(FullDisk, EveryWriterTells) {
    OpenImage image;
    image.Create(5, 4, CM_RGB8);
    fillWithNoise(image, 1);
    image.exif.exifTags.append(0x8827, 3, 1);
    image.exif.exifTags.append(0x927C, 7, 100);
    image.exif.gpsTags.append(2, 5, 3);
    for (const Writer& writer : kWriters) {
        const ScratchStream whole;
        ASSERT_TRUE(written(image, writer, whole)) << writer.name;
        const std::size_t size = whole.bytes().size();
        for (std::size_t room = 0; room <= size; ++room) {
            const FailingStream stream(room);
            if (stream == nullptr) break;
            EXPECT_EQ(written(image, writer, stream), room == size) << writer.name << " " << room << " of " << size;
        }
    }
}

TEST(FullDisk, ApictureThatDoesNotFitIsNotWrittenOn) {
    OpenImage image;
    image.Create(1000, 1000, CM_RGB8);
    const ScratchFile file;
    FILE* const readOnly = std::fopen(file.path().c_str(), "rb"); // on every system a stream that takes nothing
    ASSERT_NE(readOnly, nullptr);
    for (const Writer& writer : kWriters) {
        EXPECT_FALSE((image.*writer.write)(readOnly)) << writer.name;
        EXPECT_EQ(image.busyCount, 0U) << writer.name;
    }
    std::fclose(readOnly);
    EXPECT_TRUE(file.bytes().empty());
    for (const std::size_t room : {std::size_t{0}, std::size_t{8}, std::size_t{262144}, std::size_t{2999999}}) {
        const FailingStream stream(room);
        if (stream == nullptr) break;
        image.progress = 0;
        EXPECT_FALSE(image.WriteTIFF(stream)) << room;
        EXPECT_EQ(image.busyCount, 0U);
        EXPECT_LT(image.progress, 1000 * (room + 600000) / 3000000 + 1) << room;
    }
}

} // namespace
