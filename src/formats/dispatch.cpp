/// Reading, pre-reading and writing by path and by stream; reloading.
///
/// Reading never looks at a file's name: the stream is offered to the readers in a fixed order and the first that
/// accepts it wins. Writing is steered by the format string alone. Whatever a codec throws counts as declined.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "formats/format_table.h"
#include "image/image_state.h"
#include "image/owned_text.h"
#include "platform/file.h"
#include "rastrel/rastrel.h"

namespace {

using rastrel::Busy;
using rastrel::OwnedText;

struct CloseStream {
    void operator()(FILE* stream) const noexcept { std::fclose(stream); }
};
using OwnedStream = std::unique_ptr<FILE, CloseStream>;

OwnedText widened(const wchar_t* path) noexcept { return rastrel::duplicateText(path); }
OwnedText widened(const char* path) noexcept { return OwnedText(rastrel::widenPath(path)); }

/// The path with the separators that the shared-open calls expect.
template <class Char>
std::basic_string<Char> withBackslashes(const Char* path) {
    std::basic_string<Char> copy(path);
    std::replace(copy.begin(), copy.end(), Char('/'), Char('\\'));
    return copy;
}

/// Remembers a path as the image's file name in place of the present one. A name that memory cannot be had for is none.
void remember(Rastrel& image, OwnedText path) noexcept {
    std::free(image.name);
    image.name = path.release();
}

/// Carries out one codec call: its result, or `false` for whatever it threw, with the busy counter as it was before.
template <class Call>
bool attempt(Rastrel& image, Call call) noexcept {
    const std::uint32_t busyBefore = std::atomic_ref(image.busyCount).load();
    try {
        return call();
    } catch (...) {
        std::atomic_ref(image.busyCount).store(busyBefore);
        return false;
    }
}

/// Offers a stream to readers in order. A reader that declines leaves the image empty for the next one.
template <class Reader, std::size_t Count, class... Arguments>
bool offer(Rastrel& image, const Reader (&readers)[Count], Arguments... arguments) {
    for (const Reader reader : readers) {
        if (attempt(image, [&] { return (image.*reader)(arguments...); })) return true;
        image.Empty();
    }
    return false;
}

/// Opens, reads with `read(FILE*)`, closes, and remembers the path on success.
template <class Char, class Open, class Read>
unsigned __int64 readPath(Rastrel& image, const Char* path, Open open, Read read) noexcept {
    if (path == nullptr) return Rastrel::kNotOpened;
    try {
        // Taken before the image is emptied: the path may be the image's own name.
        OwnedText wide = widened(path);
        OwnedStream stream(open());
        if (stream == nullptr) return Rastrel::kNotOpened;
        const Busy busy(image.busyCount);
        const unsigned __int64 result = read(stream.get());
        stream.reset(); // closed before the image stops being busy
        if (result == 0) remember(image, std::move(wide));
        return result;
    } catch (...) {
        return Rastrel::kNotAccepted;
    }
}

/// Opens a file of which only parts are read: every jump to another row would refill a buffer in vain.
template <class Char>
FILE* openForParts(const Char* path) {
    FILE* const stream = rastrel::openFile(path, rastrel::OpenMode::kRead);
    if (stream != nullptr) std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
}

using StreamReader = bool (Rastrel::*)(FILE*);
using RectReader = bool (Rastrel::*)(FILE*, unsigned long, unsigned long, unsigned long, unsigned long);

} // namespace

unsigned __int64 Rastrel::Read(FILE* stream) {
    if (stream == nullptr) return kNotOpened;
    Empty();
    const Busy busy(busyCount);
    static constexpr StreamReader kReaders[] = {&Rastrel::ReadTEMP, &Rastrel::ReadPSB,  &Rastrel::ReadEXR,
                                                &Rastrel::ReadORF,  &Rastrel::ReadTIFF, &Rastrel::ReadJPEG};
    if (offer(*this, kReaders, stream)) return 0;
    pixels.Flush();
    return kNotAccepted;
}

unsigned __int64 Rastrel::Read(FILE* stream, unsigned long left, unsigned long top, unsigned long right,
                               unsigned long bottom) {
    if (stream == nullptr) return kNotOpened;
    Empty();
    const Busy busy(busyCount);
    static constexpr RectReader kReaders[] = {&Rastrel::ReadRectTIFF, &Rastrel::ReadRectJPEG};
    if (offer(*this, kReaders, stream, left, top, right, bottom)) return 0;
    pixels.Flush();
    return kNotAccepted;
}

unsigned __int64 Rastrel::Read(const wchar_t* path) {
    return readPath(
        *this, path,
        [&] { return rastrel::openFile(withBackslashes(path).c_str(), rastrel::OpenMode::kReadDenyWrite); },
        [this](FILE* stream) { return Read(stream); });
}

unsigned __int64 Rastrel::Read(const char* path) {
    return readPath(
        *this, path,
        [&] { return rastrel::openFile(withBackslashes(path).c_str(), rastrel::OpenMode::kReadDenyWrite); },
        [this](FILE* stream) { return Read(stream); });
}

