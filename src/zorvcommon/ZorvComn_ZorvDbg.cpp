#include "ZorvComn_ZorvDbg.h"

#include <type_traits>

#include "ZorvComn_Win32Error.h"

namespace ZorvCommon {
namespace Library {

bool ZorvDbg::Resolve(bool load, uint32_t* error) {
    m_Resolved = false;
    m_ZorvDbgInitialize = nullptr;
    m_ZorvDbgUninitialize = nullptr;
    m_ZorvDbgTrace = nullptr;
    if (!load) {
        return true;
    }
    if (GetModule() == nullptr) {
        return Win32Error::Fail(error, ERROR_INVALID_HANDLE);
    }
    uint32_t missingError = ERROR_SUCCESS;
    auto lookUp = [&](auto& entryPoint, const char* name) {
        entryPoint = GetProc<std::decay_t<decltype(entryPoint)>>(name);
        if (entryPoint == nullptr) {
            missingError = GetLastError();
        }
    };
    lookUp(m_ZorvDbgInitialize, "ZorvDbgInitialize");
    lookUp(m_ZorvDbgUninitialize, "ZorvDbgUninitialize");
    lookUp(m_ZorvDbgTrace, "ZorvDbgTrace");
    m_Resolved = m_ZorvDbgInitialize != nullptr && m_ZorvDbgUninitialize != nullptr &&
                 m_ZorvDbgTrace != nullptr;
    return m_Resolved || Win32Error::Fail(error, missingError);
}

}  // namespace Library
}  // namespace ZorvCommon
