/// @file tool_formats.h
/// File formats and colour models, and which of these goes into which file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "rastrel/rastrel.h"

namespace tool {

enum class Format : std::uint8_t { tiff, jpeg, exr, psb, temporary };

/// The format that a name stands for: tif, tiff, jpg, jpeg, exr, psb, tmp. Throws `UsageError` for any other.
Format formatNamed(const std::string& name);
/// The format asked for, or, when `name` is empty, the one that the path's extension stands for.
Format formatOf(const std::filesystem::path& path, const std::string& name);
/// What `Rastrel::Write` calls it.
const char* writerName(Format format);
/// What people call it.
std::string describe(Format format);

/// "CM_RGB8" and the like; "colour model N" for a code without a name.
std::string modelName(std::uint8_t model);
/// The code of a name without "CM_" in lower case, e.g. "rgb16". Throws `UsageError` for an unknown one.
std::uint8_t modelNamed(const std::string& name);
/// Whether pixels of this model can be had as numbers.
bool convertible(std::uint8_t model);
/// More than 8 bits a channel.
bool isDeep(std::uint8_t model);
/// The model of the same channels with 8 bits each.
std::uint8_t shallow(std::uint8_t model);

/// The colour model in which a file of that format shows the right colours in every program, without giving away
/// more of the model's channels and depth than the format asks for.
std::uint8_t modelFor(Format format, std::uint8_t model);
/// Whether the image can go into such a file as it is.
bool fits(Format format, Rastrel& image);

} // namespace tool
