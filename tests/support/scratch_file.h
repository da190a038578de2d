/// @file scratch_file.h
/// A file of its own for one test.
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace testing_support {

/// A file in the folder for temporary files, removed at the end.
class ScratchFile {
public:
    explicit ScratchFile(const std::string& suffix = ".bin") {
        static const unsigned kRun = std::random_device{}();
        static unsigned count = 0;
        path_ = std::filesystem::temp_directory_path() /
                ("rastrel-test-" + std::to_string(kRun) + "-" + std::to_string(++count) + suffix);
        write({});
    }
    explicit ScratchFile(const std::vector<unsigned char>& bytes, const std::string& suffix = ".bin")
        : ScratchFile(suffix) {
        write(bytes);
    }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;
    ~ScratchFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }

    std::string path() const { return path_.string(); }
    std::wstring widePath() const { return path_.wstring(); }

    void write(const std::vector<unsigned char>& bytes) const {
        std::ofstream out(path_, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    std::vector<unsigned char> bytes() const {
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

private:
    std::filesystem::path path_;
};

/// An open C stream on a scratch file, closed at the end.
class ScratchStream {
public:
    ScratchStream() : ScratchStream(std::vector<unsigned char>{}) {}
    explicit ScratchStream(const std::vector<unsigned char>& bytes)
        : file_(bytes), stream_(std::fopen(file_.path().c_str(), "rb+")) {}
    ScratchStream(const ScratchStream&) = delete;
    ScratchStream& operator=(const ScratchStream&) = delete;
    ~ScratchStream() {
        if (stream_ != nullptr) std::fclose(stream_);
    }
    operator FILE*() const { return stream_; }
    /// What the file holds now.
    std::vector<unsigned char> bytes() const {
        std::fflush(stream_);
        return file_.bytes();
    }

private:
    ScratchFile file_;
    FILE* stream_;
};

} // namespace testing_support
