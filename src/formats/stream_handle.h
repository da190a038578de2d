/// @file stream_handle.h
/// A `_u_` stream that closes itself.
#pragma once

#include <memory>

#include "ondrel/stream.h"

namespace rastrel {

struct StreamCloser {
    void operator()(_universal_stream* stream) const noexcept { _u_fclose(stream); }
};

/// Owns the stream object; a C stream below it stays open.
using StreamHandle = std::unique_ptr<_universal_stream, StreamCloser>;

} // namespace rastrel
