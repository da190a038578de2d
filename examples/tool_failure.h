/// @file tool_failure.h
/// How a command ends early.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace tool {

/// A path in UTF-8, as it was given.
inline std::string text(const std::filesystem::path& path) {
    const std::u8string bytes = path.u8string();
    return {bytes.begin(), bytes.end()};
}

/// A path given in UTF-8.
inline std::filesystem::path pathOf(const std::string& utf8) {
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end()));
}

/// The command failed: what it concerns, and why.
class Failure : public std::runtime_error {
public:
    Failure(const std::filesystem::path& file, const std::string& reason)
        : std::runtime_error(text(file) + ": " + reason) {}
};

/// The command line makes no sense.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The user wants the program to end.
class Cancelled : public std::runtime_error {
public:
    Cancelled() : std::runtime_error("cancelled") {}
};

/// One line for standard error: control characters of names and texts become question marks.
std::string oneLine(std::string message);

/// Writes `rastrel: MESSAGE` to standard error, as one line.
void complain(const std::string& message);

} // namespace tool
