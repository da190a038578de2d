// The image operations give the same bytes on every system, with every compiler and on every processor: digests of many
// results, written down once.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "rastrel/rastrel.h"
#include "support/random_images.h"

namespace {

/// A running digest (FNV-1a).
class Digest {
public:
    void add(const Rastrel& image) {
        addNumber(image.width);
        addNumber(image.height);
        for (const unsigned char byte : blockOf(image))
            addNumber(byte);
    }
    void addNumber(std::uint64_t value) { state_ = (state_ ^ value) * 1099511628211ULL; }
    void addDouble(double value) {
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        addNumber(bits);
    }
    [[nodiscard]] std::uint64_t value() const { return state_; }

private:
    std::uint64_t state_ = 14695981039346656037ULL;
};

// Numbers are drawn one statement at a time: compilers evaluate arguments in different orders.
void makeImage(Rastrel& image, Dice& dice, unsigned largest) {
    const unsigned width = 1 + dice.below(largest);
    const unsigned height = 1 + dice.below(largest);
    const unsigned model = dice.below(std::size(kConvertibleModels) + 8);
    const unsigned char usual = model % 2 == 0 ? CM_GREY8 : CM_ARGB8;
    makeNoise(image, dice, width, height, model < std::size(kConvertibleModels) ? kConvertibleModels[model] : usual);
}

struct Ends {
    long first, last;
};

Ends endsOf(Dice& dice, unsigned long extent) {
    const int margin = dice.below(6) == 0 ? 5 : 0;
    const long first = dice.between(-margin, static_cast<int>(extent) - 1 + margin);
    const long last = dice.between(-margin, static_cast<int>(extent) - 1 + margin);
    return {first, last};
}

unsigned char filterOf(Dice& dice) {
    constexpr unsigned char kFilters[] = {0, 1, 2, 3, 4, 5, 6, 7, 99};
    return kFilters[dice.below(std::size(kFilters))];
}

TEST(SameBytes, OfScaledImages) {
    Digest digest;
    for (unsigned seed = 0; seed < 1500; ++seed) {
        Dice dice(seed);
        Rastrel source;
        Rastrel destination;
        makeImage(source, dice, 120);
        makeImage(destination, dice, 120);
        const Ends dx = endsOf(dice, destination.GetWidth());
        const Ends dy = endsOf(dice, destination.GetHeight());
        const Ends sx = endsOf(dice, source.GetWidth());
        const Ends sy = endsOf(dice, source.GetHeight());
        const unsigned char filter = filterOf(dice);
        const double lobes = 0.5 + dice.fraction() * 4;
        ASSERT_TRUE(source.StretchBlt(destination, dx.first, dx.last, dy.first, dy.last, sx.first, sx.last, sy.first,
                                      sy.last, filter, lobes));
        digest.add(destination);
    }
    EXPECT_EQ(digest.value(), 7953384737114230664U);
}

TEST(SameBytes, OfSmoothedImages) {
    Digest digest;
    for (unsigned seed = 0; seed < 500; ++seed) {
        Dice dice(seed + 5000);
        Rastrel image;
        makeImage(image, dice, 90);
        const double widthX = 0.2 + dice.fraction() * 9;
        const double widthY = 0.2 + dice.fraction() * 9;
        const unsigned char filter = filterOf(dice);
        const double lobes = 0.5 + dice.fraction() * 4;
        ASSERT_TRUE(image.LowPass(widthX, widthY, filter, lobes));
        digest.add(image);
    }
    EXPECT_EQ(digest.value(), 6458332107748641311U);
}

TEST(SameBytes, OfCroppedAndMeasuredImages) {
    Digest digest;
    for (unsigned seed = 0; seed < 1000; ++seed) {
        Dice dice(seed + 9000);
        Rastrel image;
        makeImage(image, dice, 70);
        ASSERT_TRUE(image.AutoExposure());
        digest.addDouble(image.lookUpTable.black);
        digest.addDouble(image.lookUpTable.mid);
        digest.addDouble(image.lookUpTable.white);
        ASSERT_TRUE(image.SetExposure(dice.fraction()));
        for (unsigned i = 0; i < 256 && image.lookUpTable.mode == 1; ++i)
            digest.addNumber(image.lookUpTable.tables[0][i]);
        const Ends x = endsOf(dice, image.GetWidth());
        const Ends y = endsOf(dice, image.GetHeight());
        ASSERT_TRUE(image.Crop(x.first, x.last, y.first, y.last));
        digest.add(image);
    }
    EXPECT_EQ(digest.value(), 14994853271384464808U);
}

} // namespace
