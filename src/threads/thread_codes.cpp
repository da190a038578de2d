/// The failure codes as objects: a host may bind references to them, which the Windows library must then export.
#include "rastrel/thread.h"

namespace {

[[gnu::used]] constexpr const std::uint32_t* kFailureCodes[] = {&Thread::kAlreadyRunning, &Thread::kNoWorker,
                                                                &Thread::kNotTerminated, &Thread::kFailed};

} // namespace
