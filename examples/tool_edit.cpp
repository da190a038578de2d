/// Commands that make one image of another.
#include <array>
#include <cmath>
#include <iostream>
#include <limits>

#include "tool_commands.h"
#include "tool_failure.h"
#include "tool_files.h"
#include "tool_formats.h"
#include "tool_job.h"

namespace tool {
namespace {

struct Filter {
    const char* name;
    unsigned char code;
};

constexpr std::array<Filter, 5> kFilters{
    {{"box", 1}, {"triangle", 2}, {"gaussian", 3}, {"lanczos2", 5}, {"lanczos3", 6}}};

unsigned char filterCode(const std::string& name) {
    for (const Filter& filter : kFilters) {
        if (name == filter.name) return filter.code;
    }
    throw UsageError("no filter \"" + name + "\"");
}

Image readForPixels(const std::filesystem::path& file) {
    Image image = readImage(file);
    if (!convertible(image->GetColormodel()))
        throw Failure(file, "pixels of " + modelName(image->GetColormodel()) + " cannot be changed");
    return image;
}

/// The other side of an image that keeps its proportions, at least one pixel.
std::uint32_t follow(std::uint32_t side, unsigned long from, unsigned long to) {
    const double length = std::round(static_cast<double>(side) * static_cast<double>(to) / static_cast<double>(from));
    return static_cast<std::uint32_t>(std::min(std::max(length, 1.0), 2147483647.0));
}

/// The curve as a table for the depth of the image's samples.
LookUpTable tableFor(const LookUpTable& curve, bool deep) {
    LookUpTable table(curve);
    if (!deep || curve.mode == 0) return table;
    if (!table.Init(2)) throw std::bad_alloc();
    table.black = curve.black;
    table.mid = curve.mid;
    table.white = curve.white;
    table.amount = curve.amount;
    table.Refresh();
    return table;
}

/// Puts every pixel through the table; opacity stays.
template <class Pixel>
void applyTable(Rastrel& image, LookUpTable& table) {
    const auto width = static_cast<long>(image.GetWidth());
    const auto height = static_cast<long>(image.GetHeight());
    std::vector<Pixel> row(static_cast<std::size_t>(width));
    for (long y = 0; y < height && goOn(image, static_cast<std::uint64_t>(y), static_cast<std::uint64_t>(height));
         ++y) {
        image.GetHLine(row.data(), 0, width - 1, y);
        for (Pixel& pixel : row) {
            const auto alpha = pixel.a;
            table.LookUp(pixel);
            pixel.a = alpha;
        }
        image.SetHLine(row.data(), 0, width - 1, y);
    }
}

void setCurve(Rastrel& image, const std::filesystem::path& file, const ExposureSettings& settings) {
    if (settings.points.empty()) {
        bool measured = false;
        runJob(image, "measuring", [&] { measured = image.AutoExposure(); });
        if (!measured) throw Failure(file, "cannot be measured");
    } else {
        image.SetExposure(settings.points.at(0), settings.points.at(1), settings.points.at(2));
    }
    image.SetExposure(settings.amount);
    const LookUpTable& table = image.lookUpTable;
    if (table.mode == 0)
        std::cout << "curve: none, all pixels are of one brightness" << std::endl;
    else
        std::cout << "curve: black " << table.black << ", mid " << table.mid << ", white " << table.white << ", amount "
                  << table.amount << std::endl;
}

} // namespace

std::vector<std::string> filterNames() {
    std::vector<std::string> names;
    names.reserve(kFilters.size());
    for (const Filter& filter : kFilters)
        names.emplace_back(filter.name);
    return names;
}

void convert(const Ends& ends) {
    const Format format = formatOf(ends.out, ends.format);
    storeImage(readImage(ends.in), ends.out, format);
}

// Scaling works with 8 bits a channel; the result says so.
void resize(const Ends& ends, std::uint32_t width, std::uint32_t height, const std::string& filter) {
    const Format format = formatOf(ends.out, ends.format);
    const unsigned char code = filterCode(filter);
    const Image source = readForPixels(ends.in);
    const unsigned long fullWidth = source->GetWidth();
    const unsigned long fullHeight = source->GetHeight();
    if (width == 0) width = follow(height, fullHeight, fullWidth);
    if (height == 0) height = follow(width, fullWidth, fullHeight);
    Image result = newImage(ends.out, width, height, modelFor(format, shallow(source->GetColormodel())));
    runJob(*source, "scaling", [&] {
        source->StretchBlt(*result, 0, static_cast<long>(width) - 1, 0, static_cast<long>(height) - 1, 0,
                           static_cast<long>(fullWidth) - 1, 0, static_cast<long>(fullHeight) - 1, code, 0.0);
    });
    result->exif = source->exif;
    storeImage(std::move(result), ends.out, format);
}

void crop(const Ends& ends, std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) {
    const Format format = formatOf(ends.out, ends.format);
    Image image = readImage(ends.in);
    if (std::uint64_t{x} + width > image->GetWidth() || std::uint64_t{y} + height > image->GetHeight())
        throw Failure(ends.in, "is " + std::to_string(image->GetWidth()) + " x " + std::to_string(image->GetHeight()) +
                                   ": the area does not lie inside");
    bool cut = false;
    runJob(*image, "cropping", [&] {
        cut = image->Crop(static_cast<long>(x), static_cast<long>(x + width - 1), static_cast<long>(y),
                          static_cast<long>(y + height - 1));
    });
    if (!cut) throw Failure(ends.in, "cannot be cropped");
    storeImage(std::move(image), ends.out, format);
}

void lowPass(const Ends& ends, double widthX, double widthY, const std::string& filter) {
    const Format format = formatOf(ends.out, ends.format);
    const unsigned char code = filterCode(filter);
    Image image = readForPixels(ends.in);
    runJob(*image, "smoothing", [&] { image->LowPass(widthX, widthY, code, 0.0); });
    storeImage(std::move(image), ends.out, format);
}

void expose(const Ends& ends, const ExposureSettings& settings) {
    const Format format = formatOf(ends.out, ends.format);
    Image image = readForPixels(ends.in);
    setCurve(*image, ends.in, settings);
    const bool deep = isDeep(image->GetColormodel());
    LookUpTable table = tableFor(image->lookUpTable, deep);
    runJob(*image, "exposing", [&] {
        if (deep)
            applyTable<pixel_argb16>(*image, table);
        else
            applyTable<pixel_argb8>(*image, table);
    });
    storeImage(std::move(image), ends.out, format);
}

} // namespace tool
