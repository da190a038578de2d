/// @file orf_decoder_baseline.cpp
/// The decoder of compressed raw strips for every 64-bit processor.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "formats/orf_decoders.h"

#define RASTREL_TARGET baseline
#include "formats/orf_decoder_inl.h"

namespace rastrel {

const OrfDecoder kOrfDecoderBaseline{"baseline", &baseline::decode};

} // namespace rastrel
