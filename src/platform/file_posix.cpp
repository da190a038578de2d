// Opening files with Windows' sharing modes, by locks that belong to the open file.
//
// Four bytes far behind any file's contents stand for what an opener does and what it denies: reads, writes, denies
// reading, denies writing. Each opener first puts a shared lock on the bytes that describe it, then asks whether
// another open file holds a byte that contradicts it. Two openers that race may both be refused, never both admitted.
// Closing the stream drops the locks, also when the process is killed.
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "platform/file.h"
#include "platform/path_posix.h"
#include "rastrel/platform.h"

namespace {

constexpr off_t kReads = 0x4000000000000000;
constexpr off_t kWrites = kReads + 1;
constexpr off_t kDeniesReading = kReads + 2;
constexpr off_t kDeniesWriting = kReads + 3;

struct StreamMode {
    bool reads = false;
    bool writes = false;
    int flags = 0; ///< of open(), without the truncation
    bool cuts = false;
};

/// Reads a mode of the C library: r, w or a, then any of +, b and t. False for anything else.
bool parseMode(std::string_view text, StreamMode& mode) noexcept {
    if (text.empty() || text.substr(1).find_first_not_of("+bt") != std::string_view::npos) return false;
    const bool update = text.find('+') != std::string_view::npos;
    mode.reads = update || text[0] == 'r';
    mode.writes = update || text[0] != 'r';
    if (text[0] == 'w') {
        mode.flags = O_CREAT;
        mode.cuts = true;
    } else if (text[0] == 'a') {
        mode.flags = O_CREAT | O_APPEND;
    } else if (text[0] != 'r') {
        return false;
    }
    return true;
}

struct flock oneByte(short kind, off_t position) noexcept {
    struct flock lock {};
    lock.l_type = kind;
    lock.l_whence = SEEK_SET;
    lock.l_start = position;
    lock.l_len = 1;
    return lock;
}

void mark(int file, off_t what) noexcept {
    struct flock lock = oneByte(F_RDLCK, what);
    fcntl(file, F_OFD_SETLK, &lock); // a file system without such locks shares everything
}

bool markedByAnother(int file, off_t what) noexcept {
    struct flock lock = oneByte(F_WRLCK, what);
    return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

/// Declares what this open file does and denies; false when that contradicts another open file.
bool share(int file, const StreamMode& mode, int sharing) noexcept {
    const bool deniesReading = sharing == _SH_DENYRD || sharing == _SH_DENYRW;
    const bool deniesWriting = sharing == _SH_DENYWR || sharing == _SH_DENYRW;
    if (mode.reads) mark(file, kReads);
    if (mode.writes) mark(file, kWrites);
    if (deniesReading) mark(file, kDeniesReading);
    if (deniesWriting) mark(file, kDeniesWriting);
    return !(mode.reads && markedByAnother(file, kDeniesReading)) &&
           !(mode.writes && markedByAnother(file, kDeniesWriting)) &&
           !(deniesReading && markedByAnother(file, kReads)) && !(deniesWriting && markedByAnother(file, kWrites));
}

/// Opens the file; locks need a file that can be read, so a regular one is opened for reading too where that is
/// allowed.
int openDescriptor(const char* path, const StreamMode& mode) noexcept {
    const int flags = mode.flags | O_CLOEXEC;
    if (!mode.writes) return open(path, flags | O_RDONLY);
    struct stat before {};
    const bool special = stat(path, &before) == 0 && !S_ISREG(before.st_mode);
    if (!special || mode.reads) {
        const int file = open(path, flags | O_RDWR, 0666);
        if (file >= 0 || errno != EACCES || mode.reads) return file;
    }
    return open(path, flags | O_WRONLY, 0666);
}

bool regularOrDevice(int file, struct stat& what) noexcept {
    if (fstat(file, &what) != 0) return false;
    if (!S_ISDIR(what.st_mode)) return true;
    errno = EACCES;
    return false;
}

std::FILE* openStream(const char* path, const char* modeText, int sharing) noexcept {
    StreamMode mode;
    if (path == nullptr || !parseMode(modeText, mode)) {
        errno = EINVAL;
        return nullptr;
    }
    const int file = openDescriptor(path, mode);
    if (file < 0) return nullptr;
    struct stat what {};
    bool usable = regularOrDevice(file, what);
    if (usable && S_ISREG(what.st_mode)) {
        usable = share(file, mode, sharing);
        if (!usable) errno = EACCES;
        if (usable && mode.cuts) usable = ftruncate(file, 0) == 0;
    }
    std::FILE* stream = usable ? fdopen(file, modeText) : nullptr;
    if (stream == nullptr) {
        const int reason = errno;
        close(file);
        errno = reason;
    }
    return stream;
}

} // namespace

std::FILE* _fsopen(const char* path, const char* mode, int sharing) noexcept {
    if (mode == nullptr) return nullptr;
    return openStream(rastrel::systemPath(path).get(), mode, sharing);
}

std::FILE* _wfsopen(const wchar_t* path, const wchar_t* mode, int sharing) noexcept {
    char narrowMode[8]{};
    if (mode == nullptr || std::wcslen(mode) >= sizeof narrowMode) return nullptr;
    for (std::size_t i = 0; mode[i] != L'\0'; ++i)
        narrowMode[i] = mode[i] < 0x80 ? static_cast<char>(mode[i]) : '?';
    return openStream(rastrel::systemPath(path).get(), narrowMode, sharing);
}

std::FILE* _wfopen(const wchar_t* path, const wchar_t* mode) noexcept { return _wfsopen(path, mode, _SH_DENYNO); }

namespace rastrel {

std::FILE* openFile(const char* path, OpenMode mode) noexcept {
    return _fsopen(path, mode == OpenMode::kWrite ? "wb" : "rb",
                   mode == OpenMode::kReadDenyWrite ? _SH_DENYWR : _SH_DENYNO);
}

std::FILE* openFile(const wchar_t* path, OpenMode mode) noexcept {
    return _wfsopen(path, mode == OpenMode::kWrite ? L"wb" : L"rb",
                    mode == OpenMode::kReadDenyWrite ? _SH_DENYWR : _SH_DENYNO);
}

std::int64_t fileSize(std::FILE* stream) noexcept {
    // A buffer may hold bytes that the file does not have yet.
    struct stat what {};
    const bool told = stream != nullptr && __fpending(stream) == 0 && fstat(fileno(stream), &what) == 0;
    return told && S_ISREG(what.st_mode) ? what.st_size : sizeBySeeking(stream);
}

std::size_t readAt(std::FILE* stream, std::int64_t offset, void* buffer, std::size_t size) noexcept {
    // A buffer may hold bytes that the file does not have yet; a stream over memory has no file.
    const int file = stream == nullptr ? -1 : fileno(stream);
    if (file < 0 || offset < 0 || __fbufsize(stream) != 1) return readFromPosition(stream, offset, buffer, size);
    auto* const target = static_cast<unsigned char*>(buffer);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = pread(file, target + done, size - done, offset + static_cast<off_t>(done));
        if (got > 0) {
            done += static_cast<std::size_t>(got);
        } else if (got == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

} // namespace rastrel
