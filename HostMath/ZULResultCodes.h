/// @file
/// The codes that fallible operations answer with.
#pragma once

#include <cstdint>

/// Result of a fallible operation: negative means failure, zero and positive mean success.
using HRESULT = std::int32_t;

/// Done.
constexpr HRESULT S_OK = 0;
/// Done, with the other of two answers; which one is said where it is given.
constexpr HRESULT S_FALSE = 1;
/// The operation is not provided by this class.
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001U);
/// The caller ended the operation before its time.
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004U);
/// Any failure without a code of its own.
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005U);
/// An argument is malformed.
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057U);

/// Whether a code tells of a failure.
constexpr bool Failed(HRESULT iCode) { return iCode < 0; }
/// Whether a code tells of success of any kind.
constexpr bool Succeeded(HRESULT iCode) { return iCode >= 0; }
