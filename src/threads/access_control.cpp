#include "rastrel/access_control.h"

#include <new>
#include <utility>

#include "threads/shared_field.h"

using rastrel::load;
using rastrel::store;

namespace {

constexpr DWORD kSpinCount = 4000;
constexpr DWORD kPollMilliseconds = 100; // what a missed pulse may cost
constexpr int kPatienceMilliseconds =
    5000; // a call that does not come back for so long belongs to a thread that is gone

bool holds(const AccessNode* list, std::uint32_t thread) noexcept {
    while (list != nullptr && list->threadId != thread)
        list = list->next;
    return list != nullptr;
}

/// Whether anybody else has a node: the caller's own are skipped from the head of the list, up to the first other one.
bool heldByOthers(const AccessNode* list, std::uint32_t caller) noexcept {
    while (list != nullptr && list->threadId == caller)
        list = list->next;
    return list != nullptr;
}

bool push(AccessNode*& list, std::uint32_t thread) noexcept {
    auto* node = new (std::nothrow) AccessNode{thread, list};
    if (node == nullptr) return false;
    list = node;
    return true;
}

/// Removes the newest node of a thread, if there is one.
void remove(AccessNode** list, std::uint32_t thread) noexcept {
    while (*list != nullptr && (*list)->threadId != thread)
        list = &(*list)->next;
    if (*list == nullptr) return;
    const AccessNode* node = *list;
    *list = node->next;
    delete node;
}

void removeAll(AccessNode*& list) noexcept {
    while (list != nullptr)
        delete std::exchange(list, list->next);
}

/// Counts a call for as long as it may touch the object.
class InUse {
public:
    explicit InUse(std::uint32_t& users) noexcept : users_(users) { std::atomic_ref(users_).fetch_add(1); }
    ~InUse() { std::atomic_ref(users_).fetch_sub(1); }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;

private:
    std::uint32_t& users_;
};

class Locked {
public:
    explicit Locked(CRITICAL_SECTION* section) noexcept : section_(section) { EnterCriticalSection(section_); }
    ~Locked() { LeaveCriticalSection(section_); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    CRITICAL_SECTION* section_;
};

} // namespace

/// The requests' ways to wait, with the lock held before and after.
struct AccessControl::Waiting {
    enum class End { kLookAgain, kAborted };

    /// Leaves the lock until the holders change, at most for the time between two looks.
    static End step(AccessControl& control, HANDLE abortEvent) noexcept {
        const HANDLE events[] = {*control.changeEvent, abortEvent};
        LeaveCriticalSection(control.lock);
        DWORD ended = WAIT_FAILED;
        if (abortEvent != nullptr) ended = WaitForMultipleObjects(2, events, FALSE, kPollMilliseconds);
        if (ended == WAIT_FAILED) WaitForSingleObject(events[0], kPollMilliseconds); // none, or no event at all
        EnterCriticalSection(control.lock);
        return ended == WAIT_OBJECT_0 + 1 ? End::kAborted : End::kLookAgain;
    }

