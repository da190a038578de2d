/// @file critical_section.h
/// A recursive lock whose state several objects may share.
#pragma once

#include <cstdint>

#include "rastrel/platform.h"
#include "rastrel/rastrel_api.h"

/// What the objects that share one lock have in common; lives on the heap.
struct CriticalSectionState {
    CRITICAL_SECTION section;
    std::uint32_t refCount;      ///< counted CriticalSection objects that share this state
    std::uint32_t ownerThreadId; ///< the thread that holds the lock, 0 when free
    std::uint32_t recursion;     ///< how many extra times the owner has entered
};

/// A recursive lock. `Leave` by a thread that does not hold it does nothing.
///
/// Copying shares the state without counting it: a copy must not outlive the counted owners, and is not released on
/// its own. `Clone` is the counted way to share.
class RASTREL_API CriticalSection {
public:
    CriticalSection() noexcept;
    CriticalSection(const CriticalSection& other) noexcept;
    CriticalSection& operator=(const CriticalSection& other) noexcept;
    ~CriticalSection();

    void Enter();
    void Leave();
    /// Takes the other's state, counted, and releases the one held before. Nothing when the other has none.
    void Clone(CriticalSection& other);
    /// Replaces the state by a fresh one that this object alone holds.
    void Reconstruct();

private:
    CriticalSectionState* state_;
};
