#pragma once
// The utility object: dispatches the host's requests by value type to one document
// reader each. One XML reader serves every request of the object.

#include "SrvFrwk_Interface.h"
#include "ZorvComn_Synchronize.h"
#include "ZorvComn_XmlParser.h"

namespace Ostrel {
namespace Storage {
class CommandChain;
}
}  // namespace Ostrel

class CServiceManager : public SrvFrwk::Interface::IUtilityEx {
public:
    CServiceManager() = default;
    CServiceManager(const CServiceManager&) = delete;
    CServiceManager& operator=(const CServiceManager&) = delete;

    HRESULT ReservedOperation1() override;
    HRESULT QueryValue(const SrvFrwk::Interface::ValueTypeRecord* pValueType, void* pReserved1,
                       void* pReserved2, void* pValue) override;
    HRESULT QueryValue(const wchar_t* pName, void* pValue) override;
    HRESULT ReservedOperation2() override;
    HRESULT StoreValue(const SrvFrwk::Interface::ValueTypeRecord* pValueType, void* pReserved1,
                       void* pReserved2, void* pValue) override;
    HRESULT SendMessage(const SrvFrwk::Interface::ValueTypeRecord* pValueType, void* pReserved1,
                        void* pReserved2, void* pValue) override;
    HRESULT SendMessage(const wchar_t* pName, void* pValue) override;
    HRESULT Initialize() override;
    HRESULT Uninitialize() override;

private:
    HRESULT QueryValueForServicePolicy(SrvFrwk::Interface::ArrayOfRowService* pArrayOfRowService);
    HRESULT QueryValueForProviderPolicy(
        SrvFrwk::Interface::ArrayOfRowProvider* pArrayOfRowProvider);
    HRESULT QueryValueForWebAccessData(
        SrvFrwk::Interface::WebAccessControlList* pWebAccessControlList);
    HRESULT SendMessageForStorageControl(
        SrvFrwk::Interface::StorageControlRequest* pStorageControl);
    HRESULT QueryValueForStorageControl(
        Ostrel::Storage::CommandChain* pCommandChain,
        const SrvFrwk::Interface::StorageControlRequest* pStorageControl);
    HRESULT HandleMessageForStorageControl(Ostrel::Storage::CommandChain* pCommandChain);

    // The texts that tell one query handler's log lines from another's.
    struct HandlerTexts {
        const wchar_t* method;      // "QueryValueForServicePolicy"
        const wchar_t* payload;     // "pArrayOfRowService"
        const wchar_t* parserCall;  // "cXmlParser.QueryValueForServicePolicy()"
    };
    // The shape the three query handlers share: check the payload, then, holding the
    // lock, run one parser made on the stack over the shared reader.
    template <typename Parser, typename Payload, typename Query>
    HRESULT QueryPolicy(const HandlerTexts& texts, Payload* pPayload, Query query);

    ZorvCommon::Storage::XmlParser m_XmlParser;
    // Serialises the requests that use m_XmlParser: each handler holds it from before its
    // parser is built until the parser has returned, so that callers on several threads
    // take turns with the one reader.
    ZorvCommon::Synchronize::CriticalSection m_CriticalSection;
};
