#include "ZorvComn_ZorvDbg.h"

#include <type_traits>

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
        if (error != nullptr) {
            *error = ERROR_INVALID_HANDLE;
        }
        return false;
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
    if (!m_Resolved && error != nullptr) {
        *error = missingError;
    }
    return m_Resolved;
}

}  // namespace Library
}  // namespace ZorvCommon
