#include <unistd.h>

#include "rastrel/platform.h"

DWORD GetCurrentThreadId() noexcept {
    static thread_local const auto id = static_cast<DWORD>(gettid());
    return id;
}
