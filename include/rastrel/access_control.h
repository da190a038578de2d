/// @file access_control.h
/// A reader/writer lock that knows its holders by thread, and its scoped guard.
#pragma once

#include <cstdint>

#include "rastrel/platform.h"
#include "rastrel/rastrel_api.h"

/// One access held.
struct AccessNode {
    std::uint32_t threadId; ///< who holds it
    AccessNode* next;       ///< an older one; null at the end
};

/// Any number of threads read at once, or one writes. A writer may enter again, for reading and for writing, and leaves
/// each access; a thread that alone reads is let in to write. Waiting looks again every 100 ms at the latest.
///
/// Not fair: readers keep entering while nobody writes, also past a waiting writer.
///
/// Closing is for good: every new request fails, holders still leave. The destructor waits until nobody else holds an
/// access, and until those whose requests fail have left the object.
///
/// The abort event of a request is a Win32 event, or null. The request fails when the event is signalled while it
/// waits.
///
/// A copy shares lock, event and lists with its source; one of the two may be destroyed.
class RASTREL_API AccessControl {
public:
    AccessControl() noexcept;
    AccessControl(const AccessControl& other) noexcept;
    AccessControl& operator=(const AccessControl& other) noexcept;
    virtual ~AccessControl();

    /// Blocks until the calling thread may read; false when the lock closes or the request is aborted.
    bool EnterReadAccess(void* abortEvent);
    /// Blocks until the calling thread may write; false when the lock closes or the request is aborted.
    bool EnterWriteAccess(void* abortEvent);
    /// Gives one read access of the calling thread back; enters and leaves must pair.
    void LeaveReadAccess();
    /// Gives one write access of the calling thread back; enters and leaves must pair.
    void LeaveWriteAccess();
    /// Leaves reading, then enters writing; others may write in between. False: nothing is held any more.
    bool SwitchReadToWriteAccess(void* abortEvent);
    /// Enters reading, then leaves writing. False: write access is still held.
    bool SwitchWriteToReadAccess(void* abortEvent);
    /// Closes the lock, waits until no other thread holds an access, and makes the caller its last writer.
    void PreDestruct();

    CRITICAL_SECTION* lock = nullptr; ///< guards every other field
    HANDLE* changeEvent = nullptr;    ///< automatic reset; pulsed whenever the holders change
    std::uint32_t readerCount = 0;    ///< read accesses held
    std::uint32_t writerCount = 0;    ///< write accesses held
    std::uint32_t closing = 0;        ///< every new request fails
    AccessNode* readers = nullptr;    ///< one node for each read access, newest first
    AccessNode* writers = nullptr;    ///< one node for each write access, newest first

private:
    struct Waiting;

    std::uint32_t users_ = 0;  ///< calls under way, which the destructor lets finish
    std::uint32_t ending_ = 0; ///< the destructor waits for them
};

/// Holds an access for its own lifetime.
class RASTREL_API FuncAccess {
public:
    /// Enters `control` for reading or for writing; holds nothing when that fails or for a null control.
    FuncAccess(AccessControl* control, bool read);
    FuncAccess(const FuncAccess& other) noexcept = default;
    FuncAccess& operator=(const FuncAccess& other) noexcept = default;
    /// Leaves the access.
    virtual ~FuncAccess();

    /// Leaves reading and enters writing. False when that fails: then nothing is held, and the destructor leaves a read
    /// access all the same. True, and nothing done, without a control or when writing.
    bool SwitchReadToWrite();
    /// Enters reading and leaves writing. False when that fails: writing goes on. True, and nothing done, without a
    /// control or when reading.
    bool SwitchWriteToRead();

    AccessControl* control = nullptr; ///< null when nothing was entered
    unsigned char read = 0;           ///< 1 reading, 0 writing
};
