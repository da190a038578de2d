/// @file tool_files.h
/// Images from files and into files, with reasons.
#pragma once

#include <filesystem>
#include <memory>

#include "rastrel/rastrel.h"
#include "tool_formats.h"

namespace tool {

struct DeleteImage {
    void operator()(Rastrel* image) const { delete_Rastrel(image); }
};
using Image = std::unique_ptr<Rastrel, DeleteImage>;

/// An empty image.
Image newImage();
/// An image of zero pixels in reversed component order, or a `Failure` about `file`.
Image newImage(const std::filesystem::path& file, std::uint64_t width, std::uint64_t height, std::uint8_t model);

/// Reads a file whole.
Image readImage(const std::filesystem::path& file);
/// Reads a file's header, or the whole file where its format has no other way.
Image readHeader(const std::filesystem::path& file);

/// A new upright image of that colour model with the same pixels and metadata.
Image convertImage(Rastrel& image, std::uint8_t model, const std::filesystem::path& file);

/// Writes the image, converted where the format asks for it, and says on standard output what was written. An
/// existing file is replaced when the new one is complete; a failure or Ctrl-C leaves it as it was.
void storeImage(Image image, const std::filesystem::path& file, Format format);

} // namespace tool
