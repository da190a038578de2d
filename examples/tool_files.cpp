#include "tool_files.h"

#include <iostream>
#include <limits>
#include <new>
#include <system_error>
#include <type_traits>
#include <vector>

#include "tool_failure.h"
#include "tool_job.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

std::string whyNotRead(const fs::path& file, unsigned __int64 status) {
    std::error_code error;
    const fs::file_status found = fs::status(file, error);
    if (found.type() == fs::file_type::not_found) return "there is no such file";
    if (fs::is_directory(found)) return "is a folder";
    if (status == Rastrel::kNotOpened) return "cannot be opened";
    if (fs::is_regular_file(found) && fs::file_size(file, error) == 0 && !error) return "is empty";
    return "is no image file of a known format, or is damaged";
}

std::string whyNotWritten(const fs::path& file, unsigned __int64 status, Format format) {
    std::error_code error;
    if (fs::is_directory(file, error)) return "is a folder";
    const fs::path folder = file.parent_path();
    if (!folder.empty() && !fs::is_directory(folder, error)) return "there is no folder " + text(folder);
    if (status == Rastrel::kNotOpened) return "cannot be created";
    return "cannot be written as " + describe(format) + " (a full disk, or too large for the format)";
}

void checkReady(Rastrel& image, const fs::path& file) {
    constexpr auto kMost = static_cast<unsigned long>(std::numeric_limits<std::int32_t>::max());
    if (image.GetWidth() > kMost || image.GetHeight() > kMost || !image.GetReady())
        throw Failure(file, "holds no usable image");
}

/// The file under whose name an image is written: a neighbour of the target, which takes the target's place at the end
/// and is gone otherwise. What is no ordinary file is written to as it is.
class Output {
public:
    explicit Output(fs::path target) : target_(std::move(target)), partial_(target_) {
        std::error_code error;
        const fs::file_status found = fs::symlink_status(target_, error);
        replaces_ = fs::is_regular_file(found) || found.type() == fs::file_type::not_found;
        if (replaces_) partial_ += ".part";
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output() {
        std::error_code error;
        if (replaces_ && !finished_) fs::remove(partial_, error);
    }

    const fs::path& path() const { return partial_; }
    void finish() {
        std::error_code error;
        if (replaces_) fs::rename(partial_, target_, error);
        if (error) throw Failure(target_, "cannot be replaced");
        finished_ = true;
    }

private:
    fs::path target_;
    fs::path partial_;
    bool replaces_ = false;
    bool finished_ = false;
};

template <class Pixel>
void copyRows(Rastrel& from, Rastrel& to) {
    const auto width = static_cast<long>(from.GetWidth());
    const auto height = static_cast<long>(from.GetHeight());
    std::vector<Pixel> row(static_cast<std::size_t>(width));
    for (long y = 0; y < height && goOn(from, static_cast<std::uint64_t>(y), static_cast<std::uint64_t>(height)); ++y) {
        from.GetHLine(row.data(), 0, width - 1, y);
        to.SetHLine(row.data(), 0, width - 1, y);
    }
}

/// Moves the pixels as the narrowest type that holds all the target keeps.
void copyPixels(Rastrel& from, Rastrel& to) {
    switch (to.GetColormodel()) {
    case CM_BW1:
    case CM_BW1INV:
    case CM_GREY8:
        return copyRows<unsigned char>(from, to);
    case CM_GREY16:
        return copyRows<unsigned short>(from, to);
    case CM_GREYFP32:
    case CM_GREYFP64:
        return copyRows<double>(from, to);
    case CM_RGB16:
    case CM_ARGB16:
    case CM_RGBA16:
        return copyRows<pixel_argb16>(from, to);
    case CM_ARGBFP32:
        return copyRows<pixel_argbfp32>(from, to);
    case CM_ARGBFP64:
        return copyRows<pixel_argbfp64>(from, to);
    default:
        return copyRows<pixel_argb8>(from, to);
    }
}

} // namespace

Image newImage() {
    Image image(new_Rastrel());
    if (!image) throw std::bad_alloc();
    return image;
}

Image newImage(const fs::path& file, std::uint64_t width, std::uint64_t height, std::uint8_t model) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int32_t>::max();
    Image image = newImage();
    if (width > kMost || height > kMost) throw Failure(file, "would be too large");
    image->Create(static_cast<unsigned long>(width), static_cast<unsigned long>(height), model);
    if (image->pixels.GetSize() == 0) throw Failure(file, "would not fit into memory");
    return image;
}

Image readImage(const fs::path& file) {
    Image image = newImage();
    unsigned __int64 status = Rastrel::kNotOpened;
    runJob(*image, "reading " + text(file.filename()), [&] { status = image->Read(file.c_str()); });
    if (status != 0) throw Failure(file, whyNotRead(file, status));
    checkReady(*image, file);
    return image;
}

Image readHeader(const fs::path& file) {
    Image image = newImage();
    unsigned __int64 status = Rastrel::kNotOpened;
    runJob(*image, "reading " + text(file.filename()), [&] {
        status = image->PreRead(file.c_str());
        if (status == Rastrel::kNotAccepted) status = image->Read(file.c_str());
    });
    if (status != 0) throw Failure(file, whyNotRead(file, status));
    return image;
}

Image convertImage(Rastrel& image, std::uint8_t model, const fs::path& file) {
    if (!convertible(image.GetColormodel()))
        throw Failure(file, "pixels of " + modelName(image.GetColormodel()) + " cannot be converted");
    Image result = newImage(file, image.GetWidth(), image.GetHeight(), model);
    runJob(image, "converting", [&] { copyPixels(image, *result); });
    result->exif = image.exif;
    return result;
}

void storeImage(Image image, const fs::path& file, Format format) {
    const std::uint8_t before = image->GetColormodel();
    if (!fits(format, *image)) image = convertImage(*image, modelFor(format, before), file);
    Output output(file);
    unsigned __int64 status = Rastrel::kWriteFailed;
    const fs::path writer = writerName(format);
    runJob(*image, "writing " + text(file.filename()),
           [&] { status = image->Write(output.path().c_str(), writer.c_str()); });
    if (status != 0) throw Failure(file, whyNotWritten(file, status, format));
    output.finish();
    std::cout << text(file) << ": " << image->GetWidth() << " x " << image->GetHeight() << ", " << describe(format)
              << ", " << modelName(image->GetColormodel());
    if (image->GetColormodel() != before) std::cout << " (from " << modelName(before) << ')';
    std::cout << std::endl;
}

} // namespace tool
