#include "ondrel/mem_block.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include "ondrel/backing.h"

namespace {

using ondrel::Backing;

bool holds(std::uint64_t blockSize, std::uint64_t position, std::uint64_t size) {
    return position <= blockSize && size <= blockSize - position;
}

/// Copies between two backings, or towards the front within one.
bool copyRange(const Backing& from, std::uint64_t fromPosition, Backing& to, std::uint64_t toPosition,
               std::uint64_t size) {
    if (size == 0) return true;
    if (const unsigned char* const source = from.inPlace(); source != nullptr) {
        return to.write(toPosition, source + fromPosition, size);
    }
    if (unsigned char* const target = to.inPlace(); target != nullptr) {
        return from.read(fromPosition, target + toPosition, size);
    }
    std::array<unsigned char, 65536> piece;
    for (std::uint64_t done = 0; done < size;) {
        const std::uint64_t count = std::min<std::uint64_t>(piece.size(), size - done);
        if (!from.read(fromPosition + done, piece.data(), count)) return false;
        if (!to.write(toPosition + done, piece.data(), count)) return false;
        done += count;
    }
    return true;
}

/// Moves the contents over to an empty backing.
bool moveContents(const Backing* from, Backing& to) {
    if (from == nullptr) return true;
    return to.create(from->size(), false) && copyRange(*from, 0, to, 0, from->size());
}

} // namespace

MemBlockDesc::MemBlockDesc() noexcept : backing_(nullptr), dataInMemory_(nullptr), sizeInMemory_(0) {}

MemBlockDesc::MemBlockDesc(const MemBlockDesc& other) noexcept : MemBlockDesc() { *this = other; }

bool MemBlockDesc::refreshed(bool result) noexcept {
    const bool inMemory = backing_ != nullptr && !backing_->swapped();
    dataInMemory_ = inMemory ? backing_->inPlace() : nullptr;
    sizeInMemory_ = inMemory ? backing_->size() : 0;
    return result;
}

MemBlockDesc& MemBlockDesc::operator=(const MemBlockDesc& other) noexcept {
    if (this == &other) return *this;
    const Backing* const source = other.backing_;
    if (source == nullptr || backing_ == nullptr || backing_->swapped() || source->swapped()) {
        delete backing_;
        backing_ = source == nullptr ? nullptr : source->emptyTwin().release();
    }
    // Two blocks in memory: the target's memory serves again when it fits.
    if (backing_ != nullptr && !moveContents(source, *backing_)) backing_->drop();
    refreshed(true);
    return *this;
}

MemBlockDesc::~MemBlockDesc() { delete backing_; }

bool MemBlockDesc::Create(unsigned __int64 size, bool clear) noexcept {
    if (backing_ == nullptr) {
        if (size == 0) return true;
        backing_ = ondrel::newMemoryBacking().release();
    }
    return refreshed(backing_ != nullptr && backing_->create(size, clear));
}

void MemBlockDesc::Delete() noexcept {
    if (backing_ != nullptr) backing_->drop();
    refreshed(true);
}

bool MemBlockDesc::Swap(unsigned __int64 resident) noexcept {
    if (IsSwapped()) {
        ondrel::setResident(*backing_, resident);
        return true;
    }
    std::unique_ptr<Backing> file = ondrel::newFileBacking(resident);
    if (file == nullptr || !moveContents(backing_, *file)) return false;
    delete std::exchange(backing_, file.release());
    return refreshed(true);
}

bool MemBlockDesc::UnSwap() noexcept {
    if (!IsSwapped()) return true;
    std::unique_ptr<Backing> memory = ondrel::newMemoryBacking();
    if (memory == nullptr || !moveContents(backing_, *memory)) return false;
    delete std::exchange(backing_, memory.release());
    return refreshed(true);
}

bool MemBlockDesc::ReSize(unsigned __int64 size) noexcept {
    if (backing_ == nullptr) return Create(size, true);
    return size == backing_->size() || refreshed(backing_->resize(size));
}

void MemBlockDesc::Flush() noexcept {
    if (backing_ != nullptr) backing_->flush();
}

unsigned __int64 MemBlockDesc::sizeInFile() const noexcept { return backing_ == nullptr ? 0 : backing_->size(); }

bool MemBlockDesc::usesFile() const noexcept { return backing_ != nullptr && backing_->swapped(); }

unsigned char* MemBlockDesc::mapped() noexcept { return backing_ == nullptr ? nullptr : backing_->data(); }

bool MemBlockDesc::Read(unsigned __int64 position, void* buffer, unsigned __int64 size) const noexcept {
    if (!holds(GetSize(), position, size)) return false;
    if (size == 0) return true;
    return buffer != nullptr && backing_->read(position, buffer, size);
}

bool MemBlockDesc::Write(unsigned __int64 position, const void* buffer, unsigned __int64 size) noexcept {
    if (!holds(GetSize(), position, size)) return false;
    if (size == 0) return true;
    return buffer != nullptr && backing_->write(position, buffer, size);
}

bool MemBlockDesc::Read(unsigned __int64 position, MemBlockDesc& target, unsigned __int64 size) const noexcept {
    if (!holds(GetSize(), position, size) || size > target.GetSize()) return false;
    return size == 0 || copyRange(*backing_, position, *target.backing_, 0, size);
}

bool MemBlockDesc::AddPart(const MemBlockDesc& other) noexcept {
    const unsigned __int64 front = GetSize();
    const unsigned __int64 added = other.GetSize();
    if (added == 0) return true;
    if (added > ~front) return false;
    if (backing_ == nullptr) backing_ = ondrel::newMemoryBacking().release();
    if (backing_ == nullptr || !refreshed(backing_->extend(front + added))) return false;
    if (copyRange(*other.backing_, 0, *backing_, front, added)) return true;
    return refreshed(backing_->resize(front) && false);
}

bool MemBlockDesc::append(const void* bytes, unsigned __int64 size) noexcept {
    const unsigned __int64 front = GetSize();
    if (size == 0) return true;
    if (size > ~front) return false;
    if (backing_ == nullptr) backing_ = ondrel::newMemoryBacking().release();
    if (backing_ == nullptr || !refreshed(backing_->extend(front + size))) return false;
    if (backing_->write(front, bytes, size)) return true;
    return refreshed(backing_->resize(front) && false);
}
