#pragma once

#include <cstdint>

/// Result of a fallible operation: negative means failure, zero and positive mean success.
using HRESULT = std::int32_t;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
/// The operation is not provided by this class.
constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001U);
/// The caller ended the operation before its time.
constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004U);
/// Any failure without a code of its own.
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005U);
/// An argument is malformed.
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057U);

constexpr bool Failed(HRESULT iCode) { return iCode < 0; }
constexpr bool Succeeded(HRESULT iCode) { return iCode >= 0; }
