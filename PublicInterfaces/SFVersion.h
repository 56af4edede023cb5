#pragma once

/// The version of the library that a host is compiled with; the build takes the version of the project from here.
/// Before version 1 a new minor version may change the interface, from then on only a new major one; a patch never
/// does.
#define SF_VERSION_MAJOR 0
#define SF_VERSION_MINOR 1
#define SF_VERSION_PATCH 0

#define SF_DETAIL_TEXT_OF(iTokens) #iTokens
#define SF_DETAIL_VERSION(iMajor, iMinor, iPatch)                                                                      \
  SF_DETAIL_TEXT_OF(iMajor) "." SF_DETAIL_TEXT_OF(iMinor) "." SF_DETAIL_TEXT_OF(iPatch)
/// The three numbers as text, "1.2.3".
#define SF_VERSION_STRING SF_DETAIL_VERSION(SF_VERSION_MAJOR, SF_VERSION_MINOR, SF_VERSION_PATCH)
