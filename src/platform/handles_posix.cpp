// The region's lock, the table of handles, and the calls that only concern handles.
#include "platform/handle_table_posix.h"
#include "platform/kernel_posix.h"

namespace rastrel {
namespace {

pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

const HANDLE kThisProcess = reinterpret_cast<HANDLE>(~std::uintptr_t{0});
const HANDLE kThisThread = reinterpret_cast<HANDLE>(~std::uintptr_t{1});

/// Never destroyed: handles may be closed while the process ends.
HandleTable<KernelObject*, 0>& handles() noexcept {
    static auto& table = *new HandleTable<KernelObject*, 0>;
    return table;
}

} // namespace

Region::Region() noexcept : self_(currentThread()) {
    if (self_ != nullptr) self_->depth.store(1);
    pthread_mutex_lock(&lock);
}

Region::~Region() {
    pthread_mutex_unlock(&lock);
    if (self_ == nullptr) return;
    // A running thread holds its own object, which the analyzer cannot know.
    self_->depth.store(0);                     // NOLINT(clang-analyzer-cplusplus.NewDelete)
    if (self_->stopRequested()) self_->obey(); // NOLINT(clang-analyzer-cplusplus.NewDelete)
}

void Region::parkUnlocked() noexcept {
    pthread_mutex_unlock(&lock);
    self_->park();
    pthread_mutex_lock(&lock);
}

pthread_mutex_t* regionLock() noexcept { return &lock; }

KernelObject* findObject(const Region& region, HANDLE handle) noexcept {
    if (handle == kThisThread) return region.self();
    KernelObject** found = handles().find(handle);
    return found == nullptr ? nullptr : *found;
}

ThreadObject* findThread(const Region& region, HANDLE handle) noexcept {
    return dynamic_cast<ThreadObject*>(findObject(region, handle));
}

HANDLE openHandle(KernelObject* object) noexcept {
    const HANDLE handle = handles().open(object);
    if (handle == nullptr) dropReference(object);
    return handle;
}

bool closeHandle(HANDLE handle) noexcept {
    KernelObject* object = handles().close(handle);
    if (object == nullptr) return false;
    dropReference(object);
    return true;
}

void dropReference(KernelObject* object) noexcept {
    if (--object->references == 0) delete object;
}

} // namespace rastrel

BOOL CloseHandle(HANDLE object) noexcept {
    if (object == rastrel::kThisProcess || object == rastrel::kThisThread) return TRUE;
    const rastrel::Region region;
    return rastrel::closeHandle(object) ? TRUE : FALSE;
}

BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target, DWORD, BOOL,
                     DWORD options) noexcept {
    if (sourceProcess != rastrel::kThisProcess || targetProcess != rastrel::kThisProcess) return FALSE;
    const rastrel::Region region;
    rastrel::KernelObject* object = rastrel::findObject(region, source);
    if (object == nullptr) return FALSE;
    HANDLE copy = nullptr;
    if (target != nullptr) {
        ++object->references;
        copy = rastrel::openHandle(object);
        *target = copy;
    }
    if ((options & DUPLICATE_CLOSE_SOURCE) != 0) static_cast<void>(rastrel::closeHandle(source));
    return target == nullptr || copy != nullptr ? TRUE : FALSE;
}

HANDLE GetCurrentProcess() noexcept { return rastrel::kThisProcess; }

HANDLE GetCurrentThread() noexcept { return rastrel::kThisThread; }
