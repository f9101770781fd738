#include "ReliabilityKit.h"

#include <objbase.h>

#include "FuzzPaths.h"
#include "ZorvComn_Handle.h"

namespace Reliability {
namespace {

using SrvFrwk::Interface::ArrayOfRowProvider;
using SrvFrwk::Interface::ArrayOfRowService;
using SrvFrwk::Interface::StorageControlRequest;
using SrvFrwk::Interface::WebAccessControlList;

const wchar_t* const kPolicyFiles[] = {L"QjBsSvPl.xen", L"QjEnPvPl.xen", L"QjEnPvWc.xen"};

std::string Narrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());  // the suites' paths are ASCII
}

std::string RegistrySection(const std::wstring& keyPath, const std::string& root,
                            const std::string& controls) {
    return "  <Registry assign=\"reliability\">\n    <Root>" + root + "</Root><Path>" +
           Narrow(keyPath) +
           "</Path><AccessMode>default</AccessMode><AccessRight>default</AccessRight>\n" +
           controls + "  </Registry>\n";
}

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

void Snapshot(HKEY key, const std::wstring& below, RegistrySnapshot& snapshot) {
    wchar_t name[16384];
    std::vector<uint8_t> data(1 << 16);
    for (DWORD index = 0;; ++index) {
        DWORD cchName = _countof(name);
        DWORD type = 0;
        DWORD cbData = static_cast<DWORD>(data.size());
        if (RegEnumValueW(key, index, name, &cchName, nullptr, &type, data.data(), &cbData) !=
            ERROR_SUCCESS) {
            break;
        }
        snapshot[below + L"|" + name] = {type,
                                         std::vector<uint8_t>(data.begin(), data.begin() + cbData)};
    }
    for (DWORD index = 0;; ++index) {
        DWORD cchName = _countof(name);
        if (RegEnumKeyExW(key, index, name, &cchName, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        const std::wstring child = below + L"\\" + name;
        snapshot[child] = {REG_NONE, {}};
        ZorvCommon::UniqueRegKey childKey;
        if (RegOpenKeyExW(key, name, 0, KEY_READ, childKey.put()) == ERROR_SUCCESS) {
            Snapshot(childKey.get(), child, snapshot);
        }
    }
}

}  // namespace

std::string Store(const std::string& name, const std::string& type, const std::string& value) {
    return "    <Control assign=\"reliability\"><Action>store</Action><Name>" + name +
           "</Name><Type>" + type + "</Type><Value>" + value +
           "</Value><Overwrite>yes</Overwrite></Control>\n";
}

ModuleUnderTest::ModuleUnderTest(uint32_t logLevel, const std::wstring& folder)
    : m_Log(std::make_unique<TestSupport::LogCapture>(logLevel, /*initializeProcessLog=*/false)),
      m_Installed(std::make_unique<TestSupport::ScratchFolder>(L"ReliabilityInstalled")) {
    for (const wchar_t* name : kPolicyFiles) {
        CopyFileW((TestSupport::BinFolder() + L"..\\examples\\" + name).c_str(),
                  m_Installed->File(name).c_str(), FALSE);
    }
    m_Log->Product().SetInstalledFolder(m_Installed->Path() + L"\\");
    m_Log->Product().SetVersion(L"1.0.1120");
    m_Module = std::make_unique<OstrelFuzz::OstrelModule>(folder + L"Ostrel.dll");
    m_Utility = std::make_unique<OstrelFuzz::Utility>(*m_Module);
}

ModuleUnderTest::~ModuleUnderTest() {
    m_Utility.reset();
    m_Module.reset();  // unloaded before the log settings are restored
}

void WriteStorageDocument(const std::wstring& path, const std::string& xml) {
    const OstrelFuzz::RequestPath storage = OstrelFuzz::RequestPath::Storage;
    TestSupport::WriteFileBytes(path,
                                OstrelFuzz::Encrypt(OstrelFuzz::PathKey(storage),
                                                    std::vector<uint8_t>(xml.begin(), xml.end())));
}

std::string SteadyStorageDocument(const std::wstring& keyPath) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Storage version=\"1.0\" save=\"yes\">\n" +
           RegistrySection(keyPath, "HKCU",
                           Store("Text", "string", "steady") + Store("Number", "uint32", "42") +
                               Store("Blob", "binary", "DEADBEEF") +
                               "    <Control assign=\"reliability\"><Action>query</Action>"
                               "<Name>Text</Name><Type>string</Type></Control>\n"
                               "    <Control assign=\"reliability\"><Action>delete</Action>"
                               "<Name>Missing</Name></Control>\n") +
           "</Storage>\n";
}

std::string BrokenStorageDocument(const std::wstring& keyPath) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<Storage version=\"1.0\" save=\"no\">\n" +
           RegistrySection(keyPath, "HKCU", Store("Broken", "uint32", "1")) +
           RegistrySection(keyPath, "HKXX", Store("Never", "uint32", "2")) + "</Storage>\n";
}

StorageLane MakeLane(const TestSupport::ScratchFolder& folder, const std::wstring& keyPath,
                     const std::wstring& name) {
    StorageLane lane{folder.File(name + L".xen"), folder.File(name + L"-broken.xen"), keyPath};
    WriteStorageDocument(lane.Document, SteadyStorageDocument(keyPath));
    WriteStorageDocument(lane.BrokenDocument, BrokenStorageDocument(keyPath));
    return lane;
}

std::wstring Ask(OstrelFuzz::Utility& utility, RequestKind kind, const StorageLane& lane) {
    return Ask(*utility.Get(), kind, lane);
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

RegistrySnapshot SnapshotRegistry(HKEY root, const std::wstring& path) {
    RegistrySnapshot snapshot;
    ZorvCommon::UniqueRegKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, key.put()) == ERROR_SUCCESS) {
        Snapshot(key.get(), std::wstring(), snapshot);
    }
    return snapshot;
}

}  // namespace Reliability
