#include "rastrel/critical_section.h"

#include <atomic>
#include <new>
#include <utility>

#include "threads/maybe_null.h"

namespace {

constexpr DWORD kSpinCount = 4000;

/// Serialises creation, sharing and release of states. Never destroyed: objects with static lifetime release theirs at
/// any point of the process's end.
CRITICAL_SECTION* stateGuard() noexcept {
    static CRITICAL_SECTION section;
    static const bool ready = (InitializeCriticalSectionAndSpinCount(&section, kSpinCount), true);
    static_cast<void>(ready);
    return &section;
}

class StateGuard {
public:
    StateGuard() noexcept { EnterCriticalSection(stateGuard()); }
    ~StateGuard() { LeaveCriticalSection(stateGuard()); }
    StateGuard(const StateGuard&) = delete;
    StateGuard& operator=(const StateGuard&) = delete;
};

CriticalSectionState* newState() noexcept {
    auto* state = new (std::nothrow) CriticalSectionState;
    if (state == nullptr) return nullptr;
    state->refCount = 1;
    state->ownerThreadId = 0;
    state->recursion = 0;
    return state;
}

/// To be called under the state guard.
void release(CriticalSectionState* state) noexcept {
    if (state == nullptr || --state->refCount != 0) return;
    DeleteCriticalSection(&state->section);
    delete state;
}

} // namespace

CriticalSection::CriticalSection() noexcept {
    const StateGuard guard;
    state_ = newState();
    if (state_ != nullptr) InitializeCriticalSectionAndSpinCount(&state_->section, kSpinCount);
}

CriticalSection::CriticalSection(const CriticalSection& other) noexcept = default;
CriticalSection& CriticalSection::operator=(const CriticalSection& other) noexcept = default;

CriticalSection::~CriticalSection() {
    const StateGuard guard;
    release(std::exchange(state_, nullptr));
}

// The owner's id is read without the lock: only its own thread ever stores a thread's id there, so the comparison with
// the caller's id is right whatever the others do.
void CriticalSection::Enter() {
    CriticalSection* self = rastrel::maybeNull(this);
    if (self == nullptr || self->state_ == nullptr) return;
    CriticalSectionState& state = *self->state_;
    const std::uint32_t caller = GetCurrentThreadId();
    std::atomic_ref owner(state.ownerThreadId);
    if (owner.load(std::memory_order_relaxed) == caller) {
        ++state.recursion;
        return;
    }
    EnterCriticalSection(&state.section);
    owner.store(caller, std::memory_order_relaxed);
    state.recursion = 0;
}

void CriticalSection::Leave() {
    CriticalSection* self = rastrel::maybeNull(this);
    if (self == nullptr || self->state_ == nullptr) return;
    CriticalSectionState& state = *self->state_;
    std::atomic_ref owner(state.ownerThreadId);
    if (owner.load(std::memory_order_relaxed) != GetCurrentThreadId()) return;
    if (state.recursion > 0) {
        --state.recursion;
        return;
    }
    owner.store(0, std::memory_order_relaxed);
    LeaveCriticalSection(&state.section);
}

void CriticalSection::Clone(CriticalSection& other) {
    const StateGuard guard;
    if (other.state_ == nullptr) return;
    ++other.state_->refCount;
    release(std::exchange(state_, other.state_));
}

void CriticalSection::Reconstruct() {
    CriticalSectionState* fresh = newState();
    if (fresh == nullptr) return;
    InitializeCriticalSection(&fresh->section);
    const StateGuard guard;
    release(std::exchange(state_, fresh));
}
