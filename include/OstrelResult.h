#pragma once
// The result codes of the module (32-bit, HRESULT style; negative is failure). A Win32
// error travels as 0x80070000 + its low 16 bits (ZorvCommon::Exception::ResultFromWin32).

#include <windows.h>

namespace Ostrel {

enum Result : HRESULT {
    kSuccess = 0,
    // Success: an element was skipped (not targeted, or it held no entries).
    kElementSkipped = 0x00040202,
    // Success class: operation not provided (the reserved interface operations).
    kNotProvided = 0x00040203,
    // Success: value or section not found where absence is accepted.
    kAbsentAccepted = 0x0004020B,
    // Wrong state or structure; backend answered false; document not as expected.
    kWrongState = static_cast<HRESULT>(0x80040201),
    // Not supported or not allowed.
    kNotSupported = static_cast<HRESULT>(0x80040203),
    // Invalid argument: null pointer, wrong utility GUID, bad version text, nameless entry.
    kInvalidArgument = static_cast<HRESULT>(0x80040204),
    // Invalid object: no factory, object not allocated, null section, entry or command.
    kInvalidObject = static_cast<HRESULT>(0x80040205),
    // Invalid data: wrong key length, unknown or missing text, bad GUID or number.
    kInvalidData = static_cast<HRESULT>(0x80040206),
    // Allocation failed while a storage control was initialised.
    kAllocationFailed = static_cast<HRESULT>(0x80040207),
    // Wrong open state: already opened, or not opened for this operation.
    kWrongOpenState = static_cast<HRESULT>(0x80040209),
    // Not found as a failure: a required attribute, or a value that must exist.
    kNotFound = static_cast<HRESULT>(0x8004020B),
};

}  // namespace Ostrel
