/// @file orf_decoder_bmi2.cpp
/// The decoder of compressed raw strips for processors with BMI 2 and LZCNT.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "formats/orf_decoders.h"
#include "platform/target_region.h"

#define RASTREL_TARGET bmi2
RASTREL_TARGET_BEGIN("bmi,bmi2,lzcnt")
#include "formats/orf_decoder_inl.h"
RASTREL_TARGET_END

namespace rastrel {

const OrfDecoder kOrfDecoderBmi2{"bmi2", &bmi2::decode};

} // namespace rastrel
