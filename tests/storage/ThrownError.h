#pragma once
// The storage exceptions are thrown by pointer: catch one, delete
// it and hand back its Win32 error (0 when nothing was thrown).

#include <cstdint>

#include "ZorvComn_Storage.h"

namespace StorageTests {

template <typename Call>
uint32_t ThrownError(Call call) {
    try {
        call();
    } catch (ZorvCommon::Storage::Exception* e) {
        const uint32_t error = e->m_Error;
        delete e;
        return error;
    }
    return 0;
}

}  // namespace StorageTests
