#include "ondrel/backing.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

#include "ondrel/kept_pages.h"
#include "ondrel/temporary_file.h"

namespace ondrel {
namespace {

constexpr std::uint64_t kSmallestCapacity = 4096;
/// A growing file is never copied, so it need not double for ever: steps of this size keep the calls rare.
constexpr std::uint64_t kLargestStep = std::uint64_t{64} << 20;

/// Bytes in a temporary file. Positional reads and writes move them, so that a block of any size needs no address
/// space; the front that the host allows to be resident, and the whole once its address was asked for, are mapped.
/// The bytes of the file behind `size()` are always zero.
class FileBacking final : public Backing {
public:
    explicit FileBacking(std::uint64_t resident) : resident_(resident) {}
    ~FileBacking() override { unmapAll(); }

    [[nodiscard]] bool swapped() const noexcept override { return true; }
    [[nodiscard]] std::unique_ptr<Backing> emptyTwin() const noexcept override { return newFileBacking(resident_); }
    [[nodiscard]] bool create(std::uint64_t size, bool clear) noexcept override;
    void drop() noexcept override;
    [[nodiscard]] bool resize(std::uint64_t size) noexcept override;
    [[nodiscard]] bool extend(std::uint64_t size) noexcept override;

    [[nodiscard]] bool read(std::uint64_t position, void* buffer, std::uint64_t size) const noexcept override;
    [[nodiscard]] bool write(std::uint64_t position, const void* buffer, std::uint64_t size) noexcept override;
    [[nodiscard]] unsigned char* inPlace() const noexcept override {
        return size_ == 0 ? nullptr : whole_.load(std::memory_order_acquire);
    }
    [[nodiscard]] unsigned char* data() noexcept override;
    void flush() noexcept override;

    void setResident(std::uint64_t resident) noexcept;

private:
    /// The mapped bytes at the front: address and number.
    struct View {
        unsigned char* address = nullptr;
        std::uint64_t bytes = 0;
    };
    [[nodiscard]] View view() const;
    [[nodiscard]] View mapFront(std::uint64_t bytes);
    [[nodiscard]] bool setCapacity(std::uint64_t capacity);
    void unmapAll();

    TemporaryFile file_;
    std::uint64_t resident_;
    View front_;
    /// Set once by the first thread that asks for the address.
    std::atomic<unsigned char*> whole_{nullptr};
    std::mutex mapping_;
};

FileBacking::View FileBacking::view() const {
    unsigned char* const whole = whole_.load(std::memory_order_acquire);
    return whole == nullptr ? front_ : View{whole, file_.length()};
}

FileBacking::View FileBacking::mapFront(std::uint64_t bytes) {
    if (bytes == 0) return {};
    unsigned char* address = file_.map(bytes);
    if (address == nullptr && dropKeptPages()) address = file_.map(bytes);
    return address == nullptr ? View{} : View{address, bytes};
}

void FileBacking::unmapAll() {
    file_.unmap(front_.address, front_.bytes);
    file_.unmap(whole_.exchange(nullptr), file_.length());
    front_ = {};
}

void FileBacking::drop() noexcept {
    unmapAll();
    file_.close();
    size_ = 0;
}

void FileBacking::setResident(std::uint64_t resident) noexcept {
    file_.unmap(front_.address, front_.bytes);
    resident_ = resident;
    front_ = mapFront(std::min(resident_, file_.length()));
}

bool FileBacking::create(std::uint64_t size, bool clear) noexcept {
    if (size == 0) {
        drop();
        return true;
    }
    if (!clear && size == size_) return true;
    // A file that starts anew is zero without a byte being written.
    unmapAll();
    size_ = 0;
    if (file_.open() && file_.setLength(0) && file_.setLength(size)) {
        size_ = size;
        front_ = mapFront(std::min(resident_, size));
        return true;
    }
    drop();
    return false;
}

/// Changes the length of the file. Views survive a failure, since their addresses are in the host's hands.
bool FileBacking::setCapacity(std::uint64_t capacity) {
    const std::uint64_t before = file_.length();
    if (capacity == before) return true;
    if (capacity < before) {
        unmapAll();
        if (!file_.setLength(capacity)) return false;
    } else {
        if (!file_.open() || !file_.setLength(capacity)) return false;
        file_.unmap(front_.address, front_.bytes);
        file_.unmap(whole_.exchange(nullptr), before);
    }
    front_ = mapFront(std::min(resident_, capacity));
    return true;
}

bool FileBacking::resize(std::uint64_t size) noexcept {
    if (size == 0) {
        drop();
        return true;
    }
    // Shrinking cuts the file, so that it grows again with zeros.
    if ((size < size_ || size > file_.length()) && !setCapacity(size)) return false;
    size_ = size;
    return true;
}

bool FileBacking::extend(std::uint64_t size) noexcept {
    if (size > file_.length()) {
        const std::uint64_t roomy = grownCapacity(std::max(file_.length(), kSmallestCapacity), size, kLargestStep);
        if (!setCapacity(roomy) && !setCapacity(size)) return false;
    }
    size_ = size;
    return true;
}

bool FileBacking::read(std::uint64_t position, void* buffer, std::uint64_t size) const noexcept {
    const View mapped = view();
    const std::uint64_t inView = position < mapped.bytes ? std::min(size, mapped.bytes - position) : 0;
    if (inView != 0) std::memcpy(buffer, mapped.address + position, inView);
    return file_.read(position + inView, static_cast<unsigned char*>(buffer) + inView, size - inView);
}

bool FileBacking::write(std::uint64_t position, const void* buffer, std::uint64_t size) noexcept {
    const View mapped = view();
    const std::uint64_t inView = position < mapped.bytes ? std::min(size, mapped.bytes - position) : 0;
    if (inView != 0) std::memmove(mapped.address + position, buffer, inView);
    return file_.write(position + inView, static_cast<const unsigned char*>(buffer) + inView, size - inView);
}

unsigned char* FileBacking::data() noexcept {
    if (size_ == 0) return nullptr;
    if (unsigned char* const whole = inPlace(); whole != nullptr) return whole;
    const std::lock_guard guard(mapping_);
    if (unsigned char* const whole = inPlace(); whole != nullptr) return whole;
    unsigned char* const whole = mapFront(file_.length()).address;
    whole_.store(whole, std::memory_order_release);
    return whole;
}

void FileBacking::flush() noexcept {
    const View mapped = view();
    file_.beginWriting(mapped.address, mapped.bytes);
}

} // namespace

std::unique_ptr<Backing> newFileBacking(std::uint64_t resident) noexcept {
    return std::unique_ptr<Backing>(new (std::nothrow) FileBacking(resident));
}

void setResident(Backing& fileBacking, std::uint64_t resident) noexcept {
    static_cast<FileBacking&>(fileBacking).setResident(resident);
}

} // namespace ondrel
