/// @file rastrel_api.h
/// Export macro of the image library. Hosts that link the static `rastrel_core` define RASTREL_STATIC.
#pragma once

#if defined(RASTREL_STATIC)
#define RASTREL_API
#elif defined(_WIN32)
#if defined(RASTREL_BUILD)
#define RASTREL_API __declspec(dllexport)
#else
#define RASTREL_API __declspec(dllimport)
#endif
#else
#define RASTREL_API __attribute__((visibility("default")))
#endif

/// What an exported class declares and only the library itself uses.
#if defined(_WIN32)
#define RASTREL_LOCAL
#else
#define RASTREL_LOCAL __attribute__((visibility("hidden")))
#endif
