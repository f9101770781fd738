#include "ServiceFactory.h"

#include <cstring>
#include <new>

#include "Ostrel.h"
#include "OstrelResult.h"
#include "ServiceManager.h"
#include "ZorvComn_DebugLog.h"

namespace {

bool IsUtilityGuid(const GUID* pGuid) {
    return std::memcmp(pGuid, &OSTREL_UTILITY_GUID, sizeof(GUID)) == 0;
}

}  // namespace

HRESULT CServiceFactory::Initialize() {
    ZORV_TRACE(L"[Enter] CServiceFactory::Initialize()...");
    ZORV_TRACE(L"[Leave] CServiceFactory::Initialize()...");
    return Ostrel::kSuccess;
}

HRESULT CServiceFactory::Uninitialize() {
    ZORV_TRACE(L"[Enter] CServiceFactory::Uninitialize()...");
    ZORV_TRACE(L"[Leave] CServiceFactory::Uninitialize()...");
    return Ostrel::kSuccess;
}

HRESULT CServiceFactory::CreateUtility(SrvFrwk::Interface::IUtilityEx** _ppUtilityContext,
                                       const GUID* pUtilityGuid) {
    ZORV_TRACE(L"[Enter] CServiceFactory::CreateUtility()...");
    if (_ppUtilityContext == nullptr || pUtilityGuid == nullptr) {
        ZORV_ERROR(
            L"*** CServiceFactory::CreateUtility() - _ppUtilityContext or pUtilityGuid were "
            L"invalid.");
        return Ostrel::kInvalidArgument;
    }
    if (!IsUtilityGuid(pUtilityGuid)) {
        ZORV_ERROR(L"*** CServiceFactory::CreateUtility() - pUtilityGuid was invalid.");
        return Ostrel::kInvalidArgument;
    }
    SrvFrwk::Interface::IUtilityEx* pIUtilityEx = new (std::nothrow) CServiceManager();
    if (pIUtilityEx == nullptr) {
        ZORV_ERROR(L"*** CServiceFactory::CreateUtility() - pIUtilityEx was invalid.");
        return Ostrel::kInvalidObject;
    }
    *_ppUtilityContext = pIUtilityEx;
    ZORV_TRACE(L"[Leave] CServiceFactory::CreateUtility()...");
    return Ostrel::kSuccess;
}

HRESULT CServiceFactory::FreeUtility(SrvFrwk::Interface::IUtilityEx* pServiceManager,
                                     const GUID* pUtilityGuid) {
    ZORV_TRACE(L"[Enter] CServiceFactory::FreeUtility()...");
    if (pServiceManager == nullptr || pUtilityGuid == nullptr) {
        ZORV_ERROR(
            L"*** CServiceFactory::FreeUtility() - pServiceManager or pUtilityGuid were invalid.");
        return Ostrel::kInvalidArgument;
    }
    if (!IsUtilityGuid(pUtilityGuid)) {
        ZORV_ERROR(L"*** CServiceFactory::FreeUtility() - pUtilityGuid was invalid.");
        return Ostrel::kInvalidArgument;
    }
    delete pServiceManager;
    ZORV_TRACE(L"[Leave] CServiceFactory::FreeUtility()...");
    return Ostrel::kSuccess;
}
