/// @file operation_guards.h
/// What an image operation puts back on every way out.
#pragma once

#include "image/image_state.h"

namespace rastrel {

/// Restores a mirror flag at the end of a call.
class FlagRestorer {
public:
    explicit FlagRestorer(unsigned char& flag) noexcept : flag_(flag), saved_(flag) {}
    ~FlagRestorer() { flag_ = saved_; }
    FlagRestorer(const FlagRestorer&) = delete;
    FlagRestorer& operator=(const FlagRestorer&) = delete;

private:
    unsigned char& flag_;
    unsigned char saved_;
};

/// Sets the progress of a finished operation on every way out.
class Completion {
public:
    explicit Completion(Progress progress) noexcept : progress_(progress) { progress_.set(0); }
    ~Completion() { progress_.set(1000); }
    Completion(const Completion&) = delete;
    Completion& operator=(const Completion&) = delete;

private:
    Progress progress_;
};

} // namespace rastrel
