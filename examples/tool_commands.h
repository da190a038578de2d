/// @file tool_commands.h
/// What the tool does: one function a command, all of which throw what tool_failure.h names. Sizes are in pixels.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// Where an image comes from and where it goes.
struct Ends {
    std::filesystem::path in;
    std::filesystem::path out;
    std::string format; ///< empty: by the extension of `out`
};

struct ExposureSettings {
    std::vector<double> points; ///< black, mid, white, 0..1 of full scale; empty: measured
    double amount = 1.0;        ///< strength of the curve, 0..1
};

/// Shows size, colour model and resolution of every file. False when one of them cannot be read.
bool showInfo(const std::vector<std::filesystem::path>& files);
/// Shows the metadata record.
void showExif(const std::filesystem::path& file);

void convert(const Ends& ends);
/// A side of 0 follows the other one.
void resize(const Ends& ends, std::uint32_t width, std::uint32_t height, const std::string& filter);
void crop(const Ends& ends, std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height);
void lowPass(const Ends& ends, double widthX, double widthY, const std::string& filter);
void expose(const Ends& ends, const ExposureSettings& settings);
/// Thumbnails of all files on one page; a file that cannot be read leaves its frame empty.
void makeSheet(const std::filesystem::path& out, const std::vector<std::filesystem::path>& files);
/// An image that the tool makes up.
void makeTestCard(const std::filesystem::path& out, std::uint32_t width, std::uint32_t height,
                  const std::string& model);

/// Names that `--filter` takes.
std::vector<std::string> filterNames();

} // namespace tool
