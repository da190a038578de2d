/// @file naive_images.h
/// Scaling and smoothing of whole images written down step by step over the public row operations: every row is kept,
/// nothing is computed twice differently. What the library must equal bit for bit.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "rastrel/rastrel.h"
#include "support/naive_lines.h"

namespace naive {

using Line = std::vector<unsigned char>;

inline bool isGrey(Rastrel& image) {
    return image.colormodel == CM_BW1 || image.colormodel == CM_BW1INV || image.colormodel == CM_GREY8;
}

/// A displayed row as samples: one a pixel for grey images, else four.
inline Line readLine(Rastrel& image, bool grey, std::int64_t first, std::int64_t last, std::int64_t y) {
    const auto pixels = static_cast<std::size_t>(last - first + 1);
    Line line(pixels * (grey ? 1 : 4));
    const auto x1 = static_cast<long>(first);
    const auto x2 = static_cast<long>(last);
    if (grey) {
        image.GetHLine(line.data(), x1, x2, static_cast<long>(y));
    } else {
        image.GetHLine(reinterpret_cast<pixel_argb8*>(line.data()), x1, x2, static_cast<long>(y));
    }
    return line;
}

inline void writeLine(Rastrel& image, bool grey, Line line, std::int64_t first, std::int64_t last, std::int64_t y) {
    const auto x1 = static_cast<long>(first);
    const auto x2 = static_cast<long>(last);
    if (grey) {
        image.SetHLine(line.data(), x1, x2, static_cast<long>(y));
    } else {
        image.SetHLine(reinterpret_cast<pixel_argb8*>(line.data()), x1, x2, static_cast<long>(y));
    }
}

struct Rectangle {
    long x1, x2, y1, y2;
};

inline void stretch(Rastrel& source, Rastrel& destination, Rectangle d, Rectangle s, unsigned filterType,
                    double parameter) {
    const unsigned char savedX = source.mirrorX;
    const unsigned char savedY = source.mirrorY;
    if ((s.x1 > s.x2 && d.x1 <= d.x2) || (s.x1 <= s.x2 && d.x1 > d.x2)) {
        const auto width = static_cast<long>(source.GetWidth());
        source.mirrorX = savedX == 0;
        s.x1 = width - 1 - s.x1;
        s.x2 = width - 1 - s.x2;
    }
    if ((s.y1 < s.y2 && d.y1 >= d.y2) || (s.y1 >= s.y2 && d.y1 < d.y2)) {
        const auto height = static_cast<long>(source.GetHeight());
        source.mirrorY = savedY == 0;
        s.y1 = height - 1 - s.y1;
        s.y2 = height - 1 - s.y2;
    }
    if (s.x1 > s.x2) std::swap(s.x1, s.x2);
    if (s.y1 > s.y2) std::swap(s.y1, s.y2);
    if (d.x1 > d.x2) std::swap(d.x1, d.x2);
    if (d.y1 > d.y2) std::swap(d.y1, d.y2);
    const std::int64_t dw = std::int64_t{d.x2} - d.x1;
    const std::int64_t dh = std::int64_t{d.y2} - d.y1;
    const std::int64_t sh = std::int64_t{s.y2} - s.y1;
    const bool grey = isGrey(source);
    const std::size_t channels = grey ? 1 : 4;
    const auto outputPixels = static_cast<std::size_t>(dw + 1);
    const auto height = static_cast<std::int64_t>(source.GetHeight());
    const Support support = supportOf(filterType, parameter);
    const double ratio = static_cast<double>(sh + 1) / static_cast<double>(dh + 1);
    std::map<std::int64_t, Line> rows; // source rows, filtered along the row when they are first needed

    for (std::int64_t k = 0; k <= dh; ++k) {
        Line out;
        if (!support.kernel || dh == sh) {
            const auto from =
                static_cast<std::int64_t>(std::trunc(static_cast<double>(k) * ratio + static_cast<double>(s.y1)));
            out = resample(readLine(source, grey, s.x1, s.x2, from), outputPixels, channels, filterType, parameter);
        } else {
            const double centre = ratio > 1.0
                                      ? static_cast<double>(k) * ratio + static_cast<double>(s.y1) + (ratio - 1) * 0.5
                                      : static_cast<double>(k) * ratio + static_cast<double>(s.y1) - (1 - ratio) * 0.5;
            const double widening = ratio > 1.0 ? ratio : 1.0;
            auto bottom = static_cast<std::int64_t>(std::floor(centre + support.hi * widening));
            auto top = static_cast<std::int64_t>(std::ceil(centre + support.lo * widening));
            if (top < 0) top = 0;
            if (bottom >= height) bottom = height - 1;
            if (top > bottom) continue; // no row of the image under the kernel: the destination row stays
            std::vector<Line> window;
            for (std::int64_t row = top; row <= bottom; ++row) {
                if (rows.count(row) == 0) {
                    rows[row] = resample(readLine(source, grey, s.x1, s.x2, row), outputPixels, channels, filterType,
                                         parameter);
                }
                window.push_back(rows[row]);
            }
            out = resampleRows(window, top, centre, ratio, filterType, parameter);
        }
        writeLine(destination, grey, out, d.x1, d.x2, d.y1 + k);
    }
    source.mirrorX = savedX;
    source.mirrorY = savedY;
}

inline void smooth(Rastrel& image, double widthX, double widthY, unsigned filterType, double parameter) {
    const unsigned char saved[] = {image.transposed, image.mirrorX, image.mirrorY};
    if (image.transposed != 0) std::swap(widthX, widthY);
    image.transposed = image.mirrorX = image.mirrorY = 0;
    if (filterType != 0 && (widthX > 1.0 || widthY > 1.0)) {
        const bool grey = isGrey(image);
        const std::size_t channels = grey ? 1 : 4;
        const auto width = static_cast<std::int64_t>(image.GetWidth());
        const auto height = static_cast<std::int64_t>(image.GetHeight());
        const Taps taps = tapsOf(widthY, filterType, parameter);
        const auto filtered = [&](std::int64_t row) {
            return lowpass(readLine(image, grey, 0, width - 1, row), channels, widthX, filterType, parameter);
        };
        std::vector<Line> window;
        for (std::int64_t s = taps.first; s <= taps.last; ++s)
            window.push_back(filtered(s < 0 ? -s : s));
        Line out(window[0].size());
        for (std::int64_t y = 0; y < height; ++y) {
            for (std::size_t i = 0; i < out.size(); ++i) {
                std::vector<unsigned char> column;
                for (const Line& line : window)
                    column.push_back(line[i]);
                out[i] = smoothColumn8(column, taps.weights, out[i]);
            }
            writeLine(image, grey, out, 0, width - 1, y);
            const std::int64_t s = y + taps.last + 1;
            window.erase(window.begin());
            window.push_back(filtered(s < height ? s : 2 * height - 1 - s));
        }
    }
    image.transposed = saved[0];
    image.mirrorX = saved[1];
    image.mirrorY = saved[2];
}

} // namespace naive
