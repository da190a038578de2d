#include "ondrel/temporary_file.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cwchar>
#include <limits>
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

namespace ondrel {
namespace {

constexpr std::uint64_t kLongest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
constexpr std::uint64_t kLargestTransfer = std::uint64_t{1} << 30;
constexpr int kNameTries = 1000;

HANDLE handleOf(std::intptr_t value) { return reinterpret_cast<HANDLE>(value); }

OVERLAPPED at(std::uint64_t position) {
    OVERLAPPED where{};
    where.Offset = static_cast<DWORD>(position);
    where.OffsetHigh = static_cast<DWORD>(position >> 32);
    return where;
}

/// The file is shared with nobody as long as it exists, and the system deletes it with its only handle.
HANDLE openUnshared() {
    static std::atomic<unsigned> serial{0};
    std::array<wchar_t, MAX_PATH + 1> directory;
    const DWORD length = GetTempPathW(static_cast<DWORD>(directory.size()), directory.data());
    if (length == 0 || length > directory.size()) return INVALID_HANDLE_VALUE;
    for (int i = 0; i < kNameTries; ++i) {
        std::array<wchar_t, MAX_PATH + 64> path;
        LARGE_INTEGER ticks{};
        QueryPerformanceCounter(&ticks);
        std::swprintf(path.data(), path.size(), L"%lsondrel-%lx-%llx-%x.tmp", directory.data(), GetCurrentProcessId(),
                      static_cast<unsigned long long>(ticks.QuadPart), serial.fetch_add(1));
        const HANDLE file = CreateFileW(
            path.data(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
            FILE_ATTRIBUTE_TEMPORARY | FILE_ATTRIBUTE_NOT_CONTENT_INDEXED | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        if (file != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS) return file;
    }
    return INVALID_HANDLE_VALUE;
}

/// Refuses what cannot succeed: not every file system reserves space when the end of a file is moved.
bool diskHolds(std::uint64_t bytes) {
    std::array<wchar_t, MAX_PATH + 1> directory;
    const DWORD length = GetTempPathW(static_cast<DWORD>(directory.size()), directory.data());
    if (length == 0 || length > directory.size()) return true;
    ULARGE_INTEGER available{};
    return !GetDiskFreeSpaceExW(directory.data(), &available, nullptr, nullptr) || bytes <= available.QuadPart;
}

} // namespace

bool TemporaryFile::open() noexcept {
    if (handle_ == -1) handle_ = reinterpret_cast<std::intptr_t>(openUnshared());
    return handle_ != -1;
}

void TemporaryFile::close() noexcept {
    if (handle_ != -1) CloseHandle(handleOf(handle_));
    handle_ = -1;
    length_ = 0;
}

bool TemporaryFile::setLength(std::uint64_t length) noexcept {
    if (length > kLongest) return false;
    if (length > length_ && !diskHolds(length - length_)) return false;
    if (length != length_ && !reserve(length)) return false;
    length_ = length;
    return true;
}

// Moving the end reserves the clusters up to it; bytes that were never written read as zero.
bool TemporaryFile::reserve(std::uint64_t length) noexcept {
    LARGE_INTEGER end{};
    end.QuadPart = static_cast<LONGLONG>(length);
    return SetFilePointerEx(handleOf(handle_), end, nullptr, FILE_BEGIN) && SetEndOfFile(handleOf(handle_));
}

bool TemporaryFile::read(std::uint64_t position, void* buffer, std::uint64_t size) const noexcept {
    auto* to = static_cast<unsigned char*>(buffer);
    while (size != 0) {
        OVERLAPPED where = at(position);
        DWORD done = 0;
        const auto piece = static_cast<DWORD>(std::min(size, kLargestTransfer));
        if (!ReadFile(handleOf(handle_), to, piece, &done, &where) || done == 0) return false;
        to += done;
        position += done;
        size -= done;
    }
    return true;
}

bool TemporaryFile::write(std::uint64_t position, const void* buffer, std::uint64_t size) noexcept {
    const auto* from = static_cast<const unsigned char*>(buffer);
    while (size != 0) {
        OVERLAPPED where = at(position);
        DWORD done = 0;
        const auto piece = static_cast<DWORD>(std::min(size, kLargestTransfer));
        if (!WriteFile(handleOf(handle_), from, piece, &done, &where) || done == 0) return false;
        from += done;
        position += done;
        size -= done;
    }
    return true;
}

unsigned char* TemporaryFile::map(std::uint64_t bytes) noexcept {
    const HANDLE section = CreateFileMappingW(handleOf(handle_), nullptr, PAGE_READWRITE,
                                              static_cast<DWORD>(bytes >> 32), static_cast<DWORD>(bytes), nullptr);
    if (section == nullptr) return nullptr;
    void* const view = MapViewOfFile(section, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, bytes);
    // The view keeps the section alive.
    CloseHandle(section);
    return static_cast<unsigned char*>(view);
}

void TemporaryFile::unmap(unsigned char* address, std::uint64_t) noexcept {
    if (address != nullptr) UnmapViewOfFile(address);
}

void TemporaryFile::beginWriting(unsigned char* view, std::uint64_t viewBytes) noexcept {
    if (view != nullptr) FlushViewOfFile(view, viewBytes);
}

} // namespace ondrel
