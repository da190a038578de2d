/// The status codes as objects: a host may bind references to them, which the Windows library must then export.
#include "rastrel/rastrel.h"

namespace {

[[gnu::used]] constexpr const unsigned __int64* kStatusCodes[] = {&Rastrel::kNotOpened, &Rastrel::kNotAccepted,
                                                                  &Rastrel::kWriteFailed};

} // namespace
