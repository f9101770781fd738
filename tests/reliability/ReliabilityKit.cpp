#include "ReliabilityKit.h"

#include <objbase.h>

namespace Reliability {

using namespace TestSupport;
using namespace SrvFrwk::Interface;

namespace {

std::wstring GuidText(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return text;
}

// A row cut short shows: every field is in its text.
template <typename Row>
std::wstring DescribeRow(const Row& row, const GUID& guid, const std::vector<GUID>& depended) {
    std::wstring text = L";" + row.ModuleName + L"@" + row.Version + L"," + GuidText(guid);
    for (const uint32_t number :
         {row.ModuleType, row.StartupType, row.LoadOption, row.UnloadOption, row.OrderOfLoading,
          row.OrderOfUnloading, row.SharedType, row.Permission[0], row.Permission[1],
          row.Permission[2], row.Permission[3], row.DataConversion}) {
        text += L"," + std::to_wstring(number);
    }
    text += L"," + GuidText(row.SharedGuid) + L"," + row.ConvModuleName;
    for (const GUID& dependency : depended) {
        text += L"," + GuidText(dependency);
    }
    return text;
}

}  // namespace

ModuleUnderTest::ModuleUnderTest(uint32_t logLevel, const std::wstring& folder)
    : m_Log(logLevel, /*initializeProcessLog=*/false), m_Module(Install(folder)) {}

std::wstring ModuleUnderTest::Install(const std::wstring& folder) {
    for (const wchar_t* name : {kServiceFile, kProviderFile, kWebAccessFile}) {
        CopyFileW((BinFolder() + L"..\\examples\\" + name).c_str(), m_Installed.File(name).c_str(),
                  FALSE);
    }
    m_Log.Product().SetInstalledFolder(m_Installed.Path() + L"\\");
    m_Log.Product().SetVersion(L"1.0.1120");
    return folder;
}

StorageLane MakeLane(const ScratchFolder& folder, const std::wstring& keyPath,
                     const std::wstring& name) {
    StorageLane lane{folder.File(name + L".xen"), folder.File(name + L"-broken.xen"), keyPath};
    const std::string key = Narrow(keyPath);
    WriteDocument(
        lane.Document, kStorageKey,
        Storage(
            Registry(key, Store("Text", "string", "steady") + Store("Number", "uint32", "42") +
                              Store("Blob", "binary", "DEADBEEF") +
                              Control("query", "Text", "string") + Control("delete", "Missing")),
            " save=\"yes\""));
    WriteDocument(lane.BrokenDocument, kStorageKey,
                  Storage(Registry(key, Store("Broken", "uint32", "1")) +
                          Registry(key, Store("Never", "uint32", "2"), kAnywhere, "HKXX")));
    return lane;
}

Request::Request(RequestKind kind, const StorageLane& lane) : m_Kind(kind) {
    m_Storage.DocumentPath = kind == RequestKind::Storage ? lane.Document : lane.BrokenDocument;
    m_Storage.CommandArgument = L"t";
}

HRESULT Request::SendTo(IUtilityEx& utility) {
    const auto query = [&utility](uint32_t valueType, void* pValue) {
        const ValueTypeRecord record{valueType};
        return utility.QueryValue(&record, nullptr, nullptr, pValue);
    };
    const auto send = [&utility](void* pValue) {
        const ValueTypeRecord record{ValueTypeStorageControl};
        return utility.SendMessage(&record, nullptr, nullptr, pValue);
    };
    switch (m_Kind) {
        case RequestKind::Services:
            return query(ValueTypeServicePolicy, &m_Services);
        case RequestKind::Providers:
            return query(ValueTypeProviderPolicy, &m_Providers);
        case RequestKind::WebAccess:
            return query(ValueTypeWebAccessControl, &m_List);
        case RequestKind::Storage:
        case RequestKind::StorageBroken:
            return send(&m_Storage);
        case RequestKind::Unsupported:
            return query(ValueTypeStorageControl, nullptr);
        default:
            return send(nullptr);
    }
}

std::wstring Request::Answer(HRESULT result) const {
    std::wstring text = L"result=" + std::to_wstring(static_cast<uint32_t>(result)) +
                        L";services=" + std::to_wstring(m_Services.size());
    for (const auto& row : m_Services) {
        text += DescribeRow(row, row.ServiceGuid, row.DependedServices) + L"," +
                std::to_wstring(row.InterfaceType);
    }
    text += L";providers=" + std::to_wstring(m_Providers.size());
    for (const auto& row : m_Providers) {
        text += DescribeRow(row, row.ProviderGuid, row.DependedProviders);
    }
    text += L";sites=" + std::to_wstring(m_List.Sites.size()) + L";applications=" +
            std::to_wstring(m_List.Applications.size()) + L";filters=" +
            std::to_wstring(m_List.Filters.size()) + L";activities=" +
            std::to_wstring(m_List.WebActivities.size()) + L";protections=" +
            std::to_wstring(m_List.Protections.size());
    for (const std::wstring& site : m_List.Sites) {
        text += L";" + site;
    }
    return text;
}

std::wstring Ask(IUtilityEx& utility, RequestKind kind, const StorageLane& lane) {
    Request request(kind, lane);
    return request.Answer(request.SendTo(utility));
}

}  // namespace Reliability
