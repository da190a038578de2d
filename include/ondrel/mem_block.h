/// @file mem_block.h
/// A growable byte block that lives in memory or swapped out in a private temporary file.
#pragma once

#include "ondrel/ondrel_api.h"

namespace ondrel {
class Backing;
}

/// A block of bytes with value semantics.
///
/// Threads: different objects may be used from different threads. On one object, any number of threads may call
/// `Read`, `GetSize` and `GetData` together, and `Write` on disjoint ranges, provided that none of them changes the
/// size. Errors: nothing throws; an operation that cannot be carried out returns false and leaves the block as it was,
/// except `Create` and assignment, which leave it empty.
/// Temporary files: private to the process, in the system's directory for them (TMPDIR, else the general one; TMP on
/// Windows), gone when the block or the process ends, however it ends. Their space is reserved when the block grows, so
/// that a full disk shows as a false result there and nowhere else.
class ONDREL_API MemBlockDesc {
public:
    /// An empty block that lives in memory.
    MemBlockDesc() noexcept;
    /// An independent copy, swapped out when the source is. Empty when storage cannot be had.
    MemBlockDesc(const MemBlockDesc& other) noexcept;
    /// Likewise: the contents, and whether and how it swaps, become those of `other`.
    MemBlockDesc& operator=(const MemBlockDesc& other) noexcept;
    ~MemBlockDesc();

    /// Replaces the contents by `size` bytes, all zero when `clear` is set (otherwise undefined).
    /// False, and an empty block, when storage cannot be had.
    bool Create(unsigned __int64 size, bool clear) noexcept;
    /// Drops the contents. Whether the block swaps is kept.
    void Delete() noexcept;
    /// Keeps the contents, present and future, in a temporary file of which at most `resident` bytes are held in
    /// memory (0: none beyond the system's own cache). False when the present contents cannot be moved.
    /// The block's front of that size stays mapped; the rest is read and written by position, so that a block may be
    /// larger than the memory and the address space of the process.
    bool Swap(unsigned __int64 resident) noexcept;
    /// Keeps the contents, present and future, in memory. False when the present contents cannot be moved.
    bool UnSwap() noexcept;
    /// Grows (new bytes are zero) or shrinks the block, keeping its front.
    bool ReSize(unsigned __int64 size) noexcept;
    /// Writes a swapped block's dirty bytes to its file. Nothing for a block in memory.
    void Flush() noexcept;

    /// Bytes held.
    unsigned __int64 GetSize() const noexcept { return sizeInMemory_ != 0 ? sizeInMemory_ : sizeInFile(); }
    bool IsSwapped() const noexcept { return sizeInMemory_ == 0 && usesFile(); }
    /// The bytes in place, null for an empty block; a swapped block is mapped, null when it is larger than the
    /// address space allows. Valid until the size or the kind of storage changes.
    unsigned char* GetData() noexcept { return sizeInMemory_ != 0 ? dataInMemory_ : mapped(); }

    /// @name The same for a block in memory
    /// 0 bytes for one that is swapped out or empty. Plain loads, for callers that come for each pixel.
    /// @{
    unsigned __int64 GetSizeInMemory() const noexcept { return sizeInMemory_; }
    unsigned char* GetDataInMemory() const noexcept { return dataInMemory_; }
    /// @}

    /// Copies `size` bytes at `position` out of the block: the whole range, or false and nothing touched.
    bool Read(unsigned __int64 position, void* buffer, unsigned __int64 size) const noexcept;
    /// Copies `size` bytes into the block at `position`: the whole range, or false and nothing touched.
    bool Write(unsigned __int64 position, const void* buffer, unsigned __int64 size) noexcept;
    /// Copies `size` bytes at `position` into the front of `target`, which must hold as many.
    bool Read(unsigned __int64 position, MemBlockDesc& target, unsigned __int64 size) const noexcept;

    /// @name Appending typed values
    /// Little-endian; a string is a 32-bit count of 16-bit units, then UTF-16LE units without terminator
    /// (null is stored as the empty text). On systems with 32-bit characters, units that pair with nothing are kept as
    /// they are and values that are no code point become U+FFFD.
    /// @{
    bool Add(unsigned char value) noexcept;
    bool Add(unsigned short value) noexcept;
    bool Add(unsigned int value) noexcept;
    bool Add(unsigned __int64 value) noexcept;
    bool Add(double value) noexcept;
    bool Add(const wchar_t* text) noexcept;
    /// Appends all bytes of the other block.
    bool AddPart(const MemBlockDesc& other) noexcept;
    /// @}

    /// @name Reading typed values
    /// The value at `position`, which moves past it; past the end `fallback`, and `position` unmoved.
    /// @{
    unsigned char Read(unsigned __int64& position, unsigned char fallback) const noexcept;
    unsigned short Read(unsigned __int64& position, unsigned short fallback) const noexcept;
    unsigned int Read(unsigned __int64& position, unsigned int fallback) const noexcept;
    unsigned __int64 Read(unsigned __int64& position, unsigned __int64 fallback) const noexcept;
    double Read(unsigned __int64& position, double fallback) const noexcept;
    /// A string, cut to `capacity` - 1 characters and terminated; `position` moves past the whole string.
    /// False, and nothing touched, when the block ends inside it or `capacity` is 0.
    bool Read(unsigned __int64& position, wchar_t* buffer, unsigned long capacity) const noexcept;
    /// @}

private:
    /// Where the bytes lie; null as long as the block is empty and lives in memory.
    ondrel::Backing* backing_;
    /// What `backing_` tells of a block in memory; null and 0 for one that is empty or swapped out.
    unsigned char* dataInMemory_;
    unsigned __int64 sizeInMemory_;

    /// Looks at the backing again after it may have changed. Returns `result`.
    bool refreshed(bool result) noexcept;
    unsigned __int64 sizeInFile() const noexcept;
    bool usesFile() const noexcept;
    unsigned char* mapped() noexcept;
    bool append(const void* bytes, unsigned __int64 size) noexcept;
};
