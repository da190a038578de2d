#include "formats/jpeg_fence.h"

namespace rastrel {
namespace {

void giveUp(j_common_ptr codec) { leaveJpegFence(*reinterpret_cast<JpegErrors*>(codec->err)); }

void printNothing(j_common_ptr) {}

} // namespace

jpeg_error_mgr* setUpJpegErrors(JpegErrors& errors) noexcept {
    jpeg_error_mgr* const manager = jpeg_std_error(&errors.manager);
    manager->error_exit = giveUp;
    manager->output_message = printNothing;
    return manager;
}

void leaveJpegFence(JpegErrors& errors) { std::longjmp(errors.escape, 1); }

bool runJpegFenced(JpegErrors& errors, bool (*steps)(void* state), void* state) {
    if (setjmp(errors.escape) != 0) return false;
    return steps(state);
}

} // namespace rastrel
