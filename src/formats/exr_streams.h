/// @file exr_streams.h
/// C streams as the OpenEXR library wants them. Neither adapter owns its stream.
#pragma once

#include <cstdint>
#include <cstdio>

#include <OpenEXR/ImfIO.h>

namespace rastrel {

/// Reads from a C stream. A null stream is at position 0 and holds nothing.
///
/// The library expects an exception from a read that meets the end of the file. This one reports it by its result,
/// zeroes what the file could not fill, and remembers it in `cutShort`: the caller decides what the picture is worth.
class exrIStream final : public Imf::IStream {
public:
    /// Remembers the stream's position.
    explicit exrIStream(std::FILE* stream);
    /// Moves the stream back to the position it had at construction.
    ~exrIStream() override;

    /// Reads one block of `size` bytes. False when the block was not read whole; its missing end is zero then.
    bool read(char* buffer, int size) override;
    bool isMemoryMapped() const override { return false; }
    /// Bytes from the start of the file.
    std::uint64_t tellg() override;
    void seekg(std::uint64_t position) override;
    /// Clears the stream's error and end-of-file indicators.
    void clear() override;

    /// From now on pixels are read: a block without bytes counts as cut short too.
    void expectPixels() noexcept { pixels_ = true; }
    /// Whether a block was not read whole since construction.
    [[nodiscard]] bool cutShort() const noexcept { return cutShort_; }
    /// Bytes of the last block asked for.
    [[nodiscard]] int lastBlock() const noexcept { return lastBlock_; }

private:
    std::FILE* stream_;
    std::int64_t start_;
    int lastBlock_ = 0;
    bool pixels_ = false;
    bool cutShort_ = false;
    bool atEnd_ = false; ///< the file has no more bytes from here on: no need to ask again before the next seek
};

/// Writes to a C stream; nothing happens on a null stream.
class exrOStream final : public Imf::OStream {
public:
    explicit exrOStream(std::FILE* stream);

    /// Writes one block of `size` bytes. Throws `std::runtime_error` when the stream does not take it.
    void write(const char* buffer, int size) override;
    /// Bytes from the start of the file.
    std::uint64_t tellp() override;
    void seekp(std::uint64_t position) override;

    /// Whether a write or a seek has failed since construction: the library's destructors swallow exceptions.
    [[nodiscard]] bool failed() const noexcept { return failed_; }

private:
    std::FILE* stream_;
    bool failed_ = false;
};

} // namespace rastrel
