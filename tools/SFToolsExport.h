#pragma once

/// SF_TOOLS_EXPORT marks what the library of tools offers; everything else stays hidden.
#if defined(_WIN32)
#if defined(SF_BUILDING_TOOLS)
#define SF_TOOLS_EXPORT __declspec(dllexport)
#else
#define SF_TOOLS_EXPORT __declspec(dllimport)
#endif
#else
#define SF_TOOLS_EXPORT __attribute__((visibility("default")))
#endif
