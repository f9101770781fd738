#include "ServiceManager.h"

#include "ExceptionBarrier.h"
#include "Frwk_Utility.h"
#include "OstrelResult.h"
#include "StorageCommand.h"
#include "XmlParserFrameworkPolicy.h"
#include "XmlParserStorageControl.h"
#include "XmlParserWebAccessControl.h"
#include "ZorvComn_DebugLog.h"

using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::StorageControlRequest;
using SrvFrwk::Interface::ValueTypeRecord;
using SrvFrwk::Interface::WebAccessControlList;

HRESULT CServiceManager::ReservedOperation1() {
    return Ostrel::kNotProvided;
}

HRESULT CServiceManager::ReservedOperation2() {
    return Ostrel::kNotProvided;
}

HRESULT CServiceManager::QueryValue(const ValueTypeRecord* pValueType, void*, void*, void* pValue) {
    return RunGuarded(L"CServiceManager::QueryValue()", [&]() -> HRESULT {
        ZORV_TRACE(L"[Enter] CServiceManager::QueryValue()...");
        HRESULT hResult = Ostrel::kSuccess;
        const uint32_t valueType = pValueType != nullptr ? pValueType->ValueType : 0;
        switch (valueType) {
            case SrvFrwk::Interface::ValueTypeServicePolicy:
                hResult = QueryValueForServicePolicy(static_cast<ArrayOfRowService*>(pValue));
                break;
            case SrvFrwk::Interface::ValueTypeProviderPolicy:
                hResult = QueryValueForProviderPolicy(static_cast<ArrayOfRowProvider*>(pValue));
                break;
            case SrvFrwk::Interface::ValueTypeWebAccessControl:
                hResult = QueryValueForWebAccessData(static_cast<WebAccessControlList*>(pValue));
                break;
            default:
                ZORV_ERROR(
                    L"*** CServiceManager::QueryValue() - Specified ValueType was not supported "
                    L"[0x%08x]",
                    valueType);
                hResult = Ostrel::kNotSupported;
                break;
        }
        ZORV_TRACE(L"[Leave] CServiceManager::QueryValue()...");
        return hResult;
    });
}

HRESULT CServiceManager::QueryValue(const wchar_t*, void*) {
    ZORV_TRACE(L"[Enter] CServiceManager::QueryValue()...");
    ZORV_TRACE(L"[Leave] CServiceManager::QueryValue()...");
    return Ostrel::kSuccess;
}

HRESULT CServiceManager::StoreValue(const ValueTypeRecord*, void*, void*, void*) {
    ZORV_TRACE(L"[Enter] CServiceManager::StoreValue()...");
    ZORV_TRACE(L"[Leave] CServiceManager::StoreValue()...");
    return Ostrel::kSuccess;
}

HRESULT CServiceManager::SendMessage(const ValueTypeRecord* pValueType, void*, void*,
                                     void* pValue) {
    return RunGuarded(L"CServiceManager::SendMessage()", [&]() -> HRESULT {
        ZORV_TRACE(L"[Enter] CServiceManager::SendMessage()...");
        HRESULT hResult = Ostrel::kSuccess;
        const uint32_t valueType = pValueType != nullptr ? pValueType->ValueType : 0;
        if (valueType == SrvFrwk::Interface::ValueTypeStorageControl) {
            hResult = SendMessageForStorageControl(static_cast<StorageControlRequest*>(pValue));
        } else {
            ZORV_ERROR(
                L"*** CServiceManager::SendMessage() - Specified ValueType was not supported "
                L"[0x%08x]",
                valueType);
            hResult = Ostrel::kNotSupported;
        }
        ZORV_TRACE(L"[Leave] CServiceManager::SendMessage()...");
        return hResult;
    });
}

HRESULT CServiceManager::SendMessage(const wchar_t*, void*) {
    ZORV_TRACE(L"[Enter] CServiceManager::SendMessage()...");
    ZORV_TRACE(L"[Leave] CServiceManager::SendMessage()...");
    return Ostrel::kSuccess;
}

HRESULT CServiceManager::Initialize() {
    ZORV_TRACE(L"[Enter] CServiceManager::Initialize()...");
    ZORV_TRACE(L"[Leave] CServiceManager::Initialize()...");
    return Ostrel::kSuccess;
}

HRESULT CServiceManager::Uninitialize() {
    ZORV_TRACE(L"[Enter] CServiceManager::Uninitialize()...");
    ZORV_TRACE(L"[Leave] CServiceManager::Uninitialize()...");
    return Ostrel::kSuccess;
}

template <typename Parser, typename Payload, typename Query>
HRESULT CServiceManager::QueryPolicy(const HandlerTexts& texts, Payload* pPayload, Query query) {
    ZORV_TRACE(L"[Enter] CServiceManager::%s()...", texts.method);
    if (pPayload == nullptr) {
        ZORV_ERROR(L"*** CServiceManager::%s() - %s was invalid.", texts.method, texts.payload);
        return Ostrel::kInvalidArgument;
    }
    // Held until the reader is done with the document: the object has one reader.
    ZorvCommon::Synchronize::SingleLock lock(&m_CriticalSection);
    Parser cXmlParser(m_XmlParser);
    const HRESULT hResult = query(cXmlParser, pPayload);
    if (hResult < 0) {
        ZORV_ERROR(L"*** CServiceManager::%s() - %s failed. [0x%08x]", texts.method,
                   texts.parserCall, hResult);
    }
    ZORV_TRACE(L"[Leave] CServiceManager::%s()...", texts.method);
    return hResult;
}

