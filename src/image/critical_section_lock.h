/// @file critical_section_lock.h
/// Holds a system critical section for its own lifetime.
#pragma once

#include "rastrel/platform.h"

namespace rastrel {

class CriticalSectionLock {
public:
    explicit CriticalSectionLock(CRITICAL_SECTION& section) : section_(section) { EnterCriticalSection(&section_); }
    ~CriticalSectionLock() { LeaveCriticalSection(&section_); }
    CriticalSectionLock(const CriticalSectionLock&) = delete;
    CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
    CRITICAL_SECTION& section_;
};

} // namespace rastrel
