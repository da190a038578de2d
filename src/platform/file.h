/// @file file.h
/// Opening files on narrow and wide paths, and 64-bit positions of C streams, alike on every system.
///
/// Paths. Narrow paths are in the system's narrow encoding: UTF-8 on Linux, the active code page on Windows. Wide paths
/// reach every name on both. `/` and `\` both separate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace rastrel {

/// What a file is opened for.
enum class OpenMode {
    kRead,          ///< "rb", shared with everyone
    kReadDenyWrite, ///< "rb"; fails while the file is open for writing, and keeps writers out until it is closed
    kWrite,         ///< "wb": created or cut to nothing; fails, the file untouched, while a reader denies writing
};

/// Opens a binary stream; null, with nothing created or changed, when that cannot be done or the path is null.
[[nodiscard]] std::FILE* openFile(const char* path, OpenMode mode) noexcept;
/// @copydoc openFile(const char*, OpenMode)
/// A wide path with a code point that the file system's encoding cannot hold names no file.
[[nodiscard]] std::FILE* openFile(const wchar_t* path, OpenMode mode) noexcept;

/// The narrow path as a wide string on the C heap, so that opening the result opens the same file. Independent of the
/// process's locale. Null for null or when the memory cannot be had.
[[nodiscard]] wchar_t* widenPath(const char* path) noexcept;

/// Moves a stream's position, `origin` as for `std::fseek`. False, position unchanged, when that cannot be done.
[[nodiscard]] bool seek(std::FILE* stream, std::int64_t offset, int origin = SEEK_SET) noexcept;
/// The stream's position, -1 when it has none.
[[nodiscard]] std::int64_t tell(std::FILE* stream) noexcept;
/// Bytes of the file behind a stream, whose position stays as it was; -1 when they cannot be told.
[[nodiscard]] std::int64_t fileSize(std::FILE* stream) noexcept;
/// Reads up to `size` bytes that begin at byte `offset` of the file; returns how many there were, 0 on any error. The
/// stream's position is unspecified afterwards. Of a stream without a buffer one call of the system does it where the
/// system has such a call: for many short runs of a file that is a tenth faster than a seek and a read each.
[[nodiscard]] std::size_t readAt(std::FILE* stream, std::int64_t offset, void* buffer, std::size_t size) noexcept;

/// @name Ways that work everywhere
/// @{
/// `fileSize` by a seek to the end and back.
[[nodiscard]] std::int64_t sizeBySeeking(std::FILE* stream) noexcept;
/// `readAt` by a seek, unless the stream stands there already, and a read.
[[nodiscard]] std::size_t readFromPosition(std::FILE* stream, std::int64_t offset, void* buffer,
                                           std::size_t size) noexcept;
/// @}

} // namespace rastrel