    static bool mayRead(const AccessControl& control, std::uint32_t caller) noexcept {
        return control.writerCount == 0 || holds(control.writers, caller);
    }
    static bool mayWrite(const AccessControl& control, std::uint32_t caller) noexcept {
        if (control.writerCount == 0 && control.readerCount == 0) return true;
        if (holds(control.writers, caller)) return true;
        return control.writerCount == 0 && !heldByOthers(control.readers, caller);
    }
};

AccessControl::AccessControl() noexcept
    : lock(new (std::nothrow) CRITICAL_SECTION), changeEvent(new (std::nothrow) HANDLE(nullptr)) {
    if (lock != nullptr) InitializeCriticalSectionAndSpinCount(lock, kSpinCount);
    if (changeEvent != nullptr) *changeEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (lock == nullptr || changeEvent == nullptr || *changeEvent == nullptr) closing = 1; // nothing to enter
}

AccessControl::AccessControl(const AccessControl& other) noexcept { *this = other; }

AccessControl& AccessControl::operator=(const AccessControl& other) noexcept {
    lock = other.lock;
    changeEvent = other.changeEvent;
    readerCount = other.readerCount;
    writerCount = other.writerCount;
    closing = load(const_cast<std::uint32_t&>(other.closing));
    readers = other.readers;
    writers = other.writers;
    return *this;
}

// Requests that still wait come back by themselves: they see that the lock is closing. They are let out before the lock
// is freed under them.
AccessControl::~AccessControl() {
    if (lock != nullptr) EnterWriteAccess(nullptr);
    store<std::uint32_t>(closing, 1);
    store<std::uint32_t>(ending_, 1);
    if (changeEvent != nullptr) PulseEvent(*changeEvent);
    for (int spent = 0; load(users_) != 0 && spent < kPatienceMilliseconds; ++spent) {
        PulseEvent(*changeEvent);
        ::Sleep(1);
    }
    if (lock != nullptr) DeleteCriticalSection(lock);
    delete lock;
    if (changeEvent != nullptr) CloseHandle(*changeEvent);
    delete changeEvent;
    removeAll(readers);
    removeAll(writers);
}

bool AccessControl::EnterReadAccess(void* abortEvent) {
    const InUse use(users_);
    if (load(closing) != 0) return false;
    const Locked locked(lock);
    if (load(closing) != 0) return false;
    const std::uint32_t caller = GetCurrentThreadId();
    while (!Waiting::mayRead(*this, caller)) {
        if (Waiting::step(*this, abortEvent) == Waiting::End::kAborted || load(closing) != 0) return false;
    }
    if (!push(readers, caller)) return false;
    ++readerCount;
    PulseEvent(*changeEvent);
    return true;
}

bool AccessControl::EnterWriteAccess(void* abortEvent) {
    const InUse use(users_);
    if (lock == nullptr) return false;
    const Locked locked(lock);
    if (load(closing) != 0) return false;
    const std::uint32_t caller = GetCurrentThreadId();
    while (!Waiting::mayWrite(*this, caller)) {
        if (Waiting::step(*this, abortEvent) == Waiting::End::kAborted || load(closing) != 0) return false;
    }
    if (!push(writers, caller)) return false;
    ++writerCount;
    return true;
}

// The count is lowered whether or not the caller holds an access: it wraps for callers that do not pair.
void AccessControl::LeaveReadAccess() {
    const InUse use(users_);
    if (lock == nullptr) return;
    const Locked locked(lock);
    --readerCount;
    remove(&readers, GetCurrentThreadId());
    PulseEvent(*changeEvent);
}

void AccessControl::LeaveWriteAccess() {
    const InUse use(users_);
    if (lock == nullptr) return;
    const Locked locked(lock);
    if (writerCount > 0) --writerCount;
    remove(&writers, GetCurrentThreadId());
    PulseEvent(*changeEvent);
}

bool AccessControl::SwitchReadToWriteAccess(void* abortEvent) {
    LeaveReadAccess();
    return EnterWriteAccess(abortEvent);
}

bool AccessControl::SwitchWriteToReadAccess(void* abortEvent) {
    if (!EnterReadAccess(abortEvent)) return false;
    LeaveWriteAccess();
    return true;
}

void AccessControl::PreDestruct() {
    const InUse use(users_);
    store<std::uint32_t>(closing, 1);
    if (lock == nullptr) return;
    const Locked locked(lock);
    const std::uint32_t caller = GetCurrentThreadId();
    while (!Waiting::mayWrite(*this, caller)) {
        Waiting::step(*this, nullptr);
        if (load(ending_) != 0) return; // closed and destroyed by another thread
    }
    if (push(writers, caller)) ++writerCount;
    PulseEvent(*changeEvent);
}

FuncAccess::FuncAccess(AccessControl* access, bool reading) : read(reading ? 1 : 0) {
    if (access == nullptr) return;
    const bool entered = reading ? access->EnterReadAccess(nullptr) : access->EnterWriteAccess(nullptr);
    if (entered) control = access;
}

FuncAccess::~FuncAccess() {
    if (control == nullptr) return;
    if (read != 0)
        control->LeaveReadAccess();
    else
        control->LeaveWriteAccess();
}

bool FuncAccess::SwitchReadToWrite() {
    if (control == nullptr || read == 0) return true;
    if (!control->SwitchReadToWriteAccess(nullptr)) return false;
    read = 0;
    return true;
}

bool FuncAccess::SwitchWriteToRead() {
    if (control == nullptr || read != 0) return true;
    if (!control->SwitchWriteToReadAccess(nullptr)) return false;
    read = 1;
    return true;
}
