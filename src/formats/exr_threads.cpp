/// @file exr_threads.cpp
/// The thread pool that the OpenEXR library keeps for the whole process.
#include "formats/exr_threads.h"

#include <OpenEXR/ImfThreading.h>

namespace rastrel {

namespace {

std::shared_mutex& poolMutex() {
    static std::shared_mutex mutex;
    return mutex;
}

} // namespace

void useNoExrThreads() {
    const std::unique_lock lock(poolMutex());
    if (Imf::globalThreadCount() != 0) Imf::setGlobalThreadCount(0);
}

ExrPoolInUse::ExrPoolInUse() : lock_(poolMutex()) {}

ExrOneThread::ExrOneThread() : lock_(poolMutex()) { Imf::setGlobalThreadCount(1); }

ExrOneThread::~ExrOneThread() {
    try {
        Imf::setGlobalThreadCount(0);
    } catch (...) {
        // The pool keeps its thread; nothing depends on it.
        return;
    }
}

} // namespace rastrel
