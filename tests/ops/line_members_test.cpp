// The line kernels as a host's derived class reaches them.
#include <gtest/gtest.h>

#include <array>

#include "rastrel/rastrel.h"

namespace {

class Kernels : public Rastrel {
public:
    using Rastrel::lowpass;
    using Rastrel::mirror;
    using Rastrel::operator=;
    using Rastrel::resample;
};

TEST(LineMembers, MirrorReversesALineInPlace) {
    Kernels image;
    std::array<unsigned char, 3> line = {1, 2, 3};
    ASSERT_TRUE(image.mirror(line.data(), 3, CM_GREY8));
    EXPECT_EQ(line, (std::array<unsigned char, 3>{3, 2, 1}));
    EXPECT_TRUE(image.mirror(line.data(), 1, CM_GREY8));
    EXPECT_EQ(line, (std::array<unsigned char, 3>{3, 2, 1}));
    EXPECT_FALSE(image.mirror(line.data(), 3, CM_RGGB12));
}

TEST(LineMembers, ResampleForwardsBothWidths) {
    Kernels image;
    std::array<unsigned char, 2> bytes = {0, 255};
    std::array<unsigned char, 4> more{};
    ASSERT_TRUE(image.resample(more.data(), 4, bytes.data(), 2, char{CM_GREY8}, 2, 0.0));
    EXPECT_EQ(more, (std::array<unsigned char, 4>{0, 64, 191, 255}));
    std::array<unsigned short, 2> words = {0, 65535};
    std::array<unsigned short, 4> moreWords{};
    ASSERT_TRUE(image.resample(moreWords.data(), 4, words.data(), 2, char{CM_GREY16}, 2, 0.0));
    EXPECT_EQ(moreWords, (std::array<unsigned short, 4>{0, 16384, 49151, 65535}));
    EXPECT_FALSE(image.resample(more.data(), 4, bytes.data(), 2, char{CM_ARGBFP32}, 2, 0.0));
}

TEST(LineMembers, LowpassForwardsBothWidths) {
    Kernels image;
    std::array<unsigned char, 4> bytes = {0, 90, 30, 60};
    std::array<unsigned char, 4> smooth{};
    ASSERT_TRUE(image.lowpass(smooth.data(), bytes.data(), 4, 3.0, char{1}, CM_GREY8, 0.0));
    EXPECT_EQ(smooth, (std::array<unsigned char, 4>{60, 40, 60, 40}));
    std::array<unsigned short, 4> words = {0, 900, 300, 600};
    std::array<unsigned short, 4> smoothWords{};
    ASSERT_TRUE(image.lowpass(smoothWords.data(), words.data(), 4, 3.0, char{1}, CM_COLOR16, 0.0));
    EXPECT_EQ(smoothWords, (std::array<unsigned short, 4>{600, 400, 600, 400}));
    EXPECT_FALSE(image.lowpass(smooth.data(), bytes.data(), 4, 3.0, char{0}, CM_GREY8, 0.0));
}

} // namespace
