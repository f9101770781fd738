#pragma once
// The storage and access-control exceptions are thrown by pointer: catch one, delete
// it and hand back its Win32 error (0 when nothing was thrown).

#include <cstdint>

#include "ZorvComn_Storage.h"

namespace StorageTests {

template <typename ExceptionType = ZorvCommon::Storage::Exception, typename Call>
uint32_t ThrownError(Call call) {
    try {
        call();
    } catch (ExceptionType* e) {
        const uint32_t error = e->m_Error;
        delete e;
        return error;
    }
    return 0;
}

}  // namespace StorageTests
