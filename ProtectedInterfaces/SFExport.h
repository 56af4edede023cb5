#pragma once

/// SF_EXPORT marks what the shared library offers to hosts; everything else stays hidden.
#if defined(_WIN32)
#if defined(SF_BUILDING_LIBRARY)
#define SF_EXPORT __declspec(dllexport)
#else
#define SF_EXPORT __declspec(dllimport)
#endif
#else
#define SF_EXPORT __attribute__((visibility("default")))
#endif
