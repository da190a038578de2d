/// @file process_limits.h
/// What the tests of swapped blocks ask of the system: a directory of their own for temporary files, the memory that
/// the process has taken, and limits to it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <system_error>

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <csignal>
#include <cstdio>
#include <sys/resource.h>
#include <unistd.h>
#endif

/// For child processes, where the test framework's checks would go unseen.
#define REQUIRE_IN_CHILD(condition)                                                                                    \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::cerr << "not so: " #condition << std::endl;                                                           \
            std::_Exit(1);                                                                                             \
        }                                                                                                              \
    } while (false)

namespace test {

#if defined(_WIN32)
inline constexpr const char* kDirectoryVariable = "TMP";
/// Whether the system's convention names another directory when the chosen one does not exist.
inline constexpr bool kFindsOtherDirectory = false;
#else
inline constexpr const char* kDirectoryVariable = "TMPDIR";
inline constexpr bool kFindsOtherDirectory = true;
#endif

inline void setVariable(const char* name, const std::string& value) {
#if defined(_WIN32)
    SetEnvironmentVariableA(name, value.c_str());
#else
    setenv(name, value.c_str(), 1);
#endif
}

/// An empty directory that new temporary files go to as long as this object lives.
class TemporaryDirectory {
public:
    TemporaryDirectory() : general_(std::filesystem::temp_directory_path()) {
        static std::atomic<int> serial{0};
        std::error_code ignored;
        do {
            path_ = general_ / ("ondrel-test-" + std::to_string(processId()) + '-' + std::to_string(++serial));
        } while (!std::filesystem::create_directory(path_, ignored));
        setVariable(kDirectoryVariable, path_.string());
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        setVariable(kDirectoryVariable, general_.string());
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// Files in it and in directories below; those of child processes lie there.
    [[nodiscard]] std::size_t files() const {
        std::size_t count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_))
            count += entry.is_directory() ? 0 : 1;
        return count;
    }

private:
    static unsigned long processId() {
#if defined(_WIN32)
        return GetCurrentProcessId();
#else
        return static_cast<unsigned long>(getpid());
#endif
    }

    std::filesystem::path general_;
    std::filesystem::path path_;
};

/// Bytes of the address space that the process has taken and may write.
inline std::uint64_t memoryTaken() {
#if defined(_WIN32)
    std::uint64_t taken = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (const char* at = nullptr; VirtualQuery(at, &region, sizeof region) != 0; at += region.RegionSize) {
        if (region.State == MEM_COMMIT) taken += region.RegionSize;
        at = static_cast<const char*>(region.BaseAddress);
    }
    return taken;
#else
    unsigned long long pages = 0;
    if (FILE* const file = std::fopen("/proc/self/statm", "r"); file != nullptr) {
        if (std::fscanf(file, "%llu", &pages) != 1) pages = 0;
        std::fclose(file);
    }
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
#endif
}

/// From now on the process gets at most `more` bytes in addition; true where the system has such a limit.
inline bool limitMemory([[maybe_unused]] std::uint64_t more) {
#if defined(_WIN32)
    return false;
#else
    const rlimit limit{memoryTaken() + more, memoryTaken() + more};
    return setrlimit(RLIMIT_AS, &limit) == 0;
#endif
}

/// From now on no file of the process gets longer than `bytes`; true where the system has such a limit.
inline bool limitFileSize([[maybe_unused]] std::uint64_t bytes) {
#if defined(_WIN32)
    return false;
#else
    const rlimit limit{bytes, bytes};
    return setrlimit(RLIMIT_FSIZE, &limit) == 0;
#endif
}

/// Ends the process on the spot, as a crash or a task manager does.
[[noreturn]] inline void killThisProcess() {
#if defined(_WIN32)
    TerminateProcess(GetCurrentProcess(), 9);
#else
    std::raise(SIGKILL);
#endif
    std::abort();
}

/// Runs `body` as all of a child process.
template <class Body>
void inChild(const Body& body) {
    body();
    std::_Exit(0);
}

} // namespace test
