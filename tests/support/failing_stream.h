/// @file failing_stream.h
/// A C stream on a full disk.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#if !defined(_WIN32)
#include <sys/types.h>
#endif

namespace testing_support {

/// Takes the first `room` bytes of a file and refuses those behind them. Null as a stream where the C library does not
/// let a program make its own.
class FailingStream {
public:
    explicit FailingStream(std::size_t room) : bytes_(room) {
#if !defined(_WIN32)
        stream_ =
            fopencookie(this, "w+b", {&FailingStream::read, &FailingStream::write, &FailingStream::seek, nullptr});
#endif
    }
    FailingStream(const FailingStream&) = delete;
    FailingStream& operator=(const FailingStream&) = delete;
    ~FailingStream() {
        if (stream_ != nullptr) std::fclose(stream_);
    }
    operator FILE*() const { return stream_; }

private:
#if !defined(_WIN32)
    static ssize_t read(void* cookie, char* buffer, std::size_t size) {
        auto& self = *static_cast<FailingStream*>(cookie);
        const std::size_t end = std::min(self.end_, self.bytes_.size());
        const std::size_t count = self.position_ < end ? std::min(size, end - self.position_) : 0;
        if (count != 0) std::memcpy(buffer, self.bytes_.data() + self.position_, count);
        self.position_ += count;
        return static_cast<ssize_t>(count);
    }
    static ssize_t write(void* cookie, const char* buffer, std::size_t size) {
        auto& self = *static_cast<FailingStream*>(cookie);
        const std::size_t room = self.bytes_.size();
        const std::size_t count = self.position_ < room ? std::min(size, room - self.position_) : 0;
        if (count != 0) std::memcpy(self.bytes_.data() + self.position_, buffer, count);
        self.position_ += count;
        self.end_ = std::max(self.end_, self.position_);
        return static_cast<ssize_t>(count); // 0 tells a failure
    }
    static int seek(void* cookie, off64_t* offset, int origin) {
        auto& self = *static_cast<FailingStream*>(cookie);
        off64_t base = 0;
        if (origin == SEEK_CUR) base = static_cast<off64_t>(self.position_);
        if (origin == SEEK_END) base = static_cast<off64_t>(self.end_);
        if (base + *offset < 0) return -1;
        *offset += base;
        self.position_ = static_cast<std::size_t>(*offset);
        return 0;
    }
#endif

    std::vector<unsigned char> bytes_;
    std::size_t position_ = 0;
    std::size_t end_ = 0;
    FILE* stream_ = nullptr;
};

} // namespace testing_support
