#pragma once
// The reporting convention of the file and cipher classes: a bool result and a Win32
// error code through an optional out-pointer.

#include <windows.h>

#include <cstdint>

namespace ZorvCommon {
namespace Win32Error {

inline bool Fail(uint32_t* error, uint32_t code) {
    if (error != nullptr) {
        *error = code;
    }
    return false;
}

inline bool Succeed(uint32_t* error) {
    if (error != nullptr) {
        *error = ERROR_SUCCESS;
    }
    return true;
}

}  // namespace Win32Error
}  // namespace ZorvCommon
