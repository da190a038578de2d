/// @file stream.h
/// One reading and writing interface over a C stream and over memory. Each function has the meaning, the order of
/// arguments and the result of the C library's call it is named after; positions are 64-bit in the `i64` forms.
/// A null stream is an error result, never a crash.
#pragma once

#include <cstddef>
#include <cstdio>

#include "ondrel/ondrel_api.h"

struct _universal_stream;

/// Wraps an open C stream. `_u_fclose` frees the wrapper and leaves the C stream open. Null for null.
ONDREL_API _universal_stream* _u_ffromhandle(FILE* stream) noexcept;
/// A memory buffer that grows with what is written, empty at first.
ONDREL_API _universal_stream* _u_fmemcreate() noexcept;
/// Reads and overwrites the caller's `size` bytes at `data`, which stay the caller's and must outlive the stream.
/// Writes stop at the end.
ONDREL_API _universal_stream* _u_fmemopen(void* data, unsigned __int64 size) noexcept;

ONDREL_API std::size_t _u_fread(void* buffer, std::size_t size, std::size_t count, _universal_stream* stream) noexcept;
ONDREL_API std::size_t _u_fwrite(const void* buffer, std::size_t size, std::size_t count,
                                 _universal_stream* stream) noexcept;
ONDREL_API int _u_fseek(_universal_stream* stream, long offset, int origin) noexcept;
ONDREL_API int _u_fseeki64(_universal_stream* stream, __int64 offset, int origin) noexcept;
ONDREL_API long _u_ftell(_universal_stream* stream) noexcept;
ONDREL_API __int64 _u_ftelli64(_universal_stream* stream) noexcept;
ONDREL_API int _u_feof(_universal_stream* stream) noexcept;
ONDREL_API int _u_fflush(_universal_stream* stream) noexcept;
ONDREL_API int _u_fclose(_universal_stream* stream) noexcept;
