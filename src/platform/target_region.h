/// @file target_region.h
/// Begin and end of a source region whose functions may use an instruction set that the build does not assume.
///
/// Every include stands before the region: an inline function of a foreign header compiled inside it would carry the
/// instruction set into callers on machines that lack it. Functions, templates and lambdas written inside get the set;
/// call them only after asking `cpuFeatures()`.
///
///     RASTREL_TARGET_BEGIN("avx2")
///     ... functions in a namespace of their own ...
///     RASTREL_TARGET_END
#pragma once

#define RASTREL_PRAGMA(text) _Pragma(#text)

#if defined(__clang__)
#define RASTREL_TARGET_BEGIN(sets)                                                                                     \
    RASTREL_PRAGMA(clang attribute push(__attribute__((target(sets))), apply_to = function))
#define RASTREL_TARGET_END RASTREL_PRAGMA(clang attribute pop)
#else
#define RASTREL_TARGET_BEGIN(sets) RASTREL_PRAGMA(GCC push_options) RASTREL_PRAGMA(GCC target(sets))
#define RASTREL_TARGET_END RASTREL_PRAGMA(GCC pop_options)
#endif
