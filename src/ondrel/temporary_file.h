/// @file temporary_file.h
/// A private file without a lasting name. Each system has its own source file.
#pragma once

#include <cstdint>

namespace ondrel {

/// A file in the system's directory for temporary files that no other user may open and that is gone when it is closed
/// or the process ends, however it ends. Reading and writing from several threads at once is safe.
class TemporaryFile {
public:
    TemporaryFile() = default;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { close(); }

    /// Makes an empty file, unless one is open already.
    [[nodiscard]] bool open() noexcept;
    void close() noexcept;

    [[nodiscard]] std::uint64_t length() const noexcept { return length_; }
    /// Grows with zero bytes whose space on the disk is reserved, so that writing them cannot run out of it, or shrinks
    /// (then nothing may be mapped). False, and the length unchanged, when the disk has no room.
    [[nodiscard]] bool setLength(std::uint64_t length) noexcept;
    [[nodiscard]] bool read(std::uint64_t position, void* buffer, std::uint64_t size) const noexcept;
    [[nodiscard]] bool write(std::uint64_t position, const void* buffer, std::uint64_t size) noexcept;

    /// The first `bytes` bytes in the address space, seen and changed by reading and writing alike; null when the
    /// system refuses. To be returned with the same `bytes`.
    [[nodiscard]] unsigned char* map(std::uint64_t bytes) noexcept;
    void unmap(unsigned char* address, std::uint64_t bytes) noexcept;
    /// Begins writing what has not reached the disk yet; `view` of `viewBytes` bytes is mapped (or null).
    void beginWriting(unsigned char* view, std::uint64_t viewBytes) noexcept;

private:
    [[nodiscard]] bool reserve(std::uint64_t length) noexcept;

    /// A file descriptor or a file handle; -1 is invalid as either.
    std::intptr_t handle_ = -1;
    std::uint64_t length_ = 0;
};

} // namespace ondrel
