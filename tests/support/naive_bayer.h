/// @file naive_bayer.h
/// The mosaic interpolation as its definition reads, pixel by pixel, with no working rows.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace testing_support {

class NaiveBayer {
public:
    NaiveBayer(std::vector<std::uint16_t> mosaic, int width, int height)
        : mosaic_(std::move(mosaic)), width_(width), height_(height) {}

    /// Red, green, blue of all pixels, row-major.
    [[nodiscard]] std::vector<std::uint16_t> colors() const {
        std::vector<std::uint16_t> rgb;
        for (int y = 0; y < height_; ++y)
            for (int x = 0; x < width_; ++x)
                for (int channel = 0; channel < 3; ++channel)
                    rgb.push_back(static_cast<std::uint16_t>(color(x, y, channel)));
        return rgb;
    }

private:
    static int mirrored(int at, int size) {
        if (size == 1) return 0;
        while (at < 0 || at >= size)
            at = at < 0 ? -at : 2 * (size - 1) - at;
        return at;
    }
    static int sample(int value) { return std::clamp(value, 0, 65535); }
    /// 0 red, 1 green, 2 blue.
    static int channelAt(int x, int y) { return (x & 1) + (y & 1); }

    [[nodiscard]] int raw(int x, int y) const {
        return mosaic_[static_cast<std::size_t>(mirrored(y, height_)) * static_cast<std::size_t>(width_) +
                       static_cast<std::size_t>(mirrored(x, width_))];
    }
    /// Green at a colour site from its neighbours one step (dx, dy) away, bent like the colour two steps away.
    [[nodiscard]] int estimate(int x, int y, int dx, int dy) const {
        return sample((2 * (raw(x - dx, y - dy) + raw(x + dx, y + dy)) + 2 * raw(x, y) - raw(x - 2 * dx, y - 2 * dy) -
                       raw(x + 2 * dx, y + 2 * dy) + 2) >>
                      2);
    }
    /// How colour minus estimated green changes from a site to the one two steps on, halved.
    [[nodiscard]] int variation(int x, int y, int dx, int dy) const {
        const int here = raw(x, y) - estimate(x, y, dx, dy);
        const int there = raw(x + 2 * dx, y + 2 * dy) - estimate(x + 2 * dx, y + 2 * dy, dx, dy);
        return std::abs(here - there) >> 1;
    }
    /// The variations around a site: thrice the two that touch it, the four beside these, the two between.
    [[nodiscard]] int variationAround(int x, int y, int dx, int dy) const {
        const auto pair = [&](int sideX, int sideY) {
            return variation(x + sideX - 2 * dx, y + sideY - 2 * dy, dx, dy) + variation(x + sideX, y + sideY, dx, dy);
        };
        return 3 * pair(0, 0) + pair(2 * dy, 2 * dx) + pair(-2 * dy, -2 * dx) +
               variation(x - dx + dy, y - dy + dx, dx, dy) + variation(x - dx - dy, y - dy - dx, dx, dy);
    }
    [[nodiscard]] int green(int x, int y) const {
        if (channelAt(x, y) == 1) return raw(x, y);
        const int across = variationAround(x, y, 1, 0);
        const int down = variationAround(x, y, 0, 1);
        const int fromRow = estimate(x, y, 1, 0);
        const int fromColumn = estimate(x, y, 0, 1);
        const int mean = (fromRow + fromColumn) >> 1;
        // Two steps on lies outside, as the mirrored surroundings see it.
        const int insideX = mirrored(x, width_);
        const int insideY = mirrored(y, height_);
        const bool besideX = insideX < 2 || insideX + 2 >= width_;
        const bool besideY = insideY < 2 || insideY + 2 >= height_;
        if (besideX && besideY) return 2 * across < down ? fromRow : 2 * down < across ? fromColumn : mean;
        if (besideX) return 2 * across < down ? fromRow : fromColumn;
        if (besideY) return 2 * down < across ? fromColumn : fromRow;
        return across < down ? fromRow : down < across ? fromColumn : mean;
    }
    [[nodiscard]] int difference(int x, int y) const { return raw(x, y) - green(x, y); }

    [[nodiscard]] int color(int x, int y, int channel) const {
        const int site = channelAt(x, y);
        if (channel == 1) return green(x, y);
        if (channel == site) return raw(x, y);
        if (site == 1) {
            const bool besides = channelAt(x + 1, y) == channel;
            const int sum =
                besides ? difference(x - 1, y) + difference(x + 1, y) : difference(x, y - 1) + difference(x, y + 1);
            return sample(green(x, y) + (sum >> 1));
        }
        const int own = green(x, y);
        const int falling = difference(x - 1, y - 1) + difference(x + 1, y + 1);
        const int rising = difference(x + 1, y - 1) + difference(x - 1, y + 1);
        const int changeFalling = std::abs(raw(x - 1, y - 1) - raw(x + 1, y + 1)) +
                                  std::abs(2 * own - green(x - 1, y - 1) - green(x + 1, y + 1));
        const int changeRising = std::abs(raw(x + 1, y - 1) - raw(x - 1, y + 1)) +
                                 std::abs(2 * own - green(x + 1, y - 1) - green(x - 1, y + 1));
        if (changeFalling == changeRising) return sample(own + ((falling + rising) >> 2));
        return sample(own + ((changeFalling < changeRising ? falling : rising) >> 1));
    }

    std::vector<std::uint16_t> mosaic_;
    int width_, height_;
};

} // namespace testing_support
