/// @file platform.h
/// The Windows types and calls that this library and its hosts share. On Windows these are the system's own; on Linux
/// the library exports stand-ins of the same names, values and observable behaviour, so that one host source compiles
/// and behaves alike on both. The contract of every stand-in is written down in `src/platform/README.md`.
#pragma once

#if defined(_WIN32)

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <process.h>
#include <share.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>

#else

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>

#include "rastrel/rastrel_api.h"

#ifndef __int64
#define __int64 long long
#endif
#ifndef __cdecl
#define __cdecl
#endif

// Types keep the widths they have on Windows x64: LONG and DWORD are 32 bits.
using BOOL = int;
using INT = int;
using UINT = unsigned int;
using BYTE = unsigned char;
using WORD = std::uint16_t;
using LONG = std::int32_t;
using DWORD = std::uint32_t;
using SIZE_T = std::size_t;
using ULONG_PTR = std::uintptr_t;
using WCHAR = wchar_t;
using LPCWSTR = const wchar_t*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPDWORD = DWORD*;
using HANDLE = void*;
using LPHANDLE = HANDLE*;
using HGDIOBJ = void*;
struct HBITMAP__;
using HBITMAP = HBITMAP__*;

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;

/// A recursive lock; holds no memory of its own besides this structure. Must not be moved or copied while in use.
struct CRITICAL_SECTION {
    pthread_mutex_t mutex;
};
using LPCRITICAL_SECTION = CRITICAL_SECTION*;

struct BITMAP {
    LONG bmType;       ///< 0
    LONG bmWidth;      ///< pixels
    LONG bmHeight;     ///< pixels
    LONG bmWidthBytes; ///< bytes of one row, a multiple of 2
    WORD bmPlanes;
    WORD bmBitsPixel;
    LPVOID bmBits; ///< null: the pixels are the system's
};

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
#define INFINITE 0xFFFFFFFFU
#define WAIT_OBJECT_0 0x00000000U
#define WAIT_ABANDONED_0 0x00000080U
#define WAIT_TIMEOUT 0x00000102U
#define WAIT_FAILED 0xFFFFFFFFU
#define MAXIMUM_WAIT_OBJECTS 64
#define MAXIMUM_SUSPEND_COUNT 127
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(~std::uintptr_t{0}))
#define DUPLICATE_CLOSE_SOURCE 0x00000001U
#define DUPLICATE_SAME_ACCESS 0x00000002U
#define THREAD_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST (-2)
#define THREAD_PRIORITY_BELOW_NORMAL (-1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_ABOVE_NORMAL 1
#define THREAD_PRIORITY_HIGHEST 2
#define THREAD_PRIORITY_TIME_CRITICAL 15
#define THREAD_PRIORITY_ERROR_RETURN 0x7FFFFFFF
#define _SH_DENYRW 0x10
#define _SH_DENYWR 0x20
#define _SH_DENYRD 0x30
#define _SH_DENYNO 0x40

// --- handles, events, waiting ---
RASTREL_API HANDLE CreateEventW(LPSECURITY_ATTRIBUTES attributes, BOOL manualReset, BOOL initialState,
                                LPCWSTR name) noexcept;
RASTREL_API BOOL SetEvent(HANDLE event) noexcept;
RASTREL_API BOOL ResetEvent(HANDLE event) noexcept;
RASTREL_API BOOL PulseEvent(HANDLE event) noexcept;
RASTREL_API BOOL CloseHandle(HANDLE object) noexcept;
RASTREL_API BOOL DuplicateHandle(HANDLE sourceProcess, HANDLE source, HANDLE targetProcess, LPHANDLE target,
                                 DWORD access, BOOL inherit, DWORD options) noexcept;
RASTREL_API HANDLE GetCurrentProcess() noexcept;
RASTREL_API DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds) noexcept;
RASTREL_API DWORD WaitForMultipleObjects(DWORD count, const HANDLE* objects, BOOL waitAll, DWORD milliseconds) noexcept;

// --- critical sections ---
RASTREL_API void InitializeCriticalSection(LPCRITICAL_SECTION section) noexcept;
RASTREL_API BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION section, DWORD spinCount) noexcept;
RASTREL_API void EnterCriticalSection(LPCRITICAL_SECTION section) noexcept;
RASTREL_API BOOL TryEnterCriticalSection(LPCRITICAL_SECTION section) noexcept;
RASTREL_API void LeaveCriticalSection(LPCRITICAL_SECTION section) noexcept;
RASTREL_API void DeleteCriticalSection(LPCRITICAL_SECTION section) noexcept;

// --- threads ---
/// Starts a thread; the handle closes itself when the thread ends. All ones when no thread could be started.
RASTREL_API std::uintptr_t _beginthread(void(__cdecl* entry)(void*), unsigned stackSize, void* argument) noexcept;
RASTREL_API DWORD GetCurrentThreadId() noexcept;
RASTREL_API HANDLE GetCurrentThread() noexcept;
RASTREL_API BOOL SetThreadPriority(HANDLE thread, int priority) noexcept;
RASTREL_API int GetThreadPriority(HANDLE thread) noexcept;
RASTREL_API DWORD SuspendThread(HANDLE thread) noexcept;
RASTREL_API DWORD ResumeThread(HANDLE thread) noexcept;
RASTREL_API BOOL TerminateThread(HANDLE thread, DWORD exitCode) noexcept;
RASTREL_API void Sleep(DWORD milliseconds) noexcept;

// --- bitmaps ---
RASTREL_API HBITMAP CreateBitmap(int width, int height, UINT planes, UINT bitsPerPixel, const void* bits) noexcept;
RASTREL_API LONG GetBitmapBits(HBITMAP bitmap, LONG size, LPVOID bits) noexcept;
RASTREL_API int GetObjectW(HANDLE object, int size, LPVOID data) noexcept;
inline int GetObject(HANDLE object, int size, LPVOID data) noexcept { return GetObjectW(object, size, data); }
RASTREL_API BOOL DeleteObject(HGDIOBJ object) noexcept;

// --- C runtime ---
RASTREL_API std::FILE* _fsopen(const char* path, const char* mode, int sharing) noexcept;
RASTREL_API std::FILE* _wfsopen(const wchar_t* path, const wchar_t* mode, int sharing) noexcept;
RASTREL_API std::FILE* _wfopen(const wchar_t* path, const wchar_t* mode) noexcept;
RASTREL_API int _fseeki64(std::FILE* stream, __int64 offset, int origin) noexcept;
RASTREL_API __int64 _ftelli64(std::FILE* stream) noexcept;
/// Copies `count` bytes, exchanging the two of each pair; an odd last byte is not copied.
RASTREL_API void _swab(char* source, char* destination, int count) noexcept;
/// A copy on the C heap, null for null or when the memory cannot be had.
RASTREL_API wchar_t* _wcsdup(const wchar_t* text) noexcept;

#endif
