#include "ReliabilityKit.h"

#include <objbase.h>

namespace Reliability {

using namespace TestSupport;

namespace {

using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::StorageControlRequest;
using SrvFrwk::Interface::WebAccessControlList;

const wchar_t* const kPolicyFiles[] = {kServiceFile, kProviderFile, kWebAccessFile};

std::wstring GuidText(const GUID& guid) {
    wchar_t text[39] = {};
    StringFromGUID2(guid, text, 39);
    return text;
}

// A row cut short shows: every field is in its text.
template <typename Row>
std::wstring DescribeRow(const Row& row, const GUID& guid, const std::vector<GUID>& depended) {
    std::wstring text = row.ModuleName + L"@" + row.Version + L"," + GuidText(guid);
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

std::wstring DescribeRows(const ArrayOfRowService& rows) {
    std::wstring text = L";rows=" + std::to_wstring(rows.size());
    for (const auto& row : rows) {
        text += L";" + DescribeRow(row, row.ServiceGuid, row.DependedServices) + L"," +
                std::to_wstring(row.InterfaceType);
    }
    return text;
}

std::wstring DescribeRows(const ArrayOfRowProvider& rows) {
    std::wstring text = L";rows=" + std::to_wstring(rows.size());
    for (const auto& row : rows) {
        text += L";" + DescribeRow(row, row.ProviderGuid, row.DependedProviders);
    }
    return text;
}

std::wstring DescribeList(const WebAccessControlList& list) {
    std::wstring text = L";sites=" + std::to_wstring(list.Sites.size()) + L";applications=" +
                        std::to_wstring(list.Applications.size()) + L";filters=" +
                        std::to_wstring(list.Filters.size()) + L";activities=" +
                        std::to_wstring(list.WebActivities.size()) + L";protections=" +
                        std::to_wstring(list.Protections.size());
    for (const std::wstring& site : list.Sites) {
        text += L";" + site;
    }
    return text;
}

}  // namespace

ModuleUnderTest::ModuleUnderTest(uint32_t logLevel, const std::wstring& folder)
    : m_Log(std::make_unique<LogCapture>(logLevel, /*initializeProcessLog=*/false)),
      m_Installed(std::make_unique<ScratchFolder>(L"ReliabilityInstalled")) {
    for (const wchar_t* name : kPolicyFiles) {
        CopyFileW((BinFolder() + L"..\\examples\\" + name).c_str(),
                  m_Installed->File(name).c_str(), FALSE);
    }
    m_Log->Product().SetInstalledFolder(m_Installed->Path() + L"\\");
    m_Log->Product().SetVersion(L"1.0.1120");
    m_Module = std::make_unique<ModuleHost>(folder);
    m_Utility = std::make_unique<TestSupport::Utility>(*m_Module);
}

ModuleUnderTest::~ModuleUnderTest() {
    m_Utility.reset();
    m_Module.reset();  // unloaded before the log settings are restored
}

std::string SteadyStorageDocument(const std::wstring& keyPath) {
    return Storage(Registry(Narrow(keyPath),
                            Store("Text", "string", "steady") + Store("Number", "uint32", "42") +
                                Store("Blob", "binary", "DEADBEEF") +
                                Control("query", "Text", "string") + Control("delete", "Missing")),
                   " save=\"yes\"");
}

std::string BrokenStorageDocument(const std::wstring& keyPath) {
    return Storage(Registry(Narrow(keyPath), Store("Broken", "uint32", "1")) +
                   Registry(Narrow(keyPath), Store("Never", "uint32", "2"), kAnywhere, "HKXX"));
}

StorageLane MakeLane(const ScratchFolder& folder, const std::wstring& keyPath,
                     const std::wstring& name) {
    StorageLane lane{folder.File(name + L".xen"), folder.File(name + L"-broken.xen"), keyPath};
    WriteDocument(lane.Document, kStorageKey, SteadyStorageDocument(keyPath));
    WriteDocument(lane.BrokenDocument, kStorageKey, BrokenStorageDocument(keyPath));
    return lane;
}

std::wstring Ask(SrvFrwk::Interface::IUtilityEx& utility, RequestKind kind,
                 const StorageLane& lane) {
    const auto query = [&utility](uint32_t valueType, void* pValue) {
        const SrvFrwk::Interface::ValueTypeRecord record{valueType};
        return utility.QueryValue(&record, nullptr, nullptr, pValue);
    };
    const auto send = [&utility](uint32_t valueType, void* pValue) {
        const SrvFrwk::Interface::ValueTypeRecord record{valueType};
        return utility.SendMessage(&record, nullptr, nullptr, pValue);
    };
    HRESULT result = S_OK;
    std::wstring details;
    StorageControlRequest request;
    switch (kind) {
        case RequestKind::Services: {
            ArrayOfRowService rows;
            result = query(SrvFrwk::Interface::ValueTypeServicePolicy, &rows);
            details = DescribeRows(rows);
            break;
        }
        case RequestKind::Providers: {
            ArrayOfRowProvider rows;
            result = query(SrvFrwk::Interface::ValueTypeProviderPolicy, &rows);
            details = DescribeRows(rows);
            break;
        }
        case RequestKind::WebAccess: {
            WebAccessControlList list;
            result = query(SrvFrwk::Interface::ValueTypeWebAccessControl, &list);
            details = DescribeList(list);
            break;
        }
        case RequestKind::Storage:
        case RequestKind::StorageBroken:
            request.DocumentPath =
                kind == RequestKind::Storage ? lane.Document : lane.BrokenDocument;
            request.CommandArgument = kCommandArgument;
            result = send(SrvFrwk::Interface::ValueTypeStorageControl, &request);
            break;
        case RequestKind::Unsupported:
            result = query(SrvFrwk::Interface::ValueTypeStorageControl, nullptr);
            break;
        default:
            result = send(SrvFrwk::Interface::ValueTypeStorageControl, nullptr);
            break;
    }
    return L"result=" + std::to_wstring(static_cast<uint32_t>(result)) + details;
}

}  // namespace Reliability
