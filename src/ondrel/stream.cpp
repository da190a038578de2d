#include "ondrel/stream.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "ondrel/backing.h"

/// What every stream can do; the free functions check their arguments and come here.
struct _universal_stream {
    _universal_stream() = default;
    _universal_stream(const _universal_stream&) = delete;
    _universal_stream& operator=(const _universal_stream&) = delete;
    virtual ~_universal_stream() = default;

    /// Whole items moved. `size` and `count` are not 0, and their product fits in 64 bits.
    virtual std::size_t read(void* buffer, std::size_t size, std::size_t count) noexcept = 0;
    virtual std::size_t write(const void* buffer, std::size_t size, std::size_t count) noexcept = 0;
    virtual int seek(std::int64_t offset, int origin) noexcept = 0;
    virtual std::int64_t tell() noexcept = 0;
    virtual bool atEnd() noexcept = 0;
    virtual int flush() noexcept = 0;
};

namespace {

int seek64(FILE* stream, std::int64_t offset, int origin) {
#if defined(_WIN32)
    const int result = _fseeki64(stream, offset, origin);
    // Where the 64-bit seek is built upon fsetpos, it may leave the end flag set.
    if (result == 0 && std::feof(stream) != 0 && std::ferror(stream) == 0) std::clearerr(stream);
    return result;
#else
    return fseeko(stream, offset, origin);
#endif
}

std::int64_t tell64(FILE* stream) {
#if defined(_WIN32)
    return _ftelli64(stream);
#else
    return ftello(stream);
#endif
}

int invalid() {
    errno = EINVAL;
    return -1;
}

/// A C stream, which stays its owner's.
class FileStream final : public _universal_stream {
public:
    explicit FileStream(FILE* file) : file_(file) {}

    std::size_t read(void* buffer, std::size_t size, std::size_t count) noexcept override {
        return std::fread(buffer, size, count, file_);
    }
    std::size_t write(const void* buffer, std::size_t size, std::size_t count) noexcept override {
        return std::fwrite(buffer, size, count, file_);
    }
    int seek(std::int64_t offset, int origin) noexcept override { return seek64(file_, offset, origin); }
    std::int64_t tell() noexcept override { return tell64(file_); }
    bool atEnd() noexcept override { return std::feof(file_) != 0; }
    int flush() noexcept override { return std::fflush(file_); }

private:
    FILE* file_;
};

/// A position in a run of bytes, with the C library's rules about the end.
class MemoryStream : public _universal_stream {
public:
    std::size_t read(void* buffer, std::size_t size, std::size_t count) noexcept final {
        const std::uint64_t wanted = std::uint64_t{size} * count;
        const std::uint64_t end = length();
        const std::uint64_t got = position_ < end ? std::min(wanted, end - position_) : 0;
        if (got != 0) std::memcpy(buffer, bytes() + position_, got);
        position_ += got;
        ended_ = ended_ || got < wanted;
        return got / size;
    }
    std::size_t write(const void* buffer, std::size_t size, std::size_t count) noexcept final {
        const std::uint64_t wanted = std::uint64_t{size} * count;
        const std::uint64_t room = makeRoom(position_, wanted);
        if (room != 0) std::memmove(bytes() + position_, buffer, room);
        position_ += room;
        return room / size;
    }
    int seek(std::int64_t offset, int origin) noexcept final {
        std::uint64_t base = 0;
        if (origin == SEEK_CUR) {
            base = position_;
        } else if (origin == SEEK_END) {
            base = length();
        } else if (origin != SEEK_SET) {
            return invalid();
        }
        const std::uint64_t target = base + static_cast<std::uint64_t>(offset);
        const bool wrapped = offset < 0 ? target > base : target < base;
        if (wrapped || target > kLargestPosition) return invalid();
        position_ = target;
        ended_ = false;
        return 0;
    }
    std::int64_t tell() noexcept final { return static_cast<std::int64_t>(position_); }
    bool atEnd() noexcept final { return ended_; }
    int flush() noexcept final { return 0; }

protected:
    static constexpr std::uint64_t kLargestPosition = std::numeric_limits<std::int64_t>::max();

