/// @file jpeg_fence.h
/// Calls into libjpeg that come back: its fatal errors end a call instead of the process, and it prints nothing.
#pragma once

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

namespace rastrel {

/// The library's error manager with the way back. `manager` comes first: the library hands back its address.
struct JpegErrors {
    jpeg_error_mgr manager;
    std::jmp_buf escape;
};

/// Sets the manager up and returns what belongs into the `err` field of a compressor or decompressor.
[[nodiscard]] jpeg_error_mgr* setUpJpegErrors(JpegErrors& errors) noexcept;

/// Leaves the running `runJpegFenced`, which then returns false.
[[noreturn]] void leaveJpegFence(JpegErrors& errors);

/// Runs `steps(state)`: its result, or false when the library gave up inside. `steps` is left by a jump then: it and
/// what it calls around the library hold nothing with a destructor. What must be released belongs to the caller.
[[nodiscard]] bool runJpegFenced(JpegErrors& errors, bool (*steps)(void* state), void* state);

/// The same for a member function without arguments.
template <auto Steps, class State>
[[nodiscard]] bool runJpegFenced(JpegErrors& errors, State& state) {
    return runJpegFenced(
        errors, [](void* self) { return (static_cast<State*>(self)->*Steps)(); }, &state);
}

} // namespace rastrel
