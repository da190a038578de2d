/// Cut and changed documents: a status, never a crash, with the busy counter as it was and nothing left in the image.
#include <gtest/gtest.h>

#include "support/cut_file.h"
#include "support/open_image.h"
#include "support/psb_files.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

/// Reads a stream; whether the whole read accepted it.
bool survives(FILE* stream, std::size_t fileSize) {
    OpenImage image;
    const bool read = image.Read(stream) == 0;
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_LE(image.pixels.GetSize(), fileSize);
    if (!read) {
        EXPECT_EQ(image.width, 0U);
        EXPECT_EQ(image.height, 0U);
        EXPECT_EQ(image.colormodel, 0);
        EXPECT_EQ(image.pixels.GetSize(), 0U);
        EXPECT_TRUE(image.exif.exifTags.empty());
    }
    image.Empty();
    static_cast<void>(image.PreReadPSB(stream));
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.pixels.GetSize(), 0U);
    return read;
}

Bytes smallFile() {
    PsbDocument made;
    made.depth = 16;
    made.countUp();
    TiffPicture metadata;
    metadata.without = {256, 257, 258, 259, 262, 273, 277, 278, 279};
    metadata.extra = {ascii(270, "A view")};
    metadata.exif = {shorts(34855, {400}), octets(0x927C, 7, "a maker's note")};
    made.resources = {{1005, psbResolutions(300 << 16, 300 << 16)}, {2000, {1, 2, 3}}, {1058, metadata.build()}};
    made.layers = Bytes(21, 5);
    return made.build();
}

TEST(HostilePsb, EveryCut) {
    const Bytes whole = smallFile();
    const ScratchStream stream(whole);
    EXPECT_TRUE(survives(stream, whole.size()));
    forEveryCut(whole, [&](FILE* cut) { EXPECT_FALSE(survives(cut, whole.size())); });
}

TEST(HostilePsb, EveryChangedByte) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const Bytes whole = smallFile();
    forEveryChange(whole, [&](FILE* changed) { static_cast<void>(survives(changed, whole.size())); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
