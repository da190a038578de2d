// The small stand-ins: critical sections over POSIX mutexes, and the C runtime's own names.
#include <cstdlib>
#include <cstring>

#include "rastrel/platform.h"

void InitializeCriticalSection(LPCRITICAL_SECTION section) noexcept {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&section->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD) noexcept {
    InitializeCriticalSection(section);
    return TRUE;
}

void EnterCriticalSection(LPCRITICAL_SECTION section) noexcept { pthread_mutex_lock(&section->mutex); }

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section) noexcept {
    return pthread_mutex_trylock(&section->mutex) == 0 ? TRUE : FALSE;
}

void LeaveCriticalSection(LPCRITICAL_SECTION section) noexcept { pthread_mutex_unlock(&section->mutex); }

void DeleteCriticalSection(LPCRITICAL_SECTION section) noexcept { pthread_mutex_destroy(&section->mutex); }

int _fseeki64(std::FILE* stream, __int64 offset, int origin) noexcept {
    return stream == nullptr ? -1 : fseeko(stream, offset, origin);
}

__int64 _ftelli64(std::FILE* stream) noexcept { return stream == nullptr ? -1 : ftello(stream); }

void _swab(char* source, char* destination, int count) noexcept {
    for (int i = 0; i + 1 < count; i += 2) {
        const char first = source[i];
        const char second = source[i + 1];
        destination[i] = second;
        destination[i + 1] = first;
    }
}

wchar_t* _wcsdup(const wchar_t* text) noexcept {
    if (text == nullptr) return nullptr;
    const std::size_t bytes = (std::wcslen(text) + 1) * sizeof(wchar_t);
    auto* copy = static_cast<wchar_t*>(std::malloc(bytes));
    if (copy != nullptr) std::memcpy(copy, text, bytes);
    return copy;
}
