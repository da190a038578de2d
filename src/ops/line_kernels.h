/// @file line_kernels.h
/// Filtering of raw sample lines: resampling and smoothing along a line, and across several lines.
///
/// Lines are interleaved samples. The routines along a line take ten colour-model codes: one sample a pixel for 49, 65
/// (8 bits), 50, 66 (16 bits); three for 81 and 82; four for 97, 113 and 98, 114. Counts are pixels there, samples in
/// the routines across lines. Filter codes are those of `selectFilterKernel`.
///
/// Sums are taken in `double`, in source order, each product and sum rounded on its own, so that results are the same
/// bytes on every system and for every instruction set. False leaves the destination untouched. Buffers of the wrong
/// sample width are the caller's error; nothing outside the counts given is read or written, however wide the kernel.
/// All routines may run on several threads at once.
#pragma once

#include <cstdint>

#include "ops/filter_kernels.h"
#include "ops/mirror_kernel.h"

namespace rastrel {

/// Turns `sourceCount` pixels into `destinationCount`. Equal counts copy; filter code 0 takes the nearest pixel at or
/// before i * sourceCount / destinationCount; a shrinking kernel is widened by that ratio. Source pixels outside the
/// line are left out of the sum. An output whose window holds no pixel is 0.
///
/// True at once for a destination of no pixels. False for a null buffer, an empty source, another colour model, and a
/// lobe count that is no number. Either overload takes all ten codes when the buffers hold what the code says.
[[nodiscard]] bool resample(unsigned char* destination, std::uint64_t destinationCount, const unsigned char* source,
                            std::uint64_t sourceCount, char colormodel, unsigned char filterType, double parameter);
[[nodiscard]] bool resample(unsigned short* destination, std::uint64_t destinationCount, const unsigned short* source,
                            std::uint64_t sourceCount, char colormodel, unsigned char filterType, double parameter);

/// Smooths `count` pixels with a kernel stretched to `width`; the line is reflected at both ends without repeating the
/// edge pixel. Note the order of the two codes. The buffers may not overlap.
///
/// True at once for no pixels. False for a null buffer, another colour model, filter code 0, and a kernel that
/// `LowPassWeights` refuses. Either overload takes all ten codes when the buffers hold what the code says.
[[nodiscard]] bool lowpass(unsigned char* destination, const unsigned char* source, std::uint64_t count, double width,
                           char filterType, unsigned char colormodel, double parameter);
[[nodiscard]] bool lowpass(unsigned short* destination, const unsigned short* source, std::uint64_t count, double width,
                           char filterType, unsigned char colormodel, double parameter);

/// Makes one line from a window of source rows `firstRow` to `lastRow` around row `centre`; `scale` widens the kernel
/// when it is above 1. The kernel's rows are taken from the start of `rows`, its first one is `rows[0]`. Filter code 0
/// and scale 1 copy row truncate(`centre`), which is `rows[truncate(centre) - firstRow]`.
///
/// False for no samples, a null pointer, and a window or row that is not among those given.
[[nodiscard]] bool resampleVertical8(unsigned char* destination, const unsigned char* const* rows,
                                     std::uint64_t sampleCount, std::int64_t firstRow, std::int64_t lastRow,
                                     double centre, double scale, unsigned char filterType, double parameter);
[[nodiscard]] bool resampleVertical16(unsigned short* destination, const unsigned short* const* rows,
                                      std::uint64_t sampleCount, std::int64_t firstRow, std::int64_t lastRow,
                                      double centre, double scale, unsigned char filterType, double parameter);

/// Makes one line as the weighted sum of the first n of `rowCount` lines, n being the kernel's taps at `width`.
/// 8-bit samples are summed in 16.16 fixed point: weights truncated, 2048 added before the shift. That constant is
/// meant, although a wide Gaussian turns 255 into 254 with it. A negative sum leaves the sample as it was.
///
/// False for no samples, a null pointer, fewer lines than taps, and whatever kernel `lowpass` refuses.
[[nodiscard]] bool lowpassVertical8(unsigned char* destination, const unsigned char* const* rows,
                                    std::uint64_t sampleCount, std::uint64_t rowCount, double width,
                                    unsigned char filterType, double parameter);
[[nodiscard]] bool lowpassVertical16(unsigned short* destination, const unsigned short* const* rows,
                                     std::uint64_t sampleCount, std::uint64_t rowCount, double width,
                                     unsigned char filterType, double parameter);

} // namespace rastrel
