/// @file ondrel_api.h
/// Export macro and integer spelling of the memory-block library.
#pragma once

#if defined(_WIN32)
#include <crtdefs.h> // __int64 of compilers that lack the keyword
#if defined(ONDREL_BUILD)
#define ONDREL_API __declspec(dllexport)
#else
#define ONDREL_API __declspec(dllimport)
#endif
#else
#define ONDREL_API __attribute__((visibility("default")))
#ifndef __int64
#define __int64 long long
#endif
#endif
