// Bitmaps: rows of pixels behind a handle, as hosts get them for display.
#include <pthread.h>

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>

#include "platform/handle_table_posix.h"
#include "rastrel/platform.h"

namespace rastrel {
namespace {

struct CHeapRelease {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

struct Bitmap {
    BITMAP head{};
    std::size_t bytes = 0;
    std::unique_ptr<void, CHeapRelease> bits;
};
using SharedBitmap = std::shared_ptr<const Bitmap>;

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

/// Never destroyed: bitmaps may be deleted while the process ends.
HandleTable<SharedBitmap, 2>& bitmaps() noexcept {
    static auto& table = *new HandleTable<SharedBitmap, 2>;
    return table;
}

/// Runs an action on the table under its lock.
template <class Action>
auto withTable(Action action) noexcept {
    pthread_mutex_lock(&lock);
    auto result = action(bitmaps());
    pthread_mutex_unlock(&lock);
    return result;
}

SharedBitmap findBitmap(void* handle) noexcept {
    return withTable([=](auto& table) {
        const SharedBitmap* found = table.find(handle);
        return found == nullptr ? SharedBitmap{} : *found;
    });
}

/// The depths that the system knows; 0 for more than the deepest.
WORD depthFor(UINT bitsPerPixel) noexcept {
    for (const WORD depth : std::initializer_list<WORD>{1, 4, 8, 16, 24, 32})
        if (bitsPerPixel <= depth) return depth;
    return 0;
}

SharedBitmap makeBitmap(int width, int height, WORD depth, const void* bits) {
    constexpr std::uint64_t kMost = 0x7FFFFFFF; // sizes of bits are 32-bit and signed
    const std::uint64_t rowBytes = (static_cast<std::uint64_t>(width) * depth + 15) / 16 * 2;
    if (rowBytes > kMost / static_cast<std::uint64_t>(height)) return nullptr;
    auto bitmap = std::make_shared<Bitmap>();
    bitmap->bytes = rowBytes * static_cast<std::uint64_t>(height);
    bitmap->bits.reset(bits == nullptr ? std::calloc(bitmap->bytes, 1) : std::malloc(bitmap->bytes));
    if (!bitmap->bits) return nullptr;
    if (bits != nullptr) std::memcpy(bitmap->bits.get(), bits, bitmap->bytes);
    bitmap->head.bmWidth = width;
    bitmap->head.bmHeight = height;
    bitmap->head.bmWidthBytes = static_cast<LONG>(rowBytes);
    bitmap->head.bmPlanes = 1;
    bitmap->head.bmBitsPixel = depth;
    return bitmap;
}

} // namespace
} // namespace rastrel

// A bitmap without extent is one pixel of one bit, as the system has it.
HBITMAP CreateBitmap(int width, int height, UINT planes, UINT bitsPerPixel, const void* bits) noexcept {
    if (width < 0 || height < 0) return nullptr;
    const bool empty = width == 0 || height == 0;
    const WORD depth = rastrel::depthFor(empty ? 1 : bitsPerPixel);
    if (depth == 0 || (planes != 1 && !empty)) return nullptr;
    try {
        auto bitmap = rastrel::makeBitmap(empty ? 1 : width, empty ? 1 : height, depth, empty ? nullptr : bits);
        if (!bitmap) return nullptr;
        return static_cast<HBITMAP>(rastrel::withTable([&](auto& table) { return table.open(std::move(bitmap)); }));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

LONG GetBitmapBits(HBITMAP handle, LONG size, LPVOID bits) noexcept {
    const auto bitmap = rastrel::findBitmap(handle);
    if (!bitmap) return 0;
    const auto bytes = static_cast<LONG>(bitmap->bytes);
    if (bits == nullptr) return bytes;
    const LONG copied = size < 0 || size > bytes ? bytes : size;
    std::memcpy(bits, bitmap->bits.get(), static_cast<std::size_t>(copied));
    return copied;
}

int GetObjectW(HANDLE object, int size, LPVOID data) noexcept {
    constexpr int kSize = sizeof(BITMAP);
    const auto bitmap = rastrel::findBitmap(object);
    if (!bitmap) return 0;
    if (data == nullptr) return kSize;
    if (size < kSize) return 0;
    std::memcpy(data, &bitmap->head, sizeof(BITMAP));
    return kSize;
}

BOOL DeleteObject(HGDIOBJ object) noexcept {
    const auto bitmap = rastrel::withTable([=](auto& table) { return table.close(object); });
    return bitmap ? TRUE : FALSE;
}
