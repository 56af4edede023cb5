#pragma once

/// SF_MODELLING_EXPORT marks what the modelling library offers; everything else stays hidden.
#if defined(_WIN32)
#if defined(SF_BUILDING_MODELLING)
#define SF_MODELLING_EXPORT __declspec(dllexport)
#else
#define SF_MODELLING_EXPORT __declspec(dllimport)
#endif
#else
#define SF_MODELLING_EXPORT __attribute__((visibility("default")))
#endif
