/// @file exr_threads.h
/// The thread pool that the OpenEXR library keeps for the whole process.
#pragma once

#include <mutex>
#include <shared_mutex>

namespace rastrel {

/// Sets the library's pool to no threads, unless it has none: what is decoded or encoded from now on runs on the
/// calling thread.
void useNoExrThreads();

/// While one of these lives no other thread of this library changes the pool, whose tasks would be lost. Taken around
/// every call that decodes or encodes pixels.
class ExrPoolInUse {
public:
    ExrPoolInUse();

private:
    std::shared_lock<std::shared_mutex> lock_;
};

/// A pool of one thread for as long as this lives, none afterwards: a thread that stayed behind would be joined at the
/// process's end, which a Windows process never leaves and a forked one neither.
class ExrOneThread {
public:
    ExrOneThread();
    ~ExrOneThread();
    ExrOneThread(const ExrOneThread&) = delete;
    ExrOneThread& operator=(const ExrOneThread&) = delete;

private:
    std::unique_lock<std::shared_mutex> lock_;
};

} // namespace rastrel