unsigned __int64 Rastrel::Read(const wchar_t* path, unsigned long left, unsigned long top, unsigned long right,
                               unsigned long bottom) {
    return readPath(
        *this, path, [&] { return openForParts(path); },
        [&](FILE* stream) { return Read(stream, left, top, right, bottom); });
}

unsigned __int64 Rastrel::Read(const char* path, unsigned long left, unsigned long top, unsigned long right,
                               unsigned long bottom) {
    return readPath(
        *this, path, [&] { return openForParts(path); },
        [&](FILE* stream) { return Read(stream, left, top, right, bottom); });
}

namespace {

/// Header readers in their order; raw files cannot be pre-read.
template <class Char>
unsigned __int64 preReadPath(Rastrel& image, const Char* path, const StreamReader (&readers)[5]) noexcept {
    return readPath(
        image, path, [&] { return rastrel::openFile(path, rastrel::OpenMode::kRead); },
        [&](FILE* stream) -> unsigned __int64 {
            image.Empty();
            return offer(image, readers, stream) ? 0 : Rastrel::kNotAccepted;
        });
}

} // namespace

unsigned __int64 Rastrel::PreRead(const wchar_t* path) {
    return preReadPath(*this, path,
                       {&Rastrel::PreReadTEMP, &Rastrel::PreReadPSB, &Rastrel::PreReadEXR, &Rastrel::PreReadTIFF,
                        &Rastrel::PreReadJPEG});
}

unsigned __int64 Rastrel::PreRead(const char* path) {
    return preReadPath(*this, path,
                       {&Rastrel::PreReadTEMP, &Rastrel::PreReadPSB, &Rastrel::PreReadEXR, &Rastrel::PreReadTIFF,
                        &Rastrel::PreReadJPEG});
}

namespace {

/// Opens the target, writes with `write(FILE*)`, closes, and remembers the path on success.
template <class Char, class WriteStream>
unsigned __int64 writePath(Rastrel& image, const Char* path, WriteStream write) noexcept {
    if (path == nullptr) return Rastrel::kNotOpened;
    OwnedText wide = widened(path);
    OwnedStream stream(rastrel::openFile(path, rastrel::OpenMode::kWrite));
    if (stream == nullptr) return Rastrel::kNotOpened;
    const Busy busy(image.busyCount);
    const bool written = attempt(image, [&] { return write(stream.get()); });
    if (written) std::fflush(stream.get());
    stream.reset(); // closed before the image stops being busy
    if (!written) return Rastrel::kWriteFailed;
    remember(image, std::move(wide));
    return 0;
}

} // namespace

unsigned __int64 Rastrel::Write(const wchar_t* path, const wchar_t* format) {
    if (path == nullptr) return kNotOpened;
    // Loading replaces the name, and the path may be that very string.
    const OwnedText target = rastrel::duplicateText(path);
    if (target == nullptr) return kNotOpened;
    // Loaded before the target is opened: saving an unloaded image over its own file must not destroy it.
    if (pixels.GetSize() == 0 && name != nullptr && GetBitmapSize(width, height, colormodel) != 0 && Reload() != 0)
        return kWriteFailed;
    return writePath(*this, target.get(), [&](FILE* stream) { return writeFormat(stream, FormatStringToID(format)); });
}

unsigned __int64 Rastrel::Write(const char* path, const char* format) {
    std::free(name);
    name = nullptr;
    return writePath(*this, path, [&](FILE* stream) { return writeFormat(stream, FormatStringToID(format)); });
}

bool Rastrel::writeFormat(FILE* stream, unsigned char format) {
    // A write that only fails when the stream's buffer goes out has failed all the same, except for the temporary
    // file, whose writer never reports it.
    const auto flushed = [stream](bool written) { return written && std::fflush(stream) == 0; };
    switch (format) {
    case rastrel::kFormatJpeg:
        return flushed(WriteJPEG(stream));
    case rastrel::kFormatExr:
        return flushed(WriteEXR(stream));
    case rastrel::kFormatPsb:
        return flushed(WritePSB(stream));
    case rastrel::kFormatTemporary:
        return WriteTEMP(stream);
    case rastrel::kFormatTarga:
        return true; // has no writer: an empty file and a success, as hosts know it
    default:
        return flushed(WriteTIFF(stream));
    }
}

unsigned __int64 Rastrel::Reload() {
    if (pixels.GetSize() != 0) return 0;
    if (name != nullptr && name[0] != L'\0') {
        const OwnedText path = rastrel::duplicateText(name);
        if (path != nullptr) return Read(path.get());
    }
    Empty();
    return kNotOpened;
}

template <class Char>
unsigned __int64 Rastrel::readExifPath(const Char* path, _EXIF* exif) noexcept {
    if (path == nullptr) return kNotOpened;
    try {
        const OwnedStream stream(rastrel::openFile(path, rastrel::OpenMode::kRead));
        if (stream == nullptr) return kNotOpened;
        return ReadExifJPEG(stream.get(), exif) ? 0 : kNotAccepted;
    } catch (...) {
        return kNotAccepted;
    }
}

unsigned __int64 Rastrel::ReadExif(const wchar_t* path, _EXIF* exif) { return readExifPath(path, exif); }

unsigned __int64 Rastrel::ReadExif(const char* path, _EXIF* exif) { return readExifPath(path, exif); }
