/// @file tool_job.h
/// Work on an image, on a thread of its own, with a progress bar and Ctrl-C.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "rastrel/rastrel.h"

namespace tool {

/// From now on Ctrl-C and a request to terminate end the running job instead of the program.
void catchInterrupts();

/// Carries `work` out on a worker thread that holds `image`, and comes back when it is done; what `work` throws is
/// thrown here. Meanwhile the image's progress is shown on standard error when that is a terminal. Throws `Cancelled`
/// when the user interrupted, as soon as `work` has given up.
void runJob(Rastrel& image, const std::string& title, const std::function<void()>& work);

/// For work that goes over the rows of an image itself: tells how far it is, `done` of `total`. False: give up.
bool goOn(Rastrel& image, std::uint64_t done, std::uint64_t total);

} // namespace tool