HRESULT CServiceManager::QueryValueForServicePolicy(ArrayOfRowService* pArrayOfRowService) {
    return QueryPolicy<CXmlParserFrameworkPolicy>(
        {L"QueryValueForServicePolicy", L"pArrayOfRowService",
         L"cXmlParser.QueryValueForServicePolicy()"},
        pArrayOfRowService, [](CXmlParserFrameworkPolicy& cXmlParser, ArrayOfRowService* pRows) {
            return cXmlParser.QueryValueForServicePolicy(pRows);
        });
}

HRESULT CServiceManager::QueryValueForProviderPolicy(ArrayOfRowProvider* pArrayOfRowProvider) {
    return QueryPolicy<CXmlParserFrameworkPolicy>(
        {L"QueryValueForProviderPolicy", L"pArrayOfRowProvider",
         L"cXmlParser.QueryValueForProviderPolicy()"},
        pArrayOfRowProvider, [](CXmlParserFrameworkPolicy& cXmlParser, ArrayOfRowProvider* pRows) {
            return cXmlParser.QueryValueForProviderPolicy(pRows);
        });
}

HRESULT CServiceManager::QueryValueForWebAccessData(WebAccessControlList* pWebAccessControlList) {
    return QueryPolicy<CXmlParserWebAccessControl>(
        {L"QueryValueForWebAccessData", L"pWebAccessControlList", L"cXmlParser.QueryValue()"},
        pWebAccessControlList,
        [](CXmlParserWebAccessControl& cXmlParser, WebAccessControlList* pList) {
            return cXmlParser.QueryValue(pList);
        });
}

HRESULT CServiceManager::SendMessageForStorageControl(StorageControlRequest* pStorageControl) {
    ZORV_TRACE(L"[Enter] CServiceManager::SendMessageForStorageControl()...");
    // Held for the whole request, the commands' run included: the object has one reader,
    // and requests sent to one object take effect one after the other.
    ZorvCommon::Synchronize::SingleLock lock(&m_CriticalSection);
    Ostrel::Storage::CommandChain cCommandChain;
    HRESULT hResult = QueryValueForStorageControl(&cCommandChain, pStorageControl);
    if (hResult < 0) {
        ZORV_ERROR(
            L"*** CServiceManager::SendMessage() - this->QueryValueForStorageControl() failed. "
            L"[0x%08x]",
            hResult);
    }
    // Commands built before a failure of the document still run, and their result
    // replaces the parser's.
    if (cCommandChain.GetCount() > 0) {
        hResult = HandleMessageForStorageControl(&cCommandChain);
        if (hResult < 0) {
            ZORV_ERROR(
                L"*** CServiceManager::SendMessage() - this->HandleMessageForStorageControl() "
                L"failed. [0x%08x]",
                hResult);
        }
    }
    ZORV_TRACE(L"[Leave] CServiceManager::SendMessageForStorageControl()...");
    return hResult;
}

HRESULT CServiceManager::HandleMessageForStorageControl(
    Ostrel::Storage::CommandChain* pCommandChain) {
    ZORV_TRACE(L"[Enter] CServiceManager::HandleMessageForStorageControl()...");
    const HRESULT hResult = pCommandChain->Invoke();
    if (hResult < 0) {
        ZORV_ERROR(
            L"*** CServiceManager::HandleMessageForStorageControl() - pCommandChain->Invoke() "
            L"failed. [0x%08x]",
            hResult);
    }
    ZORV_TRACE(L"[Leave] CServiceManager::HandleMessageForStorageControl()...");
    return hResult;
}

HRESULT CServiceManager::QueryValueForStorageControl(Ostrel::Storage::CommandChain* pCommandChain,
                                                     const StorageControlRequest* pStorageControl) {
    ZORV_TRACE(L"[Enter] CServiceManager::QueryValueForStorageControl()...");
    if (pCommandChain == nullptr) {
        ZORV_ERROR(
            L"*** CServiceManager::QueryValueForStorageControl() - pCommandChain was invalid.");
        return Ostrel::kInvalidArgument;
    }
    if (pStorageControl == nullptr) {
        ZORV_ERROR(
            L"*** CServiceManager::QueryValueForStorageControl() - pStorageControl was invalid.");
        return Ostrel::kInvalidArgument;
    }
    // The folder is worked out as the host framework expects, but no later step reads it:
    // a request with a Folder behaves exactly like one without.
    std::wstring tszFolder = Frwk::Utility::GetModuleDirectory();
    if (!pStorageControl->Folder.empty()) {
        tszFolder = pStorageControl->Folder;
    }

    CXmlParserStorageControl cXmlParser(m_XmlParser);
    const HRESULT hResult = cXmlParser.QueryValue(pCommandChain, pStorageControl->DocumentPath,
                                                  pStorageControl->CommandArgument);
    if (hResult < 0) {
        ZORV_ERROR(
            L"*** CServiceManager::QueryValueForStorageControl() - cXmlParser.QueryValue() "
            L"failed. [0x%08x]",
            hResult);
    }
    ZORV_TRACE(L"[Leave] CServiceManager::QueryValueForStorageControl()...");
    return hResult;
}
