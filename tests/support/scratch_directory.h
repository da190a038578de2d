/// @file scratch_directory.h
/// A directory of its own for a test's files, removed with them.
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>

namespace rastrel_test {

/// Created empty, in the system's directory for temporary files.
class ScratchDirectory {
public:
    ScratchDirectory() {
        static std::atomic<unsigned> count{0};
        const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
        do {
            path_ = std::filesystem::temp_directory_path() /
                    ("rastrel-test-" + std::to_string(stamp) + "-" + std::to_string(count++));
        } while (!std::filesystem::create_directory(path_));
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    /// The path of a file inside, narrow; the name in ASCII.
    [[nodiscard]] std::string narrow(const std::string& name) const { return (path_ / name).string(); }
    /// The path of a file inside, wide; any name.
    [[nodiscard]] std::wstring wide(const std::wstring& name) const { return path_.wstring() + L"/" + name; }
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace rastrel_test