    [[nodiscard]] virtual unsigned char* bytes() noexcept = 0;
    [[nodiscard]] virtual std::uint64_t length() const noexcept = 0;
    /// Of `wanted` bytes at `position`, those that may be written; the buffer then reaches behind them.
    [[nodiscard]] virtual std::uint64_t makeRoom(std::uint64_t position, std::uint64_t wanted) noexcept = 0;

private:
    std::uint64_t position_ = 0;
    bool ended_ = false;
};

class FixedStream final : public MemoryStream {
public:
    FixedStream(unsigned char* data, std::uint64_t size) : data_(data), size_(size) {}

protected:
    [[nodiscard]] unsigned char* bytes() noexcept override { return data_; }
    [[nodiscard]] std::uint64_t length() const noexcept override { return size_; }
    [[nodiscard]] std::uint64_t makeRoom(std::uint64_t position, std::uint64_t wanted) noexcept override {
        return position < size_ ? std::min(wanted, size_ - position) : 0;
    }

private:
    unsigned char* data_;
    std::uint64_t size_;
};

class GrowingStream final : public MemoryStream {
public:
    explicit GrowingStream(std::unique_ptr<ondrel::Backing> memory) : memory_(std::move(memory)) {}

protected:
    [[nodiscard]] unsigned char* bytes() noexcept override { return memory_->data(); }
    [[nodiscard]] std::uint64_t length() const noexcept override { return memory_->size(); }
    [[nodiscard]] std::uint64_t makeRoom(std::uint64_t position, std::uint64_t wanted) noexcept override {
        if (wanted > kLargestPosition - position) return 0;
        const std::uint64_t before = memory_->size();
        if (position + wanted <= before) return wanted;
        if (!memory_->extend(position + wanted)) return 0;
        // What a seek skipped reads as zero.
        if (position > before) std::memset(memory_->data() + before, 0, position - before);
        return wanted;
    }

private:
    std::unique_ptr<ondrel::Backing> memory_;
};

bool movesNothing(const void* buffer, std::size_t size, std::size_t count) {
    return buffer == nullptr || size == 0 || count == 0 || count > std::numeric_limits<std::size_t>::max() / size;
}

} // namespace

_universal_stream* _u_ffromhandle(FILE* stream) noexcept {
    return stream == nullptr ? nullptr : new (std::nothrow) FileStream(stream);
}

_universal_stream* _u_fmemcreate() noexcept {
    std::unique_ptr<ondrel::Backing> memory = ondrel::newMemoryBacking();
    return memory == nullptr ? nullptr : new (std::nothrow) GrowingStream(std::move(memory));
}

_universal_stream* _u_fmemopen(void* data, unsigned __int64 size) noexcept {
    if (data == nullptr && size != 0) return nullptr;
    return new (std::nothrow) FixedStream(static_cast<unsigned char*>(data), size);
}

std::size_t _u_fread(void* buffer, std::size_t size, std::size_t count, _universal_stream* stream) noexcept {
    return stream == nullptr || movesNothing(buffer, size, count) ? 0 : stream->read(buffer, size, count);
}

std::size_t _u_fwrite(const void* buffer, std::size_t size, std::size_t count, _universal_stream* stream) noexcept {
    return stream == nullptr || movesNothing(buffer, size, count) ? 0 : stream->write(buffer, size, count);
}

int _u_fseek(_universal_stream* stream, long offset, int origin) noexcept {
    return stream == nullptr ? invalid() : stream->seek(offset, origin);
}

int _u_fseeki64(_universal_stream* stream, __int64 offset, int origin) noexcept {
    return stream == nullptr ? invalid() : stream->seek(offset, origin);
}

long _u_ftell(_universal_stream* stream) noexcept {
    const std::int64_t position = _u_ftelli64(stream);
    if (position > std::numeric_limits<long>::max()) {
        errno = EOVERFLOW;
        return -1;
    }
    return static_cast<long>(position);
}

__int64 _u_ftelli64(_universal_stream* stream) noexcept { return stream == nullptr ? invalid() : stream->tell(); }

int _u_feof(_universal_stream* stream) noexcept { return stream == nullptr || stream->atEnd() ? 1 : 0; }

int _u_fflush(_universal_stream* stream) noexcept { return stream == nullptr ? EOF : stream->flush(); }

int _u_fclose(_universal_stream* stream) noexcept {
    if (stream == nullptr) return EOF;
    delete stream;
    return 0;
}
