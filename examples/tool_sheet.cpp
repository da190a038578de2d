/// Commands that draw an image of their own: sheet and testcard.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>

#include "tool_commands.h"
#include "tool_failure.h"
#include "tool_files.h"
#include "tool_formats.h"
#include "tool_job.h"

namespace tool {
namespace {

constexpr long kCellWidth = 192; ///< of the frame with its margin
constexpr long kCellHeight = 160;
constexpr long kMargin = 8;
constexpr unsigned char kBoxFilter = 1;
constexpr unsigned char kPaper = 255;
constexpr unsigned char kInk = 96;

struct Area {
    long left, top, right, bottom; ///< inclusive
};

void fillWithPaper(Rastrel& page) {
    std::vector<unsigned char> row(page.GetWidth(), kPaper);
    for (unsigned long y = 0; y < page.GetHeight(); ++y)
        page.SetHLine(row.data(), 0, static_cast<long>(row.size()) - 1, static_cast<long>(y));
}

void drawFrame(Rastrel& page, const Area& area) {
    const auto line = [&page](long x1, long y1, long x2, long y2) {
        page.DrawLine(x1, y1, x2, y2, 255, kInk, kInk, kInk);
    };
    line(area.left, area.top, area.right, area.top);
    line(area.left, area.bottom, area.right, area.bottom);
    line(area.left, area.top, area.left, area.bottom);
    line(area.right, area.top, area.right, area.bottom);
}

/// Scales the image to the largest size that fits between the lines of the frame, never above its own, in the middle.
void drawThumbnail(Rastrel& page, Rastrel& image, const Area& frame) {
    const double room = static_cast<double>(frame.right - frame.left - 1);
    const double rows = static_cast<double>(frame.bottom - frame.top - 1);
    const auto width = static_cast<double>(image.GetWidth());
    const auto height = static_cast<double>(image.GetHeight());
    const double scale = std::min({room / width, rows / height, 1.0});
    const long w = std::max(1L, std::lround(width * scale));
    const long h = std::max(1L, std::lround(height * scale));
    const long left = (frame.left + frame.right + 1 - w) / 2;
    const long top = (frame.top + frame.bottom + 1 - h) / 2;
    runJob(image, "scaling", [&] {
        image.StretchBlt(page, left, left + w - 1, top, top + h - 1, 0, static_cast<long>(image.GetWidth()) - 1, 0,
                         static_cast<long>(image.GetHeight()) - 1, kBoxFilter, 0.0);
    });
}

/// One row of the card in four bands: colour bars, the same with growing opacity, a grey ramp, growing frequencies.
void drawCardRow(std::vector<pixel_argbfp64>& row, double y) {
    const auto width = static_cast<double>(row.size());
    for (std::size_t i = 0; i < row.size(); ++i) {
        const double x = (static_cast<double>(i) + 0.5) / width;
        const auto bar = 7U - std::min(7U, static_cast<unsigned>(x * 8.0));
        const auto channel = [bar](unsigned bit) { return (bar & bit) != 0 ? 1.0 : 0.0; };
        pixel_argbfp64& pixel = row[i];
        pixel = {channel(1), channel(4), channel(2), 1.0};
        if (y < 0.25) continue;
        if (y < 0.5) {
            pixel.a = (y - 0.25) * 4.0;
            continue;
        }
        const double grey = y < 0.75 ? x : 0.5 + 0.5 * std::sin(x * x * width * std::numbers::pi / 2.0);
        pixel = {grey, grey, grey, 1.0};
    }
}

// Writers take the date and the speed from the tags.
void fillRecord(Rastrel::_EXIF& record) {
    record.dateTime = 1592224200; // 2020-06-15 12:30:00
    record.orientation = 1;
    record.isoSpeed = 100;
    record.xResolution = record.yResolution = 300.0;
    std::snprintf(record.description, sizeof record.description, "test card");
    std::snprintf(record.software, sizeof record.software, "rastrel");
    constexpr char kDate[] = "2020:06:15 12:30:00";
    constexpr std::uint16_t kSpeed = 100;
    if (_tiff_ifd_tag* const speed = record.exifTags.append(0x8827, 3, 1))
        std::memcpy(speed->data, &kSpeed, sizeof kSpeed);
    if (_tiff_ifd_tag* const date = record.exifTags.append(0x9003, 2, sizeof kDate))
        std::memcpy(date->data, kDate, sizeof kDate);
}

} // namespace

void makeSheet(const std::filesystem::path& out, const std::vector<std::filesystem::path>& files) {
    const Format format = formatOf(out, "");
    const std::size_t columns =
        std::max<std::size_t>(1, static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(files.size())))));
    const std::size_t rows = (files.size() + columns - 1) / columns;
    Image page = newImage(out, columns * kCellWidth, rows * kCellHeight, CM_RGB8);
    fillWithPaper(*page);
    for (std::size_t i = 0; i < files.size(); ++i) {
        const auto x = static_cast<long>(i % columns) * kCellWidth;
        const auto y = static_cast<long>(i / columns) * kCellHeight;
        const Area frame{x + kMargin, y + kMargin, x + kCellWidth - kMargin - 1, y + kCellHeight - kMargin - 1};
        drawFrame(*page, frame);
        try {
            const Image image = readImage(files[i]);
            if (!convertible(image->GetColormodel()))
                throw Failure(files[i], "pixels of " + modelName(image->GetColormodel()) + " cannot be shown");
            drawThumbnail(*page, *image, frame);
        } catch (const Failure& failure) {
            complain(failure.what());
        }
    }
    storeImage(std::move(page), out, format);
}

void makeTestCard(const std::filesystem::path& out, std::uint32_t width, std::uint32_t height,
                  const std::string& model) {
    const Format format = formatOf(out, "");
    Image card = newImage(out, width, height, modelNamed(model));
    runJob(*card, "drawing", [&] {
        std::vector<pixel_argbfp64> row(width);
        for (std::uint32_t y = 0; y < height && goOn(*card, y, height); ++y) {
            drawCardRow(row, (y + 0.5) / height);
            card->SetHLine(row.data(), 0, static_cast<long>(width) - 1, static_cast<long>(y));
        }
    });
    fillRecord(card->exif);
    storeImage(std::move(card), out, format);
}

} // namespace tool
