#include "ondrel/temporary_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace ondrel {
namespace {

constexpr std::uint64_t kLongest = static_cast<std::uint64_t>(std::numeric_limits<off_t>::max());
/// One call's share; the kernel itself stops a little below 2 GiB.
constexpr std::uint64_t kLargestTransfer = std::uint64_t{1} << 30;
constexpr const char* kLargeFilesDirectory = "/var/tmp";

int openNamelessIn(const char* directory) {
    const int nameless = ::open(directory, O_TMPFILE | O_EXCL | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (nameless >= 0) return nameless;
    // Not every file system knows files without a name: make one and take its name away at once.
    std::array<char, 4096> path;
    const int length = std::snprintf(path.data(), path.size(), "%s/ondrel-XXXXXX", directory);
    if (length < 0 || static_cast<std::size_t>(length) >= path.size()) return -1;
    const int named = mkostemp(path.data(), O_CLOEXEC);
    if (named < 0) return -1;
    if (unlink(path.data()) == 0) return named;
    ::close(named);
    return -1;
}

bool liesInMemory(const char* directory) {
    struct statfs info {};
    return statfs(directory, &info) == 0 && (info.f_type == TMPFS_MAGIC || info.f_type == RAMFS_MAGIC);
}

/// In the order of the system's convention: the user's choice, then the general directory. What is swapped out shall
/// leave the memory, so a general directory that lies in memory comes after the one for large files.
int openNameless() {
    const char* const chosen = secure_getenv("TMPDIR");
    if (chosen != nullptr && *chosen != '\0') {
        if (const int file = openNamelessIn(chosen); file >= 0) return file;
    }
    std::array<const char*, 2> directories{P_tmpdir, kLargeFilesDirectory};
    if (liesInMemory(directories[0]) && !liesInMemory(directories[1])) std::swap(directories[0], directories[1]);
    for (const char* const directory : directories) {
        if (const int file = openNamelessIn(directory); file >= 0) return file;
    }
    return -1;
}

/// Refuses what cannot succeed before the disk is filled in vain. Exceeding the process's own limit would raise a
/// signal.
bool mayGrow(int file, std::uint64_t from, std::uint64_t to) {
    rlimit limit{};
    if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY && to > limit.rlim_cur) return false;
    struct statvfs disk {};
    if (fstatvfs(file, &disk) != 0 || disk.f_blocks == 0) return true;
    return (to - from) / disk.f_frsize <= disk.f_bavail;
}

/// The route for file systems that cannot reserve: bytes that were written have their place.
bool writeZeros(TemporaryFile& file, std::uint64_t from, std::uint64_t to) {
    static constexpr std::array<unsigned char, 65536> zeros{};
    for (std::uint64_t at = from; at < to;) {
        const std::uint64_t piece = std::min<std::uint64_t>(zeros.size(), to - at);
        if (!file.write(at, zeros.data(), piece)) return false;
        at += piece;
    }
    return true;
}

} // namespace

bool TemporaryFile::open() noexcept {
    if (handle_ < 0) handle_ = openNameless();
    return handle_ >= 0;
}

void TemporaryFile::close() noexcept {
    if (handle_ >= 0) ::close(static_cast<int>(handle_));
    handle_ = -1;
    length_ = 0;
}

bool TemporaryFile::setLength(std::uint64_t length) noexcept {
    const int file = static_cast<int>(handle_);
    if (length > kLongest) return false;
    if (length > length_ && !reserve(length)) {
        // An attempt that ran out of space may have left a part of it behind.
        static_cast<void>(!ftruncate(file, static_cast<off_t>(length_)));
        return false;
    }
    if (length < length_ && ftruncate(file, static_cast<off_t>(length)) != 0) return false;
    length_ = length;
    return true;
}

bool TemporaryFile::reserve(std::uint64_t length) noexcept {
    const int file = static_cast<int>(handle_);
    if (!mayGrow(file, length_, length)) return false;
    int result = 0;
    do {
        result = fallocate(file, 0, static_cast<off_t>(length_), static_cast<off_t>(length - length_));
    } while (result != 0 && errno == EINTR);
    if (result == 0) return true;
    return (errno == EOPNOTSUPP || errno == ENOSYS) && writeZeros(*this, length_, length);
}

bool TemporaryFile::read(std::uint64_t position, void* buffer, std::uint64_t size) const noexcept {
    auto* to = static_cast<unsigned char*>(buffer);
    while (size != 0) {
        const ssize_t done =
            pread(static_cast<int>(handle_), to, std::min(size, kLargestTransfer), static_cast<off_t>(position));
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        to += done;
        position += static_cast<std::uint64_t>(done);
        size -= static_cast<std::uint64_t>(done);
    }
    return true;
}

bool TemporaryFile::write(std::uint64_t position, const void* buffer, std::uint64_t size) noexcept {
    const auto* from = static_cast<const unsigned char*>(buffer);
    while (size != 0) {
        const ssize_t done =
            pwrite(static_cast<int>(handle_), from, std::min(size, kLargestTransfer), static_cast<off_t>(position));
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        from += done;
        position += static_cast<std::uint64_t>(done);
        size -= static_cast<std::uint64_t>(done);
    }
    return true;
}

unsigned char* TemporaryFile::map(std::uint64_t bytes) noexcept {
    void* const view = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, static_cast<int>(handle_), 0);
    return view == MAP_FAILED ? nullptr : static_cast<unsigned char*>(view);
}

void TemporaryFile::unmap(unsigned char* address, std::uint64_t bytes) noexcept {
    if (address != nullptr) munmap(address, bytes);
}

// The kernel sees what is written through a view by itself.
void TemporaryFile::beginWriting(unsigned char*, std::uint64_t) noexcept {
    if (handle_ >= 0) sync_file_range(static_cast<int>(handle_), 0, 0, SYNC_FILE_RANGE_WRITE);
}

} // namespace ondrel
