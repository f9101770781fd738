#include "StorageProduct.h"

#include "OstrelResult.h"
#include "ZorvComn_DebugLog.h"
#include "ZorvComn_Registry.h"

namespace Ostrel {
namespace Storage {

HRESULT QueryVersion(std::wstring& version) {
    const uint32_t error = ZorvCommon::Storage::Reg::QueryValue(
        HKEY_LOCAL_MACHINE, L"Software\\Ulvenhart\\Hearthward", L"Version", std::wstring(), version,
        ZorvCommon::Storage::RegistryView64);
    if (error == ERROR_SUCCESS) {
        return kSuccess;
    }
    ZORV_ERROR(L"*** QueryVersion() - ZorvCommon::Storage::Reg::QueryValue() failed. [0x%08x]",
               error);
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
        return kNotFound;
    }
    return ZorvCommon::Exception::ResultFromWin32(error);
}

}  // namespace Storage
}  // namespace Ostrel
